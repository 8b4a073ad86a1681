#include "qv/lang/lang.h"

#include <algorithm>
#include <cstring>

#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"
#include "qv/platform/detail/alloc_seam.h"

namespace qv {

HQVLANG kernelLanguage = nullptr;
const WCHAR kEmptyText[1] = {};

namespace {

constexpr HRESULT kAlreadyOpen = 0x0004e001;
constexpr uint32_t kDefaultRing = 8192;
constexpr uint32_t kSmallestRing = 2048;
constexpr uint32_t kRingReserve = 1024;
constexpr LCID kEnglishLcid = 1033;
constexpr LCID kJapaneseLcid = 1041;

enum PrimaryLanguage : uint32_t {
  kArabic = 1,
  kChinese = 4,
  kGerman = 7,
  kEnglish = 9,
  kSpanish = 10,
  kFrench = 12,
  kHebrew = 13,
  kJapanese = 17,
  kKorean = 18,
  kPolish = 21,
  kPortuguese = 22,
  kRussian = 25,
  kUrdu = 32,
  kPersian = 41,
};

constexpr uint64_t kRightToLeft =
    uint64_t{1} << kArabic | uint64_t{1} << kHebrew | uint64_t{1} << kUrdu | uint64_t{1} << kPersian;
static_assert(kRightToLeft == 0x20100002002);

uint32_t primaryOf(LCID lcid) {
  return lcid & 0x3ff;
}

bool isRightToLeft(LCID lcid) {
  const uint32_t primary = primaryOf(lcid);
  return primary < 42 && (kRightToLeft >> primary & 1) != 0;
}

HRESULT createRing(HQVLANG language, uint32_t characters) {
  language->ringSize = characters == 0 ? kDefaultRing : std::max(characters, kSmallestRing);
  language->ringReserve = kRingReserve;
  language->ring =
      static_cast<WCHAR*>(platform::globalAlloc(GPTR, SIZE_T{language->ringSize} * sizeof(WCHAR)));
  return language->ring == nullptr ? E_OUTOFMEMORY : S_OK;
}

// The language module stands beside the main instance under its name with the extension LNG. Programs have no
// extension on every system: a dot that belongs to a folder is none.
HMODULE loadLanguageModule(HMODULE instance) {
  WCHAR path[MAX_PATH + 5] = {};
  const DWORD length = GetModuleFileNameW(instance, path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) return nullptr;
  WCHAR* extension = path + length;
  for (WCHAR* at = path + length; at != path && at[-1] != '\\'; --at) {
    if (at[-1] != '.') continue;
    extension = at - 1;
    break;
  }
  std::copy_n(TEXT(".LNG"), 5, extension);
  return LoadLibraryW(path);
}

void* commonControlsProcedure(const char* name) {
  const HMODULE module = LoadLibraryW(TEXT("comctl32.dll"));
  return module == nullptr ? nullptr : reinterpret_cast<void*>(GetProcAddress(module, name));
}

void emptyCache(HQVLANG language) {
  const LanguageLock lock(language);
  if (language->stringCache != nullptr) QvList_DeleteList(language->stringCache, 0, -1, 0);
}

void setLcid(HQVLANG language, LCID lcid) {
  if (language->lcid == lcid) return;
  language->lcid = lcid;
  language->slot = 0;
  emptyCache(language);
}

int32_t copyText(const WCHAR* source, WCHAR* text, int32_t capacity) {
  if (text == nullptr || capacity < 1) return 0;
  lstrcpynW(text, source, capacity);
  return lstrlenW(text);
}

struct HelpLanguage {
  uint32_t primary;
  const WCHAR* code;
};

// One code a language: on-line help came in one Chinese and one Portuguese.
constexpr HelpLanguage kHelpLanguages[] = {
    {kChinese, TEXT("zh-CN")}, {kGerman, TEXT("de-DE")},     {kSpanish, TEXT("es-ES")},
    {kFrench, TEXT("fr-FR")},  {kJapanese, TEXT("ja-JP")},   {kKorean, TEXT("ko-KR")},
    {kPolish, TEXT("pl-PL")},  {kPortuguese, TEXT("pt-BR")}, {kRussian, TEXT("ru-RU")},
};

}  // namespace
}  // namespace qv

using namespace qv;

HRESULT QvLang_Open(HQVLANG* out, HMODULE instance, LCID lcid, uint32_t ringSize) {
  if (*out != nullptr) return kAlreadyOpen;
  const auto language = static_cast<HQVLANG>(platform::globalAlloc(GPTR, sizeof(HQVLANG__)));
  if (language == nullptr) return E_OUTOFMEMORY;
  if (const HRESULT status = createRing(language, ringSize); FAILED(status)) {
    QvLang_Close(language);
    return status;
  }
  const HRESULT status = QvList_CreateExZ(&language->stringCache, 8, 0, 0, 0x40000002, 0, 0, 0);
  if (FAILED(status)) return status;
  language->lcid = lcid;
  language->mainInstance = instance;
  const HMODULE module = loadLanguageModule(instance);
  language->languageInstance = module != nullptr ? module : instance;
  InitializeCriticalSection(&language->lock);
  language->lockReady = 1;
  *out = language;
  return S_OK;
}

HRESULT QvLang_Close(HQVLANG language) {
  if (language == nullptr) return S_OK;
  if (language->lockReady) DeleteCriticalSection(&language->lock);
  if (language->languageInstance != language->mainInstance) FreeLibrary(language->languageInstance);
  if (language->ring != nullptr) GlobalFree(language->ring);
  QvList_Destroy(language->stringCache);
  GlobalFree(language);
  return S_OK;
}

LCID QvLang_GetLCID(HQVLANG language) {
  return language == nullptr ? 0 : language->lcid;
}

int32_t QvLang_UpdateKernelLCID(HQVLANG language, LCID lcid, uint32_t) {
  if (language == nullptr || kernelLanguage == nullptr) return 0;
  const LCID wanted = lcid == 0 ? kEnglishLcid : lcid;
  setLcid(language, wanted);
  setLcid(kernelLanguage, wanted);
  language->languageActive = QvLang_IsLCIDEnglish(wanted) ? 0 : 1;
  kernelLanguage->languageActive = language->languageActive;
  if (isRightToLeft(wanted)) {
    QvLang_EnableProcessMirroring();
  } else {
    QvLang_DisableProcessMirroring();
  }
  return 1;
}

void QvLang_UpdateThreadLocale(HQVLANG language) {
  using InitMuiLanguage = void(WINAPI*)(LANGID);
  static const auto initMuiLanguage =
      reinterpret_cast<InitMuiLanguage>(commonControlsProcedure("InitMUILanguage"));
  const LCID lcid = QvLang_GetLCID(language);
  SetThreadLocale(lcid);
  if (initMuiLanguage != nullptr) initMuiLanguage(LOWORD(lcid));
}

int32_t QvLang_ChangeLangInst(HQVLANG language, HMODULE module) {
  if (language == nullptr || kernelLanguage == nullptr) return 0;
  if (module == nullptr) return 1;
  language->languageInstance = module;
  kernelLanguage->languageInstance = module;
  return 1;
}

HMODULE QvLang_InstFromLang(HQVLANG language) {
  if (language == nullptr) return nullptr;
  const bool active = language->languageInstance != nullptr && language->languageActive != 0;
  return active ? language->languageInstance : language->mainInstance;
}

LCID QvLang_GetConditionedLCID(LCID lcid) {
  constexpr LCID kTraditional = 0x0404;
  constexpr LCID kSimplified = 0x0804;
  const uint32_t primary = primaryOf(lcid);
  const uint32_t sub = (lcid & 0xffff) >> 10;
  if (primary == kPortuguese) return lcid;
  if (primary == kChinese) return sub == 1 || sub == 3 || sub == 5 ? kTraditional : kSimplified;
  return primary | 0x400;
}

int32_t QvLang_IsLCIDEnglish(LCID lcid) {
  return primaryOf(lcid) == kEnglish ? 1 : 0;
}

int32_t QvLang_GetLangAbbrev(HQVLANG language, WCHAR* text, int32_t capacity) {
  if (language == nullptr) return 0;
  const LCID lcid = QvLang_GetConditionedLCID(language->lcid);
  if (GetLocaleInfoW(lcid, LOCALE_SABBREVLANGNAME, text, capacity) > 0) return 1;
  if (capacity > 0) text[0] = 0;
  return 0;
}

int32_t QvLang_GetLangllCC(HQVLANG language, WCHAR* text, int32_t capacity) {
  const uint32_t primary = primaryOf(QvLang_GetLCID(language));
  for (const HelpLanguage& help : kHelpLanguages) {
    if (help.primary != primary) continue;
    copyText(help.code, text, capacity);
    return 0;
  }
  copyText(kEmptyText, text, capacity);
  return 1;
}

int32_t QvLang_UseRTL(HQVLANG language) {
  return isRightToLeft(QvLang_GetLCID(language)) ? 1 : 0;
}

int32_t QvLang_EnableProcessMirroring() {
  return SetProcessDefaultLayout(1);
}

int32_t QvLang_DisableProcessMirroring() {
  return SetProcessDefaultLayout(0);
}

int32_t QvLang_LocalizeUserName(HQVLANG language, const WCHAR* given, const WCHAR* family, WCHAR* text,
                                int32_t capacity) {
  const bool reversed = QvLang_IsNameOrderReversed(language) != 0;
  const int32_t first = copyText(reversed ? family : given, text, capacity);
  const int32_t blank = first + copyText(TEXT(" "), text + first, capacity - first);
  return blank + copyText(reversed ? given : family, text + blank, capacity - blank);
}

int32_t QvLang_IsNameOrderReversed(HQVLANG language) {
  return QvLang_GetLCID(language) == kJapaneseLcid ? 1 : 0;
}

WCHAR* QvGetTempStringBuffer(HQVLANG language, uint32_t characters) {
  if (language == nullptr || language->ring == nullptr) return nullptr;
  const LanguageLock lock(language);
  if (language->ringPosition > language->ringSize - language->ringReserve) language->ringPosition = 0;
  WCHAR* text = language->ring + language->ringPosition;
  if (characters == 0) text[0] = 0;
  language->ringPosition += (language->ringPosition + 2 + characters) & ~1u;
  return text;
}

const WCHAR* QvGetPrintFromWideString(HQVLANG language, const WCHAR* text) {
  return language == nullptr || language->ring == nullptr ? kEmptyText : text;
}

const WCHAR* QvGetWideFromPrintString(HQVLANG language, const WCHAR* text) {
  return QvGetPrintFromWideString(language, text);
}

const char* QvGetMultiByteFromPrintString(HQVLANG language, const WCHAR* text) {
  static const char empty[1] = {};
  const int32_t length = text == nullptr ? 0 : lstrlenW(text);
  if (length == 0) return empty;
  const int32_t characters = length * 2 + 2;
  const auto buffer =
      reinterpret_cast<char*>(QvGetTempStringBuffer(language, static_cast<uint32_t>(characters)));
  if (buffer == nullptr) return empty;
  // Double-byte pages need no more than `characters` bytes. UTF-8 may, and there are twice as many.
  const int capacity = characters * static_cast<int>(sizeof(WCHAR));
  const int written = WideCharToMultiByte(CP_ACP, 0, text, -1, buffer, capacity, nullptr, nullptr);
  if (written <= 0) buffer[0] = 0;
  if (written < characters) buffer[characters - 1] = 0;
  return buffer;
}

const WCHAR* QvGetPrintFromMultiByteString(HQVLANG language, const char* text) {
  const size_t length = text == nullptr ? 0 : strlen(text);
  if (length == 0) return kEmptyText;
  WCHAR* buffer = QvGetTempStringBuffer(language, static_cast<uint32_t>(length));
  if (buffer == nullptr) return kEmptyText;
  const int capacity = static_cast<int>(length) + 1;
  const int written = MultiByteToWideChar(CP_ACP, MB_PRECOMPOSED, text, -1, buffer, capacity);
  if (written < 2) buffer[0] = 0;
  return buffer;
}
