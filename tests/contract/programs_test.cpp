#include "qv/platform/programs.h"

#include <algorithm>
#include <cstdlib>

#include "folder.h"

namespace {

using qv::platform::callProgram;
using qv::platform::makeExecutable;

const std::vector<std::string> kArguments = {"two words", "", "a\\", "b\\\"c", "\\\\d \"e\" f\\\\"};
constexpr int kOtherArguments = 33;

class Programs : public ContractFolder {};

// What the test below starts: this program again, which says by its exit code what it got.
TEST(ProgramsChild, DISABLED_GetsItsArgumentsAsTheyAre) {
  const std::vector<std::string> all = testing::internal::GetArgvs();
  ASSERT_GT(all.size(), kArguments.size());
  if (!std::equal(kArguments.rbegin(), kArguments.rend(), all.rbegin())) exit(kOtherArguments);
}

TEST_F(Programs, HandsOverArgumentsAndBringsTheExitCode) {
  WCHAR self[MAX_PATH] = {};
  ASSERT_GT(GetModuleFileNameW(nullptr, self, MAX_PATH), 0u);
  std::vector<Text> texts = {TEXT("--gtest_filter=ProgramsChild.*"), TEXT("--gtest_also_run_disabled_tests"),
                             TEXT("--gtest_brief=1")};
  for (const std::string& argument : kArguments) texts.push_back(widen(argument));
  std::vector<LPCWSTR> arguments;
  for (const Text& argument : texts) arguments.push_back(argument.c_str());
  uint32_t code = 77;
  ASSERT_TRUE(callProgram(self, arguments, nullptr, &code)) << GetLastError();
  EXPECT_EQ(0u, code);
  arguments.pop_back();
  ASSERT_TRUE(callProgram(self, arguments, nullptr, &code)) << GetLastError();
  EXPECT_EQ(uint32_t{kOtherArguments}, code);
}

TEST_F(Programs, SaysWhyOneDoesNotStart) {
  uint32_t code = 77;
  EXPECT_FALSE(callProgram(path("none").c_str(), {}, nullptr, &code));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
  EXPECT_FALSE(makeExecutable(path("none").c_str()));
  EXPECT_EQ(DWORD{ERROR_FILE_NOT_FOUND}, GetLastError());
  write(path("text"), "no program");
  EXPECT_TRUE(makeExecutable(path("text").c_str()));
  EXPECT_FALSE(callProgram(path("text").c_str(), {}, nullptr, &code));
  EXPECT_EQ(DWORD{ERROR_BAD_EXE_FORMAT}, GetLastError());
  EXPECT_EQ(77u, code);
}

}  // namespace
