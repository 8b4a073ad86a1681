#include "qv/platform/modules.h"

#include <gtest/gtest.h>

#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "qv/api.h"
#include "qv/platform/text.h"

// Exported by this very executable, so that it can be looked up by name.
extern "C" QV_API int contractOwnExport() {
  return 7;
}

namespace {

using Text = std::basic_string<WCHAR>;

Text executable() {
  std::vector<WCHAR> path(1000);
  DWORD length = GetModuleFileNameW(nullptr, path.data(), 1000);
  return Text(path.data(), length);
}

Text beside(const char* name) {
  Text path = executable();
  path.resize(path.find_last_of('\\') + 1);
  return path.append(name, name + std::strlen(name));
}

int call(FARPROC proc) {
  int (*function)() = nullptr;
  std::memcpy(&function, &proc, sizeof function);
  return function();
}

TEST(Modules, TheExecutableIsOne) {
  Text path = executable();
  ASSERT_GT(path.size(), 3u);
  EXPECT_EQ(':', path[1]);
  EXPECT_EQ('\\', path[2]);
  EXPECT_EQ(Text::npos, path.find('/'));
  HMODULE own = GetModuleHandleW(nullptr);
  ASSERT_TRUE(own);
  EXPECT_EQ(own, GetModuleHandleW(path.substr(path.find_last_of('\\') + 1).c_str()));
  FARPROC found = GetProcAddress(own, "contractOwnExport");
  ASSERT_TRUE(found);
  EXPECT_EQ(7, call(found));
}

TEST(Modules, OnlyOwnExportsAreFound) {
  HMODULE own = GetModuleHandleW(nullptr);
  for (const char* name : {"noSuchExport", "contractAnswer", "malloc", ""}) {
    SetLastError(0);
    EXPECT_FALSE(GetProcAddress(own, name)) << name;
    EXPECT_EQ(ERROR_PROC_NOT_FOUND, GetLastError()) << name;
  }
}

TEST(Modules, FileNameIsCutToTheCapacity) {
  Text path = executable();
  std::vector<WCHAR> buffer(path.size() + 10, 'x');
  auto length = static_cast<DWORD>(path.size());
  EXPECT_EQ(length, GetModuleFileNameW(nullptr, buffer.data(), length + 1));
  EXPECT_EQ(0, buffer[length]);
  for (DWORD capacity : {DWORD{0}, DWORD{5}, length}) {
    SetLastError(0);
    std::fill(buffer.begin(), buffer.end(), WCHAR{'x'});
    EXPECT_EQ(capacity, GetModuleFileNameW(nullptr, buffer.data(), capacity));
    EXPECT_EQ(ERROR_INSUFFICIENT_BUFFER, GetLastError());
    EXPECT_EQ('x', buffer[capacity]) << "nothing beyond the capacity";
    if (capacity > 1) {
      EXPECT_EQ(path.substr(0, capacity - 1), Text(buffer.data(), capacity - 1));
    }
  }
}

TEST(Modules, LoadByEitherSlashAndCountReferences) {
  Text path = beside(QV_CONTRACT_MODULE);
  Text slashed = path;
  for (WCHAR& c : slashed) c = c == '\\' ? WCHAR{'/'} : c;
  const char* name = QV_CONTRACT_MODULE;
  Text bare(name, name + std::strlen(name));
  EXPECT_FALSE(GetModuleHandleW(bare.c_str()));
  HMODULE module = LoadLibraryW(path.c_str());
  ASSERT_TRUE(module) << GetLastError();
  EXPECT_EQ(module, LoadLibraryW(slashed.c_str()));
  EXPECT_EQ(module, LoadLibraryW(bare.c_str())) << "beside the executable";
  EXPECT_EQ(module, GetModuleHandleW(bare.c_str()));
  EXPECT_NE(module, GetModuleHandleW(nullptr));
  FARPROC found = GetProcAddress(module, "contractAnswer");
  ASSERT_TRUE(found);
  EXPECT_EQ(42, call(found));
  EXPECT_FALSE(GetProcAddress(module, "contractOwnExport"));
  WCHAR name260[260];
  EXPECT_EQ(path.size(), GetModuleFileNameW(module, name260, 260));
  EXPECT_EQ(0, lstrcmpiW(path.c_str(), name260));
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_EQ(module, GetModuleHandleW(bare.c_str())) << "one reference left";
  EXPECT_TRUE(FreeLibrary(module));
  EXPECT_FALSE(GetModuleHandleW(bare.c_str()));
}

TEST(Modules, LoadingSaysWhyNot) {
  std::ofstream("contract-no-image.dll", std::ios::binary) << std::string(5000, 'x');
  struct {
    LPCWSTR path;
    DWORD error;
  } cases[] = {
      {TEXT("no-such-module"), ERROR_MOD_NOT_FOUND},
      {TEXT("C:/no-such-folder/x.dll"), ERROR_MOD_NOT_FOUND},
      {TEXT("C:\\no-such-folder\\x"), ERROR_MOD_NOT_FOUND},
      {TEXT(""), ERROR_MOD_NOT_FOUND},
      {TEXT(".\\contract-no-image.dll"), ERROR_BAD_EXE_FORMAT},
  };
  for (const auto& each : cases) {
    SetLastError(0);
    EXPECT_FALSE(LoadLibraryW(each.path));
    EXPECT_EQ(each.error, GetLastError()) << (&each - cases);
  }
  EXPECT_FALSE(FreeLibrary(nullptr));
  EXPECT_FALSE(GetModuleHandleW(TEXT("no-such-module")));
  EXPECT_EQ(ERROR_MOD_NOT_FOUND, GetLastError());
  std::remove("contract-no-image.dll");
}

TEST(Process, HasACommandLineAndAnId) {
  Text line = GetCommandLineW();
  EXPECT_NE(Text::npos, line.find(TEXT("contract_test")));
  EXPECT_EQ(GetCommandLineW(), GetCommandLineW());
  EXPECT_NE(0u, GetCurrentProcessId());
}

TEST(Process, KeepsItsErrorMode) {
  UINT before = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
  EXPECT_EQ(0x8001u, GetErrorMode());
  EXPECT_EQ(0x8001u, SetErrorMode(before));
  EXPECT_EQ(before, GetErrorMode());
}

TEST(Process, EndsWithItsExitCode) {
  EXPECT_EXIT(ExitProcess(7), testing::ExitedWithCode(7), "");
}

TEST(Versions, AFileHasAResourceOrSaysWhyNot) {
  DWORD ignored = 5;
  EXPECT_EQ(0u, GetFileVersionInfoSizeW(TEXT("C:\\no-such-file.dll"), &ignored));
  EXPECT_EQ(ERROR_FILE_NOT_FOUND, GetLastError());
  EXPECT_EQ(0u, GetFileVersionInfoSizeW(TEXT("C:\\no-such-folder\\x.dll"), &ignored));
  EXPECT_EQ(ERROR_PATH_NOT_FOUND, GetLastError());
  Text plain = beside(QV_CONTRACT_MODULE);
  EXPECT_EQ(0u, GetFileVersionInfoSizeW(plain.c_str(), &ignored));
  EXPECT_TRUE(GetLastError() == ERROR_RESOURCE_TYPE_NOT_FOUND ||
              GetLastError() == ERROR_RESOURCE_DATA_NOT_FOUND)
      << GetLastError();

  Text own = executable();
  DWORD bytes = GetFileVersionInfoSizeW(own.c_str(), &ignored);
  EXPECT_EQ(0u, ignored);
  std::vector<char> block(bytes + 1);
  void* value = nullptr;
  UINT length = 0;
  if (bytes == 0) {  // A system without version resources.
    EXPECT_EQ(ERROR_RESOURCE_TYPE_NOT_FOUND, GetLastError());
    EXPECT_FALSE(GetFileVersionInfoW(own.c_str(), 0, 1, block.data()));
    EXPECT_FALSE(VerQueryValueW(block.data(), TEXT("\\VarFileInfo\\Translation"), &value, &length));
    return;
  }
  ASSERT_TRUE(GetFileVersionInfoW(own.c_str(), 0, bytes, block.data()));
  ASSERT_TRUE(VerQueryValueW(block.data(), TEXT("\\VarFileInfo\\Translation"), &value, &length));
  EXPECT_EQ(0x04b00409u, *static_cast<DWORD*>(value));
  ASSERT_TRUE(
      VerQueryValueW(block.data(), TEXT("\\StringFileInfo\\040904b0\\FileDescription"), &value, &length));
  EXPECT_EQ(TEXT("Platform contract"), Text(static_cast<WCHAR*>(value)));
}

}  // namespace
