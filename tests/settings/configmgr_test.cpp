#include "qv/settings/configmgr.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "qv/frame/cpu.h"
#include "qv/frame/status.h"
#include "qv/platform/detail/alloc_seam.h"
#include "qv/platform/win32.h"
#include "qv/settings/detail/configmgr.h"

namespace {

using namespace qv;

using WText = std::basic_string<WCHAR>;

constexpr const char* kStart = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>";

struct Product {
  const WCHAR *code, *publisher, *version, *name;  // null: the installer doesn't tell
};

// The machine of the tests; the port's plain functions read it.
struct Machine {
  std::vector<Product> products;
  const WCHAR* system = TEXT("Windows 10.0 (64-bit)");
  const WCHAR* servicePack = TEXT("");
  const WCHAR* processor = TEXT("Test CPU");
  const WCHAR* maker = TEXT("GenuineTest\x1");
  uint32_t word = 0;
  bool hasScreen = true, hasMemory = true;
  int32_t screenBits = 32;
  std::vector<std::pair<DWORD, const WCHAR*>> adapters;  // flags, id
};
Machine machine;

UINT product(DWORD index, WCHAR* code) {
  if (index >= machine.products.size()) return ERROR_NO_MORE_ITEMS;
  lstrcpynW(code, machine.products[index].code, 39);
  return ERROR_SUCCESS;
}

const WCHAR* factOf(const Product& each, const WText& property) {
  return property == TEXT("Publisher")       ? each.publisher
         : property == TEXT("VersionString") ? each.version
                                             : each.name;
}

UINT productFact(const WCHAR* code, const WCHAR* property, WCHAR* value, DWORD* capacity) {
  for (const Product& each : machine.products) {
    if (WText(code) != each.code) continue;
    const WCHAR* fact = factOf(each, property);
    if (fact == nullptr) return ERROR_UNKNOWN_PROPERTY;
    const DWORD room = *capacity;
    *capacity = static_cast<DWORD>(lstrlenW(fact));
    lstrcpynW(value, fact, static_cast<int>(room));
    return room > *capacity ? ERROR_SUCCESS : ERROR_MORE_DATA;
  }
  return ERROR_INVALID_PARAMETER;
}

HRESULT giveText(const WCHAR* fact, WCHAR* text, int32_t capacity) {
  if (fact == nullptr) return kGeneralFailure;
  lstrcpynW(text, fact, capacity);
  return kOk;
}

void setPort() {
  ReportPort& port = reportPort();
  port.product = product;
  port.productFact = productFact;
  port.systemName = [](WCHAR* text, int32_t capacity) -> int32_t {
    return giveText(machine.system, text, capacity) == kOk;
  };
  port.systemVersion = [](OSVERSIONINFOEXW* version) {
    version->dwMajorVersion = 10;
    version->dwMinorVersion = 0;
    version->dwBuildNumber = 42;
    lstrcpynW(version->szCSDVersion, machine.servicePack, 128);
  };
  port.processorName = [](WCHAR* text, int32_t capacity) {
    return giveText(machine.processor, text, capacity);
  };
  port.processorMaker = [](WCHAR* text, int32_t capacity) { return giveText(machine.maker, text, capacity); };
  port.processorWord = [] { return machine.word; };
  port.processorCount = [] { return 12u; };
  port.memory = [](MEMORYSTATUSEX* status) {
    status->ullTotalPhys = (uint64_t{32} << 30) + 5;
    status->ullTotalPageFile = uint64_t{40} << 30;
    status->ullTotalVirtual = uint64_t{1} << 47;
    return machine.hasMemory && status->dwLength == 64;
  };
  port.screen = [](platform::ScreenMode* mode) {
    *mode = {2560, 1440, machine.screenBits};
    return machine.hasScreen;
  };
  port.adapter = [](DWORD index, DISPLAY_DEVICEW* adapter) {
    if (index >= machine.adapters.size() || adapter->cb != 840) return false;
    adapter->StateFlags = machine.adapters[index].first;
    lstrcpynW(adapter->DeviceID, machine.adapters[index].second, 128);
    return true;
  };
}

class Report : public testing::Test {
 protected:
  void SetUp() override {
    CoInitialize(nullptr);
    machine = Machine();
    setPort();
    ASSERT_EQ(0, CQvConfigMgr::CreateInstance(&manager));
  }
  void TearDown() override {
    EXPECT_EQ(0u, manager->Release());
    resetReportPort();
    CoUninitialize();
  }
  // The report behind its declaration; empty when it failed.
  std::string report(uint32_t flags, const WCHAR* user = nullptr) {
    uint32_t size = 77;
    void* block = this;
    status = manager->GetConfigXml(user, flags, &size, &block);
    if (FAILED(status)) {
      EXPECT_EQ(0u, size);
      EXPECT_EQ(nullptr, block);
      return {};
    }
    const std::string text(static_cast<const char*>(block), size);
    CoTaskMemFree(block);
    EXPECT_EQ(kStart, text.substr(0, std::string_view(kStart).size()));
    return text.substr(std::string_view(kStart).size());
  }
  // What stands between the tags of an element, "-" without it.
  std::string element(const std::string& name) {
    const std::string text = report(QVCONFIG_MACHINE);
    const size_t begin = text.find("<" + name + ">");
    if (begin == text.npos) return text.find("<" + name + "/>") == text.npos ? "-" : "";
    const size_t from = begin + name.size() + 2;
    return text.substr(from, text.find("</" + name + ">") - from);
  }

  IQvConfigMgr* manager = nullptr;
  HRESULT status = 0;
};

TEST_F(Report, OfNothingIsTheRootAlone) {
  EXPECT_EQ("<configinfo version=\"2\"/>", report(0));
  EXPECT_EQ("<configinfo version=\"2\"/>", report(0, TEXT("")));
  EXPECT_EQ("<configinfo version=\"2\"><user>R &amp; \xc3\xa9</user></configinfo>",
            report(0, TEXT("R & \xe9")));
  EXPECT_EQ("<configinfo version=\"2\"/>", report(0xce)) << "other bits mean nothing";
}

TEST_F(Report, OfAMachineIsTheSameBytesEverywhere) {
  machine.word = QVCPU_SSE | QVCPU_SSE2 | QVCPU_AVX;
  machine.servicePack = TEXT("Service Pack 1");
  machine.adapters = {{1, TEXT("PCI\\VEN_8086&DEV_0001")}, {5, TEXT("PCI\\VEN_10DE&DEV_0DD8&SUBSYS_0")}};
  machine.products = {{TEXT("{1}"), TEXT("Halden"), TEXT("1.0"), TEXT("Not asked for")}};
  const std::string expected =
      "<configinfo version=\"2\"><regmachine><os><platform>Windows 10.0 (64-bit)</platform>"
      "<version>10.00.042 (Service Pack 1)</version></os><cpu><class>Test CPU</class><id>GenuineTest</id>"
      "<numbercpus>12</numbercpus><sse/><sse2/><avx/></cpu><memory><physical>32768</physical>"
      "<paging>40960</paging><virtual>134217728</virtual></memory><video><display><HorzRes>2560</HorzRes>"
      "<VertRes>1440</VertRes><BitsPixel>32</BitsPixel></display><device><vendorID>10DE</vendorID>"
      "<deviceID>0DD8</deviceID></device></video></regmachine></configinfo>";
  EXPECT_EQ(expected, report(16));
  EXPECT_EQ(expected, report(32));
}

TEST_F(Report, LeavesOutWhatTheSystemDoesNotTell) {
  struct Case {
    const char* fault;
    std::function<void()> set;
    const char *element, *content;
  };
  const Case cases[] = {
      {"no service pack", [] {}, "version", "10.00.042"},
      {"no system name", [] { machine.system = nullptr; }, "os", ""},
      {"no brand", [] { machine.processor = nullptr, machine.word = 6; }, "class", "Pentium 4"},
      {"another class", [] { machine.processor = nullptr, machine.word = 0xfe7; }, "class", "Generic"},
      {"no maker", [] { machine.maker = nullptr; }, "id", "Unknown"},
      {"no features", [] { machine.word = 6; }, "avx", "-"},
      {"all features", [] { machine.word = 0xff0; }, "sse4_1", ""},
      {"no memory figures", [] { machine.hasMemory = false; }, "memory", ""},
      {"no screen", [] { machine.hasScreen = false; }, "display", ""},
      {"no depth", [] { machine.screenBits = 0; }, "BitsPixel", "-"},
      {"no adapter", [] {}, "device", ""},
      {"none is primary",
       [] {
         machine.adapters = {{1, TEXT("PCI\\VEN_8086&DEV_0001")}};
       },
       "device", ""},
      {"no id",
       [] {
         machine.adapters = {{4, TEXT("")}};
       },
       "device", ""},
      {"a short id",
       [] {
         machine.adapters = {{4, TEXT("PCI\\VEN_80")}};
       },
       "device", "<vendorID>80</vendorID>"},
  };
  for (const Case& each : cases) {
    machine = Machine();
    each.set();
    EXPECT_EQ(each.content, element(each.element)) << each.fault;
  }
}

TEST_F(Report, ListsTheProductsOfOurPublishers) {
  const WText longName(600, 'x');
  const WText longPublisher = longName + TEXT(" tessaly");
  machine.products = {
      {TEXT("{A}"), TEXT("halden Media Works"), TEXT("1.2"), TEXT("Cutter <&>")},
      {TEXT("{B}"), TEXT("Someone else"), nullptr, nullptr},
      {TEXT("{C}"), nullptr, TEXT("1"), TEXT("no publisher")},
      {TEXT("{D}"), longPublisher.c_str(), TEXT(""), longName.c_str()},
  };
  EXPECT_EQ(
      "<configinfo version=\"2\"><product><productcodeguid>{A}</productcodeguid><productname>Cutter "
      "&lt;&amp;&gt;</productname><version>1.2</version><language>0</language><locale>0</locale></product>"
      "<product><productcodeguid>{D}</productcodeguid><productname>" +
          std::string(600, 'x') +
          "</productname><version/><language>0</language><locale>0</locale></product></configinfo>",
      report(QVCONFIG_PRODUCTS));
}

TEST_F(Report, FailsWhenAProductOfOursDoesNotTell) {
  const WText longText(100, 'v');
  const Product cases[] = {{TEXT("{A}"), TEXT("TESSALY"), nullptr, TEXT("name")},
                           {TEXT("{A}"), TEXT("TESSALY"), TEXT("1"), nullptr},
                           {TEXT("{A}"), TEXT("TESSALY"), longText.c_str(), TEXT("name")}};
  for (const Product& each : cases) {
    machine.products = {each};
    EXPECT_EQ("", report(QVCONFIG_PRODUCTS));
    EXPECT_EQ(kGeneralFailure, status);
  }
  machine.products.clear();
  EXPECT_NE("", report(QVCONFIG_PRODUCTS)) << "the object is good for another one";
}

TEST_F(Report, RefusesNullAndSurvivesWithoutMemory) {
  uint32_t size = 0;
  void* block = nullptr;
  EXPECT_EQ(kInvalidArgument, manager->GetConfigXml(nullptr, 0, nullptr, &block));
  EXPECT_EQ(kInvalidArgument, manager->GetConfigXml(nullptr, 0, &size, nullptr));
  EXPECT_EQ(0, manager->GetConfigXmlForVendor(nullptr, nullptr, 0, &size, &block));
  CoTaskMemFree(block);
  machine.products = {{TEXT("{A}"), TEXT("Halden"), TEXT("1"), TEXT("name")}};
  for (int64_t n = 1;; ++n) {
    platform::failAllocation(n);
    report(QVCONFIG_PRODUCTS);
    if (!platform::allocationFailed()) break;
    EXPECT_EQ(kOutOfMemory, status) << n;
  }
  EXPECT_EQ(0, status);
  platform::failAllocation(1);
  IQvConfigMgr* none = manager;
  EXPECT_EQ(kOutOfMemory, CQvConfigMgr::CreateInstance(&none));
  EXPECT_EQ(nullptr, none);
  platform::allocationFailed();
}

TEST_F(Report, AnswersForItsInterfacesOnly) {
  void* object = nullptr;
  EXPECT_EQ(kNullPointer, manager->QueryInterface(IID_IQvConfigMgr, nullptr));
  GUID other = IID_IQvConfigMgr;
  ++other.Data1;
  EXPECT_EQ(static_cast<HRESULT>(0x80004002u), manager->QueryInterface(other, &object));
  EXPECT_EQ(nullptr, object);
  ASSERT_EQ(0, manager->QueryInterface(IID_IQvConfigMgr, &object));
  EXPECT_EQ(manager, object);
  EXPECT_EQ(1u, manager->Release());
}

// A key of this test's own vendor; the file that it names gets every report.
TEST_F(Report, IsAlsoWrittenToTheFileForSupportStaff) {
  const WCHAR* const vendor = TEXT("Qv Report Test");
  WCHAR folder[MAX_PATH];
  GetTempPathW(MAX_PATH, folder);
  const WText file = folder + WText(TEXT("qv-report-test.xml"));
  HKEY key = nullptr;
  ASSERT_EQ(0, RegCreateKeyExW(HKEY_LOCAL_MACHINE, (WText(TEXT("Software\\")) + vendor).c_str(), 0, nullptr,
                               0, KEY_WRITE, nullptr, &key, nullptr));
  const auto name = [&](DWORD type, const WText& text) {
    RegSetValueExW(key, TEXT("QvConfigMgrXmlFile"), 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                   static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
    uint32_t size = 0;
    void* block = nullptr;
    EXPECT_EQ(0, manager->GetConfigXmlForVendor(TEXT("Robin"), vendor, 0, &size, &block));
    CoTaskMemFree(block);
    return GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
  };
  DeleteFileW(file.c_str());
  EXPECT_FALSE(name(REG_BINARY, file));
  EXPECT_FALSE(name(REG_SZ, WText(400, 'x'))) << "longer than any path";
  EXPECT_FALSE(name(REG_SZ, folder + WText(TEXT("no\\such\\folder.xml")))) << "no failure of the report";
  EXPECT_TRUE(name(REG_SZ, file));
  EXPECT_TRUE(DeleteFileW(file.c_str()));
  RegCloseKey(key);
  RegDeleteKeyW(HKEY_LOCAL_MACHINE, (WText(TEXT("Software\\")) + vendor).c_str());
}

}  // namespace
