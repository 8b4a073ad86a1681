#include "qv/platform/shell.h"

#include <gtest/gtest.h>

#include <string>

#include "qv/platform/files.h"
#include "qv/platform/mail.h"
#include "qv/platform/modules.h"

namespace {

TEST(Shell, NamesTheSystemsFolder) {
  WCHAR folder[MAX_PATH] = {};
  const UINT length = GetWindowsDirectoryW(folder, MAX_PATH);
  ASSERT_GT(length, 2u);
  EXPECT_EQ(std::char_traits<WCHAR>::length(folder), length);
  EXPECT_NE(GetFileAttributesW(folder) & FILE_ATTRIBUTE_DIRECTORY, 0u);
  WCHAR exact[MAX_PATH] = {};
  EXPECT_EQ(GetWindowsDirectoryW(exact, length), length + 1) << "its end has no room";
  EXPECT_EQ(GetWindowsDirectoryW(exact, length + 1), length);
  EXPECT_EQ(std::basic_string<WCHAR>(exact), folder);
}

TEST(Mail, HasAProgramToAsk) {
  HMODULE library = nullptr;
  EXPECT_NE(qv::mailCalls().open(&library), nullptr);
  qv::mailCalls().close(library);
}

TEST(Mail, CanBeStoodInFor) {
  const qv::MailCalls* const system = &qv::mailCalls();
  const qv::MailCalls other = *system;
  qv::setMailCalls(&other);
  EXPECT_EQ(&qv::mailCalls(), &other);
  qv::setMailCalls(nullptr);
  EXPECT_EQ(&qv::mailCalls(), system);
}

}  // namespace
