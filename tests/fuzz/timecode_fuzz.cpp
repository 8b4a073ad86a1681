// Any text reads as a label, and any numbers convert: fields stay in their ranges, what is written as text
// reads back, counts and times turned into labels and back stay what they were, and sums undo each other.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "qv/time/smpte.h"

namespace {

using Text = std::basic_string<WCHAR>;

void require(bool condition) {
  if (!condition) abort();
}

bool same(const _smpteval& a, const _smpteval& b) {
  return QVSMPTE_SMPTECompare(&a, &b) == 0;
}

_smpteval labelOf(uint32_t format, uint32_t count) {
  _smpteval value = {format, 0, 0, 0, 0, 0};
  QVSMPTE_FrameCountToSMPTE(&value, count);
  return value;
}

bool isValid(uint32_t format) {
  return format >= kSmpte30 && format <= kSmpte23976;
}

void requireInRange(const _smpteval& value) {
  const uint32_t base = value.format == kSmpte25                                  ? 25
                        : value.format == kSmpte24 || value.format == kSmpte23976 ? 24
                                                                                  : 30;
  require(value.hours < 24 && value.minutes < 60 && value.seconds < 60 && value.frames < base);
}

Text textOf(const _smpteval& value) {
  Text text;
  for (const uint32_t field : {value.hours, value.minutes, value.seconds, value.frames}) {
    text += static_cast<WCHAR>(TEXT('0') + field / 10);
    text += static_cast<WCHAR>(TEXT('0') + field % 10);
    text += TEXT(':');
  }
  text.pop_back();
  return text;
}

void checkText(uint32_t format, const Text& text) {
  _smpteval value = {format, 1, 2, 3, 4, 5};
  const WCHAR stopped = QVSMPTE_TextToSMPTE(text.c_str(), &value);
  require((stopped == 0 || stopped == TEXT(' ')) && value.format == format && value.reserved == 0);
  if (!isValid(format)) {
    require(value.hours < 100 && value.minutes < 100 && value.seconds < 100 && value.frames < 100);
    return;
  }
  requireInRange(value);
  _smpteval again = {format, 0, 0, 0, 0, 0};
  require(QVSMPTE_TextToSMPTE(textOf(value).c_str(), &again) == 0 && same(value, again));
}

void checkCounts(uint32_t format, uint32_t a, uint32_t b) {
  const _smpteval first = labelOf(format, a), second = labelOf(format, b);
  requireInRange(
      {isValid(format) ? format : kSmpte30, first.hours, first.minutes, first.seconds, first.frames, 0});
  if (!isValid(format)) return;
  require(same(labelOf(format, QVSMPTE_SMPTEToFrameCount(&first)), first));
  _smpteval sum = first;
  QVSMPTE_AddSMPTE(&sum, &second);
  QVSMPTE_SubtractSMPTE(&sum, &second);
  require(same(sum, first));
  _smpteval later = first;
  QVSMPTE_IncrementByFrame(&later, b);
  require(same(later, labelOf(format, QVSMPTE_SMPTEToFrameCount(&first) + 1)));
  _smpteval timed = {format, 0, 0, 0, 0, 0};
  QVSMPTE_NanoToSMPTE(QVSMPTE_SMPTEToNanos(&first), &timed);
  require(same(timed, first));
}

// Fields that no reader gives; whatever they are, nothing may trap.
void checkRaw(const _smpteval& raw, const _smpteval& other, int64_t nanos, double rate) {
  _smpteval value = raw;
  QVSMPTE_SMPTEToFrameCount(&value);
  QVSMPTE_SMPTEToNanos(&value);
  QVSMPTE_SmpteLikeToNanos(rate, &value);
  QVSMPTE_AddSMPTE(&value, &other);
  value = raw;
  QVSMPTE_SubtractSMPTE(&value, &other);
  value = raw;
  QVSMPTE_IncrementByFrame(&value, 0);
  QVSMPTE_DeccrementByFrame(&value, 0);
  QVSMPTE_NanoToSMPTE(nanos, &value);
  require(value.hours < 24 && value.minutes < 60 && value.seconds < 60 && value.frames < 30);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  struct Head {
    _smpteval first, second;
    int64_t nanos;
    double rate;
  } head;
  if (size < sizeof head) return 0;
  std::memcpy(&head, data, sizeof head);
  const uint32_t format = head.first.format % 8;
  Text text;
  for (size_t i = sizeof head; i < size && data[i]; ++i) text += data[i];
  checkText(format, text);
  checkCounts(format, head.first.hours, head.first.minutes);
  checkRaw(head.first, head.second, head.nanos, head.rate);
  head.first.format = format;
  checkRaw(head.first, head.second, head.nanos, head.rate);
  return 0;
}
