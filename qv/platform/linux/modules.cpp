#include "qv/platform/modules.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "qv/platform/characters.h"
#include "qv/platform/linux/command_line.h"
#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/paths.h"
#include "qv/platform/linux/resource_file.h"
#include "qv/platform/linux/utf.h"

namespace qv::platform {
namespace {

constexpr HMODULE kNoModule = nullptr;

HMODULE moduleOf(void* library) {
  return static_cast<HMODULE>(library);
}

HMODULE mainModule() {
  static void* const library = dlopen(nullptr, RTLD_LAZY);
  return moduleOf(library);
}

// A handle is the loader's own record; one that is not in its chain is nobody's, and asking the loader about
// it would end the process.
link_map* mapOf(HMODULE module) {
  struct Search {
    HMODULE module;
    link_map* found;
  } search{module, nullptr};
  // Called once, for its lock: nobody loads or unloads while the chain is walked.
  auto walk = [](dl_phdr_info*, size_t, void* context) {
    auto& wanted = *static_cast<Search*>(context);
    wanted.found = static_cast<link_map*>(static_cast<void*>(mainModule()));
    while (wanted.found && static_cast<void*>(wanted.found) != wanted.module)
      wanted.found = wanted.found->l_next;
    return 1;
  };
  mainModule();  // Opened before the lock is taken.
  dl_iterate_phdr(walk, &search);
  return search.found;
}

std::string executablePath() {
  char path[PATH_MAX];
  ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  return {path, static_cast<size_t>(std::max<ssize_t>(length, 0))};
}

std::string pathOf(HMODULE module) {
  if (module == mainModule()) return executablePath();
  if (const char* path = resourceFilePath(module)) return path;
  link_map* map = mapOf(module);
  char resolved[PATH_MAX];
  return map && realpath(map->l_name, resolved) ? resolved : "";
}

std::string nameOf(const std::string& path) {
  return path.substr(path.find_last_of('/') + 1);
}

bool equalNames(const std::string& a, const std::string& b) {
  return strcasecmp(a.c_str(), b.c_str()) == 0;
}

// Whether a loaded module is the one asked for: by its whole path, or by its name with or without ".so".
bool isAskedFor(const std::string& loaded, const std::string& asked) {
  if (asked.find('/') != asked.npos) return loaded == asked;
  std::string name = nameOf(loaded);
  return equalNames(name, asked) || equalNames(name, asked + ".so");
}

std::vector<std::string> loadedPaths() {
  std::vector<std::string> paths;
  auto collect = [](dl_phdr_info* info, size_t, void* out) {
    if (*info->dlpi_name) static_cast<std::vector<std::string>*>(out)->push_back(info->dlpi_name);
    return 0;
  };
  dl_iterate_phdr(collect, &paths);
  return paths;
}

bool hasFolder(LPCWSTR path) {
  return viewOf(path).find_first_of(u"/\\:") != std::u16string_view::npos;
}

// The system's name for a module: a whole path, or a bare name as it stands.
bool moduleName(LPCWSTR path, std::string* name) {
  if (hasFolder(path)) return nativePath(path, name);
  *name = utf8From(viewOf(path));
  return true;
}

// Where to look for a module, in order.
std::vector<std::string> candidates(LPCWSTR path, const std::string& name) {
  std::vector<std::string> places;
  if (!hasFolder(path)) {
    std::string own = executablePath();
    places.push_back(own.substr(0, own.find_last_of('/') + 1) + name);
  }
  places.push_back(name);
  if (nameOf(name).find('.') == std::string::npos) {
    for (size_t i = 0, count = places.size(); i < count; ++i) places.push_back(places[i] + ".so");
  }
  return places;
}

DWORD loadError(const std::string& path) {
  const char* text = dlerror();
  if (text && std::strstr(text, "undefined symbol")) return ERROR_PROC_NOT_FOUND;
  char magic[4] = {};
  std::ifstream file(path, std::ios::binary);
  if (!file) return ERROR_MOD_NOT_FOUND;
  bool isImage = file.read(magic, 4) && std::memcmp(magic, "\177ELF", 4) == 0;
  return isImage ? ERROR_MOD_NOT_FOUND : ERROR_BAD_EXE_FORMAT;
}

std::u16string quoted(std::u16string_view argument) {
  bool plain = !argument.empty() && std::none_of(argument.begin(), argument.end(),
                                                 [](WCHAR c) { return c == '"' || isWhiteSpace(c); });
  if (plain) return std::u16string(argument);
  std::u16string text = u"\"";
  for (WCHAR c : argument) text.append(c == '"' ? 2 : 1, c);
  return text + u'"';
}

std::atomic<UINT> errorMode{0};

// Why a file has no version resource: it isn't there, or it is and has none.
DWORD versionError(LPCWSTR path) {
  std::string native;
  if (!nativePath(path, &native)) return GetLastError();
  return access(native.c_str(), F_OK) == 0 ? ERROR_RESOURCE_TYPE_NOT_FOUND : errorOfPath(native);
}

}  // namespace

std::u16string commandLineFrom(std::string_view arguments) {
  std::u16string line;
  for (size_t start = 0; start < arguments.size();) {
    size_t end = std::min(arguments.find('\0', start), arguments.size());
    if (start > 0) line += u' ';
    line += quoted(utf16From(arguments.substr(start, end - start)));
    start = end + 1;
  }
  return line;
}

}  // namespace qv::platform

using namespace qv::platform;

HMODULE GetModuleHandleW(LPCWSTR name) {
  std::string asked;
  if (!name) return mainModule();
  if (!moduleName(name, &asked)) return kNoModule;
  if (isAskedFor(executablePath(), asked)) return mainModule();
  for (const std::string& path : loadedPaths()) {
    if (!isAskedFor(path, asked)) continue;
    void* library = dlopen(path.c_str(), RTLD_LAZY | RTLD_NOLOAD);
    if (!library) continue;
    dlclose(library);
    return moduleOf(library);
  }
  return failWith(ERROR_MOD_NOT_FOUND, kNoModule);
}

FARPROC GetProcAddress(HMODULE module, LPCSTR name) {
  constexpr FARPROC kNone = nullptr;
  if (reinterpret_cast<uintptr_t>(name) < 0x10000) return failWith(ERROR_PROC_NOT_FOUND, kNone);
  if (isResourceFile(module)) return failWith(ERROR_PROC_NOT_FOUND, kNone);
  if (!module) module = mainModule();
  if (!mapOf(module)) return failWith(ERROR_PROC_NOT_FOUND, kNone);
  void* address = dlsym(module, name);
  // The look-up goes on into what the module uses; only its own exports count.
  Dl_info info;
  void* owner = nullptr;
  bool own = address && dladdr1(address, &info, &owner, RTLD_DL_LINKMAP) && owner == mapOf(module);
  return own ? reinterpret_cast<FARPROC>(address) : failWith(ERROR_PROC_NOT_FOUND, kNone);
}

HMODULE LoadLibraryW(LPCWSTR path) {
  std::string name;
  if (viewOf(path).empty()) return failWith(ERROR_MOD_NOT_FOUND, kNoModule);
  if (!moduleName(path, &name)) return failWith(ERROR_MOD_NOT_FOUND, kNoModule);
  DWORD error = ERROR_MOD_NOT_FOUND;
  for (const std::string& place : candidates(path, name)) {
    if (void* library = dlopen(place.c_str(), RTLD_NOW | RTLD_LOCAL)) return moduleOf(library);
    if (error == ERROR_MOD_NOT_FOUND) error = loadError(place);
    // A module may hold resources and no code: then its file is what the resource compiler wrote.
    if (HMODULE file = openResourceFile(place.c_str())) return file;
  }
  return failWith(error, kNoModule);
}

BOOL FreeLibrary(HMODULE module) {
  if (!module) return fail(ERROR_INVALID_HANDLE);
  if (module == mainModule() || closeResourceFile(module)) return TRUE;
  return mapOf(module) && dlclose(module) == 0 ? TRUE : fail(ERROR_INVALID_HANDLE);
}

DWORD GetModuleFileNameW(HMODULE module, LPWSTR path, DWORD capacity) {
  std::string native = pathOf(module ? module : mainModule());
  if (native.empty()) return failWith(ERROR_MOD_NOT_FOUND, 0);
  std::u16string full = windowsPath(native);
  if (full.size() < capacity) return giveText(full, path, capacity);
  if (capacity > 0) giveText(std::u16string_view(full).substr(0, capacity - 1), path, capacity);
  return failWith(ERROR_INSUFFICIENT_BUFFER, capacity);
}

LPWSTR GetCommandLineW() {
  static std::u16string* const line = [] {
    std::ifstream file("/proc/self/cmdline", std::ios::binary);
    return new std::u16string(commandLineFrom(std::string{std::istreambuf_iterator<char>(file), {}}));
  }();
  return line->data();
}

UINT SetErrorMode(UINT mode) {
  return errorMode.exchange(mode);
}

UINT GetErrorMode() {
  return errorMode.load();
}

DWORD GetFileVersionInfoSizeW(LPCWSTR path, DWORD* ignored) {
  if (ignored) *ignored = 0;
  return failWith(versionError(path), 0);
}

BOOL GetFileVersionInfoW(LPCWSTR path, DWORD, DWORD, LPVOID) {
  return fail(versionError(path));
}

BOOL VerQueryValueW(LPCVOID, LPCWSTR, LPVOID*, UINT*) {
  return fail(ERROR_RESOURCE_DATA_NOT_FOUND);
}

void ExitProcess(UINT exitCode) {
  std::fflush(nullptr);
  _exit(static_cast<int>(exitCode));
}

DWORD GetCurrentProcessId() {
  return static_cast<DWORD>(getpid());
}

HANDLE GetCurrentProcess() {
  return reinterpret_cast<HANDLE>(LONG_PTR{-1});
}
