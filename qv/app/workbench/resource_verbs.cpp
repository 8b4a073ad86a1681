// resource, menu and dialog: what a module or a compiled resource file holds.
#include <cstring>
#include <memory>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/languages.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/lang/detail/dlgtemplate.h"
#include "qv/lang/menus.h"
#include "qv/platform/resource_lists.h"

namespace qv::workbench {
namespace {

constexpr uint64_t kLargestFile = 64u << 20;
constexpr uint8_t kFileMark[] = {0, 0, 0, 0, 0x20, 0, 0, 0, 0xff, 0xff, 0, 0, 0xff, 0xff, 0, 0};

struct TypeName {
  uint16_t number;
  const WCHAR* name;
};
constexpr TypeName kTypes[] = {
    {1, TEXT("cursor")},      {2, TEXT("bitmap")},   {3, TEXT("icon")},      {4, TEXT("menu")},
    {5, TEXT("dialog")},      {6, TEXT("string")},   {7, TEXT("fontdir")},   {8, TEXT("font")},
    {9, TEXT("accelerator")}, {10, TEXT("rcdata")},  {11, TEXT("messages")}, {12, TEXT("group-cursor")},
    {14, TEXT("group-icon")}, {16, TEXT("version")}, {24, TEXT("manifest")},
};

// A name as a job writes it: a number, or a text.
const WCHAR* nameFrom(const WString& word) {
  int64_t number = 0;
  const bool isNumber = parseInteger(word, number) && number > 0 && number < 0x10000;
  return isNumber ? MAKEINTRESOURCEW(number) : word.c_str();
}

const WCHAR* typeFrom(const WString& word) {
  for (const TypeName& type : kTypes) {
    if (word == type.name) return MAKEINTRESOURCEW(type.number);
  }
  return nameFrom(word);
}

Field shownName(const WCHAR* name) {
  const auto number = reinterpret_cast<uintptr_t>(name);
  return number < 0x10000 ? Field(static_cast<uint32_t>(number)) : Field(name);
}

Field shownType(const WCHAR* type) {
  for (const TypeName& known : kTypes) {
    if (type == MAKEINTRESOURCEW(known.number)) return known.name;
  }
  return shownName(type);
}

void showResource(Session& session, const WCHAR* type, const WCHAR* name, LANGID language, uint32_t size) {
  WCHAR shown[8];
  QvCchPrintF(shown, 8, nullptr, TEXT("%04x"), uint32_t{language});
  session.record({TEXT("resource"), shownType(type), shownName(name), shown, size});
}

// ---- Modules and files ------------------------------------------------------------------------------------

// A module by path, or "self": the program.
class Module {
 public:
  Module(const Session& session, const WString& path) : own_(path != TEXT("self")) {
    handle_ = own_ ? LoadLibraryW(session.inputPath(path).c_str()) : GetModuleHandleW(nullptr);
  }
  ~Module() {
    if (own_ && handle_ != nullptr) FreeLibrary(handle_);
  }
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;
  HMODULE handle() const { return handle_; }

 private:
  bool own_;
  HMODULE handle_ = nullptr;
};

struct LanguageClose {
  void operator()(HQVLANG language) const { QvLang_Close(language); }
};
using Language = std::unique_ptr<HQVLANG__, LanguageClose>;

Language languageOf(const Module& module) {
  HQVLANG language = nullptr;
  QvLang_Open(&language, module.handle(), 0, 0);
  return Language(language);
}

// A compiled resource file, which is a pool as it lies on the disk. False for any other file.
bool readPool(const Session& session, const WString& path, std::string& bytes, _QVRESPOOL* pool) {
  if (path == TEXT("self") || FAILED(readFile(session.inputPath(path), kLargestFile, bytes))) return false;
  if (bytes.size() < sizeof kFileMark || memcmp(bytes.data(), kFileMark, sizeof kFileMark) != 0) return false;
  *pool = {0, static_cast<uint32_t>(bytes.size()), bytes.data()};
  return true;
}

HRESULT noModule(Session& session, const WString& path) {
  return session.fail(kNotFound, TEXT("This is no module that can be loaded: ") + path);
}

// ---- resource ---------------------------------------------------------------------------------------------

bool showPooled(const PoolResource& resource, void* session) {
  if (resource.type == nullptr) return true;  // the mark at the file's start
  showResource(*static_cast<Session*>(session), resource.type, resource.name, resource.language,
               resource.size);
  return true;
}

BOOL CALLBACK showLanguage(HMODULE module, LPCWSTR type, LPCWSTR name, WORD language, LONG_PTR session) {
  const HRSRC found = FindResourceExW(module, type, name, language);
  showResource(*reinterpret_cast<Session*>(session), type, name, language, SizeofResource(module, found));
  return TRUE;
}

BOOL CALLBACK showName(HMODULE module, LPCWSTR type, LPWSTR name, LONG_PTR session) {
  EnumResourceLanguagesW(module, type, name, showLanguage, session);
  return TRUE;
}

BOOL CALLBACK showType(HMODULE module, LPWSTR type, LONG_PTR session) {
  EnumResourceNamesW(module, type, showName, session);
  return TRUE;
}

HRESULT listResources(Session& session, const WString& path) {
  std::string bytes;
  _QVRESPOOL pool;
  if (readPool(session, path, bytes, &pool)) {
    forEachPoolResource(pool, showPooled, &session);
    return kOk;
  }
  const Module module(session, path);
  if (module.handle() == nullptr) return noModule(session, path);
  EnumResourceTypesW(module.handle(), showType, reinterpret_cast<LONG_PTR>(&session));
  return kOk;
}

HRESULT writeResource(Session& session, const Step& step, const void* data, uint32_t size) {
  if (data == nullptr) {
    return session.fail(kNotFound,
                        TEXT("There is no such resource: ") + step.words[3] + TEXT(" ") + step.words[4]);
  }
  const HRESULT status = writeFile(session.outputPath(step.words[5]), {static_cast<const char*>(data), size});
  if (SUCCEEDED(status))
    session.record({TEXT("resource"), shownType(typeFrom(step.words[3])), step.words[4], size});
  return status;
}

// Compilers write names in capitals; whoever looks for one need not.
const void* findPooled(const _QVRESPOOL& pool, uint32_t* size, const WCHAR* type, const WCHAR* name,
                       LCID lcid) {
  const void* data = QvFindResourceInResPool(&pool, size, name, type, lcid, nullptr);
  if (data != nullptr || reinterpret_cast<uintptr_t>(name) < 0x10000) return data;
  WString capitals = name;
  CharUpperW(capitals.data());
  return QvFindResourceInResPool(&pool, size, capitals.c_str(), type, lcid, nullptr);
}

HRESULT getResource(Session& session, const Step& step) {
  LCID lcid = 0;
  const WString* wanted = step.option(TEXT("lang"));
  if (wanted != nullptr && (!parseLcid(*wanted, lcid) || lcid > 0xffff))
    return session.fail(kInvalidArgument, TEXT("lang is the number of a language, 1033 or 0x0409."));
  const WCHAR* type = typeFrom(step.words[3]);
  const WCHAR* name = nameFrom(step.words[4]);
  std::string bytes;
  _QVRESPOOL pool;
  uint32_t size = 0;
  if (readPool(session, step.words[2], bytes, &pool)) {
    const void* data = findPooled(pool, &size, type, name, lcid);
    return writeResource(session, step, data, size);
  }
  const Module module(session, step.words[2]);
  if (module.handle() == nullptr) return noModule(session, step.words[2]);
  const HRSRC found = FindResourceExW(module.handle(), type, name, static_cast<WORD>(lcid));
  const void* data = found == nullptr ? nullptr : LockResource(LoadResource(module.handle(), found));
  return writeResource(session, step, data, found == nullptr ? 0 : SizeofResource(module.handle(), found));
}

HRESULT runResource(Session& session, const Step& step) {
  if (step.words[1] == TEXT("list") && step.words.size() == 3) return listResources(session, step.words[2]);
  if (step.words[1] == TEXT("get") && step.words.size() == 6) return getResource(session, step);
  return session.fail(kInvalidArgument, TEXT("resource takes list and a file or module, or get, a file or "
                                             "module, a type, a name and a file to write."));
}

// ---- menu -------------------------------------------------------------------------------------------------

struct MenuDestroy {
  void operator()(HMENU menu) const { DestroyMenu(menu); }
};
using Menu = std::unique_ptr<std::remove_pointer_t<HMENU>, MenuDestroy>;

WString stateOf(UINT state) {
  WString text;
  if ((state & MF_GRAYED) != 0) text += TEXT("grayed ");
  if ((state & MF_CHECKED) != 0) text += TEXT("checked ");
  if (!text.empty()) text.pop_back();
  return text;
}

void showMenu(Session& session, HMENU menu, int32_t level) {
  const int32_t count = GetMenuItemCount(menu);
  for (int32_t i = 0; i < count; ++i) {
    const UINT item = static_cast<UINT>(i);
    WCHAR text[256] = {};
    GetMenuStringW(menu, item, text, 256, MF_BYPOSITION);
    const UINT state = GetMenuState(menu, item, MF_BYPOSITION);
    if (const HMENU popup = GetSubMenu(menu, i)) {
      session.record({TEXT("popup"), level, text});
      showMenu(session, popup, level + 1);
    } else if ((state & MF_SEPARATOR) != 0) {
      session.record({TEXT("separator"), level});
    } else {
      session.record({TEXT("item"), level, text, GetMenuItemID(menu, i), stateOf(state)});
    }
  }
}

// Numbers with commas between them, and a zero at the end.
bool readCommands(WStringView text, std::vector<uint16_t>& commands) {
  while (!text.empty()) {
    const size_t comma = std::min(text.find(','), text.size());
    int64_t number = 0;
    if (!parseInteger(text.substr(0, comma), number) || number < 1 || number > 0xffff) return false;
    commands.push_back(static_cast<uint16_t>(number));
    text.remove_prefix(std::min(comma + 1, text.size()));
  }
  commands.push_back(0);
  return true;
}

HRESULT runMenu(Session& session, const Step& step) {
  std::vector<uint16_t> commands;
  const WString* cull = step.option(TEXT("cull"));
  if (step.words[1] != TEXT("show") || !readCommands(cull != nullptr ? *cull : WString(), commands))
    return session.fail(kInvalidArgument, TEXT("menu takes show, a module and a name; cull=1,2 leaves out."));
  const Module module(session, step.words[2]);
  if (module.handle() == nullptr) return noModule(session, step.words[2]);
  const Language language = languageOf(module);
  const Menu menu(QvLoadCulledMenu(language.get(), nameFrom(step.words[3]), commands.data(), -1,
                                   cull != nullptr ? 1 : 0));
  if (menu == nullptr) return session.fail(kNotFound, TEXT("There is no such menu: ") + step.words[3]);
  showMenu(session, menu.get(), 0);
  return kOk;
}

// ---- dialog -----------------------------------------------------------------------------------------------

HRESULT runDialog(Session& session, const Step& step) {
  if (step.words[1] != TEXT("size"))
    return session.fail(kInvalidArgument, TEXT("dialog takes size, a module and a name."));
  const Module module(session, step.words[2]);
  if (module.handle() == nullptr) return noModule(session, step.words[2]);
  const Language language = languageOf(module);
  const DLGTEMPLATE* dialog = nullptr;
  const uint32_t bytes = QvDialogTemplateFromRCID(language.get(), nameFrom(step.words[3]), &dialog);
  // Taking it apart shows that it is whole, which measuring takes for granted.
  _qvdlghdrcreateex* header = nullptr;
  if (bytes == 0 || QvMapDialogTemplate(dialog, bytes, &header) == 0)
    return session.fail(kNotFound, TEXT("There is no such dialog: ") + step.words[3]);
  SIZE size = {};
  QvGetDialogSizeIndirect(language.get(), dialog, &size);
  session.record({TEXT("dialog"), step.words[3], header->title == nullptr ? TEXT("") : header->title,
                  int32_t{header->cx}, int32_t{header->cy}, static_cast<int32_t>(size.cx),
                  static_cast<int32_t>(size.cy), uint32_t{header->controlCount}});
  freeBlock(header);
  return kOk;
}

constexpr Verb kVerbs[] = {{"resource", "list|get FILE|MODULE [TYPE NAME OUT]", 2, 5, "lang", runResource},
                           {"menu", "show MODULE NAME", 3, 3, "cull", runMenu},
                           {"dialog", "size MODULE NAME", 3, 3, "", runDialog}};

}  // namespace

std::span<const Verb> resourceVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
