// Image headers in words.
#include "qv/core/convert.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/video/dib.h"

namespace qv {
namespace {

struct FormatName {
  uint32_t compression;
  const char* name;
};
constexpr FormatName kFormatNames[] = {
    {BI_RGB, "RGB"},
    {BI_BITFIELDS, "RGB (bitfields)"},
    {QVFOURCC_QVDB, "RGBA"},
    {QVFOURCC_QVGS, "Grayscale"},
};

void copyBounded(WCHAR* out, int64_t size, const char* text) {
  if (out == nullptr || size < 1) return;
  for (; *text != 0 && size > 1; --size) *out++ = static_cast<WCHAR>(*text++);
  *out = 0;
}

}  // namespace
}  // namespace qv

int32_t QvVideoDSP_ForceExternRef() {
  static volatile int32_t markers[7];
  for (volatile int32_t& marker : markers) marker = 0;
  return 0;
}

HRESULT QvVideo_GetFormatText(uint32_t compression, WCHAR* text, int32_t size) {
  for (const qv::FormatName& row : qv::kFormatNames) {
    if (row.compression == compression) {
      qv::copyBounded(text, size, row.name);
      return qv::kOk;
    }
  }
  if (text != nullptr) QvFourCCToString(compression, text);
  return qv::kOk;
}

HRESULT QvVideo_GetAttribsText(const BITMAPINFOHEADER* header, WCHAR* text, uint32_t size) {
  return QvVideo_GetAttribsTextEx(header, 0, text, size);
}

HRESULT QvVideo_GetAttribsTextEx(const BITMAPINFOHEADER* header, uint64_t, WCHAR* text, uint32_t size) {
  if (text != nullptr) {
    QvCchPrintF(text, size, nullptr, TEXT("%dx%dx%d"), header->biWidth, header->biHeight, header->biBitCount);
  }
  return qv::kOk;
}
