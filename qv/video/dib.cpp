#include "qv/video/dib.h"

#include <string.h>

#include <iterator>
#include <memory>

#include "qv/frame/status.h"
#include "qv/video/detail/bits.h"
#include "qv/video/detail/palette.h"
#include "qv/video/kernels.h"
#include "qv/video/yuvplanes.h"

namespace qv {
namespace {

// Everything that a pixel type says, one row a type.
struct TypeRow {
  int32_t type;
  uint32_t compression;
  uint8_t bits;
  uint8_t widths[4];
  uint8_t maskLow, maskMiddle;  // widths of the low and the middle mask; 0 without masks
};

constexpr TypeRow kTypes[] = {
    {QVPT_PAL1, BI_RGB, 1, {0, 0, 0, 1}, 0, 0},
    {QVPT_GRAY1, QVFOURCC_QVGS, 1, {0, 0, 0, 1}, 0, 0},
    {QVPT_GRAY2, QVFOURCC_QVGS, 2, {0, 0, 0, 2}, 0, 0},
    {QVPT_GRAY4, QVFOURCC_QVGS, 4, {0, 0, 0, 4}, 0, 0},
    {QVPT_GRAY8, QVFOURCC_QVGS, 8, {0, 0, 0, 8}, 0, 0},
    {QVPT_GRAY16, QVFOURCC_QVGS, 16, {0, 0, 0, 16}, 0, 0},
    {QVPT_GRAYF32, QVFOURCC_QVGS, 32, {0, 0, 0, 32}, 0, 0},
    {QVPT_PAL4, BI_RGB, 4, {8, 8, 8, 0}, 0, 0},
    {QVPT_PAL8, BI_RGB, 8, {8, 8, 8, 0}, 0, 0},
    {QVPT_RGB555, BI_RGB, 16, {5, 5, 5, 1}, 0, 0},
    {QVPT_RGB565, BI_BITFIELDS, 16, {5, 6, 5, 0}, 5, 6},
    {QVPT_RGB24, BI_RGB, 24, {8, 8, 8, 0}, 0, 0},
    {QVPT_RGB32, BI_RGB, 32, {8, 8, 8, 8}, 0, 0},
    {QVPT_RGBA32, QVFOURCC_QVDB, 32, {8, 8, 8, 8}, 0, 0},
    {QVPT_A2RGB10, BI_BITFIELDS, 32, {10, 10, 10, 2}, 10, 10},
    {QVPT_RGBA64, QVFOURCC_QVDB, 64, {16, 16, 16, 16}, 0, 0},
    {QVPT_RGBAF128, QVFOURCC_QVDB, 128, {32, 32, 32, 32}, 0, 0},
    {QVPT_RGB10A2, BI_BITFIELDS, 32, {10, 10, 10, 2}, 10, 10},
    {QVPT_UYVY, QvFourCC('U', 'Y', 'V', 'Y'), 16, {}, 0, 0},
    {QVPT_YUYV, QvFourCC('Y', 'U', 'Y', 'V'), 16, {}, 0, 0},
    {QVPT_Y41B, QvFourCC('Y', '4', '1', 'B'), 12, {}, 0, 0},
    {QVPT_I420, QvFourCC('I', '4', '2', '0'), 12, {}, 0, 0},
    {QVPT_v210, QvFourCC('v', '2', '1', '0'), 20, {}, 0, 0},
    {QVPT_P010, QvFourCC('P', '0', '1', '0'), 15, {}, 0, 0},
    {QVPT_PL10, QvFourCC('P', 'L', '1', '0'), 15, {}, 0, 0},
    {QVPT_P210, QvFourCC('P', '2', '1', '0'), 20, {}, 0, 0},
    {QVPT_P410, QvFourCC('P', '4', '1', '0'), 30, {}, 0, 0},
    {QVPT_NV12, QvFourCC('N', 'V', '1', '2'), 12, {}, 0, 0},
    {QVPT_YV12, QvFourCC('Y', 'V', '1', '2'), 12, {}, 0, 0},
    {QVPT_YV16, QvFourCC('Y', 'V', '1', '6'), 16, {}, 0, 0},
};
constexpr int32_t kGreyClass = 4096;

// What a header without masks says by its bit count.
struct PlainRow {
  uint32_t compression;
  uint16_t bits;
  int32_t type;
};
constexpr PlainRow kPlainHeaders[] = {
    {BI_RGB, 1, QVPT_PAL1},           {BI_RGB, 4, QVPT_PAL4},
    {BI_RGB, 8, QVPT_PAL8},           {BI_RGB, 16, QVPT_RGB555},
    {BI_RGB, 24, QVPT_RGB24},         {BI_RGB, 32, QVPT_RGB32},
    {QVFOURCC_QVGS, 1, QVPT_GRAY1},   {QVFOURCC_QVGS, 2, QVPT_GRAY2},
    {QVFOURCC_QVGS, 4, QVPT_GRAY4},   {QVFOURCC_QVGS, 8, QVPT_GRAY8},
    {QVFOURCC_QVGS, 16, QVPT_GRAY16}, {QVFOURCC_QVGS, 32, QVPT_GRAYF32},
    {QVFOURCC_QVDB, 24, QVPT_RGB24},  {QVFOURCC_QVDB, 32, QVPT_RGBA32},
    {QVFOURCC_QVDB, 64, QVPT_RGBA64}, {QVFOURCC_QVDB, 128, QVPT_RGBAF128},
};

struct MaskRow {
  uint16_t bits;
  uint32_t red, green, blue;  // set bits
  int32_t type;
};
constexpr MaskRow kMaskedHeaders[] = {
    {16, 5, 5, 5, QVPT_RGB555},
    {16, 5, 6, 5, QVPT_RGB565},
    {32, 8, 8, 8, QVPT_RGB32},
    {32, 10, 10, 10, QVPT_RGB10A2},
};

const TypeRow* findType(int32_t type) {
  for (const TypeRow& row : kTypes) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

int32_t maskedType(const BITMAPINFOHEADER* header) {
  uint32_t masks[3];
  memcpy(masks, header + 1, sizeof masks);
  for (const MaskRow& row : kMaskedHeaders) {
    if (row.bits == header->biBitCount && row.red == QvCountBits(masks[0]) &&
        row.green == QvCountBits(masks[1]) && row.blue == QvCountBits(masks[2])) {
      return row.type;
    }
  }
  return QVPT_UNKNOWN;
}

void fillMasks(const TypeRow& row, uint32_t* masks) {
  const uint32_t low = row.maskLow, middle = row.maskMiddle;
  masks[0] = QvCreateBitMask(static_cast<int32_t>(low + middle), low);
  masks[1] = QvCreateBitMask(static_cast<int32_t>(low), middle);
  masks[2] = QvCreateBitMask(0, low);
}

// Y41B is no member: its size follows the common rule.
bool sizedByPlanes(const TypeRow& row) {
  return row.type >= QVPT_UYVY && row.type != QVPT_Y41B;
}

// The bytes of the pixels, or -1 when width, height, stride or size does not fit its field.
int64_t pixelBytes(const TypeRow& row, uint32_t width, uint32_t height) {
  constexpr uint32_t kLargest = 0x7fffffff;
  if (width > kLargest || height > kLargest) return -1;
  if (sizedByPlanes(row)) {
    BITMAPINFOHEADER header = {};
    header.biWidth = static_cast<LONG>(width);
    header.biHeight = static_cast<LONG>(height);
    header.biCompression = row.compression;
    const int32_t bytes = QvYUVImageBytesAndOffsets(&header, nullptr);
    return bytes == 0 && width > 1 && height > 1 ? -1 : bytes;
  }
  const uint64_t rowBytes = (uint64_t{row.bits} * width + 31) >> 3;
  if (rowBytes > kStrideMask + 3) return -1;
  const uint64_t bytes = (rowBytes & kStrideMask) * height;
  return bytes > kLargest ? -1 : static_cast<int64_t>(bytes);
}

struct Description {
  BITMAPINFOHEADER header;
  uint32_t masks[3];
  bool masked;
  bool copiesTable;
  size_t behindHeader() const { return masked ? sizeof masks : size_t{4} * header.biClrUsed; }
};

HRESULT describe(Description* out, int32_t pixelType, uint32_t width, uint32_t height, const RGBQUAD* entries,
                 uint32_t entryCount) {
  const TypeRow* row = findType(pixelType);
  if (row == nullptr) return kInvalidArgument;
  const int64_t bytes = pixelBytes(*row, width, height);
  if (bytes < 0) return kInvalidArgument;
  *out = {};
  out->masked = row->compression == BI_BITFIELDS;
  fillMasks(*row, out->masks);
  const uint32_t count = static_cast<int32_t>(entryCount) < 0 ? 0 : entryCount;
  uint32_t used = out->masked ? 0 : count;
  // One entry fewer than an index can name: readers of these headers count on that figure.
  if (!out->masked && entries == nullptr && count == 0 && row->bits <= 8) used = (1u << row->bits) - 1;
  out->copiesTable = !out->masked && entries != nullptr && count != 0;
  BITMAPINFOHEADER& header = out->header;
  header.biSize = sizeof header;
  header.biWidth = static_cast<LONG>(width);
  header.biHeight = static_cast<LONG>(height);
  header.biPlanes = 1;
  header.biBitCount = row->bits;
  header.biCompression = row->compression;
  header.biSizeImage = static_cast<DWORD>(bytes);
  header.biClrUsed = used;
  return kOk;
}

void writeDescription(BITMAPINFO* info, const Description& description, const RGBQUAD* entries) {
  uint8_t* block = reinterpret_cast<uint8_t*>(info);
  memcpy(block, &description.header, sizeof description.header);
  uint8_t* behind = block + sizeof description.header;
  if (description.masked) {
    memcpy(behind, description.masks, sizeof description.masks);
  } else if (description.copiesTable) {
    memcpy(behind, entries, size_t{4} * description.header.biClrUsed);
  }
}

// For a debugger only: the name of the block last asked for stands in the allocating frame.
void formTag(uint64_t tag, volatile char (&text)[16]) {
  constexpr char kPrefix[] = "QvDA:";
  int at = 0;
  for (; kPrefix[at] != 0; ++at) text[at] = kPrefix[at];
  int digits = 1;
  const uint32_t value = static_cast<uint32_t>(tag);
  while (digits < 8 && value >> (4 * digits) != 0) ++digits;
  while (digits-- > 0) text[at++] = "0123456789abcdef"[value >> (4 * digits) & 15];
  text[at] = 0;
}

struct LiveImages {
  int64_t count;
  int64_t bytes;
};
LiveImages liveImages;

void* allocateBlock(size_t bytes, int32_t flags) {
  const HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE | ((flags & QVDIB_ZERO) != 0 ? GMEM_ZEROINIT : 0), bytes);
  if (handle == nullptr) return nullptr;
  void* block = GlobalLock(handle);
  if (block == nullptr) GlobalFree(handle);
  return block;
}

// A context and a place for one pixel.
HRESULT bindPixel(QvXchgContext* context, int32_t type) {
  constexpr uint32_t kExactPivot = 19;
  return QvXCHGGetFunctionPointers(type, type, kExactPivot, context, nullptr, 0.0, 0.0);
}

bool inside(const BITMAPINFOHEADER* header, int32_t x, int32_t y) {
  return x >= 0 && y >= 0 && x < header->biWidth && y < header->biHeight;
}

}  // namespace

uint64_t liveImageCount() {
  return static_cast<uint64_t>(liveImages.count);
}
uint64_t liveImageBytes() {
  return static_cast<uint64_t>(liveImages.bytes);
}

}  // namespace qv

void QvDib_Initialize() {}

uint32_t QvCountBits(uint32_t value) {
  uint32_t count = 0;
  for (; value != 0; value &= value - 1) ++count;
  return count;
}

uint32_t QvCreateBitMask(int32_t first, uint32_t count) {
  const int32_t end = static_cast<int32_t>(static_cast<uint32_t>(first) + count);
  uint32_t mask = 0;
  for (int32_t bit = first < 0 ? 0 : first; bit < end && bit < 32; ++bit) mask |= 1u << bit;
  return mask;
}

int32_t QvGetPixelType(const BITMAPINFOHEADER* header) {
  using namespace qv;
  if (header->biCompression == BI_BITFIELDS) return maskedType(header);
  for (const PlainRow& row : kPlainHeaders) {
    if (row.compression == header->biCompression && row.bits == header->biBitCount) return row.type;
  }
  for (const TypeRow& row : kTypes) {
    if (row.type >= QVPT_UYVY && row.compression == header->biCompression) return row.type;
  }
  return QVPT_UNKNOWN;
}

int32_t QvVideo_IsCompressed(const BITMAPINFOHEADER* header) {
  const uint32_t word = header->biCompression;
  const bool plain = word == BI_RGB || word == BI_BITFIELDS || word == QVFOURCC_QVDB || word == QVFOURCC_QVGS;
  return !plain || QvGetPixelType(header) == QVPT_UNKNOWN;
}

uint32_t QvGetPixelBitsPerChannel(int32_t pixelType, uint8_t* widths) {
  const qv::TypeRow* row = qv::isEngineType(pixelType) ? qv::findType(pixelType) : nullptr;
  for (int i = 0; widths != nullptr && i < 4; ++i) widths[i] = row != nullptr ? row->widths[i] : 0;
  return row != nullptr ? row->bits : 0;
}

uint32_t QvPixelTypeToBitAttribs(int32_t pixelType, uint32_t* compression, QVBITATTRIBS* attribs,
                                 uint32_t attribsSize, uint32_t* masks) {
  static constexpr qv::TypeRow kNothing = {};
  const qv::TypeRow* found = qv::findType(pixelType);
  const qv::TypeRow& row = found != nullptr ? *found : kNothing;
  if (compression != nullptr) *compression = row.compression;
  if (masks != nullptr) qv::fillMasks(row, masks);
  if (attribs == nullptr) return row.bits;
  if (attribsSize < sizeof *attribs) return 0;
  *attribs = {};
  attribs->recordSize = sizeof *attribs;
  attribs->pixelClass = row.compression == QVFOURCC_QVGS ? qv::kGreyClass : -1;
  attribs->minusOne = -1;
  attribs->highest = 1.0;
  return row.bits;
}

HRESULT QvVideo_InitBitmapInfo(BITMAPINFO* info, int32_t pixelType, uint32_t width, uint32_t height,
                               const RGBQUAD* entries, uint32_t entryCount, uint32_t* imageBytes) {
  return QvDibInfo(nullptr, imageBytes, info, pixelType, width, height, entries, entryCount);
}

HRESULT QvDibInfo(uint32_t* headerBytes, uint32_t* imageBytes, BITMAPINFO* info, int32_t pixelType,
                  uint32_t width, uint32_t height, const RGBQUAD* entries, uint32_t entryCount) {
  using namespace qv;
  if (headerBytes != nullptr) *headerBytes = 0;
  if (imageBytes != nullptr) *imageBytes = 0;
  if (info == nullptr) return kInvalidArgument;
  Description description;
  const HRESULT status = describe(&description, pixelType, width, height, entries, entryCount);
  if (FAILED(status)) return status;
  writeDescription(info, description, entries);
  if (headerBytes != nullptr) {
    *headerBytes = static_cast<uint32_t>(description.header.biSize + description.behindHeader());
  }
  if (imageBytes != nullptr) *imageBytes = description.header.biSizeImage;
  return kOk;
}

void QvVideo_PaletteRGBAFromEntry(uint8_t* destination, const uint8_t* source, int32_t count) {
  for (int32_t i = 0; i < count; ++i, destination += 4, source += 4) {
    const uint8_t first = source[0];
    destination[0] = source[2];
    destination[1] = source[1];
    destination[2] = first;
    destination[3] = 0;
  }
}

void QvVideo_PaletteEntryFromRGBA(uint8_t* destination, const uint8_t* source, int32_t count) {
  QvVideo_PaletteRGBAFromEntry(destination, source, count);
}

HRESULT QvDibAlloc(BITMAPINFO** image, int32_t pixelType, uint32_t width, uint32_t height,
                   const RGBQUAD* entries, uint32_t entryCount, int32_t flags, uint64_t tag) {
  using namespace qv;
  *image = nullptr;
  if (flags >= 0) {
    volatile char name[16];
    formTag(tag != 0 ? tag : reinterpret_cast<uintptr_t>(__builtin_return_address(0)), name);
  }
  Description description;
  const HRESULT status = describe(&description, pixelType, width, height, entries, entryCount);
  if (FAILED(status)) return status;
  const size_t front = sizeof description.header + description.behindHeader();
  void* block = allocateBlock(front + description.header.biSizeImage, flags);
  if (block == nullptr) return kOutOfMemory;
  memset(block, 0, front);  // a table that nobody gave is black
  *image = static_cast<BITMAPINFO*>(block);
  writeDescription(*image, description, entries);
  ++liveImages.count;
  liveImages.bytes += description.header.biSizeImage;
  return kOk;
}

HRESULT QvDibFree(BITMAPINFO* image, int32_t flags) {
  using namespace qv;
  if (image == nullptr) return kOk;
  liveImages.bytes -= image->bmiHeader.biSizeImage;
  --liveImages.count;
  const HGLOBAL handle = GlobalHandle(image);
  if (flags < 0 && handle == nullptr) return kOk;
  GlobalUnlock(handle);
  GlobalFree(handle);
  return kOk;
}

HRESULT QvDibGetPixel(const BITMAPINFOHEADER* header, const void* pixels, uint32_t stride, int32_t x,
                      int32_t y, QVPIXEL64* pixel) {
  using namespace qv;
  const int32_t type = QvGetPixelType(header);
  if (!isEngineType(type) || !inside(header, x, y)) return kUnsupported;
  QvXchgContext context;
  const HRESULT status = bindPixel(&context, type);
  if (FAILED(status)) return status;
  const FullPalette palette(header, type);
  const int64_t bit = int64_t{x} * header->biBitCount;
  context.srcPalette = palette.entries();
  context.readPtr = displayedRow(header, pixels, stride, y) + bit / 8;
  context.readBit = static_cast<uint32_t>(bit % 8);
  context.read1(&context);
  *pixel = context.pivot.pixels[0];
  return kOk;
}

HRESULT QvDibSetPixel(const BITMAPINFOHEADER* header, void* pixels, uint32_t stride, int32_t x, int32_t y,
                      const QVPIXEL64* pixel) {
  using namespace qv;
  const int32_t type = QvGetPixelType(header);
  if (!isEngineType(type) || isPaletteType(type)) return kUnsupported;
  if (!inside(header, x, y)) return kInvalidArgument;
  QvXchgContext context;
  const HRESULT status = bindPixel(&context, type);
  if (FAILED(status)) return status;
  const int64_t bit = int64_t{x} * header->biBitCount;
  context.writePtr = displayedRow(header, pixels, stride, y) + bit / 8;
  context.writeBit = static_cast<uint32_t>(bit % 8);
  context.pivot.pixels[0] = *pixel;
  context.write1(&context);
  return kOk;
}
