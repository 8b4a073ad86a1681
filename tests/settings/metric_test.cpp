#include "qv/settings/metric.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "qv/frame/status.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/memory.h"

namespace {

using namespace qv;
using Text = std::basic_string<WCHAR>;

constexpr const WCHAR* kApplication = TEXT("Metric Test");
constexpr uint32_t kVersion = 0x02050000;
const Text kOwnKey = TEXT("Software\\Halden Media Works\\Metric Test");
const Text kAppKey = kOwnKey + TEXT("\\2.5");
constexpr HRESULT kTooSmall = static_cast<HRESULT>(0x8004e03cu);
constexpr HRESULT kPathTooLong = static_cast<HRESULT>(0x800700ceu);

bool keyExists(HKEY hive, const Text& path) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(hive, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return false;
  RegCloseKey(key);
  return true;
}

class Metric : public testing::Test {
 protected:
  void SetUp() override {
    QvRegDeleteKey(HKEY_CURRENT_USER, kOwnKey.c_str());
    ASSERT_EQ(kOk, QvMetric_Open(&metrics, kApplication, kVersion, nullptr));
  }
  void TearDown() override {
    EXPECT_EQ(kOk, QvMetric_Close(metrics));
    QvRegDeleteKey(HKEY_CURRENT_USER, kOwnKey.c_str());
    setDefaultMetric(nullptr);
  }

  // Puts a value behind the store's back. A NUL behind a text would be taken along on Windows.
  void plant(const WCHAR* name, DWORD type, const void* data, size_t size) {
    ASSERT_EQ(ERROR_SUCCESS,
              static_cast<DWORD>(RegSetValueExW(metrics->key, name, 0, type, static_cast<const BYTE*>(data),
                                                static_cast<DWORD>(size))));
  }
  // What stands under a name: its type and size, or -1.
  std::pair<int64_t, int64_t> stored(const WCHAR* name) {
    DWORD type = 0, size = 0;
    if (RegQueryValueExW(metrics->key, name, nullptr, &type, nullptr, &size) != ERROR_SUCCESS)
      return {-1, -1};
    return {type, size};
  }

  HQVMETRIC metrics = nullptr;
};

using Pair = std::pair<int64_t, int64_t>;

TEST_F(Metric, ValuesGetTheirNamesFromNumberAndType) {
  EXPECT_EQ(kOk, QvSetMetric(metrics, -12, 7));
  EXPECT_EQ(kOk, QvSetMetricString(metrics, 12, TEXT("text")));
  EXPECT_EQ(kOk, QvSetMetricBinary(metrics, -12, "abc", 3));
  EXPECT_EQ(kOk, QvSetMetricMultiString(metrics, 12, TEXT("a\0b\0"), 5));
  EXPECT_EQ(kOk, QvSetMetricUsingName(metrics, TEXT("named"), -5));
  EXPECT_EQ(Pair(REG_DWORD, 4), stored(TEXT("12")));
  EXPECT_EQ(Pair(REG_SZ, 10), stored(TEXT("S12")));
  EXPECT_EQ(Pair(REG_BINARY, 3), stored(TEXT("B12")));
  EXPECT_EQ(Pair(REG_MULTI_SZ, 10), stored(TEXT("Z12")));
  EXPECT_EQ(Pair(REG_DWORD, 4), stored(TEXT("named")));
  EXPECT_EQ(7, QvGetMetric(metrics, 12));
  EXPECT_EQ(7, QvGetMetric(metrics, -12));
  EXPECT_EQ(-5, QvGetMetricUsingName(metrics, TEXT("named"), 1));
  EXPECT_EQ(1, QvGetMetricUsingName(metrics, TEXT("unnamed"), 1));
  EXPECT_EQ(kOk, QvSetMetric(metrics, INT32_MIN, 3));
  EXPECT_EQ(Pair(REG_DWORD, 4), stored(TEXT("-2147483648")));
}

TEST_F(Metric, ShownNamesDifferForNumbersOnly) {
  const struct {
    int32_t number, type;
    Text name;
  } cases[] = {{12, 1, TEXT("S12")},
               {-3, 3, TEXT("B3")},
               {12, 4, TEXT("D12")},
               {0, 7, TEXT("Z0")},
               {9, 2, TEXT("Z9")}};
  for (const auto& each : cases) {
    WCHAR text[16];
    EXPECT_EQ(static_cast<int32_t>(each.name.size()), QvMetricGetName(each.number, each.type, text));
    EXPECT_EQ(each.name, text);
  }
}

TEST_F(Metric, KeysStandWhereTheVersionSays) {
  const struct {
    uint32_t version;
    const WCHAR* subKey;
    Text path;
  } cases[] = {
      {0x02050000, nullptr, TEXT("\\2.5\\Metrics")},
      {0x0205ffff, TEXT("List"), TEXT("\\2.5\\Metrics\\List")},
      {0x00ff0000, nullptr, TEXT("\\Metrics")},
      {0x01000000, TEXT(""), TEXT("\\1.0\\Metrics")},
      {0xff010000, TEXT("a\\b"), TEXT("\\255.1\\Metrics\\a\\b")},
  };
  for (const auto& each : cases) {
    HQVMETRIC other = nullptr;
    const Text path = kOwnKey + each.path;
    EXPECT_EQ(kOk, QvMetric_Open(&other, kApplication, each.version, each.subKey));
    EXPECT_EQ(path, other->keyPath);
    EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, path));
    EXPECT_EQ(kOk, QvMetric_CloseAndDeleteKey(other));
    EXPECT_FALSE(keyExists(HKEY_CURRENT_USER, path));
  }
}

TEST_F(Metric, ASubKeyOfASubKeyIsItsSibling) {
  HQVMETRIC first = nullptr, second = nullptr;
  ASSERT_EQ(kOk, QvMetric_OpenSubKey(&first, metrics, TEXT("One")));
  ASSERT_EQ(kOk, QvMetric_OpenSubKey(&second, first, TEXT("Two")));
  EXPECT_EQ(kAppKey + TEXT("\\Metrics\\Two"), second->keyPath);
  EXPECT_EQ(kOk, QvSetMetric(first, 1, 11));
  EXPECT_EQ(0, QvGetMetric(second, 1));
  QvMetric_Close(first);
  QvMetric_Close(second);
  EXPECT_EQ(kGeneralFailure, QvMetric_OpenSubKey(&second, nullptr, TEXT("Two")));
  EXPECT_EQ(nullptr, second);
}

TEST_F(Metric, NumbersKeepTheirLimits) {
  ASSERT_EQ(kOk, QvSetMetric(metrics, 1, 100));
  ASSERT_EQ(kOk, QvSetMetric(metrics, 2, -100));
  plant(TEXT("3"), REG_SZ, TEXT("5"), 4);
  plant(TEXT("4"), REG_DWORD, "ab", 2);
  constexpr int32_t kNone = 99;
  const struct {
    int32_t number, minimum, maximum, otherwise, expected;
  } cases[] = {
      {1, 0, 200, 5, 100}, {1, 0, 10, 5, 10},   {2, -50, 0, 5, -50},    {2, 0, 10, 5, 0},
      {1, 5, 5, 9, 100},   {kNone, 5, 5, 9, 9}, {kNone, 0, 10, 99, 10}, {kNone, 0, 10, -1, 0},
      {3, 0, 10, 7, 7},    {4, 0, 10, 7, 7},    {kNone, 0, 10, 4, 4},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(each.expected, QvGetMetricEx(metrics, each.number, each.minimum, each.maximum, each.otherwise))
        << (&each - cases);
  }
  EXPECT_EQ(99, QvGetMetricEx(nullptr, 1, 0, 10, 99)) << "unlimited without a handle";
  EXPECT_EQ(0, QvGetMetric(metrics, 3));
  EXPECT_EQ(1, QvGetMetricBool(metrics, 1, 0));
  EXPECT_EQ(1, QvGetMetricBool(metrics, kNone, 5));
  EXPECT_EQ(0, QvGetMetricBool(metrics, kNone, 0));
  EXPECT_EQ(5, QvGetMetricBool(nullptr, 1, 5)) << "as it is without a handle";
}

TEST_F(Metric, BytesFillTheBufferOrClearIt) {
  ASSERT_EQ(kOk, QvSetMetricBinary(metrics, 1, "abcde", 5));
  plant(TEXT("B2"), REG_SZ, TEXT("x"), 4);
  const struct {
    int32_t number;
    uint32_t size, read;
    HRESULT status;
    uint32_t sizeOut;
    std::string buffer;
  } cases[] = {
      {1, 8, 5, kOk, 5, std::string("abcde\0\0\0", 8)}, {1, 5, 5, kOk, 5, "abcde"},
      {1, 4, 0, kTooSmall, 5, std::string(4, '\0')},    {2, 8, 0, kNothing, 0, std::string(8, '\0')},
      {3, 8, 0, kNothing, 0, std::string(8, '\0')},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    const std::string expected = each.buffer + std::string(8 - each.size, '?');
    std::string plain(8, '?'), extended(8, '?');
    uint32_t size = 77;
    EXPECT_EQ(each.read, QvGetMetricBinary(metrics, each.number, plain.data(), each.size));
    EXPECT_EQ(each.status, QvGetMetricBinaryEx(metrics, each.number, extended.data(), each.size, &size));
    EXPECT_EQ(each.sizeOut, size);
    EXPECT_EQ(std::pair(expected, expected), std::pair(plain, extended));
  }
  uint32_t size = 0;
  EXPECT_EQ(kOk, QvGetMetricBinaryEx(metrics, 1, nullptr, 0, &size));
  EXPECT_EQ(5u, size);
  EXPECT_EQ(kInvalidArgument, QvGetMetricBinaryEx(metrics, 1, nullptr, 0, nullptr));
  EXPECT_EQ(kNotFound, QvGetMetricBinaryEx(nullptr, 1, nullptr, 0, &size));
}

// ---- streams --------------------------------------------------------------------------------------------

struct MemoryStream {
  IStream* stream = nullptr;
  MemoryStream() { EXPECT_EQ(S_OK, CreateStreamOnHGlobal(nullptr, TRUE, &stream)); }
  ~MemoryStream() { stream->Release(); }
  void write(const std::string& data) {
    EXPECT_EQ(S_OK, stream->Write(data.data(), static_cast<ULONG>(data.size()), nullptr));
  }
  void seek(int64_t to) {
    LARGE_INTEGER distance;
    distance.QuadPart = to;
    EXPECT_EQ(S_OK, stream->Seek(distance, STREAM_SEEK_SET, nullptr));
  }
  std::string contents() {
    std::string data(5000, 0);
    ULONG read = 0;
    seek(0);
    EXPECT_EQ(S_OK, stream->Read(data.data(), 5000, &read));
    return data.substr(0, read);
  }
};

TEST_F(Metric, StreamsGoThereAndBack) {
  MemoryStream in, out;
  const std::string data(2048, 'd');
  in.write(data);
  EXPECT_EQ(kOk, QvSetMetricStream(metrics, 1, in.stream));
  out.write("in front");
  EXPECT_EQ(kOk, QvGetMetricStream(metrics, 1, out.stream));
  EXPECT_EQ(data, out.contents()) << "from the start, wherever the stream stood";
  in.seek(3);
  EXPECT_EQ(kOk, QvSetMetricStream(metrics, 1, in.stream)) << "the position is the length";
  EXPECT_EQ(Pair(REG_BINARY, 3), stored(TEXT("B1")));
}

TEST_F(Metric, StreamsThatAreNoneOrTooLongAreRefused) {
  MemoryStream empty, full, beyond;
  full.write(std::string(2049, 'f'));
  beyond.write("abc");
  beyond.seek(2000);
  EXPECT_EQ(kUnexpected, QvSetMetricStream(metrics, 1, empty.stream));
  EXPECT_EQ(kInvalidArgument, QvSetMetricStream(metrics, 1, full.stream));
  EXPECT_EQ(kUnexpected, QvSetMetricStream(metrics, 1, beyond.stream)) << "no byte stands there";
  EXPECT_EQ(kNullPointer, QvSetMetricStream(metrics, 1, nullptr));
  EXPECT_EQ(kNullPointer, QvGetMetricStream(metrics, 1, nullptr));
  EXPECT_EQ(kUnexpected, QvGetMetricStream(metrics, 1, full.stream));
  EXPECT_EQ(Pair(-1, -1), stored(TEXT("B1")));
  full.seek(100);
  setDefaultMetric(metrics);
  for (const HQVMETRIC handle : {HQVMETRIC{nullptr}, QVMETRIC_DEFAULT}) {
    EXPECT_EQ(kGeneralFailure, QvSetMetricStream(handle, 1, full.stream));
  }
  EXPECT_EQ(Pair(-1, -1), stored(TEXT("B1")));
}

// Takes a byte less than it is given. Nobody deletes it: interfaces have no destructor.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
struct NarrowStream final : IStream {
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
  ULONG STDMETHODCALLTYPE AddRef() override { return 1; }
  ULONG STDMETHODCALLTYPE Release() override { return 1; }
  HRESULT STDMETHODCALLTYPE Read(void*, ULONG, ULONG*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Write(const void*, ULONG bytes, ULONG* written) override {
    *written = bytes - 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE Seek(LARGE_INTEGER, DWORD, ULARGE_INTEGER* position) override {
    if (position != nullptr) position->QuadPart = 10;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE SetSize(ULARGE_INTEGER) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) override {
    return E_NOTIMPL;
  }
  HRESULT STDMETHODCALLTYPE Commit(DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Revert() override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Clone(IStream**) override { return E_NOTIMPL; }
};
#pragma GCC diagnostic pop

TEST_F(Metric, AStreamThatTakesLessIsAnError) {
  NarrowStream narrow;
  ASSERT_EQ(kOk, QvSetMetricBinary(metrics, 1, "abc", 3));
  EXPECT_EQ(kUnexpected, QvGetMetricStream(metrics, 1, &narrow));
  EXPECT_TRUE(FAILED(QvSetMetricStream(metrics, 2, &narrow))) << "no memory behind it";
  platform::failAllocation(1);
  EXPECT_EQ(kOutOfMemory, QvGetMetricStream(metrics, 1, &narrow));
  EXPECT_TRUE(platform::allocationFailed());
}

// ---- texts ----------------------------------------------------------------------------------------------

TEST_F(Metric, TextsComeWithTheirLengthOrTheDefault) {
  ASSERT_EQ(kOk, QvSetMetricString(metrics, 1, TEXT("stored")));
  ASSERT_EQ(kOk, QvSetMetricString(metrics, 2, TEXT("")));
  plant(TEXT("S3"), REG_DWORD, "abcd", 4);
  plant(TEXT("S4"), REG_SZ, TEXT("123456789"), 16);  // no terminator
  plant(TEXT("S5"), REG_SZ, TEXT("x"), 1);
  plant(TEXT("S6"), REG_SZ, TEXT("x"), 0);
  const struct {
    int32_t number;
    uint32_t capacity;
    const WCHAR* otherwise;
    int32_t keepEmpty;
    uint32_t length;
    Text text;
  } cases[] = {
      {1, 8, TEXT("def"), 0, 6, TEXT("stored")},  {1, 7, TEXT("def"), 0, 6, TEXT("stored")},
      {1, 6, TEXT("def"), 0, 3, TEXT("def")},     {2, 8, TEXT("def"), 1, 0, TEXT("")},
      {2, 8, TEXT("def"), 0, 3, TEXT("def")},     {2, 8, nullptr, 0, 0, TEXT("")},
      {3, 8, TEXT("def"), 1, 3, TEXT("def")},     {7, 3, TEXT("default"), 0, 2, TEXT("de")},
      {4, 8, TEXT("def"), 0, 7, TEXT("1234567")}, {5, 8, TEXT("def"), 1, 0, TEXT("")},
      {6, 8, TEXT("def"), 1, 3, TEXT("def")},     {7, 1, TEXT("def"), 0, 0, TEXT("")},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    Text buffer(9, '?');
    EXPECT_EQ(each.length, QvGetMetricStringEx(metrics, each.number, buffer.data(), each.capacity,
                                               each.otherwise, each.keepEmpty));
    EXPECT_EQ(each.text, buffer.c_str());
    EXPECT_EQ('?', buffer[each.capacity]);
  }
  WCHAR buffer[8] = {};
  EXPECT_EQ(3u, QvGetMetricStringEx(nullptr, 1, buffer, 8, TEXT("def"), 0));
  EXPECT_EQ(TEXT("def"), Text(buffer));
  EXPECT_EQ(0u, QvGetMetricStringEx(metrics, 1, nullptr, 8, TEXT("def"), 0));
}

TEST_F(Metric, ManyTextsCountTheirTerminatorsButTheLast) {
  const Text texts(TEXT("one\0two\0"), 9);
  ASSERT_EQ(kOk, QvSetMetricMultiString(metrics, 1, texts.data(), 9));
  WCHAR buffer[12];
  memset(buffer, '?', sizeof(buffer));
  EXPECT_EQ(8u, QvGetMetricMultiStringEx(metrics, 1, buffer, 12, nullptr, 0));
  EXPECT_EQ(texts + Text(3, 0), Text(buffer, 12));
  EXPECT_EQ(8u, QvGetMetricMultiStringEx(metrics, 1, buffer, 9, nullptr, 0));
  EXPECT_EQ(texts, Text(buffer, 9));
  EXPECT_EQ(3u, QvGetMetricMultiStringEx(metrics, 1, buffer, 8, TEXT("def"), 0));
  EXPECT_EQ(Text(TEXT("def\0\0\0\0\0"), 8), Text(buffer, 8));
  EXPECT_EQ(3u, QvGetMetricMultiStringEx(metrics, 2, buffer, 8, TEXT("def"), 1));
  plant(TEXT("Z3"), REG_MULTI_SZ, TEXT("never ends"), 16);
  EXPECT_EQ(7u, QvGetMetricMultiStringEx(metrics, 3, buffer, 8, nullptr, 0));
  EXPECT_EQ(Text(TEXT("never \0\0"), 8), Text(buffer, 8)) << "whoever walks the texts finds their end";
}

// ---- any type -------------------------------------------------------------------------------------------

TEST_F(Metric, AnyReadsTheBareNumberWhateverItsType) {
  const struct {
    DWORD storedType;
    Text data;
    int32_t type;
    uint32_t size;
    HRESULT status;
    uint32_t sizeOut;  // 77: untouched
    Text buffer;       // '?' untouched
  } cases[] = {
      {REG_SZ, Text(TEXT("ab\0"), 3), 1, 8, kNotFound, 77, Text(TEXT("ab\0?"), 4)},
      {REG_SZ, Text(TEXT("ab\0"), 3), 1, 4, kTooSmall, 6, TEXT("")},
      {REG_SZ, Text(TEXT("abc"), 3), 3, 8, kOk, 6, Text(TEXT("abc\0"), 4)},
      {REG_SZ, Text(TEXT("abc"), 3), 3, 6, kTooSmall, 8, Text(TEXT("ab\0?"), 4)},
      {REG_SZ, Text(TEXT("ab\0"), 3), 3, 6, kOk, 6, Text(TEXT("ab\0?"), 4)},
      {REG_SZ, TEXT("a"), 3, 2, kOk, 2, TEXT("a???")},
      {REG_BINARY, TEXT("ab"), 3, 8, kNotFound, 77, TEXT("ab??")},
      {REG_BINARY, TEXT("ab"), 1, 8, kOk, 4, TEXT("ab??")},
      {REG_MULTI_SZ, Text(TEXT("a\0\0"), 3), 7, 8, kNotFound, 77, Text(TEXT("a\0\0?"), 4)},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(&each - cases);
    plant(TEXT("5"), each.storedType, (each.data + TEXT("!")).data(), each.data.size() * sizeof(WCHAR));
    Text buffer(4, '?');
    uint32_t size = 77;
    EXPECT_EQ(each.status, QvGetMetricAny(metrics, 5, each.type, buffer.data(), each.size, &size));
    EXPECT_EQ(each.sizeOut, size);
    EXPECT_EQ(each.buffer.empty() ? buffer : each.buffer, buffer);
  }
  uint32_t size = 77;
  EXPECT_EQ(kOk, QvGetMetricAny(metrics, 6, 1, nullptr, 0, &size)) << "missing";
  EXPECT_EQ(0u, size);
  EXPECT_EQ(kUnexpected, QvGetMetricAny(nullptr, 5, 1, nullptr, 0, &size));
}

TEST_F(Metric, ExistsAndGoesByNumberAndType) {
  ASSERT_EQ(kOk, QvSetMetricString(metrics, 1, Text(500, 'x').c_str()));
  plant(TEXT("B2"), REG_SZ, TEXT("x"), 4);
  EXPECT_EQ(0, QvDoesMetricExist(metrics, 1, kMetricString));
  EXPECT_EQ(1, QvDoesMetricExist(metrics, 1, kMetricNumber));
  EXPECT_EQ(1, QvDoesMetricExist(metrics, 2, kMetricBinary)) << "another type under the name";
  EXPECT_EQ(1, QvDoesMetricExist(nullptr, 1, kMetricString));
  EXPECT_EQ(kGeneralFailure, QvDeleteMetric(metrics, 1, kMetricNumber));
  EXPECT_EQ(kOk, QvDeleteMetric(metrics, 1, kMetricString));
  EXPECT_EQ(1, QvDoesMetricExist(metrics, 1, kMetricString));
  EXPECT_EQ(kOk, QvDeleteMetricUsingName(metrics, TEXT("B2"), kMetricNumber));
  EXPECT_EQ(kGeneralFailure, QvDeleteMetricUsingName(metrics, TEXT("B2"), kMetricBinary));
  EXPECT_EQ(kNothing, QvDeleteMetric(nullptr, 1, kMetricString));
}

// ---- handles --------------------------------------------------------------------------------------------

TEST_F(Metric, TheDefaultHandleServesReadsAndNumbers) {
  ASSERT_EQ(kOk, QvSetMetric(metrics, 1, 10));
  EXPECT_EQ(9, QvGetMetricEx(QVMETRIC_DEFAULT, 1, 0, 100, 9)) << "none was set";
  EXPECT_EQ(kGeneralFailure, QvSetMetric(QVMETRIC_DEFAULT, 1, 11));
  EXPECT_EQ(nullptr, setDefaultMetric(metrics));
  EXPECT_EQ(10, QvGetMetricEx(QVMETRIC_DEFAULT, 1, 0, 100, 9));
  EXPECT_EQ(kOk, QvSetMetric(QVMETRIC_DEFAULT, 1, 11));
  EXPECT_EQ(kOk, QvSetMetricUsingName(QVMETRIC_DEFAULT, TEXT("n"), 12));
  EXPECT_EQ(11, QvGetMetric(metrics, 1));
  EXPECT_EQ(0, QvDoesMetricExist(QVMETRIC_DEFAULT, 1, kMetricNumber));
  EXPECT_EQ(kOk, QvDeleteMetric(QVMETRIC_DEFAULT, 1, kMetricNumber));
  EXPECT_EQ(kOk, QvDeleteMetricUsingName(QVMETRIC_DEFAULT, TEXT("n"), 0));
  for (const HQVMETRIC handle : {HQVMETRIC{nullptr}, QVMETRIC_DEFAULT}) {
    EXPECT_EQ(kGeneralFailure, QvSetMetricBinary(handle, 1, "a", 1));
    EXPECT_EQ(kGeneralFailure, QvSetMetricString(handle, 1, TEXT("a")));
    EXPECT_EQ(kGeneralFailure, QvSetMetricMultiString(handle, 1, TEXT("a\0"), 3));
  }
  EXPECT_EQ(metrics, setDefaultMetric(nullptr));
}

TEST_F(Metric, AHandleWithoutAKeyIsGoodForDefaults) {
  HQVMETRIC closed = nullptr;
  EXPECT_EQ(kPathTooLong, QvMetric_Open(&closed, Text(250, 'a').c_str(), kVersion, nullptr));
  ASSERT_NE(nullptr, closed);
  EXPECT_EQ(nullptr, closed->key);
  EXPECT_FALSE(
      keyExists(HKEY_CURRENT_USER, (TEXT("Software\\Halden Media Works\\") + Text(250, 'a')).substr(0, 259)));
  EXPECT_EQ(99, QvGetMetricEx(closed, 1, 0, 10, 99));
  EXPECT_EQ(kGeneralFailure, QvSetMetric(closed, 1, 1));
  EXPECT_EQ(kGeneralFailure, QvSetMetricUsingName(closed, TEXT("n"), 1));
  EXPECT_EQ(kNothing, QvDeleteMetric(closed, 1, kMetricNumber));
  EXPECT_EQ(kUnexpected, QvGetMetricAny(closed, 1, 4, nullptr, 0, nullptr));
  EXPECT_EQ(kOk, QvMetric_Close(closed));
  EXPECT_EQ(kOk, QvMetric_Close(nullptr));
  EXPECT_EQ(kGeneralFailure, QvMetric_CloseAndDeleteKey(nullptr));
  platform::failAllocation(1);
  EXPECT_EQ(kOutOfMemory, QvMetric_Open(&closed, kApplication, kVersion, nullptr));
  EXPECT_TRUE(platform::allocationFailed());
  EXPECT_EQ(nullptr, closed);
}

TEST_F(Metric, TwoHandlesSeeEachOther) {
  HQVMETRIC other = nullptr;
  ASSERT_EQ(kOk, QvMetric_OpenRegHiveAndVersion(&other, kApplication, kVersion, TEXT("Halden Media Works"),
                                                nullptr));
  EXPECT_EQ(kOk, QvSetMetric(metrics, 1, 5));
  EXPECT_EQ(5, QvGetMetric(other, 1));
  EXPECT_EQ(kOk, QvMetric_CloseAndDeleteKey(other));
  EXPECT_EQ(9, QvGetMetricEx(metrics, 1, 0, 100, 9)) << "a deleted key has nothing";
  EXPECT_EQ(kGeneralFailure, QvSetMetric(metrics, 1, 6));
}

// ---- deletion -------------------------------------------------------------------------------------------

void makeKey(HKEY hive, const Text& path) {
  HKEY key = nullptr;
  ASSERT_EQ(ERROR_SUCCESS, static_cast<DWORD>(RegCreateKeyW(hive, path.c_str(), &key)));
  RegCloseKey(key);
}

TEST_F(Metric, DeletionTakesWhatItNamesFromTheHivesItNames) {
  const Text sub = kAppKey + TEXT("\\Metrics\\List"), neighbour = kOwnKey + TEXT("\\2.6");
  const struct {
    HRESULT (*run)();
    const char*
        left;  // the application's key and the one below it, of the machine (A, S) and the user (a, s)
  } cases[] = {
      {[] { return QvMetric_DeleteKey(kApplication, kVersion, TEXT("List")); }, "A a "},
      {[] { return QvMetric_DeleteKey(kApplication, kVersion, nullptr); }, "A a "},
      {[] { return QvMetric_DeleteUserMetrics(kApplication, kVersion); }, "AS  "},
      {[] { return QvMetric_DeleteAll(kApplication, kVersion); }, "    "},
      {[] { return QvMetric_DeleteAll(TEXT(""), kVersion); }, "ASas"},
      {[] { return QvMetric_DeleteAll(TEXT("Nobody"), kVersion); }, "ASas"},
  };
  for (const auto& each : cases) {
    makeKey(HKEY_CURRENT_USER, neighbour);
    for (const HKEY hive : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER})
      makeKey(hive, sub + TEXT("\\deep\\deeper"));
    makeKey(HKEY_CURRENT_USER, sub + TEXT("\\another"));
    EXPECT_EQ(kOk, each.run());
    const auto mark = [](HKEY hive, const Text& path, char letter) {
      return keyExists(hive, path) ? letter : ' ';
    };
    const std::string left = {mark(HKEY_LOCAL_MACHINE, kAppKey, 'A'), mark(HKEY_LOCAL_MACHINE, sub, 'S'),
                              mark(HKEY_CURRENT_USER, kAppKey, 'a'), mark(HKEY_CURRENT_USER, sub, 's')};
    EXPECT_EQ(each.left, left) << (&each - cases);
    EXPECT_TRUE(keyExists(HKEY_CURRENT_USER, neighbour));
  }
  QvRegDeleteKey(HKEY_LOCAL_MACHINE, kOwnKey.c_str());
  EXPECT_EQ(1, QvRegDeleteKey(HKEY_CURRENT_USER, TEXT("Software\\Nobody's Key")));
  for (const WCHAR* none : {TEXT(""), static_cast<const WCHAR*>(nullptr)})
    EXPECT_EQ(0, QvRegDeleteKey(metrics->key, none));
}

}  // namespace
