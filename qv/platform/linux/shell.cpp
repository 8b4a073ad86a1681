#include "qv/platform/shell.h"

#include "qv/platform/linux/failure.h"
#include "qv/platform/linux/paths.h"
#include "qv/platform/linux/programs.h"
#include "qv/platform/linux/utf.h"

using namespace qv::platform;

namespace {

constexpr intptr_t kStarted = 42;
constexpr int kPatience = 500;  // milliseconds

HINSTANCE answer(intptr_t code) {
  return reinterpret_cast<HINSTANCE>(code);
}

}  // namespace

HINSTANCE ShellExecuteW(HWND, LPCWSTR verb, LPCWSTR file, LPCWSTR parameters, LPCWSTR folder, int) {
  const std::u16string_view target = viewOf(file);
  const bool opens = !verb || viewOf(verb) == u"open";
  if (!opens || parameters || target.empty() || target[0] == u'-') return answer(SE_ERR_NOASSOC);
  std::string place = "/";
  if (folder && *folder && !nativePath(folder, &place)) return answer(SE_ERR_FNF);
  const ProgramEnd end = runProgram({"xdg-open", utf8From(target)}, place, kPatience);
  if (!end.started) return answer(SE_ERR_FNF);
  return answer(end.code.value_or(0) == 0 ? kStarted : SE_ERR_NOASSOC);
}

UINT GetWindowsDirectoryW(LPWSTR folder, UINT capacity) {
  return giveText(u"C:\\", folder, capacity);
}
