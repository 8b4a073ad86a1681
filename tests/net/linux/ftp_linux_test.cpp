// Listings line by line, and cancels by the hundred.
#include <gmock/gmock.h>
#include <unistd.h>

#include <random>

#include "net/files.h"
#include "qv/net/inetftp.h"
#include "qv/platform/linux/internet_ftp.h"

using namespace qv::test;

namespace {

struct Line {
  const char* text;
  const char* name;  // null: names nothing
  uint64_t size = 0;
  bool folder = false;
};

void expectLines(const std::initializer_list<Line>& rows,
                 bool (*parse)(std::string_view, WIN32_FIND_DATAW&)) {
  for (const Line& row : rows) {
    WIN32_FIND_DATAW found;
    ASSERT_EQ(parse(row.text, found), row.name != nullptr) << row.text;
    if (!row.name) continue;
    EXPECT_EQ(narrow(found.cFileName), row.name) << row.text;
    EXPECT_EQ(uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow, row.size) << row.text;
    EXPECT_EQ((found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, row.folder) << row.text;
  }
}

TEST(FtpListing, ReadsTheMachinesForm) {
  expectLines({{"type=file;size=5368709120;modify=20240517093012; a file.wav", "a file.wav", 5368709120},
               {"Type=dir;Modify=20240517093012; folder", "folder", 0, true},
               {" bare", "bare"},
               {"size=99999999999999999999; n", "n"},
               {"type=cdir; .", nullptr},
               {"type=pdir; ..", nullptr},
               {"type=file; ..", nullptr},
               {"type=file; ../up", nullptr},
               {"type=file; a\\b", nullptr},
               {"type=file;size=1;", nullptr},
               {"", nullptr}},
              qv::platform::parseMachineLine);
  WIN32_FIND_DATAW found;
  ASSERT_TRUE(qv::platform::parseMachineLine("modify=20240517093012; n", found));
  EXPECT_EQ(found.ftLastWriteTime.dwHighDateTime, 0x01daa83cu);
}

TEST(FtpListing, ReadsWhatPeopleRead) {
  expectLines({{"-rw-r--r--   1 user group  1234 Jan 31 09:30 take one.wav", "take one.wav", 1234},
               {"drwxr-xr-x   2 user group  4096 Jan 31  2023 takes", "takes", 0, true},
               {"lrwxrwxrwx   1 user group     7 Jan 31  2023 link -> target", "link"},
               {"01-31-24  09:30AM       <DIR>          takes", "takes", 0, true},
               {"01-31-24  09:30AM           5368709120 big.wav", "big.wav", 5368709120},
               {"total 12", nullptr},
               {"-rw-r--r--   1 user group  1234 Jan 31 09:30 ../../evil", nullptr},
               {"-rw-r--r--", nullptr},
               {"", nullptr}},
              qv::platform::parseHumanLine);
}

// (Wine takes in a whole listing before it shows the first name.)
TEST(FtpOnLinux, EndsListingsThatDoNot) {
  for (const WCHAR* const folder : {u"/endless", u"/babble", u"/folder"}) {
    auto* const ftp = CQvInetFtp::CreateInstance();
    ASSERT_EQ(ftp->Init(TEXT("test"), TEXT("127.0.0.21"), TEXT("me"), TEXT("secret")), 0);
    ASSERT_EQ(ftp->EnumDirectoryFiles(folder, TEXT("*")), QVINET_PENDING);
    EXPECT_EQ(ftp->WaitForRequestCompletion(250000), 0);  // slow under a thread checker
    HRESULT result = 0;
    tQVLIST* list = nullptr;
    ASSERT_EQ(ftp->GetRequestResult(&result, &list), 0);
    const bool ends = std::u16string_view(folder) == u"/folder";
    EXPECT_EQ(result, ends ? 0 : static_cast<HRESULT>(0x8004e008u));
    EXPECT_EQ(list != nullptr, ends);
    if (list) QvList_Destroy(list);
    ftp->Release();
  }
}

TEST(FtpOnLinux, SurvivesCancelsAtAnyMoment) {
  std::mt19937 random(11);
  const int rounds = getenv("QV_TEST_ROUNDS") ? atoi(getenv("QV_TEST_ROUNDS")) : 100;
  for (int i = 0; i < rounds; ++i) {
    const std::string local = fileName("cancelled-" + std::to_string(i));
    auto* const ftp = CQvInetFtp::CreateInstance();
    ASSERT_EQ(ftp->Init(TEXT("test"), TEXT("127.0.0.21"), TEXT("me"), TEXT("secret")), 0);
    const bool lists = i % 4 == 0;  // and is asked for the list, which nobody else would free
    ASSERT_EQ(lists ? ftp->EnumDirectoryFiles(TEXT("/folder"), TEXT("*"))
                    : ftp->GetFile(wide(local).c_str(), TEXT("/big.bin"), 1),
              QVINET_PENDING);
    usleep(random() % 20000);
    if (i % 2 == 0) {
      ftp->CancelRequest();
      EXPECT_EQ(ftp->WaitForRequestCompletion(5000), 0);
      HRESULT result = 0;
      tQVLIST* list = nullptr;
      EXPECT_EQ(ftp->GetRequestResult(&result, &list), 0);
      if (list) QvList_Destroy(list);
      EXPECT_TRUE(result == static_cast<HRESULT>(0x8004e00cu) || lists) << std::hex << result;
      EXPECT_FALSE(exists(local));
    }
    ftp->Release();
  }
}

}  // namespace
