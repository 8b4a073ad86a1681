// Dialogs by the handle's language, and their sizes in pixels.
#include <atomic>
#include <cstring>

#include "qv/lang/detail/resources.h"
#include "qv/lang/detail/template_reader.h"

namespace qv {
namespace {

constexpr int32_t kNormalFont = 100;
constexpr int32_t kDotsOfPlainScreen = 96;
constexpr SIZE kUnitsWithoutScreen = {6, 13};  // 8 points of the stock face at 96 dots an inch

const WCHAR* const kLetters = TEXT("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz");
constexpr int32_t kLetterCount = 52;

std::atomic<InterfaceUnits> knownUnits{nullptr};

const DLGTEMPLATE* templateOf(const ResourceBytes& bytes) {
  return reinterpret_cast<const DLGTEMPLATE*>(bytes.data);
}

// The dialog that a module of its own stands back for: the same one's English.
ResourceBytes englishDialog(HQVLANG language, const WCHAR* name) {
  return resourceIn(mainInstanceOf(language), name, RT_DIALOG, kEnglishResources);
}

bool isPlainScreen() {
  const HDC screen = GetDC(nullptr);
  const int dots = GetDeviceCaps(screen, LOGPIXELSX);
  ReleaseDC(nullptr, screen);
  return dots == kDotsOfPlainScreen;
}

int32_t measureDialog(HQVLANG language, const WCHAR* name, DLGPROC procedure, LPARAM parameter, SIZE* size) {
  const ScreenResourceCalls& calls = screenResourceCalls();
  const HWND dialog = QvCreateDialogParam(language, name, calls.desktop(), procedure, parameter);
  if (dialog == nullptr) return 0;
  RECT place = {};
  const bool known = calls.windowRect(dialog, &place) != 0;
  calls.destroyWindow(dialog);
  if (!known) return 0;
  *size = {place.right - place.left, place.bottom - place.top};
  return 1;
}

}  // namespace

void setInterfaceUnits(InterfaceUnits units) {
  knownUnits.store(units);
}

SIZE interfaceUnits(int32_t font) {
  if (const InterfaceUnits units = knownUnits.load()) return units(font);
  int32_t width = 0, height = 0;
  if (!QvGetDialogUnitsForFont(TEXT("MS Shell Dlg"), 8, 400, 1, false, &width, &height))
    return kUnitsWithoutScreen;
  return {width, height};
}

// The language module's template first, then the main one's: by name, or the English one where both are one
// module. `refused`: what a call gives that showed nothing.
template <typename Result, typename Show, typename ShowByName>
static Result showNamed(HQVLANG language, const WCHAR* name, Show show, ShowByName showByName, Result refused,
                        HWND parent, DLGPROC procedure, LPARAM parameter) {
  const HMODULE main = mainInstanceOf(language);
  if (const ResourceBytes own = resourceOfLanguage(language, name, RT_DIALOG); own.data != nullptr) {
    const Result shown = show(language->languageInstance, templateOf(own), parent, procedure, parameter);
    if (shown != refused) return shown;
  }
  if (!isOneModule(language)) return showByName(main, name, parent, procedure, parameter);
  const ResourceBytes english = englishDialog(language, name);
  return english.data != nullptr ? show(main, templateOf(english), parent, procedure, parameter) : refused;
}

SIZE dialogPixels(int32_t cx, int32_t cy, int32_t unitWidth, int32_t unitHeight) {
  SIZE units = {unitWidth, unitHeight};
  if (unitWidth == 0 || unitHeight == 0) units = interfaceUnits(kNormalFont);
  return {MulDiv(cx, units.cx, 4), MulDiv(cy, units.cy, 8)};
}

}  // namespace qv

using namespace qv;

HWND QvCreateDialogParam(HQVLANG language, const WCHAR* name, HWND parent, DLGPROC procedure,
                         LPARAM parameter) {
  const ScreenResourceCalls& calls = screenResourceCalls();
  return showNamed(language, name, calls.createDialog, calls.createNamedDialog, HWND{}, parent, procedure,
                   parameter);
}

HWND QvCreateDialogIndirectParam(HQVLANG language, const DLGTEMPLATE* dialog, HWND parent, DLGPROC procedure,
                                 LPARAM parameter) {
  if (dialog == nullptr) return nullptr;
  return screenResourceCalls().createDialog(QvLang_InstFromLang(language), dialog, parent, procedure,
                                            parameter);
}

INT_PTR QvDialogBoxParam(HQVLANG language, const WCHAR* name, HWND parent, DLGPROC procedure,
                         LPARAM parameter) {
  const ScreenResourceCalls& calls = screenResourceCalls();
  return showNamed(language, name, calls.runDialog, calls.runNamedDialog, INT_PTR{-1}, parent, procedure,
                   parameter);
}

INT_PTR QvDialogBoxIndirectParam(HQVLANG language, const DLGTEMPLATE* dialog, HWND parent, DLGPROC procedure,
                                 LPARAM parameter) {
  if (dialog == nullptr) return -1;
  return screenResourceCalls().runDialog(QvLang_InstFromLang(language), dialog, parent, procedure, parameter);
}

bool QvGetDialogUnitsForFont(const WCHAR* face, int32_t points, int32_t weight, uint8_t charset, bool italic,
                             int32_t* width, int32_t* height) {
  FontMeasure measure;
  *width = *height = 0;
  if (!screenResourceCalls().measureFont({face, points, weight, charset, italic}, kLetters, &measure))
    return false;
  *width = (measure.extent + kLetterCount / 2) / kLetterCount;
  *height = measure.height + measure.externalLeading;
  return *width > 0 && *height > 0;
}

int32_t QvGetDialogSizeIndirect(HQVLANG, const DLGTEMPLATE* dialog, SIZE* size) {
  TemplateReader reader(dialog);
  const TemplateHead head = reader.takeHead();
  int32_t width = 0, height = 0;
  if (head.hasFont()) {
    for (int field = 0; field < 3; ++field) reader.takeName();  // menu, class, title
    TemplateFont font = reader.takeFont(head);
    QvGetDialogUnitsForFont(font.face, font.points, font.weight, font.charset, font.italic != 0, &width,
                            &height);
  }
  *size = dialogPixels(head.cx, head.cy, width, height);
  return 1;
}

int32_t QvGetDialogSize(HQVLANG language, uint32_t number, DLGPROC procedure, LPARAM parameter, SIZE* size) {
  const WCHAR* name = MAKEINTRESOURCEW(number);
  if (!QvLang_IsLCIDEnglish(GetUserDefaultUILanguage()) || !isPlainScreen())
    return measureDialog(language, name, procedure, parameter, size);
  uint32_t bytes = 0;
  const HGLOBAL loaded = QvLoadResourceCustom(language, name, RT_DIALOG, &bytes);
  if (loaded == nullptr || bytes < sizeof(DLGTEMPLATE)) return 0;
  return QvGetDialogSizeIndirect(language, static_cast<const DLGTEMPLATE*>(LockResource(loaded)), size);
}
