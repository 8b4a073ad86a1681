// What writers and readers of positions share.
#pragma once

#include "qv/time/positions.h"

namespace qv::time {

inline constexpr double kSecondsPerUnit = 1e-7;
inline constexpr double kUnitsPerSecond = 1e7;
inline constexpr int32_t kPositionFormats = 20;

constexpr bool isKnown(int32_t format) {
  return format >= 0 && format < kPositionFormats;
}

// The timecode format that a position format shows; 0 for those that show none.
constexpr uint32_t smpteFormatOf(int32_t format) {
  switch (format) {
    case kPositionSmpte2997:
      return kSmpte2997;
    case kPositionSmpte30:
      return kSmpte30;
    case kPositionSmpte2997Drop:
      return kSmpte2997Drop;
    case kPositionSmpte25:
      return kSmpte25;
    case kPositionSmpte24:
      return kSmpte24;
    case kPositionSmpte23976:
      return kSmpte23976;
    default:
      return 0;
  }
}

inline constexpr double kTime75Rate = 75;
inline constexpr int64_t kFramesPerFoot40 = 40;
inline constexpr int64_t kFramesPerFoot16 = 16;

}  // namespace qv::time
