// System sounds.
//
//   sndPlaySoundW(TEXT("SystemAsterisk"), SND_ASYNC);
//
// Outside Windows there is no scheme of system sounds: nothing plays, and the answer is false, as it is on a
// Windows machine without a sound device.
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <mmsystem.h>

#else

constexpr UINT SND_ASYNC = 1;

// Plays a sound of the scheme by name; with SND_ASYNC it returns at once. True if it plays.
QV_API BOOL sndPlaySoundW(LPCWSTR name, UINT flags);

#endif
