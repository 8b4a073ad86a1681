// This program exports QvApp_GetAppKernel and names itself, as an application with its own palette does.
#include <gtest/gtest.h>

#include "qv/frame/detail/kernel.h"
#include "qv/frame/status.h"
#include "qv/platform/win32.h"

extern "C" {
QV_API HMODULE QvApp_GetAppKernel();
QV_API int32_t DelegateTest_Answer(int32_t value);
}

HMODULE QvApp_GetAppKernel() {
  return GetModuleHandleW(nullptr);
}
int32_t DelegateTest_Answer(int32_t value) {
  return value + 1;
}

namespace {

TEST(DelegateInTheRealProgram, IsFoundAndCalled) {
  QvKernel_EarlyInitialize(GetModuleHandleW(nullptr), QVKERNEL_UIDELEGATE);
  const FARPROC found = qv::uiDelegate("DelegateTest_Answer");
  ASSERT_NE(nullptr, found);
  EXPECT_EQ(42, reinterpret_cast<int32_t (*)(int32_t)>(reinterpret_cast<void*>(found))(41));
  qv::DelegateEntry table[] = {{nullptr, "DelegateTest_Answer"}, {nullptr, "DelegateTest_Missing"}};
  EXPECT_EQ(qv::kNotFound, qv::lookUpDelegates(table));
  EXPECT_EQ(found, table[0].function);
  EXPECT_EQ(nullptr, qv::uiDelegate("DelegateTest_Missing"));
  EXPECT_EQ(nullptr, qv::uiDelegate("DelegateTest_Answer"));
}

}  // namespace
