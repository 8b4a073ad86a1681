#include "qv/frame/win32error.h"

#include "qv/frame/status.h"

namespace {

struct Row {
  DWORD error;
  uint32_t status;
};

constexpr Row kRows[] = {
    {0, 0x00000000},   {1, 0x80070057},   {2, 0x8004e00a},   {3, 0x8004e00a},   {4, 0x8004e026},
    {5, 0x80070005},   {6, 0x80070006},   {14, 0x8007000e},  {15, 0x800404b0},  {32, 0x8004e05a},
    {39, 0x8004e002},  {80, 0x8004e032},  {84, 0x8007000e},  {110, 0x8004e007}, {112, 0x8004e002},
    {120, 0x80004001}, {123, 0x8004e00d}, {126, 0x8004e00a}, {127, 0x8004e00a}, {170, 0x8004e005},
    {183, 0x8004e170},
};

}  // namespace

HRESULT QvErrorHandler_TranslateWin32Error(DWORD error) {
  for (const Row& row : kRows) {
    if (row.error == error) return static_cast<HRESULT>(row.status);
  }
  return qv::kGeneralFailure;
}
