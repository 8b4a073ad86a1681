#include "qv/app/workbench/bmp.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "qv/app/workbench/bytes.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr size_t kFileHeader = 14;
constexpr uint32_t kOldestHeader = 12;
constexpr uint32_t kUsualHeader = 40;
constexpr uint32_t kAlphaHeader = 108;
constexpr uint32_t kLongestHeader = 124;
// Run-length codes may leave out nearly all of a picture; one of which less than this much stands in the file
// is taken for damaged.
constexpr uint64_t kRunRatio = 16 * 1024;

enum Coding : uint32_t { kPlain = 0, kRuns8 = 1, kRuns4 = 2, kMasks = 3, kMasksAndAlpha = 6 };

struct BmpFile {
  uint32_t header = 0;  // bytes of it
  int32_t width = 0, height = 0;
  bool topDown = false;
  uint32_t bits = 0, coding = kPlain, coloursUsed = 0;
  uint32_t masks[4] = {};  // red, green, blue, alpha
  std::vector<RGBQUAD> colours;
  std::string_view pixels;
};

size_t storedRow(const BmpFile& file) {
  return (size_t{file.bits} * static_cast<size_t>(file.width) + 31) / 32 * 4;
}

// ---- headers ----------------------------------------------------------------------------------------------

HRESULT readOldHeader(std::string_view bytes, BmpFile& file) {
  const char* at = bytes.data() + kFileHeader;
  file.width = little<uint16_t>(at + 4);
  file.height = little<uint16_t>(at + 6);
  file.bits = little<uint16_t>(at + 10);
  return kOk;
}

HRESULT readNewHeader(std::string_view bytes, BmpFile& file) {
  const char* at = bytes.data() + kFileHeader;
  file.width = little<int32_t>(at + 4);
  const int32_t height = little<int32_t>(at + 8);
  if (height == INT32_MIN) return kBadFormat;
  file.topDown = height < 0;
  file.height = file.topDown ? -height : height;
  file.bits = little<uint16_t>(at + 14);
  file.coding = little<uint32_t>(at + 16);
  file.coloursUsed = little<uint32_t>(at + 32);
  return kOk;
}

struct Form {
  uint32_t bits, coding;
};
constexpr Form kForms[] = {{1, kPlain},  {2, kPlain},          {4, kPlain},         {8, kPlain}, {16, kPlain},
                           {24, kPlain}, {32, kPlain},         {8, kRuns8},         {4, kRuns4}, {16, kMasks},
                           {32, kMasks}, {16, kMasksAndAlpha}, {32, kMasksAndAlpha}};

HRESULT checkForm(const BmpFile& file) {
  constexpr uint32_t kJpeg = 4, kPng = 5;
  if (file.width <= 0 || file.height <= 0) return kBadFormat;
  if (file.coding == kJpeg || file.coding == kPng) return kUnsupported;
  for (const Form& form : kForms) {
    if (form.bits != file.bits || form.coding != file.coding) continue;
    return file.topDown && (file.coding == kRuns8 || file.coding == kRuns4) ? kBadFormat : kOk;
  }
  return kBadFormat;
}

// A mask's bits stand together; a file with another isn't read.
bool isMask(uint32_t mask) {
  if (mask == 0) return true;
  const uint32_t low = mask >> std::countr_zero(mask);
  return (low & (low + 1)) == 0;
}

// Masks stand behind the shortest header and inside the longer ones, at the same place of the file.
HRESULT readMasks(std::string_view bytes, BmpFile& file, size_t& behind) {
  if (file.coding != kMasks && file.coding != kMasksAndAlpha) return kOk;
  const size_t at = kFileHeader + kUsualHeader;
  const bool alpha = file.coding == kMasksAndAlpha || file.header >= 56;
  const size_t count = alpha ? 4 : 3;
  if (bytes.size() < at + 4 * count) return kBadFormat;
  for (size_t i = 0; i < count; ++i) {
    file.masks[i] = little<uint32_t>(bytes.data() + at + 4 * i);
    if (!isMask(file.masks[i]) || (file.bits == 16 && file.masks[i] > 0xffff)) return kBadFormat;
  }
  behind = std::max(behind, at + 4 * count);
  return kOk;
}

HRESULT readColours(std::string_view bytes, size_t from, size_t pixels, BmpFile& file) {
  if (file.bits > 8) return kOk;
  const size_t size = file.header == kOldestHeader ? 3 : 4, full = size_t{1} << file.bits;
  const size_t wanted = file.coloursUsed == 0 ? full : std::min<size_t>(file.coloursUsed, full);
  const size_t count = std::min(wanted, (pixels - from) / size);
  if (count == 0) return kBadFormat;
  for (size_t i = 0; i < count; ++i) {
    const auto* at = reinterpret_cast<const uint8_t*>(bytes.data()) + from + size * i;
    file.colours.push_back({at[0], at[1], at[2], 0});
  }
  return kOk;
}

HRESULT readHeaders(std::string_view bytes, BmpFile& file) {
  if (bytes.size() < kFileHeader + kOldestHeader) return kBadFormat;
  file.header = little<uint32_t>(bytes.data() + kFileHeader);
  const bool oldest = file.header == kOldestHeader;
  if (!oldest && (file.header < kUsualHeader || file.header > kLongestHeader)) return kBadFormat;
  if (bytes.size() < kFileHeader + file.header) return kBadFormat;
  HRESULT status = oldest ? readOldHeader(bytes, file) : readNewHeader(bytes, file);
  if (FAILED(status)) return status;
  status = checkForm(file);
  if (FAILED(status)) return status;
  size_t behind = kFileHeader + file.header;
  status = readMasks(bytes, file, behind);
  if (FAILED(status)) return status;
  const uint32_t pixels = little<uint32_t>(bytes.data() + 10);
  if (pixels < behind || pixels > bytes.size()) return kBadFormat;
  file.pixels = bytes.substr(pixels);
  return readColours(bytes, behind, pixels, file);
}

// ---- pixels -----------------------------------------------------------------------------------------------

bool hasBlackAndWhite(const BmpFile& file) {
  const auto is = [&](size_t index, uint8_t value) {
    const RGBQUAD& c = file.colours[index];
    return c.rgbBlue == value && c.rgbGreen == value && c.rgbRed == value;
  };
  return file.colours.size() == 2 && is(0, 0) && is(1, 255);
}

struct MaskRow {
  uint32_t bits, red, green, blue, alpha;
  int32_t type;
};
constexpr MaskRow kMaskTypes[] = {
    {16, 0x7c00, 0x03e0, 0x001f, 0, QVPT_RGB555},
    {16, 0xf800, 0x07e0, 0x001f, 0, QVPT_RGB565},
    {32, 0xff0000, 0xff00, 0xff, 0, QVPT_RGB32},
    {32, 0xff0000, 0xff00, 0xff, 0xff000000, QVPT_RGBA32},
    {32, 0xffc00000, 0x003ff000, 0x00000ffc, 0x3, QVPT_RGB10A2},
};

// The type that a file's pixels become, and whether its rows are that type's rows already.
struct Target {
  int32_t type;
  bool asStored;
};

Target maskedTarget(const BmpFile& file) {
  int widest = 0;
  for (const uint32_t mask : file.masks) widest = std::max(widest, std::popcount(mask));
  for (const MaskRow& row : kMaskTypes) {
    const uint32_t masks[] = {row.red, row.green, row.blue, row.alpha};
    if (row.bits == file.bits && std::equal(masks, masks + 4, file.masks)) return {row.type, true};
  }
  return {widest > 8 ? QVPT_RGBA64 : file.masks[3] != 0 ? QVPT_RGBA32 : QVPT_RGB24, false};
}

Target targetOf(const BmpFile& file) {
  if (file.coding == kMasks || file.coding == kMasksAndAlpha) return maskedTarget(file);
  switch (file.bits) {
    case 1:
      return hasBlackAndWhite(file) ? Target{QVPT_PAL1, true} : Target{QVPT_PAL4, false};
    case 2:
      return {QVPT_PAL4, false};
    case 4:
      return {QVPT_PAL4, true};
    case 8:
      return {QVPT_PAL8, true};
    case 16:
      return {QVPT_RGB555, true};
    case 24:
      return {QVPT_RGB24, true};
    default:
      return {QVPT_RGB32, true};
  }
}

// One channel of a masked pixel at 8 or 16 bits; without a mask, colours are 0.
uint32_t channel(uint32_t value, uint32_t mask, uint64_t full) {
  if (mask == 0) return 0;
  const uint32_t most = mask >> std::countr_zero(mask);
  return static_cast<uint32_t>(((value & mask) >> std::countr_zero(mask)) * full * 2 / most + 1) / 2;
}

void takeMasked(const BmpFile& file, const char* from, int32_t type, uint8_t* to) {
  const size_t size = file.bits / 8, target = type == QVPT_RGBA64 ? 8 : type == QVPT_RGBA32 ? 4 : 3;
  const uint32_t full = type == QVPT_RGBA64 ? 0xffff : 0xff;
  for (int32_t x = 0; x < file.width; ++x, from += size, to += target) {
    const uint32_t value = size == 2 ? little<uint16_t>(from) : little<uint32_t>(from);
    const uint32_t alpha = file.masks[3] != 0 ? channel(value, file.masks[3], full) : full;
    const uint32_t channels[] = {channel(value, file.masks[2], full), channel(value, file.masks[1], full),
                                 channel(value, file.masks[0], full), alpha};
    for (size_t c = 0; c < std::min<size_t>(target, 4); ++c) {
      if (target == 8) {
        const uint16_t word = static_cast<uint16_t>(channels[c]);
        memcpy(to + 2 * c, &word, 2);
      } else {
        to[c] = static_cast<uint8_t>(channels[c]);
      }
    }
  }
}

void expandNibbles(const BmpFile& file, const char* from, uint8_t* to) {
  for (size_t x = 0; x < static_cast<size_t>(file.width); ++x) {
    const size_t bit = x * file.bits;
    const uint32_t value =
        static_cast<uint8_t>(from[bit / 8]) >> (8 - file.bits - bit % 8) & ((1u << file.bits) - 1);
    to[x / 2] = static_cast<uint8_t>(to[x / 2] | value << (x % 2 == 0 ? 4 : 0));
  }
}

void takeRow(const BmpFile& file, const char* from, const Target& target, uint8_t* to) {
  if (!target.asStored)
    return file.bits < 4 ? expandNibbles(file, from, to) : takeMasked(file, from, target.type, to);
  memcpy(to, from, storedRow(file));
  if (target.type != QVPT_RGB32) return;
  for (int32_t x = 0; x < file.width; ++x) to[4 * x + 3] = 0xff;  // whatever stands there, it is no alpha
}

void takeRows(const BmpFile& file, const Target& target, const BITMAPINFOHEADER* image) {
  const size_t row = storedRow(file);
  for (int32_t y = 0; y < file.height; ++y) {
    const size_t stored = static_cast<size_t>(file.topDown ? y : file.height - 1 - y);
    takeRow(file, file.pixels.data() + row * stored, target, imageRow(image, y));
  }
}

// ---- run-length codes -------------------------------------------------------------------------------------

// Pixels that the codes skip stay index 0; ones beyond a row's end or the picture's top are dropped.
class Runs {
 public:
  Runs(const BmpFile& file, const BITMAPINFOHEADER* image)
      : image_(image), bytes_(file.pixels), narrow_(file.bits == 4) {}

  // Codes that stop before the picture's end give what there is, as writers that leave out the last code do.
  HRESULT take() {
    while (bytes_.size() >= 2 && y_ < image_->biHeight) {
      const uint8_t count = next(), value = next();
      if (count > 0) {
        for (uint32_t i = 0; i < count; ++i) put(value, i);
      } else if (value == 0) {
        x_ = 0;
        ++y_;
      } else if (value == 1) {
        return kOk;
      } else if (!(value == 2 ? skip() : literal(value))) {
        return kBadFormat;
      }
    }
    return kOk;
  }

 private:
  uint8_t next() {
    const uint8_t byte = static_cast<uint8_t>(bytes_[0]);
    bytes_.remove_prefix(1);
    return byte;
  }

  // The i-th pixel of a run; nibbles take turns.
  void put(uint8_t value, uint32_t i) {
    const int64_t x = x_++;
    if (x >= image_->biWidth) return;
    uint8_t* row = imageRow(image_, image_->biHeight - 1 - y_);
    if (!narrow_) {
      row[x] = value;
      return;
    }
    const uint32_t nibble = i % 2 == 0 ? value >> 4 : value & 15u;
    const bool high = x % 2 == 0;
    row[x / 2] =
        static_cast<uint8_t>(high ? (row[x / 2] & 0x0f) | nibble << 4 : (row[x / 2] & 0xf0) | nibble);
  }

  bool skip() {
    if (bytes_.size() < 2) return false;
    x_ += next();
    y_ += next();
    return true;
  }

  bool literal(uint32_t count) {
    const size_t size = narrow_ ? (count + 1) / 2 : count;
    if (bytes_.size() < size) return false;
    for (uint32_t i = 0; i < count; ++i) put(static_cast<uint8_t>(bytes_[narrow_ ? i / 2 : i]), i);
    bytes_.remove_prefix(std::min(size + size % 2, bytes_.size()));
    return true;
  }

  const BITMAPINFOHEADER* image_;
  std::string_view bytes_;
  bool narrow_;
  int64_t x_ = 0, y_ = 0;  // y from the bottom
};

WString describe(const BmpFile& file) {
  WString text = TEXT("BMP, ");
  for (const char c : std::to_string(file.bits)) text += static_cast<WCHAR>(c);
  text += file.bits == 1 ? TEXT(" bit") : TEXT(" bits");
  if (file.bits <= 8) text += TEXT(", palette");
  if (file.coding == kRuns8 || file.coding == kRuns4) text += TEXT(", runs");
  if (file.coding == kMasks || file.coding == kMasksAndAlpha) text += TEXT(", masks");
  if (file.masks[3] != 0) text += TEXT(", alpha");
  if (file.topDown) text += TEXT(", first row first");
  return text;
}

}  // namespace

bool isBmp(std::string_view bytes) {
  return bytes.substr(0, 2) == "BM";
}

HRESULT readBmp(std::string_view bytes, ImagePtr& image, WString& text) {
  BmpFile file;
  HRESULT status = readHeaders(bytes, file);
  if (FAILED(status)) return status;
  const bool runs = file.coding == kRuns8 || file.coding == kRuns4;
  const uint64_t height = static_cast<uint64_t>(file.height), row = storedRow(file);
  const uint64_t held = runs ? kRunRatio * file.pixels.size() : file.pixels.size();
  if (row > held || row * height > held) return kBadFormat;  // row * height stays within 64 bits: 33 + 31
  const Target target = targetOf(file);
  if (target.type == QVPT_PAL4 && file.colours.size() > 16) file.colours.resize(16);
  status = newImage(target.type, static_cast<uint32_t>(file.width), static_cast<uint32_t>(file.height), image,
                    file.colours);
  if (FAILED(status)) return status == kInvalidArgument ? kUnsupported : status;
  if (runs) {
    status = Runs(file, &image->bmiHeader).take();
  } else {
    takeRows(file, target, &image->bmiHeader);
  }
  if (FAILED(status)) image.reset();
  text = describe(file);
  return status;
}

// ---- writing ----------------------------------------------------------------------------------------------

namespace {

// How each type stands in a file: with the masks and the header that it needs.
struct WriteRow {
  int32_t type;
  uint32_t bits, coding, header;
  uint32_t masks[4];
};
constexpr WriteRow kWrites[] = {
    {QVPT_PAL1, 1, kPlain, kUsualHeader, {}},
    {QVPT_GRAY1, 1, kPlain, kUsualHeader, {}},
    {QVPT_GRAY2, 4, kPlain, kUsualHeader, {}},
    {QVPT_GRAY4, 4, kPlain, kUsualHeader, {}},
    {QVPT_GRAY8, 8, kPlain, kUsualHeader, {}},
    {QVPT_PAL4, 4, kPlain, kUsualHeader, {}},
    {QVPT_PAL8, 8, kPlain, kUsualHeader, {}},
    {QVPT_RGB555, 16, kPlain, kUsualHeader, {}},
    {QVPT_RGB565, 16, kMasks, kUsualHeader, {0xf800, 0x07e0, 0x001f, 0}},
    {QVPT_RGB24, 24, kPlain, kUsualHeader, {}},
    {QVPT_RGB32, 32, kPlain, kUsualHeader, {}},
    {QVPT_RGBA32, 32, kMasks, kAlphaHeader, {0xff0000, 0xff00, 0xff, 0xff000000}},
    {QVPT_RGB10A2, 32, kMasks, kAlphaHeader, {0xffc00000, 0x003ff000, 0x00000ffc, 0x3}},
};

// A grey picture's values are indices of as many greys.
std::vector<RGBQUAD> coloursOf(const BITMAPINFOHEADER* image, const WriteRow& row) {
  if (row.bits > 8) return {};
  if (row.type == QVPT_PAL4 || row.type == QVPT_PAL8) {
    const std::span<const RGBQUAD> entries = imageColours(image);
    return {entries.begin(),
            entries.begin() + static_cast<ptrdiff_t>(std::min<size_t>(entries.size(), 1u << row.bits))};
  }
  const uint32_t greys = 1u << image->biBitCount;
  std::vector<RGBQUAD> colours;
  for (uint32_t i = 0; i < greys; ++i) {
    const uint8_t value = static_cast<uint8_t>(i * 255 / (greys - 1));
    colours.push_back({value, value, value, 0});
  }
  return colours;
}

void appendHeaders(const BITMAPINFOHEADER* image, const WriteRow& row, bool topDown, size_t colours,
                   uint32_t pixels, std::string& bytes) {
  const bool outside = row.coding == kMasks && row.header == kUsualHeader;
  const uint32_t start = static_cast<uint32_t>(kFileHeader + row.header + (outside ? 12 : 0) + 4 * colours);
  bytes += "BM";
  appendLittle<uint32_t>(bytes, start + pixels);
  appendLittle<uint32_t>(bytes, 0);
  appendLittle<uint32_t>(bytes, start);
  appendLittle<uint32_t>(bytes, row.header);
  appendLittle<int32_t>(bytes, image->biWidth);
  appendLittle<int32_t>(bytes, topDown ? -image->biHeight : image->biHeight);
  appendLittle<uint16_t>(bytes, 1);
  appendLittle<uint16_t>(bytes, static_cast<uint16_t>(row.bits));
  appendLittle<uint32_t>(bytes, row.coding);
  appendLittle<uint32_t>(bytes, pixels);
  appendLittle<uint64_t>(bytes, 0);  // the two densities
  appendLittle<uint32_t>(bytes, static_cast<uint32_t>(colours));
  appendLittle<uint32_t>(bytes, 0);
  if (row.coding != kMasks) return;
  for (const uint32_t mask : std::span(row.masks).first(outside ? 3 : 4)) appendLittle(bytes, mask);
  if (outside) return;
  bytes += "BGRs";                  // the colours of ordinary screens
  bytes.append(3 * 12 + 12, '\0');  // end points and curves, which those have by their name
}

// Two bits a pixel become four.
void widen(const uint8_t* from, uint8_t* to, int32_t width) {
  for (int32_t x = 0; x < width; ++x) {
    const uint32_t value = from[x / 4] >> (6 - x % 4 * 2) & 3u;
    to[x / 2] = static_cast<uint8_t>(to[x / 2] | value << (x % 2 == 0 ? 4 : 0));
  }
}

}  // namespace

HRESULT writeBmp(const BITMAPINFOHEADER* image, bool topDown, std::string& bytes) {
  const int32_t type = QvGetPixelType(image);
  const auto* row =
      std::find_if(std::begin(kWrites), std::end(kWrites), [&](const WriteRow& r) { return r.type == type; });
  if (row == std::end(kWrites)) return kUnsupported;
  if (image->biWidth <= 0 || image->biHeight <= 0) return kInvalidArgument;
  const size_t size = (size_t{row->bits} * static_cast<size_t>(image->biWidth) + 31) / 32 * 4;
  const uint64_t pixels = uint64_t{size} * static_cast<uint64_t>(image->biHeight);
  if (pixels > UINT32_MAX - 4096) return kInvalidArgument;
  const std::vector<RGBQUAD> colours = coloursOf(image, *row);
  bytes.clear();
  bytes.reserve(static_cast<size_t>(pixels) + 2048);
  appendHeaders(image, *row, topDown, colours.size(), static_cast<uint32_t>(pixels), bytes);
  for (const RGBQUAD& c : colours) bytes.append(reinterpret_cast<const char*>(&c), 3).push_back('\0');
  std::vector<uint8_t> line(size);
  for (int32_t i = 0; i < image->biHeight; ++i) {
    const uint8_t* from = imageRow(image, topDown ? i : image->biHeight - 1 - i);
    std::fill(line.begin(), line.end(), uint8_t{0});
    if (type == QVPT_GRAY2) {
      widen(from, line.data(), image->biWidth);
    } else {
      memcpy(line.data(), from, (size_t{row->bits} * static_cast<size_t>(image->biWidth) + 7) / 8);
    }
    bytes.append(reinterpret_cast<const char*>(line.data()), size);
  }
  return kOk;
}

}  // namespace qv::workbench
