// Pictures in files: BMP and PNG to image blocks and back, without a loss where the file can hold the type.
//
//   ImagePtr picture;
//   HRESULT status = readPicture(session.inputPath(name), picture);
//   if (FAILED(status)) return explainPicture(session, status, name);
//   ...
//   status = writePicture(session.outputPath(out), &picture->bmiHeader);
//
// A file's own form decides the pixel type, so that a palette stays a palette and 16 bits stay 16 bits; a
// 1-bit file whose two colours aren't black and white becomes QVPT_PAL4. QVPT_RGB32 is a picture without
// alpha (its fourth byte reads as opaque), QVPT_RGBA32 one with it. Everything here may be called from any
// thread.
#pragma once

#include <memory>
#include <string_view>

#include "qv/app/workbench/session.h"
#include "qv/video/dib.h"

namespace qv::workbench {

struct ImageRelease {
  void operator()(BITMAPINFO* image) const { QvDibFree(image, 0); }
};
using ImagePtr = std::unique_ptr<BITMAPINFO, ImageRelease>;

// A zeroed image. Palette types take the colours in `entries`. kInvalidArgument for a size that cannot be
// said, kOutOfMemory.
HRESULT newImage(int32_t type, uint32_t width, uint32_t height, ImagePtr& image,
                 std::span<const RGBQUAD> entries = {});

// A copy of an image of the engine's types (16 to 33) in another of them; palette types take `entries`.
// Values are rounded through 16 bits; alpha is dropped, or opaque, where only one side has it.
HRESULT convertImage(const BITMAPINFOHEADER* image, int32_t type, ImagePtr& out,
                     std::span<const RGBQUAD> entries = {});

// The first byte of displayed row y of a block's own pixels, and a row's bytes.
uint8_t* imageRow(const BITMAPINFOHEADER* image, int64_t y);
size_t imageRowBytes(const BITMAPINFOHEADER* image);

// The block's colours; a table that is full without a count has them all.
std::span<const RGBQUAD> imageColours(const BITMAPINFOHEADER* image);

// A picture file of at most this many bytes is read.
inline constexpr uint64_t kMaxPictureBytes = uint64_t{1} << 30;

// Reads a picture out of a file's bytes; the bytes tell which kind it is. stored: takes how the file holds
// it, for people ("PNG, 8 bits, palette, interlaced"), or null. kBadFormat: neither kind, or damaged.
// kUnsupported: a form of BMP that isn't read (pictures of other kinds inside it). kOutOfMemory.
HRESULT decodePicture(std::string_view bytes, ImagePtr& image, WString* stored = nullptr);
// The same from a file; also kCannotOpenFile and kReadFailed.
HRESULT readPicture(const WString& path, ImagePtr& image, WString* stored = nullptr);

enum class PictureKind { kBmp, kPng };
// By the extension, .bmp or .png in any case; false when it is another.
bool pictureKindOf(WStringView path, PictureKind& kind);

// What a file of a kind holds an image of this type as; 0 for types outside 16 to 33. Types that it can't
// hold become the nearest that loses least: floats 16 bits in PNG, and everything above 8 bits 8 bits in BMP.
int32_t storedType(PictureKind kind, int32_t type);

// A file's bytes. topDown: a BMP whose first row comes first. kUnsupported for types outside 16 to 33.
HRESULT encodePicture(PictureKind kind, const BITMAPINFOHEADER* image, std::string& bytes,
                      bool topDown = false);
// The same into a file, which is replaced as a whole. kInvalidArgument for an extension that is neither; also
// kCannotCreateFile and kWriteFailed.
HRESULT writePicture(const WString& path, const BITMAPINFOHEADER* image, bool topDown = false);

// Gives `status` back with the sentence that explains it for the picture `name` of a job.
HRESULT explainPicture(Session& session, HRESULT status, const WString& name);

}  // namespace qv::workbench
