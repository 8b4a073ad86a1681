// The locale of the stub: English, and nothing of the user's own. The toolkit's locale operations stand on a
// library whose name holds its version, so that a program that needs it runs on few systems but the one it
// was built on; these take their place in the link.
#include "qv/platform/linux/locale_rows.h"
#include "qv/platform/locale.h"

namespace {

constexpr LCID kEnglish = 0x0409;

}  // namespace

namespace qv {

bool readLocaleFacts(LCID, LocaleFacts&) {
  return false;
}
LCID lcidOfLocaleName(const WCHAR*) {
  return 0;
}

}  // namespace qv

int GetLocaleInfoW(LCID, LCTYPE, LPWSTR, int) {
  SetLastError(ERROR_INVALID_PARAMETER);
  return 0;
}
LCID GetUserDefaultLCID() {
  return kEnglish;
}
LCID GetSystemDefaultLCID() {
  return kEnglish;
}
LANGID GetUserDefaultUILanguage() {
  return kEnglish;
}
LCID ConvertDefaultLocale(LCID) {
  return kEnglish;
}
LCID GetThreadLocale() {
  return kEnglish;
}
BOOL SetThreadLocale(LCID locale) {
  return locale == kEnglish;
}
