// The order in which modules are asked for a resource.
#include "qv/lang/resources.h"

#include <initializer_list>

#include "qv/lang/detail/resources.h"
#include "qv/platform/exceptions.h"

namespace qv {
namespace {

constexpr uintptr_t kFirstSystemCursor = 32512;

// Windows gives a resource as an address inside its module, and loading it from another one would give bytes
// of something else.
bool holds(HMODULE module, HRSRC found) {
  MEMORY_BASIC_INFORMATION pages;
  if (module == nullptr) module = GetModuleHandleW(nullptr);
  return VirtualQuery(found, &pages, sizeof pages) != 0 && pages.AllocationBase == module;
}

HMODULE instanceOf(HQVLANG language, HRSRC found) {
  const HMODULE main = mainInstanceOf(language);
  return languageInForce(language) && !holds(main, found) ? language->languageInstance : main;
}

HRSRC findInLanguage(HQVLANG language, const WCHAR* name, const WCHAR* type) {
  if (!languageInForce(language)) return nullptr;
  return FindResourceExW(language->languageInstance, type, name, LOWORD(language->lcid));
}

HMODULE pictureInstance(HQVLANG language) {
  const HMODULE main = mainInstanceOf(language);
  return main != nullptr ? main : GetModuleHandleW(nullptr);
}

}  // namespace

ResourceBytes resourceIn(HMODULE module, const WCHAR* name, const WCHAR* type, uint16_t resourceLanguage) {
  const HRSRC found = FindResourceExW(module, type, name, resourceLanguage);
  const HGLOBAL loaded = found == nullptr ? nullptr : LoadResource(module, found);
  if (loaded == nullptr) return {};
  return {static_cast<const uint8_t*>(LockResource(loaded)), SizeofResource(module, found), loaded};
}

ResourceBytes resourceOfLanguage(HQVLANG language, const WCHAR* name, const WCHAR* type) {
  if (!languageInForce(language)) return {};
  return resourceIn(language->languageInstance, name, type, LOWORD(language->lcid));
}

}  // namespace qv

using namespace qv;

HRSRC QvFindResource(HQVLANG language, const WCHAR* name, const WCHAR* type) {
  const HRSRC found = findInLanguage(language, name, type);
  return found != nullptr ? found : FindResourceW(mainInstanceOf(language), name, type);
}

HRSRC QvFindResourceMulti(HQVLANG language, const WCHAR* name, const WCHAR* const* types, int32_t count,
                          int32_t* index) {
  for (const bool own : {true, false}) {
    for (int32_t i = 0; i < count; ++i) {
      const HRSRC found = own ? findInLanguage(language, name, types[i])
                              : FindResourceW(mainInstanceOf(language), name, types[i]);
      if (found == nullptr) continue;
      if (index != nullptr) *index = i;
      return found;
    }
  }
  return nullptr;
}

HGLOBAL QvLoadResource(HQVLANG language, HRSRC found) {
  if (found == nullptr) return nullptr;
  const HGLOBAL loaded = LoadResource(instanceOf(language, found), found);
  return loaded != nullptr ? loaded : LoadResource(mainInstanceOf(language), found);
}

uint32_t QvSizeofResource(HQVLANG language, HRSRC found) {
  return found == nullptr ? 0 : SizeofResource(instanceOf(language, found), found);
}

HGLOBAL QvLoadResourceCustom(HQVLANG language, const WCHAR* name, const WCHAR* type, uint32_t* size) {
  ResourceBytes bytes = resourceOfLanguage(language, name, type);
  if (bytes.handle == nullptr) {
    const uint16_t wanted = isOneModule(language) ? kEnglishResources : 0;
    bytes = resourceIn(mainInstanceOf(language), name, type, wanted);
  }
  if (bytes.handle != nullptr && size != nullptr) *size = bytes.size;
  return bytes.handle;
}

HMODULE QvFindResInstance(HQVLANG language, const WCHAR* name, const WCHAR* type) {
  return findInLanguage(language, name, type) != nullptr ? language->languageInstance
                                                         : mainInstanceOf(language);
}

HACCEL QvLoadAccelerators(HQVLANG language, const WCHAR* name) {
  const ResourceBytes keys = resourceOfLanguage(language, name, RT_ACCELERATOR);
  if (keys.size >= sizeof(ACCEL)) {
    ACCEL first = *reinterpret_cast<const ACCEL*>(keys.data);
    if (const HACCEL table = CreateAcceleratorTableW(&first, 1)) return table;
  }
  return LoadAcceleratorsW(mainInstanceOf(language), name);
}

HBITMAP QvLoadBitmap(HQVLANG language, const WCHAR* name) {
  return screenResourceCalls().loadBitmap(pictureInstance(language), name);
}

HICON QvLoadIcon(HQVLANG language, const WCHAR* name) {
  return screenResourceCalls().loadIcon(pictureInstance(language), name);
}

HCURSOR QvLoadCursor(HQVLANG language, const WCHAR* name) {
  const auto number = reinterpret_cast<uintptr_t>(name);
  const bool systems = language == nullptr && IS_INTRESOURCE(name) && number >= kFirstSystemCursor;
  return LoadCursorW(systems ? nullptr : pictureInstance(language), name);
}

HANDLE QvLoadImage(HQVLANG language, const WCHAR* name, uint32_t kind, int32_t width, int32_t height,
                   uint32_t flags) {
  return screenResourceCalls().loadImage(pictureInstance(language), name, kind, width, height, flags);
}

HIMAGELIST QvImageList_LoadImage(HQVLANG language, const WCHAR* name, int32_t width, int32_t grow,
                                 COLORREF mask, uint32_t kind, uint32_t flags) {
  return screenResourceCalls().loadImageList(pictureInstance(language), name, width, grow, mask, kind, flags);
}
