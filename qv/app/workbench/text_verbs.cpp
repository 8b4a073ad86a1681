// Text: the formatter, the conversions between values and text, the messages in 18 languages, the locale.
#include <charconv>

#include "qv/app/workbench/languages.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/convert.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/lang/international.h"
#include "qv/lang/texts.h"

namespace qv::workbench {
namespace {

constexpr uint32_t kTextCapacity = 4096;
constexpr size_t kMaxFormatArguments = 6;

// ---- format ---------------------------------------------------------------------------------------------

// One argument of "format": its kind as written in front of the colon, and its value in the field of that kind.
struct FormatArgument {
  WCHAR kind;  // i q d s c
  int64_t integer;
  double real;
  const WCHAR* text;
  bool isReal() const { return kind == 'd'; }
};

bool parseDouble(const WString& text, double& value) {
  const std::string digits = encodeUtf8(text);
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value);
  return result.ec == std::errc() && result.ptr == end;
}

bool parseArgument(const WString& word, FormatArgument& argument) {
  if (word.size() < 2 || word[1] != ':') return false;
  argument.kind = word[0];
  argument.text = word.c_str() + 2;
  const WString value = word.substr(2);
  switch (argument.kind) {
    case 'i':
    case 'q':
      return parseInteger(value, argument.integer);
    case 'd':
      return parseDouble(value, argument.real);
    case 'c':
      argument.integer = value.empty() ? 0 : value[0];
      return value.size() == 1;
    default:
      return argument.kind == 's';
  }
}

// The kinds that a conversion takes: 'i' 32-bit, 'q' 64-bit, 0 for none.
WCHAR kindOf(WCHAR terminator, bool wide) {
  const WStringView integers = TEXT("diuoxXz");
  const WStringView reals = TEXT("eEfgG");
  if (integers.find(terminator) != WStringView::npos) return wide ? 'q' : 'i';
  if (reals.find(terminator) != WStringView::npos) return 'd';
  return terminator == 's' || terminator == 'c' ? terminator : WCHAR(0);
}

// The arguments that a pattern takes, one character each. A job must not be able to make the formatter read
// an argument that nobody gave, so they are checked against this before the call.
WString argumentsOf(WStringView pattern) {
  const WStringView terminators = TEXT("!&*,:EGXcdefgiosuxz");
  WString kinds;
  for (size_t at = 0; at < pattern.size(); ++at) {
    if (pattern[at] != '%' && pattern[at] != '$') continue;
    if (++at == pattern.size()) break;
    if (pattern[at] == '%' || pattern[at] == '(' || (pattern[at] == '$' && pattern[at - 1] == '$')) continue;
    const size_t end = pattern.find_first_of(terminators, at);
    if (end == WStringView::npos) break;
    const WStringView between = pattern.substr(at, end - at);
    if (const WCHAR kind = kindOf(pattern[end], between.find(TEXT("I")) != WStringView::npos &&
                                                    between.find(TEXT("I3")) == WStringView::npos)) {
      kinds += kind;
    }
    at = end;
  }
  return kinds;
}

// Turns the list into real arguments of one call, one at a time.
template <typename... Taken>
HRESULT callFormatter(WCHAR* text, const WCHAR* pattern, const FormatArgument* next, size_t left, Taken... taken) {
  if (left == 0) return QvCchPrintF(text, kTextCapacity, nullptr, pattern, taken...);
  if constexpr (sizeof...(Taken) < kMaxFormatArguments) {
    if (next->isReal()) return callFormatter(text, pattern, next + 1, left - 1, taken..., next->real);
    if (next->kind == 's') return callFormatter(text, pattern, next + 1, left - 1, taken..., next->text);
    return callFormatter(text, pattern, next + 1, left - 1, taken..., next->integer);
  } else {
    return kInvalidArgument;
  }
}

HRESULT runFormat(Session& session, const Step& step) {
  const WString& pattern = step.words[1];
  std::vector<FormatArgument> arguments(step.words.size() - 2);
  WString kinds;
  for (size_t i = 0; i < arguments.size(); ++i) {
    if (!parseArgument(step.words[i + 2], arguments[i])) {
      return session.fail(kInvalidArgument, TEXT("An argument is i:5, q:5000000000, d:1.5, s:text or c:x."));
    }
    kinds += arguments[i].kind;
  }
  if (kinds != argumentsOf(pattern)) {
    return session.fail(kInvalidArgument, TEXT("The pattern takes these arguments: ") + argumentsOf(pattern));
  }
  WCHAR text[kTextCapacity];
  const HRESULT status = callFormatter(text, pattern.c_str(), arguments.data(), arguments.size());
  if (FAILED(status)) return session.fail(status, TEXT("The text did not fit, or has more than 6 arguments."));
  session.record({text});
  return kOk;
}

// ---- values ---------------------------------------------------------------------------------------------

int32_t integerOption(const Step& step, WStringView key, int32_t otherwise, bool& good) {
  const WString* text = step.option(key);
  int64_t value = otherwise;
  if (text != nullptr && (!parseInteger(*text, value) || value < INT32_MIN || value > INT32_MAX)) good = false;
  return static_cast<int32_t>(value);
}

// A number as a named locale writes it, by that locale's own facts.
bool formatInLocale(LCID locale, const WString& value, int32_t places, WCHAR* text) {
  WCHAR decimal[8] = {};
  WCHAR thousand[8] = {};
  WCHAR grouping[16] = {};
  if (GetLocaleInfoW(locale, LOCALE_SDECIMAL, decimal, 8) == 0) return false;
  GetLocaleInfoW(locale, LOCALE_STHOUSAND, thousand, 8);
  GetLocaleInfoW(locale, LOCALE_SGROUPING, grouping, 16);
  const UINT groups = grouping[0] == '3' && grouping[2] == '2' ? 32u : static_cast<UINT>(grouping[0] - '0');
  const NUMBERFMTW format = {static_cast<UINT>(places), 1, groups, decimal, thousand, 1};
  return GetNumberFormatW(locale, 0, value.c_str(), &format, text, kTextCapacity) != 0;
}

int32_t placesOf(const WString& value) {
  const size_t point = value.find('.');
  return point == WString::npos ? 0 : static_cast<int32_t>(value.size() - point - 1);
}

HRESULT runNumber(Session& session, const Step& step) {
  const WString& value = step.words[1];
  const bool group = step.words.size() > 2 && step.words[2] == TEXT("group");
  double parsed = 0;
  bool good = parseDouble(value, parsed) && (step.words.size() < 3 || group);
  const int32_t places = integerOption(step, TEXT("places"), -1, good);
  const int32_t locale = integerOption(step, TEXT("locale"), 0, good);
  if (!good || places < -1 || places > 9) {
    return session.fail(kInvalidArgument, TEXT("A number has digits, a point and a sign; places run from 0 to 9."));
  }
  WCHAR text[kTextCapacity] = {};
  if (locale != 0) {
    const int32_t shown = places >= 0 ? places : placesOf(value);
    if (!formatInLocale(static_cast<LCID>(locale), value, shown, text)) {
      return session.fail(kInvalidArgument, TEXT("There is no locale with this number."));
    }
  } else if (places >= 0) {
    QvDoubleToTextN(text, kTextCapacity, parsed, places, group ? 1 : 0);
  } else if (group) {
    QvFormatGroupDecimalNumber(value.c_str(), text, kTextCapacity, -1);
  } else {
    QvFormatDecimalNumber(value.c_str(), text, kTextCapacity);
  }
  session.record({TEXT("number"), value, text});
  return kOk;
}

struct Parser {
  const WCHAR* kind;
  HRESULT (*run)(const WCHAR* text, const WCHAR** end, WCHAR* value);
};

HRESULT print(WCHAR* value, const WCHAR* format, int64_t integer) {
  return QvCchPrintF(value, kTextCapacity, nullptr, format, integer);
}

constexpr Parser kParsers[] = {
    {TEXT("dword"), [](const WCHAR* t, const WCHAR** e, WCHAR* v) { return print(v, TEXT("%I64d"), QvTextToDWordToken(t, e)); }},
    {TEXT("long"), [](const WCHAR* t, const WCHAR** e, WCHAR* v) { return print(v, TEXT("%I64d"), QvTextToLongToken(t, e)); }},
    {TEXT("longlong"), [](const WCHAR* t, const WCHAR** e, WCHAR* v) { return print(v, TEXT("%I64d"), QvTextToLongLongToken(t, e)); }},
    {TEXT("hex"), [](const WCHAR* t, const WCHAR** e, WCHAR* v) { return print(v, TEXT("0x%I64x"), QvHexToDWordToken(t, e)); }},
    {TEXT("colour"), [](const WCHAR* t, const WCHAR** e, WCHAR* v) { return print(v, TEXT("0x%06I64x"), QvTextToColorrefToken(t, e)); }},
    {TEXT("double"),
     [](const WCHAR* t, const WCHAR** e, WCHAR* v) {
       return QvCchPrintF(v, kTextCapacity, nullptr, TEXT("%.15g"), QvTextToDoubleToken(t, e, 0));
     }},
    {TEXT("local"),
     [](const WCHAR* t, const WCHAR** e, WCHAR* v) {
       return QvCchPrintF(v, kTextCapacity, nullptr, TEXT("%.15g"), QvTextToDoubleToken(t, e, 1));
     }},
};

HRESULT runParse(Session& session, const Step& step) {
  for (const Parser& parser : kParsers) {
    if (step.words[1] != parser.kind) continue;
    const WCHAR* end = nullptr;
    WCHAR value[kTextCapacity] = {};
    parser.run(step.words[2].c_str(), &end, value);
    session.record({TEXT("parse"), step.words[1], step.words[2], value, end == nullptr ? TEXT("") : end});
    return kOk;
  }
  return session.fail(kNotFound, TEXT("The kind is dword, long, longlong, hex, colour, double or local."));
}

HRESULT runColour(Session& session, const Step& step) {
  const COLORREF colour = QvTextToColorref(step.words[1].c_str());
  WCHAR styles[3][32] = {};
  for (int32_t style = 0; style < 3; ++style) QvColorrefToText(styles[style], 32, colour, style);
  session.record({TEXT("colour"), step.words[1], styles[0], styles[1], styles[2]});
  return kOk;
}

HRESULT runLevel(Session& session, const Step& step) {
  bool good = true;
  int64_t value = 0;
  const int32_t places = integerOption(step, TEXT("places"), 0, good);
  const int32_t floor = integerOption(step, TEXT("floor"), 0, good);
  const bool labelled = step.words.size() > 2 && step.words[2] == TEXT("label");
  good = good && parseInteger(step.words[1], value) && value >= INT32_MIN && value <= INT32_MAX;
  if (!good || (step.words.size() > 2 && !labelled)) {
    return session.fail(kInvalidArgument, TEXT("A level is a whole number in units of its last place."));
  }
  session.record({TEXT("level"), step.words[1],
                  QvGetdBStringFixed(static_cast<int32_t>(value), places, floor, labelled ? 1 : 0)});
  return kOk;
}

HRESULT runFileSize(Session& session, const Step& step) {
  int64_t size = 0;
  const bool longForm = step.words.size() > 2 && step.words[2] == TEXT("long");
  if (!parseInteger(step.words[1], size) || (step.words.size() > 2 && !longForm)) {
    return session.fail(kInvalidArgument, TEXT("A size is a whole number of bytes."));
  }
  WCHAR text[64] = {};
  QvFormatFileSize(size, text, 64, longForm ? 1 : 0);
  session.record({TEXT("filesize"), step.words[1], text});
  return kOk;
}

HRESULT runByteSize(Session& session, const Step& step) {
  constexpr int32_t (*kForms[])(uint64_t, WCHAR*) = {QvGetByteSizeText, QvGetByteSizeText2,
                                                     QvGetByteSizeTextWithSpace};
  bool good = true;
  int64_t size = 0;
  const int32_t form = integerOption(step, TEXT("form"), 1, good);
  if (!good || !parseInteger(step.words[1], size) || size < 0 || form < 1 || form > 3) {
    return session.fail(kInvalidArgument, TEXT("A size is a whole number of bytes; the form is 1, 2 or 3."));
  }
  WCHAR text[64] = {};
  kForms[form - 1](static_cast<uint64_t>(size), text);
  session.record({TEXT("bytesize"), step.words[1], text});
  return kOk;
}

HRESULT runStereo(Session& session, const Step& step) {
  WCHAR left[260] = {};
  WCHAR right[260] = {};
  const bool split = QvChannelizeStereoName(step.words[1].c_str(), left, 260, right, 260);
  session.record({TEXT("stereo"), step.words[1], split ? left : TEXT("(speaks of a side already)"), right});
  return kOk;
}

// ---- languages ------------------------------------------------------------------------------------------

struct Language {
  HQVLANG handle = nullptr;
  ~Language() { QvLang_Close(handle); }
  HRESULT open(LCID lcid) { return QvLang_Open(&handle, GetModuleHandleW(nullptr), lcid, 0); }
};

const TextRecord* findRecord(const WString& english) {
  int32_t count = 0;
  const NamedRecord* records = textRecords(&count);
  for (int32_t i = 0; i < count; ++i) {
    if (english == records[i].record->entries[0]) return records[i].record;
  }
  return nullptr;
}

HRESULT runSay(Session& session, const Step& step) {
  LCID lcid = 0;
  if (!parseLcid(step.words[1], lcid)) {
    return session.fail(kInvalidArgument, TEXT("A language is an LCID, as 0x0407 or 1031."));
  }
  const TextRecord* record = findRecord(step.words[2]);
  if (record == nullptr) return session.fail(kNotFound, TEXT("There is no text ") + step.words[2] + TEXT("."));
  Language language;
  if (const HRESULT status = language.open(lcid); FAILED(status)) return status;
  session.record({TEXT("say"), step.words[1], QvGetString(language.handle, *record)});
  return kOk;
}

HRESULT runLanguages(Session& session, const Step&) {
  int32_t count = 0;
  const NamedRecord* records = textRecords(&count);
  for (const LCID lcid : languages()) {
    Language language;
    if (const HRESULT status = language.open(lcid); FAILED(status)) return status;
    int32_t translated = 0;
    for (int32_t i = 0; i < count; ++i) {
      if (*QvGetString(language.handle, *records[i].record) != 0) ++translated;
    }
    WCHAR number[16] = {};
    WCHAR name[64] = {};
    QvCchPrintF(number, 16, nullptr, TEXT("0x%04x"), lcid);
    GetLocaleInfoW(lcid, LOCALE_SENGLANGUAGE, name, 64);
    session.record({TEXT("language"), number, name, translated, count});
  }
  return kOk;
}

HRESULT runLocale(Session& session, const Step&) {
  QVINTERNATIONALS facts = {};
  QvLang_GetInternationals(&facts, sizeof(facts));
  session.record({TEXT("locale"), TEXT("language"), facts.englishLanguageName.text, facts.languageName.text});
  session.record({TEXT("locale"), TEXT("country"), facts.englishCountryName.text, facts.countryName.text});
  session.record({TEXT("locale"), TEXT("decimal separator"), facts.decimalSeparator.text});
  session.record({TEXT("locale"), TEXT("thousand separator"), facts.thousandSeparator.text});
  session.record({TEXT("locale"), TEXT("grouping"), facts.grouping});
  session.record({TEXT("locale"), TEXT("digits"), facts.digits});
  session.record({TEXT("locale"), TEXT("leading zero"), facts.leadingZero});
  session.record({TEXT("locale"), TEXT("negative sign"), facts.negativeSign.text});
  session.record({TEXT("locale"), TEXT("list separator"), facts.listSeparator.text});
  session.record({TEXT("locale"), TEXT("time separator"), facts.timeSeparator.text});
  session.record({TEXT("locale"), TEXT("measure"), facts.measure == 0 ? TEXT("metric") : TEXT("US")});
  return kOk;
}

constexpr Verb kVerbs[] = {
    {"format", "PATTERN [i:N|q:N|d:X|s:TEXT|c:X]...", 1, 7, "", runFormat},
    {"number", "VALUE [group] [places=N] [locale=LCID]", 1, 2, "places locale", runNumber},
    {"parse", "KIND TEXT", 2, 2, "", runParse},
    {"colour", "TEXT", 1, 1, "", runColour},
    {"level", "VALUE [label] [places=N] [floor=F]", 1, 2, "places floor", runLevel},
    {"filesize", "N [long]", 1, 2, "", runFileSize},
    {"bytesize", "N [form=1|2|3]", 1, 1, "form", runByteSize},
    {"stereo", "NAME", 1, 1, "", runStereo},
    {"say", "LCID TEXT", 2, 2, "", runSay},
    {"languages", "", 0, 0, "", runLanguages},
    {"locale", "", 0, 0, "", runLocale},
};

}  // namespace

std::span<const Verb> textVerbs() { return kVerbs; }

}  // namespace qv::workbench
