#include "qv/app/workbench/picture_file.h"

#include <cstring>

#include "qv/app/workbench/bmp.h"
#include "qv/app/workbench/files.h"
#include "qv/app/workbench/png.h"
#include "qv/frame/status.h"
#include "qv/video/copy.h"

namespace qv::workbench {
namespace {

bool isPalette(int32_t type) {
  return type == QVPT_PAL1 || type == QVPT_PAL4 || type == QVPT_PAL8;
}

// What each type is in a file, by code.
struct StoredRow {
  int32_t type, bmp, png;
};
constexpr StoredRow kStored[] = {
    {QVPT_PAL1, QVPT_PAL1, QVPT_GRAY1},        {QVPT_GRAY1, QVPT_PAL1, QVPT_GRAY1},
    {QVPT_GRAY2, QVPT_GRAY2, QVPT_GRAY2},      {QVPT_GRAY4, QVPT_GRAY4, QVPT_GRAY4},
    {QVPT_GRAY8, QVPT_GRAY8, QVPT_GRAY8},      {QVPT_GRAY16, QVPT_GRAY8, QVPT_GRAY16},
    {QVPT_GRAYF32, QVPT_GRAY8, QVPT_GRAY16},   {QVPT_PAL4, QVPT_PAL4, QVPT_PAL4},
    {QVPT_PAL8, QVPT_PAL8, QVPT_PAL8},         {QVPT_RGB555, QVPT_RGB555, QVPT_RGB24},
    {QVPT_RGB565, QVPT_RGB565, QVPT_RGB24},    {QVPT_RGB24, QVPT_RGB24, QVPT_RGB24},
    {QVPT_RGB32, QVPT_RGB32, QVPT_RGB24},      {QVPT_RGBA32, QVPT_RGBA32, QVPT_RGBA32},
    {QVPT_A2RGB10, QVPT_RGB10A2, QVPT_RGBA64}, {QVPT_RGBA64, QVPT_RGBA32, QVPT_RGBA64},
    {QVPT_RGBAF128, QVPT_RGBA32, QVPT_RGBA64}, {QVPT_RGB10A2, QVPT_RGB10A2, QVPT_RGBA64},
};

bool hasExtension(WStringView path, std::string_view extension) {
  if (path.size() < extension.size()) return false;
  path.remove_prefix(path.size() - extension.size());
  for (size_t i = 0; i < extension.size(); ++i) {
    const WCHAR c = path[i] >= 'A' && path[i] <= 'Z' ? static_cast<WCHAR>(path[i] + 32) : path[i];
    if (c != static_cast<WCHAR>(extension[i])) return false;
  }
  return true;
}

}  // namespace

HRESULT newImage(int32_t type, uint32_t width, uint32_t height, ImagePtr& image,
                 std::span<const RGBQUAD> entries) {
  BITMAPINFO* block = nullptr;
  const HRESULT status =
      QvDibAlloc(&block, type, width, height, entries.empty() ? nullptr : entries.data(),
                 isPalette(type) ? static_cast<uint32_t>(entries.size()) : 0, QVDIB_ZERO | QVDIB_CHECKED, 0);
  image.reset(block);
  return status;
}

HRESULT convertImage(const BITMAPINFOHEADER* image, int32_t type, ImagePtr& out,
                     std::span<const RGBQUAD> entries) {
  const HRESULT status = newImage(type, static_cast<uint32_t>(image->biWidth),
                                  static_cast<uint32_t>(image->biHeight), out, entries);
  if (FAILED(status)) return status;
  return QvDibCopy(&out->bmiHeader, nullptr, nullptr, 0, image, nullptr, nullptr, 0, QVCOPY_QUALITY_BEST, 0,
                   0);
}

std::span<const RGBQUAD> imageColours(const BITMAPINFOHEADER* image) {
  if (image->biCompression == BI_BITFIELDS) return {};
  size_t count = image->biClrUsed;
  if (count == 0 && image->biCompression == BI_RGB && image->biBitCount <= 8)
    count = size_t{1} << image->biBitCount;
  const auto* start = reinterpret_cast<const uint8_t*>(image) + image->biSize;
  return {reinterpret_cast<const RGBQUAD*>(start), count};
}

size_t imageRowBytes(const BITMAPINFOHEADER* image) {
  return (size_t{image->biBitCount} * static_cast<size_t>(image->biWidth) + 31) / 32 * 4;
}

uint8_t* imageRow(const BITMAPINFOHEADER* image, int64_t y) {
  constexpr size_t kMaskBytes = 12;
  const bool masks = image->biCompression == BI_BITFIELDS;
  const size_t header = image->biSize + (masks ? kMaskBytes : imageColours(image).size_bytes());
  const size_t row = static_cast<size_t>(image->biHeight - 1 - y);
  return reinterpret_cast<uint8_t*>(const_cast<BITMAPINFOHEADER*>(image)) + header +
         row * imageRowBytes(image);
}

HRESULT decodePicture(std::string_view bytes, ImagePtr& image, WString* stored) {
  image.reset();
  WString ignored;
  WString& text = stored != nullptr ? *stored : ignored;
  if (isPng(bytes)) return readPng(bytes, image, text);
  if (isBmp(bytes)) return readBmp(bytes, image, text);
  return kBadFormat;
}

HRESULT readPicture(const WString& path, ImagePtr& image, WString* stored) {
  std::string bytes;
  const HRESULT status = readFile(path, kMaxPictureBytes, bytes);
  return FAILED(status) ? status : decodePicture(bytes, image, stored);
}

bool pictureKindOf(WStringView path, PictureKind& kind) {
  kind = hasExtension(path, ".png") ? PictureKind::kPng : PictureKind::kBmp;
  return kind == PictureKind::kPng || hasExtension(path, ".bmp");
}

int32_t storedType(PictureKind kind, int32_t type) {
  for (const StoredRow& row : kStored) {
    if (row.type == type) return kind == PictureKind::kBmp ? row.bmp : row.png;
  }
  return QVPT_UNKNOWN;
}

HRESULT encodePicture(PictureKind kind, const BITMAPINFOHEADER* image, std::string& bytes, bool topDown) {
  const int32_t type = QvGetPixelType(image), stored = storedType(kind, type);
  if (stored == QVPT_UNKNOWN) return kUnsupported;
  ImagePtr converted;
  if (stored != type) {
    const RGBQUAD blackAndWhite[] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
    if (const HRESULT status = convertImage(image, stored, converted, blackAndWhite); FAILED(status))
      return status;
    image = &converted->bmiHeader;
  }
  return kind == PictureKind::kBmp ? writeBmp(image, topDown, bytes) : writePng(image, bytes);
}

HRESULT writePicture(const WString& path, const BITMAPINFOHEADER* image, bool topDown) {
  PictureKind kind;
  if (!pictureKindOf(path, kind)) return kInvalidArgument;
  std::string bytes;
  const HRESULT status = encodePicture(kind, image, bytes, topDown);
  return FAILED(status) ? status : writeFile(path, bytes);
}

HRESULT explainPicture(Session& session, HRESULT status, const WString& name) {
  struct Reason {
    HRESULT status;
    const WCHAR* text;
  };
  constexpr Reason kReasons[] = {
      {kCannotOpenFile, TEXT("The file could not be opened: ")},
      {kReadFailed, TEXT("The file could not be read: ")},
      {kBadFormat, TEXT("The file is no BMP or PNG picture, or damaged: ")},
      {kUnsupported, TEXT("The picture is of a form that is not read or written: ")},
      {kOutOfMemory, TEXT("There is not enough memory for the picture: ")},
      {kInvalidArgument, TEXT("A picture's name ends in .bmp or .png, and its size fits such a file: ")},
      {kCannotCreateFile, TEXT("The file could not be created: ")},
      {kWriteFailed, TEXT("The file could not be written: ")},
  };
  for (const Reason& reason : kReasons) {
    if (reason.status == status) return session.fail(status, reason.text + name);
  }
  return status;
}

}  // namespace qv::workbench
