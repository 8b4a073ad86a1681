// Where the facts of reports come from: the package database, the kernel's files, the user's profile.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "qv/platform/linux/adapters.h"
#include "qv/platform/linux/package_database.h"
#include "qv/platform/profile.h"

namespace {

namespace fs = std::filesystem;
using namespace qv::platform;

class Facts : public testing::Test {
 protected:
  void SetUp() override { folder_ = fs::temp_directory_path() / ("qv-facts-" + std::to_string(getpid())); }
  void TearDown() override { fs::remove_all(folder_); }
  void put(const std::string& name, const std::string& text) const {
    fs::create_directories((folder_ / name).parent_path());
    std::ofstream(folder_ / name) << text;
  }
  std::string at(const std::string& name) const { return (folder_ / name).string(); }

  fs::path folder_;
};

TEST(PackageDatabase, TakesInstalledPackagesOnly) {
  const auto packages = readPackages(
      "Package: mixer\nStatus: install ok installed\nMaintainer: Halden Media <a@b>\nArchitecture: amd64\n"
      "Version: 1:2.0-3\nDescription: a\n Package: not this\n .\n\n"
      "Package: gone\nStatus: deinstall ok config-files\nVersion: 1\n\n"
      "Package: half\nStatus: install ok half-installed\n\n"
      "Status: install ok installed\nVersion: nameless\n  \r\n"
      "Package: mixer\r\nArchitecture: i386\r\nStatus: hold ok installed\r\n");
  ASSERT_EQ(2u, packages.size());
  EXPECT_EQ("mixer", packages[0].name);
  EXPECT_EQ("1:2.0-3", packages[0].version);
  EXPECT_EQ("Halden Media", packages[0].publisher);
  EXPECT_EQ("", packages[1].publisher);
  EXPECT_EQ("mixer", packages[1].name);
  EXPECT_NE(packages[0].code, packages[1].code) << "one for each architecture";
  EXPECT_EQ(readPackages("Package: mixer\nArchitecture: amd64\nStatus: i o installed")[0].code,
            packages[0].code)
      << "the same on every machine";
}

TEST(PackageDatabase, PassesOverWhatNoPackagerWrites) {
  const std::string installed = "\nStatus: install ok installed\n\n";
  EXPECT_TRUE(readPackages("Package: " + std::string(5000, 'x') + installed).empty());
  EXPECT_TRUE(readPackages(std::string("\0\xff:\n:::\n\n", 9)).empty());
  EXPECT_EQ("b", readPackages("Package: a\nPackage:\tb " + installed)[0].name);
  std::string many;
  for (int i = 0; i < 100010; ++i) many += "Package: p" + std::to_string(i) + installed;
  const auto packages = readPackages(many);
  EXPECT_EQ(100000u, packages.size());
  std::set<std::string> codes;
  for (const auto& each : packages) codes.insert(each.code);
  EXPECT_EQ(packages.size(), codes.size());
}

TEST_F(Facts, AdaptersAreDisplayDevicesAndOneIsTheBootDevice) {
  EXPECT_TRUE(readAdapters(at("pci")).empty());
  const auto device = [this](const std::string& place, const std::string& deviceClass, const char* boot) {
    put("pci/" + place + "/class", deviceClass + "\n");
    put("pci/" + place + "/vendor", "0x10de\n");
    put("pci/" + place + "/device", "0x0dd8\n");
    if (boot != nullptr) put("pci/" + place + "/boot_vga", boot);
  };
  device("0000:00:01.0", "0x020000", nullptr);
  device("0000:01:00.0", "0x030000", "0\n");
  EXPECT_TRUE(readAdapters(at("pci")).at(0).boot) << "the only one";
  device("0000:02:00.0", "0x030200", "1\n");
  const auto adapters = readAdapters(at("pci"));
  ASSERT_EQ(2u, adapters.size());
  EXPECT_FALSE(adapters[0].boot);
  EXPECT_TRUE(adapters[1].boot);
  EXPECT_EQ(0x10deu, adapters[1].vendor);
  EXPECT_EQ(0x0dd8u, adapters[1].device);
}

TEST_F(Facts, TheScreenIsTheFrameBufferOrTheFirstConnectedConnector) {
  ScreenMode mode = {-1, -1, -1};
  const auto read = [&] { return readScreenMode(at("graphics"), at("drm"), &mode); };
  EXPECT_FALSE(read());
  EXPECT_EQ(-1, mode.width);
  put("drm/card0-A/status", "disconnected\n");
  put("drm/card0-A/modes", "800x600\n");
  EXPECT_FALSE(read());
  put("drm/card0-B/status", "connected\n");
  put("drm/card0-B/modes", "2560x1440\n1920x1080\n");
  ASSERT_TRUE(read());
  EXPECT_EQ(2560, mode.width);
  EXPECT_EQ(1440, mode.height);
  EXPECT_EQ(0, mode.bits) << "not known";
  put("graphics/fb0/virtual_size", "1024,768\n");
  put("graphics/fb0/bits_per_pixel", "16\n");
  ASSERT_TRUE(read());
  EXPECT_EQ(1024, mode.width);
  EXPECT_EQ(16, mode.bits);
}

TEST_F(Facts, TheProfileIsReadBySectionAndEntry) {
  const char* before = getenv("XDG_CONFIG_HOME");
  const std::string kept = before != nullptr ? before : "";
  setenv("XDG_CONFIG_HOME", folder_.c_str(), 1);
  put("qv/profile.ini",
      "\xef\xbb\xbf"
      "File=none\r\n[Other]\nfile=other\n[DEBUG\n; file=comment\n file = \"C:\\a b.xml\" \r\n"
      "file=second\n[debug]\nempty=\n[");
  struct Case {
    const WCHAR *section, *entry, *text;
  };
  const Case cases[] = {{TEXT("debug"), TEXT("File"), TEXT("C:\\a b.xml")},
                        {TEXT("other"), TEXT("file"), TEXT("other")},
                        {TEXT("debug"), TEXT("empty"), TEXT("")},
                        {TEXT("debug"), TEXT("; file"), TEXT("?")},
                        {TEXT("nowhere"), TEXT("file"), TEXT("?")}};
  for (const Case& each : cases) {
    WCHAR text[100];
    GetProfileStringW(each.section, each.entry, TEXT("?"), text, 100);
    EXPECT_EQ(std::u16string(each.text), text);
  }
  before != nullptr ? setenv("XDG_CONFIG_HOME", kept.c_str(), 1) : unsetenv("XDG_CONFIG_HOME");
}

}  // namespace
