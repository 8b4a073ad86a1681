// Any bytes are a picture file: reading must end, and what is read must come back from both kinds of file.
//
// The first byte says how the rest is taken: as a file; as a PNG whose checksums are put right first; or as
// the header, the colours and the rows of a PNG, which is put together from them.
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "qv/app/workbench/bytes.h"
#include "qv/app/workbench/picture_file.h"

using namespace qv::workbench;

namespace {

constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);

void require(bool condition) {
  if (!condition) abort();
}

uint32_t checksum(std::string_view bytes) {
  return static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

void putChecksumsRight(std::string& png) {
  for (size_t at = kSignature.size(); at + 12 <= png.size();) {
    const uint32_t size = big<uint32_t>(png.data() + at);
    if (size > png.size() - at - 12) return;
    std::string sum;
    appendBig(sum, checksum(std::string_view(png).substr(at + 4, size_t{4} + size)));
    png.replace(at + 8 + size, 4, sum);
    at += size_t{12} + size;
  }
}

void appendChunk(std::string& png, std::string_view name, std::string_view body) {
  appendBig(png, static_cast<uint32_t>(body.size()));
  std::string whole(name);
  whole += body;
  png += whole;
  appendBig(png, checksum(whole));
}

std::string_view take(std::string_view& bytes, size_t size) {
  const std::string_view part = bytes.substr(0, size);
  bytes.remove_prefix(part.size());
  return part;
}

// Two bytes of size, then depth, colour type, interlacing, how many colours and how much transparency.
std::string madePng(std::string_view bytes) {
  if (bytes.size() < 7) return {};
  const auto value = [&](size_t i) { return static_cast<uint8_t>(bytes[i]); };
  std::string header;
  appendBig<uint32_t>(header, value(0) + 1u);
  appendBig<uint32_t>(header, value(1) + 1u);
  constexpr char kDepths[] = {1, 2, 4, 8, 16};
  header += {kDepths[value(2) % 5], static_cast<char>(value(3) % 7), 0, 0, static_cast<char>(value(4) % 2)};
  const size_t colours = value(5), clear = value(6);
  bytes.remove_prefix(7);
  std::string png(kSignature);
  appendChunk(png, "IHDR", header);
  if (colours > 0) appendChunk(png, "PLTE", take(bytes, 3 * colours));
  if (clear > 0) appendChunk(png, "tRNS", take(bytes, clear));
  uLongf size = compressBound(static_cast<uLong>(bytes.size()));
  std::string packed(size, '\0');
  compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
            static_cast<uLong>(bytes.size()), 1);
  appendChunk(png, "IDAT", std::string_view(packed).substr(0, size));
  appendChunk(png, "IEND", {});
  return png;
}

std::string fileOf(uint8_t mode, std::string_view bytes) {
  if (mode % 3 == 2) return madePng(bytes);
  std::string file(bytes);
  if (mode % 3 == 1) putChecksumsRight(file);
  return file;
}

// What a kind of file holds of the picture is all there when it is read again.
void checkRoundTrip(PictureKind kind, const BITMAPINFOHEADER* image) {
  std::string first, second;
  ImagePtr back;
  require(encodePicture(kind, image, first) == 0);
  require(decodePicture(first, back) == 0);
  require(back->bmiHeader.biWidth == image->biWidth && back->bmiHeader.biHeight == image->biHeight);
  require(encodePicture(kind, &back->bmiHeader, second) == 0);
  require(first == second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string file = fileOf(data[0], {reinterpret_cast<const char*>(data) + 1, size - 1});
  ImagePtr image;
  WString stored;
  const HRESULT status = decodePicture(file, image, &stored);
  require((status == 0) == (image != nullptr));
  if (status != 0) return 0;
  require(storedType(PictureKind::kBmp, QvGetPixelType(&image->bmiHeader)) != 0 && !stored.empty());
  // Large pictures out of a few bytes say nothing new here, slowly.
  constexpr uint64_t kEnough = 1 << 18;
  if (uint64_t{image->bmiHeader.biSizeImage} > kEnough) return 0;
  checkRoundTrip(PictureKind::kBmp, &image->bmiHeader);
  checkRoundTrip(PictureKind::kPng, &image->bmiHeader);
  return 0;
}
