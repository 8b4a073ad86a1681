// The FTP client against a real server.
#include <gmock/gmock.h>

#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "net/files.h"
#include "qv/net/inetftp.h"
#include "qv/platform/system.h"

using namespace qv::test;

namespace {

constexpr HRESULT kFailed = static_cast<HRESULT>(0x80004005u),
                  kBadArgument = static_cast<HRESULT>(0x80070057u);
constexpr HRESULT kCannotCreate = static_cast<HRESULT>(0x8004e006u);
constexpr HRESULT kCannotOpen = static_cast<HRESULT>(0x8004e007u);
constexpr HRESULT kReadFailed = static_cast<HRESULT>(0x8004e008u);
constexpr HRESULT kNoConnection = static_cast<HRESULT>(0x8004e0ecu);
constexpr HRESULT kCancelled = static_cast<HRESULT>(0x8004e00cu);

using Listing = std::map<std::string, uint64_t>;

template <typename Made>
class Client {
 public:
  explicit Client(const char* address = "127.0.0.21", const WCHAR* password = TEXT("secret")) {
    begun = ftp->Init(TEXT("test"), wide(address).c_str(), TEXT("me"), password);
  }
  ~Client() { ftp->Release(); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  HRESULT end(HRESULT started) {
    HRESULT result = 1;
    tQVLIST* list = nullptr;
    if (started != QVINET_PENDING) return started;
    if (ftp->WaitForRequestCompletion(60000) != 0 || ftp->GetRequestResult(&result, &list) != 0) return 2;
    listing.clear();
    hasList = list != nullptr;
    if (!list) return result;
    const auto* const files = static_cast<const QVFTPFILE*>(list->data);
    for (int32_t i = 0; i < list->itemCount; ++i) listing[narrow(files[i].name)] = files[i].size;
    QvList_Destroy(list);
    return result;
  }
  HRESULT get(const std::string& local, const WCHAR* remote, uint32_t binary = 1) {
    return end(ftp->GetFile(wide(local).c_str(), remote, binary));
  }
  HRESULT put(const std::string& local, const WCHAR* remote, uint32_t binary = 1) {
    return end(ftp->PutFile(wide(local).c_str(), remote, binary));
  }
  HRESULT list(const WCHAR* folder, const WCHAR* pattern) {
    return end(ftp->EnumDirectoryFiles(folder, pattern));
  }

  Made* const ftp = Made::CreateInstance();
  HRESULT begun = 0;
  Listing listing;
  bool hasList = false;
};
using Ftp = Client<CQvInetFtp>;

TEST(Ftp, FetchesAndStores) {
  Ftp client;
  const std::string there = fileName("there"), back = fileName("back");
  for (const size_t size : {1, 8191, 8192, 8193, 131072, 500000}) {
    putFile(there, pattern(size));
    ASSERT_EQ(client.put(there, TEXT("/stored")), 0) << size;
    ASSERT_EQ(client.get(back, TEXT("stored")), 0) << size;
    EXPECT_EQ(fileBytes(back), pattern(size)) << size;
    int64_t moved = 0, total = 0;
    client.ftp->GetTransferStatus(&moved, &total);
    EXPECT_EQ(moved, static_cast<int64_t>(size));
#ifndef QV_TEST_ON_WINE  // whose size of a remote file is always 0
    EXPECT_EQ(total, static_cast<int64_t>(size));
#endif
  }
  EXPECT_EQ(client.end(client.ftp->DeleteFileW(TEXT("/stored"))), 0);
  EXPECT_EQ(client.get(back, TEXT("/stored")), kCannotOpen);
  EXPECT_FALSE(exists(back) && fileBytes(back).empty());
}

TEST(Ftp, KeepsOneConnection) {
  Ftp client;
  const std::string logins = fileName("logins");
  ASSERT_EQ(client.get(logins, TEXT("/control/logins")), 0);
  const std::string first = fileBytes(logins);
  ASSERT_EQ(client.list(TEXT("/folder"), TEXT("*")), 0);
  ASSERT_EQ(client.end(client.ftp->GetFileSizeInBytes(TEXT("/small.txt"))), 0);
  ASSERT_EQ(client.end(client.ftp->CreateDirectoryW(TEXT("/made"))), 0);
  ASSERT_EQ(client.end(client.ftp->RemoveDirectoryW(TEXT("/made"))), 0);
  ASSERT_EQ(client.get(logins, TEXT("/control/logins")), 0);
  EXPECT_EQ(fileBytes(logins), first);
}

TEST(Ftp, LeavesNoEmptyFile) {
  Ftp client;
  const std::string local = fileName("empty");
  putFile(local, "");
  EXPECT_EQ(client.put(local, TEXT("/stored-empty")), 0);
  EXPECT_EQ(client.get(local, TEXT("/stored-empty")), 0);
  EXPECT_FALSE(exists(local));
  EXPECT_EQ(client.end(client.ftp->DeleteFileW(TEXT("/stored-empty"))), 0);
}

TEST(Ftp, ListsFolders) {
  Ftp client;
  ASSERT_EQ(client.list(TEXT("/folder"), TEXT("*.wav")), 0);
  EXPECT_EQ(client.listing, (Listing{{"a.wav", 1}, {"b.wav", 2}}));
  ASSERT_EQ(client.list(TEXT("/folder"), TEXT("*.none")), 0);
  EXPECT_TRUE(client.hasList);
  EXPECT_EQ(client.listing, Listing());
  EXPECT_EQ(client.list(TEXT("/nowhere"), TEXT("*")), kCannotOpen);
  EXPECT_EQ(client.list(TEXT("/refuses"), TEXT("*")), kReadFailed);
  EXPECT_FALSE(client.hasList);
  ASSERT_EQ(client.list(TEXT("/sub folder"), TEXT("*")), 0);
  EXPECT_EQ(client.listing, Listing());
}

TEST(Ftp, SaysHowLargeAFileIs) {
#ifdef QV_TEST_ON_WINE
  GTEST_SKIP() << "Wine gives every remote file the size 0";
#endif
  Ftp client;
  ASSERT_EQ(client.end(client.ftp->GetFileSizeInBytes(TEXT("/big.bin"))), 0);
  EXPECT_EQ(client.listing, (Listing{{"/big.bin", uint64_t{5} << 30}}));
  ASSERT_EQ(client.list(TEXT("/"), TEXT("big*")), 0);
  EXPECT_EQ(client.listing, (Listing{{"big.bin", uint64_t{5} << 30}}));
  EXPECT_EQ(client.end(client.ftp->GetFileSizeInBytes(TEXT("/missing"))), kCannotOpen);
}

TEST(Ftp, SaysWhyACommandFailed) {
  Ftp client;
  putFile(fileName("local"), "x");
  EXPECT_EQ(client.put(fileName("missing"), TEXT("/stored")), kCannotOpen);
  EXPECT_EQ(client.put(fileName("local"), TEXT("/nowhere/stored")), kCannotOpen);
  EXPECT_EQ(client.get(fileName("no/folder/for/it"), TEXT("/small.txt")), kCannotCreate);
  EXPECT_EQ(client.end(client.ftp->CreateDirectoryW(TEXT("/nowhere/made"))), kFailed);
  EXPECT_EQ(client.end(client.ftp->RemoveDirectoryW(TEXT("/nowhere"))), kFailed);
  EXPECT_EQ(client.end(client.ftp->DeleteFileW(TEXT("/nowhere"))), kFailed);
  EXPECT_EQ(client.end(client.ftp->DeleteFileW(TEXT("/small.txt\r\nDELE /folder/a.wav"))), kBadArgument);
  ASSERT_EQ(client.list(TEXT("/folder"), TEXT("a.wav")), 0);
  EXPECT_EQ(client.listing.size(), 1u);

  Ftp stranger("127.0.0.21", TEXT("wrong"));
  EXPECT_EQ(stranger.list(TEXT("/"), TEXT("*")), kNoConnection);
  Ftp nobody("127.0.0.99");
  EXPECT_EQ(nobody.list(TEXT("/"), TEXT("*")), kNoConnection);
  EXPECT_EQ(client.ftp->Init(TEXT("a"), TEXT("h"), TEXT("u"), TEXT("p")), kFailed);
  Client<CQvInetFtp> fresh("127.0.0.21", nullptr);
  EXPECT_EQ(fresh.begun, kBadArgument);
  EXPECT_EQ(fresh.ftp->DeleteFileW(TEXT("x")), kFailed);
}

TEST(Ftp, NoticesACutTransfer) {
#ifdef QV_TEST_ON_WINE
  GTEST_SKIP() << "Wine takes the end of a data connection for the end of the file";
#endif
  Ftp client;
  EXPECT_EQ(client.get(fileName("cut"), TEXT("/cuts")), kReadFailed);
  EXPECT_FALSE(exists(fileName("cut")));
}

TEST(Ftp, FetchesFromTheHostThatItKnows) {
  Ftp client("127.0.0.22");  // whose server names another for its data
  ASSERT_EQ(client.get(fileName("honest"), TEXT("/folder/b.wav")), 0);
  EXPECT_EQ(fileBytes(fileName("honest")), "bb");
}

TEST(Ftp, CancelsWithinABlock) {
  const std::string file = fileName("cancelled");
  Ftp client;
  ASSERT_EQ(client.ftp->GetFile(wide(file).c_str(), TEXT("/big.bin"), 1), QVINET_PENDING);
  for (int64_t moved = 0; moved < 100000;) {
    ASSERT_EQ(client.ftp->WaitForRequestStatusChange(5000), 0);
    client.ftp->GetTransferStatus(&moved, nullptr);
  }
  client.ftp->CancelRequest();
  const DWORD start = GetTickCount();
  EXPECT_EQ(client.end(QVINET_PENDING), kCancelled);
  EXPECT_LT(GetTickCount() - start, 3000u);
  EXPECT_FALSE(exists(file));
}

TEST(Ftp, FetchesAStretchFromADevice) {
#ifdef QV_TEST_ON_WINE
  GTEST_SKIP() << "Wine has no commands with data";
#endif
  Client<CQvInetFtpTELMO> client;
  const std::string local = fileName("stretch");
  const auto fetch = [&](const WCHAR* remote, int64_t first, int64_t second, uint32_t binary) {
    return client.end(client.ftp->GetPartialFile(wide(local).c_str(), remote, first, second, binary));
  };
  ASSERT_EQ(fetch(TEXT("/small.txt"), 2, 5, 1), 0);
  EXPECT_EQ(fileBytes(local), "e\r\ntw");
  ASSERT_EQ(fetch(TEXT("/big.bin"), int64_t{4} << 30, 300000, 1), 0);
  EXPECT_EQ(fileBytes(local), std::string(300000, 0));
  int64_t total = 1;
  client.ftp->GetTransferStatus(nullptr, &total);
  EXPECT_EQ(total, 0);
  EXPECT_EQ(fetch(TEXT("/missing"), 0, 1, 1), kCannotOpen);
  EXPECT_EQ(fetch(TEXT("/small.txt"), 100, 1, 1), 0);
  EXPECT_FALSE(exists(local));
  ASSERT_EQ(client.get(local, TEXT("/small.txt")), 0);  // the other commands are there too
  EXPECT_EQ(fileBytes(local), "one\r\ntwo\r\n");
}

}  // namespace
