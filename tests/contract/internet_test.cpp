#include "qv/platform/internet.h"

#include <gmock/gmock.h>

#include "qv/platform/sync.h"

namespace {

struct Session {
  HINTERNET handle = InternetOpenW(TEXT("contract"), INTERNET_OPEN_TYPE_PRECONFIG, nullptr, nullptr, 0);
  ~Session() { InternetCloseHandle(handle); }
  HINTERNET connect(LPCWSTR host, LPCWSTR user = nullptr) const {
    return InternetConnectW(handle, host, 0, user, nullptr, INTERNET_SERVICE_HTTP, 0, 0);
  }
};

TEST(Internet, ConnectsToAHostWithoutAskingIt) {
  const Session session;
  ASSERT_NE(session.handle, nullptr);
  const HINTERNET host = session.connect(TEXT("nobody.invalid"), TEXT("me"));
  ASSERT_NE(host, nullptr);
  EXPECT_TRUE(InternetCloseHandle(host));
}

TEST(Internet, KnowsItsHandles) {
  const Session session;
  DWORD bytes = 0;
  char block[4];
  // (Which error a handle of another kind gives is not the same everywhere.)
  EXPECT_FALSE(InternetCloseHandle(nullptr));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(InternetConnectW(nullptr, TEXT("host"), 0, nullptr, nullptr, INTERNET_SERVICE_HTTP, 0, 0));
  EXPECT_EQ(GetLastError(), static_cast<DWORD>(ERROR_INVALID_HANDLE));
  EXPECT_FALSE(InternetReadFile(session.handle, block, 4, &bytes));
  EXPECT_FALSE(InternetWriteFile(session.handle, block, 4, &bytes));
  EXPECT_FALSE(InternetQueryDataAvailable(session.handle, &bytes, 0, 0));
}

}  // namespace
