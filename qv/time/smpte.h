// SMPTE timecode: frame counts, nano times and labels of hours, minutes, seconds and frames.
//
//   _smpteval label = {kSmpte2997Drop};
//   QVSMPTE_FrameCountToSMPTE(&label, 1800);                   // 00:01:00:02, two labels were skipped
//   uint32_t count = QVSMPTE_SMPTEToFrameCount(&label);        // 1800 again
//   QVSMPTE_TextToSMPTE(TEXT("01020304"), &label);             // 01:02:03:04
//
// Nano time counts units of 100 nanoseconds, 10,000,000 to the second. Drop frame skips labels, not frames:
// at 29.97 frames a second the labels 00 and 01 are left out at the start of each minute but every tenth, so
// that the label keeps to the clock. A label stays the same label when it is turned into a time and back.
//
// Records are the caller's and not null; there is no state, and any thread may call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qv/api.h"
#include "qv/platform/base.h"

// A label. Any other format than the six below is invalid; each operation says what it makes of one.
struct _smpteval {
  uint32_t format;  // a kSmpte value
  uint32_t hours;   // 0 to 23
  uint32_t minutes;
  uint32_t seconds;
  uint32_t frames;    // 0 to the frame base - 1
  uint32_t reserved;  // cleared when a text is read, else untouched
};
static_assert(sizeof(_smpteval) == 24);
static_assert(offsetof(_smpteval, hours) == 4 && offsetof(_smpteval, minutes) == 8);
static_assert(offsetof(_smpteval, seconds) == 12 && offsetof(_smpteval, frames) == 16);
static_assert(offsetof(_smpteval, reserved) == 20);

inline constexpr uint32_t kSmpte30 = 1;
inline constexpr uint32_t kSmpte2997Drop = 2;
inline constexpr uint32_t kSmpte25 = 3;
inline constexpr uint32_t kSmpte24 = 4;
inline constexpr uint32_t kSmpte2997 = 5;
inline constexpr uint32_t kSmpte23976 = 6;

// The label of a frame. Counts wrap around after 24 hours; an invalid format is labelled as drop frame.
QV_API void QVSMPTE_FrameCountToSMPTE(_smpteval* value, uint32_t count);

// The frame of a label; 0 for an invalid format. A label that drop frame skips counts as frame 2 of its
// second.
QV_API uint32_t QVSMPTE_SMPTEToFrameCount(const _smpteval* value);

// The time of a label, rounded up to a whole unit. An invalid format gives 0.
QV_API int64_t QVSMPTE_SMPTEToNanos(const _smpteval* value);

// The label of the frame that is on at a time. Times wrap around at midnight, those before it too; an invalid
// format counts 30 frames a second and labels them as drop frame.
QV_API void QVSMPTE_NanoToSMPTE(int64_t nanos, _smpteval* value);

// The time of a label at a free rate, rounded up to a whole unit; the record's format is not looked at.
//   frameRate  frames per second, above 0; 0 gives the largest time, or 0 for a label of zeros
QV_API int64_t QVSMPTE_SmpteLikeToNanos(double frameRate, const _smpteval* value);

// Reads up to four numbers with anything between them. A run of digits is cut into pairs from the right; a
// short text fills from the right ("12:34" is 12 seconds and 34 frames); a separator behind the last number
// stands for a field of zero. What exceeds a field carries into the next if the format is valid.
//   text   not null; any length
//   value  format in; the fields out, the reserved field cleared
// Gives 0 when the text was used up, a blank when there are more than four numbers.
QV_API WCHAR QVSMPTE_TextToSMPTE(const WCHAR* text, _smpteval* value);

// a = a + b and a = a - b, as frame counts in the format of `a`; both wrap around at midnight. With an
// invalid format the fields go to zero. The records may be the same.
QV_API void QVSMPTE_AddSMPTE(_smpteval* a, const _smpteval* b);
QV_API void QVSMPTE_SubtractSMPTE(_smpteval* a, const _smpteval* b);

// -1, 0 or 1 as `a` is before, at or behind `b`, by their fields alone.
QV_API int32_t QVSMPTE_SMPTECompare(const _smpteval* a, const _smpteval* b);

// Step to a neighbouring label. Increment skips what drop frame skips. Decrement is not its exact inverse: it
// doesn't skip at the start of a minute (00:01:00:02 goes to 00:01:00:01), and a borrow from minutes adds two
// frames in the formats kSmpte2997Drop and kSmpte2997 unless it leads into a tenth minute (00:10:00:00 goes
// to 00:09:59:31). Files depend on these labels; for exact steps go through frame counts. `unused` is
// ignored.
QV_API void QVSMPTE_IncrementByFrame(_smpteval* value, uint32_t unused);
QV_API void QVSMPTE_DeccrementByFrame(_smpteval* value, uint32_t unused);
