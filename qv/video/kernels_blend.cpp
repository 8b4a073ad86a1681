// Blend operators: a is the pixel being built, b the other one. Each stands once, for 16-bit and for 8-bit
// channels, truncating and rounding.
#include <math.h>

#include <algorithm>

#include "qv/video/detail/xchg_tables.h"

namespace qv {
namespace {

constexpr int32_t kOperators = 20;

struct Wide {
  using Channel = uint16_t;
  using Work = int64_t;
  static constexpr int kBits = 16;
  static uint16_t* pivot(QvXchgContext* c, int index) { return &c->pivot.pixels[index].blue; }
  static int64_t key(const QvBlendRequest& r, int i) { return r.keyColor[i]; }
  static int64_t tolerance(const QvBlendRequest& r) { return r.keyTolerance; }
  static int64_t amount(const QvBlendRequest& r) { return r.amount; }
  static int64_t amount2(const QvBlendRequest& r) { return r.amount2; }
  static int64_t fromTable(const uint16_t* table, int64_t v) { return table[v]; }
};

struct Narrow {
  using Channel = uint8_t;
  using Work = int32_t;  // every product of two channels fits
  static constexpr int kBits = 8;
  static uint8_t* pivot(QvXchgContext* c, int index) { return c->pivot.bytes[index]; }
  static int64_t key(const QvBlendRequest& r, int i) { return r.keyColor8[i]; }
  static int64_t tolerance(const QvBlendRequest& r) { return r.keyTolerance8; }
  static int64_t amount(const QvBlendRequest& r) { return r.amount8; }
  static int64_t amount2(const QvBlendRequest& r) { return r.amount28; }
  static int64_t fromTable(const uint16_t* table, int64_t v) { return table[v * 257] >> 8; }
};

template <typename Width, bool Rounded>
struct Operators {
  using Channel = typename Width::Channel;
  using Work = typename Width::Work;
  static constexpr Work kFull = (Work{1} << Width::kBits) - 1;
  static constexpr Work kWhole = kFull + 1;
  static constexpr Work kHalf = Rounded ? kWhole / 2 : 0;

  static Work key(const QvBlendRequest& r, int i) { return static_cast<Work>(Width::key(r, i)); }
  static Work amount(const QvBlendRequest& r) { return static_cast<Work>(Width::amount(r)); }
  static Work amount2(const QvBlendRequest& r) { return static_cast<Work>(Width::amount2(r)); }
  static Work part(Work difference, Work fraction) { return (difference * fraction + kHalf) >> Width::kBits; }
  static Channel toward(Work from, Work to, Work fraction) {
    return static_cast<Channel>(from + part(to - from, fraction));
  }
  static int64_t distance(const Channel* b, const QvBlendRequest& r) {
    int64_t sum = 0;
    for (int i = 0; i < 3; ++i) sum += std::abs(b[i] - Width::key(r, i));
    return sum;
  }
  static bool offKey(const Channel* b, const QvBlendRequest& r) {
    return distance(b, r) > Width::tolerance(r);
  }
  static Work brightest(const Channel* p) { return std::max({p[0], p[1], p[2]}); }
  static Work mean(const Channel* p) { return (Work{p[0]} + p[1] + p[2]) / 3; }

  static void copy(Channel* a, const Channel* b, const QvBlendRequest&) { std::copy(b, b + 4, a); }
  static void nothing(Channel*, const Channel*, const QvBlendRequest&) {}
  static void over(Channel* a, const Channel* b, const QvBlendRequest&) {
    const Work alpha = b[3];
    for (int i = 0; i < 4; ++i) a[i] = toward(a[i], b[i], alpha);
  }
  static void premultiplied(Channel* a, const Channel* b, const QvBlendRequest&) {
    const Work rest = kWhole - b[3];
    for (int i = 0; i < 4; ++i) a[i] = static_cast<Channel>((a[i] * rest + b[i] + kHalf) >> Width::kBits);
  }
  static void mix(Channel* a, const Channel* b, const QvBlendRequest& r) {
    for (int i = 0; i < 4; ++i) a[i] = toward(a[i], b[i], amount(r));
  }
  static void copyOffKey(Channel* a, const Channel* b, const QvBlendRequest& r) {
    if (offKey(b, r)) copy(a, b, r);
  }
  static void mixOffKey(Channel* a, const Channel* b, const QvBlendRequest& r) {
    if (offKey(b, r)) mix(a, b, r);
  }
  static void shadeByKey(Channel* a, const Channel* b, const QvBlendRequest& r) {
    if (offKey(b, r)) return mix(a, b, r);
    const Work level = brightest(b) + 1;
    for (int i = 0; i < 3; ++i) {
      const Work shaded = static_cast<Work>(static_cast<double>(a[i] * level) / static_cast<double>(kFull));
      a[i] = toward(a[i], shaded, amount2(r));
    }
  }
  static void shadeByRatio(Channel* a, const Channel* b, const QvBlendRequest& r) {
    if (offKey(b, r)) return mix(a, b, r);
    const Work own = brightest(a);
    if (own == 0) return;
    const double ratio = static_cast<double>(brightest(b)) / static_cast<double>(own);
    for (int i = 0; i < 3; ++i) a[i] = toward(a[i], static_cast<Work>(a[i] * ratio), amount2(r));
  }
  static void difference(Channel* a, const Channel* b, const QvBlendRequest&) {
    for (int i = 0; i < 4; ++i) a[i] = static_cast<Channel>(std::abs(Work{a[i]} - b[i]));
  }
  static void tint(Channel* a, const Channel* b, const QvBlendRequest& r) {
    for (int i = 0; i < 3; ++i) a[i] = toward(b[i], key(r, i), amount(r));
  }
  static void invert(Channel* a, const Channel* b, const QvBlendRequest& r) {
    for (int i = 0; i < 4; ++i) a[i] = toward(a[i], kFull - b[i], amount(r));
  }
  static void desaturate(Channel* a, const Channel* b, const QvBlendRequest& r) {
    const Work level = mean(b);
    for (int i = 0; i < 3; ++i) a[i] = toward(a[i], level, amount(r));
    a[3] = toward(a[3], b[3], amount(r));
  }
  static void overKey(Channel* a, const Channel* b, const QvBlendRequest& r) {
    const Work alpha = b[3];
    for (int i = 0; i < 3; ++i) {
      const Work own = key(r, i);
      const Work sum = b[i] + part(own - a[i], alpha) - own + a[i];
      a[i] = static_cast<Channel>(std::clamp<Work>(sum, 0, kFull));
    }
  }
  static void setGrey(Channel* a, Work level, const QvBlendRequest& r) {
    if (r.table != nullptr) level = static_cast<Work>(Width::fromTable(r.table, level));
    a[0] = a[1] = a[2] = static_cast<Channel>(level);
  }
  static void keyDistance(Channel* a, const Channel*, const QvBlendRequest& r) {
    double sum = 0.0;
    for (int i = 0; i < 3; ++i) {
      const double d = static_cast<double>(a[i] - Width::key(r, i));
      sum += d * d;
    }
    setGrey(a, static_cast<Work>(sqrt(sum) / sqrt(3.0)), r);
  }
  static void ramp(Channel* a, const Channel*, const QvBlendRequest& r) {
    const int64_t low = amount2(r), span = Width::tolerance(r), level = mean(a);
    int64_t grey = 0;
    if (level > low + span || (level >= low && span <= low)) {
      grey = kFull;
    } else if (level >= low) {
      grey = std::min((level - low) * int64_t{kFull} / (span - low), int64_t{kFull});
    }
    setGrey(a, static_cast<Work>(grey), r);
  }
  // Wraps on purpose: whoever adds sees to the headroom.
  static void add(Channel* a, const Channel* b, const QvBlendRequest& r) {
    for (int i = 0; i < 4; ++i) a[i] = static_cast<Channel>(a[i] + part(b[i], amount(r)));
  }
};

template <typename Width>
using Operator = void (*)(typename Width::Channel* a, const typename Width::Channel* b,
                          const QvBlendRequest& request);

template <typename Width, Operator<Width> Apply, int Count>
void blend(QvXchgContext* c) {
  const int other = Count == 1 ? 1 : 4;
  for (int i = 0; i < Count; ++i) Apply(Width::pivot(c, i), Width::pivot(c, other + i), c->blend);
}

// The operator's result replaces the pixel by the mask's weight; a full mask replaces it whole.
template <typename Width, Operator<Width> Apply, int Count>
void blendMask(QvXchgContext* c, const uint16_t* mask) {
  const int other = Count == 1 ? 1 : 4;
  for (int i = 0; i < Count; ++i) {
    typename Width::Channel* a = Width::pivot(c, i);
    typename Width::Channel result[4] = {a[0], a[1], a[2], a[3]};
    Apply(result, Width::pivot(c, other + i), c->blend);
    const int64_t weight = mask[i] + (mask[i] >> 15);
    for (int k = 0; k < 4; ++k) {
      a[k] = static_cast<typename Width::Channel>(a[k] + (((int64_t{result[k]} - a[k]) * weight) >> 16));
    }
  }
}

template <typename Width, Operator<Width> Apply>
constexpr BlendKernels kernels() {
  return {blend<Width, Apply, 1>, blend<Width, Apply, 4>, blendMask<Width, Apply, 1>,
          blendMask<Width, Apply, 4>};
}

template <typename Width, bool Rounded>
struct Row {
  using O = Operators<Width, Rounded>;
  static constexpr BlendKernels kColumns[kOperators] = {
      kernels<Width, O::copy>(),           // 0
      kernels<Width, O::over>(),           // 1
      kernels<Width, O::premultiplied>(),  // 2
      kernels<Width, O::mix>(),            // 3
      kernels<Width, O::copyOffKey>(),     // 4
      kernels<Width, O::mixOffKey>(),      // 5
      kernels<Width, O::shadeByKey>(),     // 6
      kernels<Width, O::shadeByRatio>(),   // 7
      kernels<Width, O::difference>(),     // 8
      kernels<Width, O::copy>(),           // 9
      kernels<Width, O::copy>(),           // 10
      kernels<Width, O::tint>(),           // 11
      kernels<Width, O::invert>(),         // 12
      kernels<Width, O::desaturate>(),     // 13
      kernels<Width, O::overKey>(),        // 14
      kernels<Width, O::keyDistance>(),    // 15
      kernels<Width, O::nothing>(),        // 16
      kernels<Width, O::ramp>(),           // 17
      kernels<Width, O::nothing>(),        // 18
      kernels<Width, O::add>(),            // 19
  };
};

constexpr const BlendKernels* kRows[4] = {Row<Wide, false>::kColumns, Row<Wide, true>::kColumns,
                                          Row<Narrow, false>::kColumns, Row<Narrow, true>::kColumns};

}  // namespace

const BlendKernels* blendKernels(uint32_t row, int32_t operatorCode) {
  return operatorCode >= 0 && operatorCode < kOperators ? &kRows[row][operatorCode] : nullptr;
}

}  // namespace qv
