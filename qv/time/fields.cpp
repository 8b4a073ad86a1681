#include "qv/time/detail/fields.h"

#include <algorithm>

#include "qv/lang/international.h"

namespace qv::time {
namespace {

// The largest count with group separators: 19 digits in pairs, and the fields behind it.
constexpr uint32_t kMaxNumbers = 14;
constexpr uint32_t kDigitsPerGroup = 3;

constexpr bool isDigit(WCHAR c) {
  return c >= TEXT('0') && c <= TEXT('9');
}

// A run of digits; an empty one stands for a zero behind the text's last separator.
struct Run {
  const WCHAR* begin;
  const WCHAR* end;

  size_t digits() const { return static_cast<size_t>(end - begin); }
};

constexpr int64_t kMaxValue = INT32_MAX;

int64_t append(int64_t value, const Run& run) {
  for (const WCHAR* at = run.begin; at < run.end && value <= kMaxValue; ++at)
    value = value * 10 + (*at - TEXT('0'));
  return value;
}

uint32_t thousandthsOf(const Run& run) {
  uint32_t value = 0;
  for (size_t i = 0; i < kDigitsPerGroup; ++i)
    value = value * 10 + (i < run.digits() ? static_cast<uint32_t>(run.begin[i] - TEXT('0')) : 0);
  return value;
}

// All numbers of a text, as far as anybody asks for them.
class Runs {
 public:
  explicit Runs(const WCHAR* text) {
    const WCHAR* at = text;
    const WCHAR* behindDigits = text;
    while (*at && count_ < kMaxNumbers) {
      if (isDigit(*at)) {
        separated_ |= at != text;
        const WCHAR* begin = at;
        while (isDigit(*at)) ++at;
        runs_[count_++] = {begin, at};
        behindDigits = at;
      } else {
        ++at;
      }
    }
    takeEmptyFields(behindDigits);
  }
  uint32_t count() const { return count_; }
  bool separated() const { return separated_; }
  const Run& operator[](uint32_t index) const { return runs_[index]; }

 private:
  void takeEmptyFields(const WCHAR* at) {
    for (; *at && count_ < kMaxNumbers; ++at) {
      if (*at == TEXT(' ')) continue;
      separated_ = true;
      runs_[count_++] = {at + 1, at + 1};
    }
  }

  Run runs_[kMaxNumbers];
  uint32_t count_ = 0;
  bool separated_ = false;
};

bool isJoint(const Run& left, const Run& right) {
  const auto& separator = internationals().thousandSeparator;
  const size_t length = separator.length;
  return length > 0 && left.digits() > 0 && static_cast<size_t>(right.begin - left.end) == length &&
         std::equal(left.end, right.begin, separator.text);
}

// How many numbers make up the first field. Groups have three digits, the inner ones at times two.
uint32_t runsOfFirstField(const Runs& runs, uint32_t wanted) {
  if (runs.count() <= wanted || runs.count() == kMaxNumbers) return 1;
  const uint32_t joints = runs.count() - wanted;
  if (runs[0].digits() > kDigitsPerGroup || runs[joints].digits() != kDigitsPerGroup) return 1;
  for (uint32_t i = 0; i < joints; ++i) {
    const size_t digits = runs[i + 1].digits();
    if (!isJoint(runs[i], runs[i + 1]) || digits < kDigitsPerGroup - 1 || digits > kDigitsPerGroup) return 1;
  }
  return joints + 1;
}

const WCHAR* endOf(const WCHAR* text) {
  while (*text) ++text;
  return text;
}

}  // namespace

Fields readFields(const WCHAR* text, uint32_t wanted, FirstField first) {
  const Runs runs(text);
  Fields fields;
  fields.separated = runs.separated();
  fields.end = text;
  const uint32_t joined = first == FirstField::grouped ? runsOfFirstField(runs, wanted) : 1;
  uint32_t next = 0;
  while (next < runs.count() && fields.count < wanted) {
    const uint32_t last = fields.count == 0 ? joined - 1 : next;
    int64_t value = 0;
    for (; next <= last; ++next) value = append(value, runs[next]);
    fields.fields[fields.count++] = {static_cast<int32_t>(std::min(value, kMaxValue)),
                                     thousandthsOf(runs[last])};
    fields.end = runs[last].end;
  }
  if (next >= runs.count()) fields.end = endOf(fields.end);
  return fields;
}

}  // namespace qv::time
