// Two modules of resources, one the program's and one German, under a handle.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "qv/core/detail/tokens.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/detail/resources.h"
#include "qv/lang/detail/startup.h"

namespace resource_modules {

using Text = std::basic_string<WCHAR>;

inline Text pathOf(const WCHAR* file) {
  WCHAR path[500];
  const Text program(path, GetModuleFileNameW(nullptr, path, 500));
  return program.substr(0, program.find_last_of('\\') + 1) + file;
}

class Modules : public testing::Test {
 protected:
  void SetUp() override {
    SetThreadLocale(0x409);
    ASSERT_TRUE(qv::initializeTokens());
    ASSERT_EQ(0, qv::startKernelLanguage(nullptr));
    main = LoadLibraryW(pathOf(TEXT("resources_main.LNG")).c_str());
    german = LoadLibraryW(pathOf(TEXT("resources_german.LNG")).c_str());
    ASSERT_TRUE(main && german) << GetLastError();
    ASSERT_EQ(0, QvLang_Open(&language, main, 0x409, 0));
    ownLanguage = language->languageInstance;
  }
  void TearDown() override {
    qv::setScreenResourceCalls(nullptr);
    language->languageInstance = ownLanguage;
    QvLang_Close(language);
    qv::stopKernelLanguage();
    qv::terminateTokens();
    FreeLibrary(german);
    FreeLibrary(main);
    SetThreadLocale(LOCALE_USER_DEFAULT);
  }

  void speakGerman(HMODULE module) {
    language->languageInstance = module;
    language->lcid = 0x407;
    language->languageActive = 1;
  }

  HMODULE main = nullptr, german = nullptr, ownLanguage = nullptr;
  HQVLANG language = nullptr;
};

inline const WCHAR* numbered(uint16_t number) {
  return MAKEINTRESOURCEW(number);
}

}  // namespace resource_modules
