#include "qv/platform/programs.h"

#include <string>

#include "qv/platform/files.h"

namespace qv::platform {
namespace {

// As the run-time takes a command line apart: a quotation mark needs a backslash, and the backslashes before
// one are doubled.
void appendArgument(std::wstring& line, std::wstring_view argument) {
  if (!line.empty()) line += L' ';
  line += L'"';
  size_t backslashes = 0;
  for (const wchar_t c : argument) {
    if (c == L'"') line.append(backslashes + 1, L'\\');
    backslashes = c == L'\\' ? backslashes + 1 : 0;
    line += c;
  }
  line.append(backslashes, L'\\');
  line += L'"';
}

}  // namespace

bool callProgram(LPCWSTR path, std::span<const LPCWSTR> arguments, LPCWSTR folder, uint32_t* code) {
  std::wstring line;
  appendArgument(line, path);
  for (const LPCWSTR argument : arguments) appendArgument(line, argument);
  STARTUPINFOW start = {};
  start.cb = sizeof(start);
  PROCESS_INFORMATION made = {};
  if (!CreateProcessW(path, line.data(), nullptr, nullptr, TRUE, 0, nullptr, folder, &start, &made))
    return false;
  CloseHandle(made.hThread);
  WaitForSingleObject(made.hProcess, INFINITE);
  DWORD result = 0;
  const bool known = GetExitCodeProcess(made.hProcess, &result) != 0;
  CloseHandle(made.hProcess);
  *code = result;
  return known;
}

bool makeExecutable(LPCWSTR path) {
  return GetFileAttributesW(path) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace qv::platform
