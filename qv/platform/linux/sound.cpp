#include "qv/platform/sound.h"

BOOL sndPlaySoundW(LPCWSTR, UINT) {
  return FALSE;
}
