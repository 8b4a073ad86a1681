#include "qv/frame/win32error.h"

#include <span>

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

constexpr Row kDialogRows[] = {
    {0, 0x00000000},     {1, 0x80070057},     {2, 0x8007000e},     {3, 0x80070057},     {4, 0x80070057},
    {5, 0x8007000e},     {6, 0x8004e00e},     {7, 0x8007000e},     {8, 0x8007000e},     {9, 0x8007000e},
    {10, 0x8007000e},    {11, 0x80070057},    {12289, 0x8007000e}, {12290, 0x8004e00d}, {12291, 0x80070057},
    {16385, 0x80070057}, {65535, 0x80070057},
};

HRESULT translate(std::span<const Row> rows, DWORD error) {
  for (const Row& row : rows) {
    if (row.error == error) return static_cast<HRESULT>(row.status);
  }
  return qv::kGeneralFailure;
}

}  // namespace

HRESULT QvErrorHandler_TranslateWin32Error(DWORD error) {
  return translate(kRows, error);
}

HRESULT QvErrorHandler_TranslateCommDlgError(DWORD error) {
  return translate(kDialogRows, error);
}
