// The formatter beside fmt, snprintf, std::to_chars and ICU. Ours writes UTF-16; what a peer writes as 8-bit
// text is widened in the loop, since that is what its user would have to do.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <unicode/unum.h>

#include <charconv>
#include <cstdio>
#include <cstring>

#include "qv/core/convert.h"
#include "qv/core/detail/tokens.h"
#include "qv/core/printf.h"

namespace {

constexpr int kCapacity = 128;

// Values that change, so that no branch learns a number by heart.
constexpr int kValues = 1024;
struct Values {
  int integers[kValues];
  double reals[kValues];
  Values() {
    uint64_t state = 88172645463325252u;
    for (int i = 0; i < kValues; ++i) {
      state ^= state << 13, state ^= state >> 7, state ^= state << 17;
      integers[i] = static_cast<int>(state >> (32 + state % 24));
      reals[i] = static_cast<double>(static_cast<int64_t>(state) >> 24) / 1000.0;
    }
  }
} const values;

void widen(const char* text, size_t length, WCHAR* wide) {
  for (size_t i = 0; i < length; ++i) wide[i] = static_cast<unsigned char>(text[i]);
  wide[length] = 0;
}

// Runs `print(index, text)` over the values; `print` leaves UTF-16 in `text`.
template <typename Print>
void run(benchmark::State& state, Print print) {
  WCHAR text[kCapacity];
  int i = 0;
  for (auto _ : state) {
    print(i, text);
    benchmark::DoNotOptimize(text);
    benchmark::ClobberMemory();
    i = (i + 1) % kValues;
  }
  state.SetItemsProcessed(state.iterations());
}

template <typename Write>
auto viaNarrow(Write write) {
  return [write](int i, WCHAR* text) {
    char narrow[kCapacity];
    widen(narrow, write(i, narrow), text);
  };
}

template <typename... Arguments>
size_t fmtTo(char* text, fmt::string_view format, const Arguments&... arguments) {
  return static_cast<size_t>(fmt::vformat_to(text, format, fmt::make_format_args(arguments...)) - text);
}

template <typename... Arguments>
size_t libraryTo(char* text, const char* format, Arguments... arguments) {
  return static_cast<size_t>(std::snprintf(text, kCapacity, format, arguments...));
}

template <typename... Arguments>
size_t charsTo(char* text, Arguments... arguments) {
  return static_cast<size_t>(std::to_chars(text, text + kCapacity, arguments...).ptr - text);
}

// ---- "%d"

void TextInteger(benchmark::State& state) {
  run(state, [](int i, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("%d"), values.integers[i]); });
}
void TextInteger_fmt(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) { return fmtTo(t, "{}", values.integers[i]); }));
}
void TextInteger_snprintf(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) { return libraryTo(t, "%d", values.integers[i]); }));
}
void TextInteger_to_chars(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) { return charsTo(t, values.integers[i]); }));
}
BENCHMARK(TextInteger);
BENCHMARK(TextInteger_fmt);
BENCHMARK(TextInteger_snprintf);
BENCHMARK(TextInteger_to_chars);

void TextUnsigned(benchmark::State& state) {
  run(state, [](int i, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("%u"), values.integers[i]); });
}
void TextUnsigned_fmt(benchmark::State& state) {
  run(state,
      viaNarrow([](int i, char* t) { return fmtTo(t, "{}", static_cast<unsigned>(values.integers[i])); }));
}
BENCHMARK(TextUnsigned);
BENCHMARK(TextUnsigned_fmt);

// ---- "%.2f"

void TextFixed(benchmark::State& state) {
  run(state, [](int i, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("%.2f"), values.reals[i]); });
}
void TextFixed_fmt(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) { return fmtTo(t, "{:.2f}", values.reals[i]); }));
}
void TextFixed_snprintf(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) { return libraryTo(t, "%.2f", values.reals[i]); }));
}
void TextFixed_to_chars(benchmark::State& state) {
  run(state,
      viaNarrow([](int i, char* t) { return charsTo(t, values.reals[i], std::chars_format::fixed, 2); }));
}
BENCHMARK(TextFixed);
BENCHMARK(TextFixed_fmt);
BENCHMARK(TextFixed_snprintf);
BENCHMARK(TextFixed_to_chars);

// ---- "%s"

constexpr WCHAR kWord[] = TEXT("Overdub take 7");
constexpr char kNarrowWord[] = "Overdub take 7";

void TextWord(benchmark::State& state) {
  run(state, [](int, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("%s"), kWord); });
}
void TextWord_fmt(benchmark::State& state) {
  run(state, viaNarrow([](int, char* t) { return fmtTo(t, "{}", kNarrowWord); }));
}
BENCHMARK(TextWord);
BENCHMARK(TextWord_fmt);

// ---- A line of six conversions

void TextLine(benchmark::State& state) {
  run(state, [](int i, WCHAR* t) {
    QvCchPrintF(t, kCapacity, nullptr, TEXT("%s: %d of %u, %.2f dB, %02x %5d"), kWord, values.integers[i],
                4096u, values.reals[i], i & 255, i);
  });
}
void TextLine_fmt(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) {
        return fmtTo(t, "{}: {} of {}, {:.2f} dB, {:02x} {:5d}", kNarrowWord, values.integers[i], 4096u,
                     values.reals[i], i & 255, i);
      }));
}
void TextLine_snprintf(benchmark::State& state) {
  run(state, viaNarrow([](int i, char* t) {
        return libraryTo(t, "%s: %d of %u, %.2f dB, %02x %5d", kNarrowWord, values.integers[i], 4096u,
                         values.reals[i], i & 255, i);
      }));
}
BENCHMARK(TextLine);
BENCHMARK(TextLine_fmt);
BENCHMARK(TextLine_snprintf);

// ---- Grouping

class IcuFormat {
 public:
  explicit IcuFormat(int places) {
    UErrorCode error = U_ZERO_ERROR;
    format_ = unum_open(UNUM_DECIMAL, nullptr, 0, "en_US", nullptr, &error);
    unum_setAttribute(format_, UNUM_FRACTION_DIGITS, places);
  }
  ~IcuFormat() { unum_close(format_); }
  UNumberFormat* get() const { return format_; }

 private:
  UNumberFormat* format_;
};

void TextGrouped(benchmark::State& state) {
  run(state, [](int i, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("$d"), values.integers[i]); });
}
void TextGrouped_ICU(benchmark::State& state) {
  const IcuFormat icu(0);
  run(state, [&](int i, WCHAR* t) {
    UErrorCode error = U_ZERO_ERROR;
    unum_format(icu.get(), values.integers[i], t, kCapacity, nullptr, &error);
  });
}
void TextGroupedFixed(benchmark::State& state) {
  run(state, [](int i, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("$.2f"), values.reals[i]); });
}
void TextGroupedFixed_ICU(benchmark::State& state) {
  const IcuFormat icu(2);
  run(state, [&](int i, WCHAR* t) {
    UErrorCode error = U_ZERO_ERROR;
    unum_formatDouble(icu.get(), values.reals[i], t, kCapacity, nullptr, &error);
  });
}
BENCHMARK(TextGrouped);
BENCHMARK(TextGrouped_ICU);
BENCHMARK(TextGroupedFixed);
BENCHMARK(TextGroupedFixed_ICU);

// ---- Tokens and parsing

void TextToken(benchmark::State& state) {
  qv::initializeTokens();
  qv::defineSeparatorTokens();
  QvPrintF_AddToken(TEXT("AppName"), TEXT("Workbench"));
  run(state, [](int, WCHAR* t) { QvCchPrintF(t, kCapacity, nullptr, TEXT("$(AppName)")); });
  qv::terminateTokens();
}
void TextParseGrouped(benchmark::State& state) {
  WCHAR texts[kValues][20];
  for (int i = 0; i < kValues; ++i) QvLongToTextN(values.integers[i], texts[i], 20, 1);
  run(state, [&](int i, WCHAR*) { benchmark::DoNotOptimize(QvTextToLongToken(texts[i], nullptr)); });
}
BENCHMARK(TextToken);
BENCHMARK(TextParseGrouped);

}  // namespace
