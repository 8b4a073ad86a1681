// Positions as people read them: samples, time, measures, timecode, feet of film, and back from text.
//
//   _qvposfmt format = {};
//   format.format = kPositionMeasures;
//   format.tempo = 120, format.beatNote = 4, format.beatsPerMeasure = 4, format.ticksPerBeat = 960;
//   WCHAR text[64];
//   QvNanoTimeToTextN(text, 64, &format, 25000000, 0);                    // "2.2.000"
//   int64_t time = QvTextToNanoTimeToken(text, &format, 0, nullptr);      // 25000000 again
//
// A position is a nano time: units of 100 nanoseconds, 10,000,000 to the second. A position format says how
// it is written and at what rates. What one format writes it reads back: a position that stands on the
// format's own grid (a sample, a frame, a millisecond, a tick) as itself, any other as the grid's point that
// was shown. Beats and compact time are for display only. Hours run to 23 and start again.
//
// Text follows the user's locale, and timecode and musical separators come from the formatter's tokens.
// Records and texts are the caller's and not null unless said otherwise; any thread may call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "qv/api.h"
#include "qv/platform/base.h"
#include "qv/time/smpte.h"

struct _qvposfmt {
  int32_t format;       // a kPosition value; any other is written and read as nano time
  uint32_t sampleRate;  // samples per second
  double frameRate;     // frames per second: time and frames, frames, feet
  double tempo;         // beats per minute
  int64_t rulerOffset;  // the nano time at which the ruler reads zero
  uint16_t beatNote;    // the note that is a beat: 4 is a quarter
  uint16_t beatsPerMeasure;
  uint32_t ticksPerBeat;
};
static_assert(sizeof(_qvposfmt) == 40);
static_assert(offsetof(_qvposfmt, sampleRate) == 4 && offsetof(_qvposfmt, frameRate) == 8);
static_assert(offsetof(_qvposfmt, tempo) == 16 && offsetof(_qvposfmt, rulerOffset) == 24);
static_assert(offsetof(_qvposfmt, beatNote) == 32 && offsetof(_qvposfmt, beatsPerMeasure) == 34);
static_assert(offsetof(_qvposfmt, ticksPerBeat) == 36);

// The formats, and how each writes 1 hour, 2 minutes and 3.5 seconds at 48,000 samples and 25 frames a
// second, 120 beats a minute, 4 beats to the measure and 960 ticks to the beat.
inline constexpr int32_t kPositionSamples = 0;         // 178,728,000
inline constexpr int32_t kPositionTime = 1;            // 01:02:03.500
inline constexpr int32_t kPositionSeconds = 2;         // 3,723.500
inline constexpr int32_t kPositionTimeAndFrames = 3;   // 01:02:03.13
inline constexpr int32_t kPositionFrames = 4;          // 93,087.500
inline constexpr int32_t kPositionMeasures = 5;        // 1,862.4.000
inline constexpr int32_t kPositionSmpte2997 = 6;       // 01:01:59:23
inline constexpr int32_t kPositionSmpte30 = 7;         // 01:02:03:15
inline constexpr int32_t kPositionSmpte2997Drop = 8;   // 01:02:03;15
inline constexpr int32_t kPositionSmpte25 = 9;         // 01:02:03:12
inline constexpr int32_t kPositionSmpte24 = 10;        // 01:02:03:12
inline constexpr int32_t kPositionNanoTime = 11;       // 37,235,000,000
inline constexpr int32_t kPositionMicroseconds = 12;   // 3,723,500,000
inline constexpr int32_t kPositionMeasureLength = 13;  // 1,861.3.000
inline constexpr int32_t kPositionBeats = 14;          // 7,447.000
inline constexpr int32_t kPositionFeet40 = 15;         // 2,327+7
inline constexpr int32_t kPositionFeet16 = 16;         // 5,817+15
inline constexpr int32_t kPositionTime75 = 17;         // 01:02:03:38
inline constexpr int32_t kPositionSmpte23976 = 18;     // 01:01:59:18
inline constexpr int32_t kPositionCompactTime = 19;    // 1:02:03

// Flags of the writers and of QvTextToNanoTimeToken2.
inline constexpr uint32_t kPositionShort = 1;     // no fraction field
inline constexpr uint32_t kPositionDistance = 2;  // no ruler offset, measures and beats from 0
inline constexpr uint32_t kPositionInRange = 4;   // readers only: default and range apply

// ---- Nano time in fields ----------------------------------------------------------------------------------

// Measures, beats and ticks from 0, without the ruler offset; negative times give negative fields.
QV_API void QvNanoTimeToMeasures(int64_t nanos, const _qvposfmt* format, int32_t* measures, int32_t* beats,
                                 int32_t* ticks);

// Hours (0 to 23), minutes, seconds and frames. With a valid SMPTE format in the record, its label; otherwise
// the fields at `rate` frames per second, half a frame being added before cutting, and zeros for a negative
// time.
QV_API void QvNanoTimeToHMSF(int64_t nanos, _smpteval* value, double rate);

// The reverse. `rate` is above 0 unless the record has a valid SMPTE format.
QV_API int64_t QvHMSFToNanoTime(const _smpteval* value, double rate);

// ---- Writing ----------------------------------------------------------------------------------------------

// A position as text. The destination has room for it: 512 characters always do (64 at rates that make
// sense), but for patterns of your own.
//   shortForm  not 0: without the fraction
//   flags      kPosition flags
//   pattern    of the formatter, for the arguments that the format gives: see docs/time.md. Null: the
//              format's own. "$.0f" shows seconds, frames and beats cut down to whole ones, and so never
//              reads ahead.
// Gives the length, with the "-" of a time before zero.
QV_API int32_t QvNanoTimeToText(WCHAR* destination, const _qvposfmt* format, int64_t nanos,
                                int32_t shortForm);
QV_API int32_t QvNanoTimeToTextEx(WCHAR* destination, const _qvposfmt* format, int64_t nanos, uint32_t flags);
QV_API int32_t QvNanoTimeToTextFormat(WCHAR* destination, const _qvposfmt* format, int64_t nanos,
                                      const WCHAR* pattern, uint32_t flags);

// The same into `capacity` characters with the terminator. What doesn't fit is cut; the length is that of
// what was written. A capacity of 0 writes nothing and gives 0.
QV_API int32_t QvNanoTimeToTextN(WCHAR* destination, uint32_t capacity, const _qvposfmt* format,
                                 int64_t nanos, int32_t shortForm);
QV_API int32_t QvNanoTimeToTextExN(WCHAR* destination, uint32_t capacity, const _qvposfmt* format,
                                   int64_t nanos, uint32_t flags);
QV_API int32_t QvNanoTimeToTextFormatN(WCHAR* destination, uint32_t capacity, const _qvposfmt* format,
                                       int64_t nanos, const WCHAR* pattern, uint32_t flags);

// ---- Reading ----------------------------------------------------------------------------------------------

// A position from text, with a "-" in front for one before zero. The ruler offset is not added.
//   text       any length; leading white space is passed over
//   shortForm  not 0: the text has no fraction field
//   end        receives the place where reading stopped; may be null
// An empty text gives 0. What no time can hold gives the nearest that is read: from -2^62 to 2^61.
QV_API int64_t QvTextToNanoTimeToken(const WCHAR* text, const _qvposfmt* format, int32_t shortForm,
                                     const WCHAR** end);

// The same within a range: `fallback` for an empty text, and where nothing was read but text remains.
QV_API int64_t QvTextToNanoTimeTokenEx(const WCHAR* text, const _qvposfmt* format, int32_t shortForm,
                                       int64_t fallback, int64_t low, int64_t high, const WCHAR** end);

// The one that the two above are made of. An empty text gives `fallback` as it is; with kPositionInRange the
// result of any other lies between `low` and `high`.
QV_API int64_t QvTextToNanoTimeToken2(const WCHAR* text, const _qvposfmt* format, int64_t fallback,
                                      int64_t low, int64_t high, uint32_t flags, const WCHAR** end);

// The readers of single kinds. They take numbers with anything between them; a short text fills from the
// right, a separator at the end stands for a field of zero. No sign, no range. `end` may be null.
//   QvTextToTimeToken            milliseconds: "7" is 7000, "0:07" is 70, "1:02:03:5" is 3723500
//   QvTextToHMSFToken            nano time of hours, minutes, seconds and frames at the frame rate
//   QvTextToMusicTimeToken       nano time of measures, beats and ticks
//   QvTextToFeetAndFramesToken   nano time of feet of 40 frames, or of 16 if `forty` is 0
QV_API int64_t QvTextToTimeToken(const WCHAR* text, const _qvposfmt* format, int32_t shortForm,
                                 const WCHAR** end);
QV_API int64_t QvTextToHMSFToken(const WCHAR* text, const _qvposfmt* format, int32_t shortForm,
                                 const WCHAR** end);
QV_API int64_t QvTextToMusicTimeToken(const WCHAR* text, const _qvposfmt* format, uint32_t flags,
                                      const WCHAR** end);
QV_API int64_t QvTextToFeetAndFramesToken(const WCHAR* text, const _qvposfmt* format, int32_t forty);

// ---- Measures and ticks -----------------------------------------------------------------------------------

// Ticks as "measure.beat.tick", of the format's beat note, beats per measure and ticks per beat.
//   ticks      below 0 they borrow from the measure
//   base       1: measures and beats are counted from 1. There is no measure 0 then; negative ones stay.
//   shortForm  not 0: "measure.beat"
//   divisor    of the ticks shown; 0 counts as 1
// The destination has room for 64 characters. Gives the length.
QV_API int32_t QvTicksToText(WCHAR* destination, const _qvposfmt* format, int64_t ticks, int32_t base,
                             int32_t shortForm, int32_t divisor);
QV_API int32_t QvMeasuresAndTicksToText(WCHAR* destination, const _qvposfmt* format, int32_t measure,
                                        int64_t ticks, int32_t base, int32_t shortForm, int32_t divisor);

// The reverse: up to three numbers (two without measures) in this order, so that a short text fills from the
// left. A "-" in front makes the first of them negative.
//   base    1: measures and beats are counted from 1
//   factor  of the ticks in the total, the divisor that they were shown with
//   others  receive the fields, from 0
// Gives the total in ticks.
QV_API int64_t QvTextToMeasuresBeatsTicks(const WCHAR* text, const _qvposfmt* format, int32_t base,
                                          int32_t factor, int32_t* measures, int32_t* beats, int32_t* ticks);
QV_API int64_t QvTextToBeatsTicks(const WCHAR* text, const _qvposfmt* format, int32_t factor, int32_t* beats,
                                  int32_t* ticks);
QV_API int64_t QvTextToTicks(const WCHAR* text, const _qvposfmt* format, int32_t base, int32_t factor);
