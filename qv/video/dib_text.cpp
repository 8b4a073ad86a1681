// Image headers in words.
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

void writeFourCC(uint32_t code, WCHAR* out) {
  for (int i = 0; i < 4; ++i, code >>= 8) {
    const uint32_t c = code & 0xff;
    out[i] = static_cast<WCHAR>(c >= 0x20 && c <= 0x7e ? c : '.');
  }
  out[4] = 0;
}

char* appendNumber(char* out, int64_t value) {
  if (value < 0) *out++ = '-';
  uint64_t rest = value < 0 ? static_cast<uint64_t>(-value) : static_cast<uint64_t>(value);
  uint64_t unit = 1;
  while (rest / unit >= 10) unit *= 10;
  for (; unit != 0; unit /= 10) *out++ = static_cast<char>('0' + rest / unit % 10);
  *out = 0;
  return out;
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
  if (text != nullptr) qv::writeFourCC(compression, text);
  return qv::kOk;
}

HRESULT QvVideo_GetAttribsText(const BITMAPINFOHEADER* header, WCHAR* text, uint32_t size) {
  return QvVideo_GetAttribsTextEx(header, 0, text, size);
}

HRESULT QvVideo_GetAttribsTextEx(const BITMAPINFOHEADER* header, uint64_t, WCHAR* text, uint32_t size) {
  char whole[3 * 12];
  char* end = qv::appendNumber(whole, header->biWidth);
  *end++ = 'x';
  end = qv::appendNumber(end, header->biHeight);
  *end++ = 'x';
  qv::appendNumber(end, header->biBitCount);
  qv::copyBounded(text, size, whole);
  return qv::kOk;
}
