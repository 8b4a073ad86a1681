#include "qv/platform/volumes.h"

#include "contract/folder.h"

namespace {

using Volumes = ContractFolder;

TEST_F(Volumes, HaveRoom) {
  ULARGE_INTEGER available{}, total{}, free{};
  EXPECT_TRUE(GetDiskFreeSpaceExW(folder_.c_str(), &available, &total, &free));
  EXPECT_GT(total.QuadPart, 0u);
  EXPECT_LE(available.QuadPart, free.QuadPart);
  EXPECT_LE(free.QuadPart, total.QuadPart);
  EXPECT_TRUE(GetDiskFreeSpaceExW(TEXT("C:\\"), &available, nullptr, nullptr));
  EXPECT_TRUE(GetDiskFreeSpaceExW(nullptr, nullptr, &total, nullptr));
  EXPECT_FALSE(GetDiskFreeSpaceExW((folder_ + TEXT("\\missing")).c_str(), &available, nullptr, nullptr));
  for (const WCHAR* path : {TEXT("Q:\\"), TEXT("\\\\no-such-server.invalid\\share\\")}) {
    EXPECT_FALSE(GetDiskFreeSpaceExW(path, &available, nullptr, nullptr));
  }
}

TEST_F(Volumes, AreOfSomeKind) {
  WCHAR label[64] = {'?'}, kind[64] = {};
  DWORD serial = 0, longest = 0, flags = 0;
  ASSERT_TRUE(GetVolumeInformationW(TEXT("C:\\"), label, 64, &serial, &longest, &flags, kind, 64));
  EXPECT_EQ(255u, longest);
  EXPECT_EQ(Text(TEXT("NTFS")), kind);
  EXPECT_TRUE(flags & FILE_CASE_PRESERVED_NAMES);
  EXPECT_TRUE(GetVolumeInformationW(TEXT("C:\\"), nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0));
  EXPECT_FALSE(GetVolumeInformationW(TEXT("Q:\\"), nullptr, 0, nullptr, nullptr, nullptr, kind, 64));
  EXPECT_FALSE(GetVolumeInformationW((folder_ + TEXT("\\missing\\")).c_str(), nullptr, 0, nullptr, nullptr,
                                     nullptr, kind, 64));
}

}  // namespace
