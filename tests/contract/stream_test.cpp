#include "qv/platform/stream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qv/platform/memory.h"

namespace {

class Stream : public testing::Test {
 protected:
  void SetUp() override { ASSERT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream)); }
  void TearDown() override { EXPECT_EQ(0u, stream->Release()); }

  HRESULT seek(int64_t distance, DWORD origin) {
    LARGE_INTEGER to;
    to.QuadPart = distance;
    ULARGE_INTEGER at = {};
    const HRESULT status = stream->Seek(to, origin, &at);
    if (SUCCEEDED(status)) position = at.QuadPart;
    return status;
  }
  std::string read(ULONG bytes) {
    std::string data(bytes, '?');
    ULONG got = 0;
    EXPECT_EQ(S_OK, stream->Read(data.data(), bytes, &got));
    return data.substr(0, got);
  }
  void write(const std::string& data) {
    ULONG written = 0;
    EXPECT_EQ(S_OK, stream->Write(data.data(), static_cast<ULONG>(data.size()), &written));
    EXPECT_EQ(data.size(), written);
  }

  IStream* stream = nullptr;
  uint64_t position = 0;
};

TEST_F(Stream, ReadsWhatWasWritten) {
  EXPECT_EQ("", read(5));
  write("0123456789");
  EXPECT_EQ("", read(5)) << "the position stands behind what was written";
  EXPECT_EQ(S_OK, seek(0, STREAM_SEEK_CUR));
  EXPECT_EQ(10u, position);
  EXPECT_EQ(S_OK, seek(-4, STREAM_SEEK_END));
  EXPECT_EQ("6789", read(100));
  EXPECT_EQ(S_OK, seek(2, STREAM_SEEK_SET));
  write("xy");
  EXPECT_EQ("456", read(3));
  EXPECT_EQ(S_OK, seek(0, STREAM_SEEK_SET));
  EXPECT_EQ("01xy456789", read(100));
}

TEST_F(Stream, PositionsMayStandBeyondTheEndButNotBeforeTheStart) {
  write("abc");
  EXPECT_EQ(STG_E_SEEKERROR, seek(-4, STREAM_SEEK_CUR));
  EXPECT_EQ(STG_E_SEEKERROR, seek(0, 9));
  EXPECT_EQ(S_OK, seek(5, STREAM_SEEK_SET));
  write("z");
  EXPECT_EQ(S_OK, seek(0, STREAM_SEEK_END));
  EXPECT_EQ(6u, position);
}

TEST_F(Stream, TheBlockBehindItHoldsTheBytes) {
  write("block");
  HGLOBAL block = nullptr;
  ASSERT_EQ(S_OK, GetHGlobalFromStream(stream, &block));
  ASSERT_LE(5u, GlobalSize(block));
  EXPECT_EQ("block", std::string(static_cast<const char*>(GlobalLock(block)), 5));
  GlobalUnlock(block);
  ULARGE_INTEGER size;
  size.QuadPart = 2;
  EXPECT_EQ(S_OK, stream->SetSize(size));
  EXPECT_EQ(S_OK, seek(0, STREAM_SEEK_SET));
  EXPECT_EQ("bl", read(100));
}

TEST_F(Stream, CountsItsReferencesAndKnowsItsInterfaces) {
  IStream* same = nullptr;
  EXPECT_EQ(S_OK, stream->QueryInterface(IID_IStream, reinterpret_cast<void**>(&same)));
  EXPECT_EQ(stream, same);
  EXPECT_EQ(3u, same->AddRef());
  EXPECT_EQ(2u, same->Release());
  EXPECT_EQ(1u, same->Release());
  const GUID strange = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
  EXPECT_EQ(E_NOINTERFACE, stream->QueryInterface(strange, reinterpret_cast<void**>(&same)));
}

TEST(StreamOverABlock, UsesItAndLeavesItWhenTold) {
  const HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 4);
  IStream* stream = nullptr;
  ASSERT_EQ(S_OK, CreateStreamOnHGlobal(block, FALSE, &stream));
  EXPECT_EQ(S_OK, stream->Write("ab", 2, nullptr));
  EXPECT_EQ(0u, stream->Release());
  EXPECT_EQ(0, memcmp(GlobalLock(block), "ab\0", 4));
  GlobalUnlock(block);
  EXPECT_EQ(nullptr, GlobalFree(block));
}

}  // namespace
