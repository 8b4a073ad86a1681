#include "qv/app/workbench/png.h"

#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "qv/app/workbench/bytes.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr std::string_view kSignature("\x89PNG\r\n\x1a\n", 8);
constexpr uint32_t kMaxSide = 0x7fffffff;
constexpr size_t kChunkFrame = 12;  // length, name, checksum
constexpr size_t kMaxChunk = size_t{1} << 30;
constexpr uint64_t kDeflateRatio = 1032;             // no byte of packed data gives more
constexpr uint64_t kMaxRows = uint64_t{0x7fffffff};  // bytes of a picture's rows

enum ColourType : uint8_t { kGrey = 0, kRgb = 2, kIndexed = 3, kGreyAlpha = 4, kRgbAlpha = 6 };

struct ColourRow {
  uint8_t colourType, samples;
  uint8_t depths;  // bit n: depth n is allowed; 16 is bit 0
  const WCHAR* name;
};
constexpr uint8_t kOne = 1 << 1, kTwo = 1 << 2, kFour = 1 << 4, kSixteen = 1;
constexpr uint8_t kEight = 1 << 3;
constexpr ColourRow kColours[] = {
    {kGrey, 1, kOne | kTwo | kFour | kEight | kSixteen, TEXT("grey")},
    {kRgb, 3, kEight | kSixteen, TEXT("RGB")},
    {kIndexed, 1, kOne | kTwo | kFour | kEight, TEXT("palette")},
    {kGreyAlpha, 2, kEight | kSixteen, TEXT("grey and alpha")},
    {kRgbAlpha, 4, kEight | kSixteen, TEXT("RGB and alpha")},
};

uint8_t depthBit(uint8_t depth) {
  return depth == 16                              ? kSixteen
         : depth == 8                             ? kEight
         : depth == 4 || depth == 2 || depth == 1 ? 1 << depth
                                                  : 0;
}

const ColourRow* colourRow(const PngForm& form) {
  for (const ColourRow& row : kColours) {
    if (row.colourType == form.colourType) return (row.depths & depthBit(form.depth)) != 0 ? &row : nullptr;
  }
  return nullptr;
}

uint32_t pixelBits(const PngForm& form) {
  return uint32_t{colourRow(form)->samples} * form.depth;
}
size_t rowBytes(const PngForm& form, uint32_t width) {
  return static_cast<size_t>((uint64_t{pixelBits(form)} * width + 7) / 8);
}

uint32_t checksum(std::string_view bytes) {
  return static_cast<uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// ---- reading ----------------------------------------------------------------------------------------------

// The columns and rows that a pass of an interlaced file holds.
struct Pass {
  uint8_t x, y, stepX, stepY;
};
constexpr Pass kPasses[] = {{0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                            {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
constexpr Pass kWhole[] = {{0, 0, 1, 1}};

std::span<const Pass> passesOf(const PngForm& form) {
  return form.interlaced ? std::span<const Pass>(kPasses) : std::span<const Pass>(kWhole);
}
uint32_t countFrom(uint32_t size, uint32_t first, uint32_t step) {
  return size > first ? (size - first + step - 1) / step : 0;
}

struct PngFile {
  PngForm form;
  std::string_view palette, transparency;
  std::vector<std::string_view> data;
  uint64_t dataBytes = 0;
};

HRESULT readHeader(std::string_view body, PngForm& form) {
  if (body.size() != 13) return kBadFormat;
  form = {big<uint32_t>(body.data()), big<uint32_t>(body.data() + 4), static_cast<uint8_t>(body[8]),
          static_cast<uint8_t>(body[9]), static_cast<uint8_t>(body[12])};
  const bool known = body[10] == 0 && body[11] == 0 && form.interlaced <= 1;
  const bool sized = form.width > 0 && form.height > 0 && form.width <= kMaxSide && form.height <= kMaxSide;
  return known && sized && colourRow(form) != nullptr ? kOk : kBadFormat;
}

// Takes what matters from a chunk; ones that pictures can do without are passed over.
HRESULT takeChunk(std::string_view name, std::string_view body, PngFile& file) {
  if (name == "PLTE") {
    if (body.empty() || body.size() % 3 != 0 || body.size() > 768 || !file.palette.empty()) return kBadFormat;
    file.palette = body;
  } else if (name == "tRNS") {
    file.transparency = body;
  } else if (name == "IDAT") {
    file.data.push_back(body);
    file.dataBytes += body.size();
  } else if ((name[0] & 0x20) == 0) {
    return kBadFormat;  // a chunk without which the picture isn't what it should be
  }
  return kOk;
}

HRESULT readChunks(std::string_view bytes, PngFile& file) {
  bytes.remove_prefix(kSignature.size());
  for (bool first = true; bytes.size() >= kChunkFrame; first = false) {
    const uint32_t size = big<uint32_t>(bytes.data());
    if (size > bytes.size() - kChunkFrame) return kBadFormat;
    const std::string_view name = bytes.substr(4, 4), body = bytes.substr(8, size);
    if (big<uint32_t>(bytes.data() + 8 + size) != checksum(bytes.substr(4, size_t{4} + size)))
      return kBadFormat;
    if (first != (name == "IHDR")) return kBadFormat;
    if (name == "IEND") return kOk;
    const HRESULT status = first ? readHeader(body, file.form) : takeChunk(name, body, file);
    if (FAILED(status)) return status;
    bytes.remove_prefix(kChunkFrame + size);
  }
  return kBadFormat;
}

// Unpacks exactly as many bytes as the header declares.
class Unpacker {
 public:
  Unpacker() { ready_ = inflateInit(&stream_) == Z_OK; }
  ~Unpacker() { inflateEnd(&stream_); }
  Unpacker(const Unpacker&) = delete;
  Unpacker& operator=(const Unpacker&) = delete;

  HRESULT run(const PngFile& file, std::string& out) {
    if (!ready_) return kOutOfMemory;
    uint8_t beyond = 0;  // one byte too many shows here, so that the end of the stream can be told from it
    stream_.next_out = reinterpret_cast<Bytef*>(out.data());
    stream_.avail_out = static_cast<uInt>(out.size());
    int result = Z_OK;
    for (const std::string_view part : file.data) {
      stream_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(part.data()));
      stream_.avail_in = static_cast<uInt>(part.size());
      while (stream_.avail_in > 0 && result == Z_OK) {
        if (stream_.avail_out == 0 && stream_.next_out == &beyond + 1) return kBadFormat;
        if (stream_.avail_out == 0) {
          stream_.next_out = &beyond;
          stream_.avail_out = 1;
        }
        result = inflate(&stream_, Z_NO_FLUSH);
      }
    }
    return result == Z_STREAM_END && stream_.total_out == out.size() ? kOk : kBadFormat;
  }

 private:
  z_stream stream_ = {};
  bool ready_ = false;
};

// The neighbour of three that lies nearest to left + up - corner.
uint8_t paeth(int left, int up, int corner) {
  const int toLeft = std::abs(up - corner), toUp = std::abs(left - corner),
            toCorner = std::abs(left + up - 2 * corner);
  if (toLeft <= toUp && toLeft <= toCorner) return static_cast<uint8_t>(left);
  return static_cast<uint8_t>(toUp <= toCorner ? up : corner);
}

// What a filter foretells for the byte at i of a row; `up` is the row above, or null.
uint8_t foretold(int filter, const uint8_t* row, const uint8_t* up, size_t i, size_t step) {
  const int left = i >= step ? row[i - step] : 0, above = up != nullptr ? up[i] : 0;
  const int corner = i >= step && up != nullptr ? up[i - step] : 0;
  switch (filter) {
    case 1:
      return static_cast<uint8_t>(left);
    case 2:
      return static_cast<uint8_t>(above);
    case 3:
      return static_cast<uint8_t>((left + above) / 2);
    case 4:
      return paeth(left, above, corner);
    default:
      return 0;
  }
}

template <int Filter>
void undo(uint8_t* row, const uint8_t* up, size_t size, size_t step) {
  for (size_t i = 0; i < size; ++i)
    row[i] = static_cast<uint8_t>(row[i] + foretold(Filter, row, up, i, step));
}

bool undoFilter(int filter, uint8_t* row, const uint8_t* up, size_t size, size_t step) {
  using Undo = void (*)(uint8_t*, const uint8_t*, size_t, size_t);
  constexpr Undo kUndo[] = {undo<0>, undo<1>, undo<2>, undo<3>, undo<4>};
  if (filter > 4) return false;
  if (filter > 0) kUndo[filter](row, up, size, step);
  return true;
}

// One picture's rows without filters and passes, in the file's own samples.
class Samples {
 public:
  explicit Samples(const PngForm& form) : form_(form), size_(rowBytes(form, form.width)) {}

  // kBadFormat also when the file is too short to hold what it declares.
  HRESULT read(const PngFile& file) {
    uint64_t declared = 0;
    for (const Pass& pass : passesOf(form_)) declared += passBytes(pass);
    if (declared > kMaxRows) return kUnsupported;
    if (declared > kDeflateRatio * file.dataBytes) return kBadFormat;
    packed_.resize(static_cast<size_t>(declared));
    if (const HRESULT status = Unpacker().run(file, packed_); FAILED(status)) return status;
    if (form_.interlaced) spread_.resize(size_ * form_.height);
    uint8_t* at = reinterpret_cast<uint8_t*>(packed_.data());
    for (const Pass& pass : passesOf(form_)) {
      if (!takePass(pass, at)) return kBadFormat;
      at += passBytes(pass);
    }
    return kOk;
  }

  const uint8_t* row(uint32_t y) const {
    if (form_.interlaced) return reinterpret_cast<const uint8_t*>(spread_.data()) + size_ * y;
    return reinterpret_cast<const uint8_t*>(packed_.data()) + (size_ + 1) * y + 1;
  }

 private:
  uint64_t passBytes(const Pass& pass) const {
    const uint32_t width = countFrom(form_.width, pass.x, pass.stepX);
    const uint32_t height = countFrom(form_.height, pass.y, pass.stepY);
    return width == 0 ? 0 : (uint64_t{rowBytes(form_, width)} + 1) * height;
  }

  bool takePass(const Pass& pass, uint8_t* at) {
    const uint32_t width = countFrom(form_.width, pass.x, pass.stepX);
    const uint32_t height = width == 0 ? 0 : countFrom(form_.height, pass.y, pass.stepY);
    const size_t size = rowBytes(form_, width), step = std::max<size_t>(1, pixelBits(form_) / 8);
    const uint8_t* up = nullptr;
    for (uint32_t y = 0; y < height; ++y, at += size + 1) {
      if (!undoFilter(at[0], at + 1, up, size, step)) return false;
      up = at + 1;
      if (form_.interlaced) spread(pass, up, width, pass.y + y * pass.stepY);
    }
    return true;
  }

  void spread(const Pass& pass, const uint8_t* from, uint32_t width, uint32_t y) {
    uint8_t* to = reinterpret_cast<uint8_t*>(spread_.data()) + size_ * y;
    const uint32_t bits = pixelBits(form_);
    for (uint32_t i = 0; i < width; ++i) {
      const size_t x = pass.x + size_t{i} * pass.stepX;
      if (bits >= 8) {
        memcpy(to + x * (bits / 8), from + size_t{i} * (bits / 8), bits / 8);
      } else {
        const uint32_t value = from[i * bits / 8] >> (8 - bits - i * bits % 8) & ((1u << bits) - 1);
        to[x * bits / 8] = static_cast<uint8_t>(to[x * bits / 8] | value << (8 - bits - x * bits % 8));
      }
    }
  }

  PngForm form_;
  size_t size_;
  std::string packed_, spread_;
};

uint32_t sampleAt(const uint8_t* row, size_t index, uint32_t depth) {
  if (depth == 16) return uint32_t{row[2 * index]} << 8 | row[2 * index + 1];
  if (depth == 8) return row[index];
  const size_t bit = index * depth;
  return row[bit / 8] >> (8 - depth - bit % 8) & ((1u << depth) - 1);
}

// Samples that no type holds as they are become colours with alpha, of 8 or 16 bits.
class Colours {
 public:
  explicit Colours(const PngFile& file)
      : file_(file), scale_(255 / ((1u << std::min<uint32_t>(file.form.depth, 8)) - 1)) {}

  QVPIXEL64 at(const uint8_t* row, size_t x) const {
    const uint8_t depth = file_.form.depth;
    const size_t count = colourRow(file_.form)->samples;
    uint32_t raw[4];
    for (size_t i = 0; i < count; ++i) raw[i] = sampleAt(row, x * count + i, depth);
    const uint32_t full = depth == 16 ? 0xffff : 0xff, scale = depth < 8 ? scale_ : 1;
    switch (file_.form.colourType) {
      case kIndexed:
        return entry(raw[0]);
      case kGreyAlpha:
        return pixel(raw[0], raw[0], raw[0], raw[1]);
      case kRgbAlpha:
        return pixel(raw[0], raw[1], raw[2], raw[3]);
      case kRgb:
        return pixel(raw[0], raw[1], raw[2], isSeeThrough(raw, 3) ? 0 : full);
      default:
        return pixel(raw[0] * scale, raw[0] * scale, raw[0] * scale, isSeeThrough(raw, 1) ? 0 : full);
    }
  }

 private:
  static QVPIXEL64 pixel(uint32_t red, uint32_t green, uint32_t blue, uint32_t alpha) {
    return {static_cast<uint16_t>(blue), static_cast<uint16_t>(green), static_cast<uint16_t>(red),
            static_cast<uint16_t>(alpha)};
  }

  QVPIXEL64 entry(uint32_t index) const {
    const std::string_view alphas = file_.transparency, colours = file_.palette;
    const uint32_t alpha = index < alphas.size() ? static_cast<uint8_t>(alphas[index]) : 255;
    if (3 * index + 2 >= colours.size()) return pixel(0, 0, 0, alpha);
    const auto* at = reinterpret_cast<const uint8_t*>(colours.data()) + size_t{3} * index;
    return pixel(at[0], at[1], at[2], alpha);
  }

  // One colour of the file may stand for nothing at all.
  bool isSeeThrough(const uint32_t* raw, size_t count) const {
    if (file_.transparency.size() != 2 * count) return false;
    for (size_t i = 0; i < count; ++i) {
      if (big<uint16_t>(file_.transparency.data() + 2 * i) != raw[i]) return false;
    }
    return true;
  }

  const PngFile& file_;
  uint32_t scale_;
};

constexpr int32_t kGreys[] = {QVPT_UNKNOWN, QVPT_GRAY1, QVPT_GRAY2, QVPT_UNKNOWN, QVPT_GRAY4};

int32_t typeOf(const PngFile& file) {
  const PngForm& form = file.form;
  const bool deep = form.depth == 16, clear = !file.transparency.empty();
  if (form.colourType == kIndexed && !clear) return form.depth == 8 ? QVPT_PAL8 : QVPT_PAL4;
  if (form.colourType == kGrey && !clear)
    return deep ? QVPT_GRAY16 : form.depth == 8 ? QVPT_GRAY8 : kGreys[form.depth];
  if (deep) return QVPT_RGBA64;
  return form.colourType == kRgb && !clear ? QVPT_RGB24 : QVPT_RGBA32;
}

void expandNibbles(const uint8_t* from, uint8_t* to, uint32_t width, uint32_t depth) {
  for (uint32_t x = 0; x < width; ++x) {
    to[x / 2] = static_cast<uint8_t>(to[x / 2] | sampleAt(from, x, depth) << (x % 2 == 0 ? 4 : 0));
  }
}

void storePixel(uint8_t* to, size_t x, int32_t type, const QVPIXEL64& pixel) {
  if (type == QVPT_RGBA64) {
    memcpy(to + 8 * x, &pixel, 8);
    return;
  }
  const uint8_t bytes[] = {static_cast<uint8_t>(pixel.blue), static_cast<uint8_t>(pixel.green),
                           static_cast<uint8_t>(pixel.red), static_cast<uint8_t>(pixel.alpha)};
  const size_t size = type == QVPT_RGB24 ? 3 : 4;
  memcpy(to + size * x, bytes, size);
}

void swapPairs(const uint8_t* from, uint8_t* to, size_t size) {
  for (size_t i = 0; i + 1 < size; i += 2) {
    to[i] = from[i + 1];
    to[i + 1] = from[i];
  }
}

void fillRow(const PngFile& file, const Colours& colours, const uint8_t* from, int32_t type, uint8_t* to) {
  const PngForm& form = file.form;
  const size_t size = rowBytes(form, form.width);
  if (type == QVPT_PAL4 && form.depth < 4) {
    expandNibbles(from, to, form.width, form.depth);
  } else if (type <= QVPT_GRAY8 || type == QVPT_PAL4 || type == QVPT_PAL8) {
    memcpy(to, from, size);
  } else if (type == QVPT_GRAY16) {
    swapPairs(from, to, size);
  } else {
    for (uint32_t x = 0; x < form.width; ++x) storePixel(to, x, type, colours.at(from, x));
  }
}

std::vector<RGBQUAD> entriesOf(std::string_view palette) {
  std::vector<RGBQUAD> entries;
  const auto* at = reinterpret_cast<const uint8_t*>(palette.data());
  for (size_t i = 0; i + 2 < palette.size(); i += 3) entries.push_back({at[i + 2], at[i + 1], at[i], 0});
  return entries;
}

WString describe(const PngFile& file) {
  WString text = TEXT("PNG, ");
  for (const char c : std::to_string(file.form.depth)) text += static_cast<WCHAR>(c);
  text += file.form.depth == 1 ? TEXT(" bit, ") : TEXT(" bits, ");
  text += colourRow(file.form)->name;
  if (!file.transparency.empty()) text += TEXT(", transparency");
  if (file.form.interlaced) text += TEXT(", interlaced");
  return text;
}

}  // namespace

bool isPng(std::string_view bytes) {
  return bytes.substr(0, kSignature.size()) == kSignature;
}

HRESULT readPng(std::string_view bytes, ImagePtr& image, WString& text) {
  PngFile file;
  HRESULT status = readChunks(bytes, file);
  if (FAILED(status)) return status;
  if (file.form.colourType == kIndexed && file.palette.empty()) return kBadFormat;
  Samples samples(file.form);
  status = samples.read(file);
  if (FAILED(status)) return status;
  const int32_t type = typeOf(file);
  std::vector<RGBQUAD> entries = entriesOf(file.palette);
  if (type == QVPT_PAL4 && entries.size() > 16) entries.resize(16);
  status = newImage(type, file.form.width, file.form.height, image, entries);
  if (FAILED(status)) return status == kInvalidArgument ? kUnsupported : status;
  const Colours colours(file);
  for (uint32_t y = 0; y < file.form.height; ++y) {
    fillRow(file, colours, samples.row(y), type, imageRow(&image->bmiHeader, y));
  }
  text = describe(file);
  return kOk;
}

// ---- writing ----------------------------------------------------------------------------------------------

namespace {

void appendChunk(std::string& png, std::string_view type, std::string_view body) {
  appendBig(png, static_cast<uint32_t>(body.size()));
  const size_t start = png.size();
  png.append(type).append(body);
  appendBig(png, checksum(std::string_view(png).substr(start)));
}

std::string deflated(const std::string& bytes) {
  uLongf size = compressBound(static_cast<uLong>(bytes.size()));
  std::string packed(size, '\0');
  compress2(reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()),
            static_cast<uLong>(bytes.size()), Z_DEFAULT_COMPRESSION);
  packed.resize(size);
  return packed;
}

struct WriteRow {
  int32_t type;
  uint8_t depth, colourType;
};
constexpr WriteRow kWrites[] = {
    {QVPT_GRAY1, 1, kGrey},       {QVPT_GRAY2, 2, kGrey},   {QVPT_GRAY4, 4, kGrey},
    {QVPT_GRAY8, 8, kGrey},       {QVPT_GRAY16, 16, kGrey}, {QVPT_PAL4, 4, kIndexed},
    {QVPT_PAL8, 8, kIndexed},     {QVPT_RGB24, 8, kRgb},    {QVPT_RGBA32, 8, kRgbAlpha},
    {QVPT_RGBA64, 16, kRgbAlpha},
};

// Blue, green, red, alpha in memory become red, green, blue, alpha, each highest byte first.
void reorder(const uint8_t* from, uint8_t* to, size_t pixels, size_t channels, size_t bytes) {
  for (size_t x = 0; x < pixels; ++x) {
    for (size_t c = 0; c < channels; ++c) {
      const size_t source = c < 3 ? 2 - c : c;
      for (size_t b = 0; b < bytes; ++b) *to++ = from[source * bytes + (bytes - 1 - b)];
    }
    from += channels * bytes;
  }
}

// An image's row as the file has it; bits behind the last pixel are 0.
void takeRow(const BITMAPINFOHEADER* image, const PngForm& form, const uint8_t* from,
             std::vector<uint8_t>& to) {
  const size_t channels = colourRow(form)->samples;
  if (channels >= 3) {
    reorder(from, to.data(), form.width, channels, form.depth / 8u);
  } else if (form.depth == 16) {
    swapPairs(from, to.data(), to.size());
  } else {
    memcpy(to.data(), from, to.size());
    const uint32_t used = static_cast<uint32_t>(uint64_t{image->biBitCount} * form.width % 8);
    if (used != 0) to.back() = static_cast<uint8_t>(to.back() & (0xff00u >> used));
  }
}

// The filter whose differences are smallest packs best, most of the time; not so for indices and for pixels
// that share bytes.
int bestFilter(const std::vector<uint8_t>& row, const uint8_t* up, size_t step, std::vector<uint8_t>& best,
               std::vector<uint8_t>& work) {
  int chosen = 0;
  uint64_t lowest = UINT64_MAX;
  for (int filter = 0; filter <= 4; ++filter) {
    uint64_t sum = 0;
    for (size_t i = 0; i < row.size(); ++i) {
      work[i] = static_cast<uint8_t>(row[i] - foretold(filter, row.data(), up, i, step));
      sum += static_cast<uint64_t>(std::abs(static_cast<int8_t>(work[i])));
    }
    if (sum >= lowest) continue;
    lowest = sum;
    chosen = filter;
    best.swap(work);
  }
  return chosen;
}

std::string filteredRows(const BITMAPINFOHEADER* image, const PngForm& form) {
  const size_t size = rowBytes(form, form.width), step = std::max<size_t>(1, pixelBits(form) / 8);
  const bool plain = form.depth < 8 || form.colourType == kIndexed;
  std::vector<uint8_t> row(size), up(size), best(size), work(size);
  std::string rows;
  rows.reserve((size + 1) * form.height);
  for (uint32_t y = 0; y < form.height; ++y) {
    takeRow(image, form, imageRow(image, y), row);
    const int filter = plain ? 0 : bestFilter(row, y > 0 ? up.data() : nullptr, step, best, work);
    const std::vector<uint8_t>& chosen = plain ? row : best;
    rows.push_back(static_cast<char>(filter));
    rows.append(reinterpret_cast<const char*>(chosen.data()), size);
    up.swap(row);
  }
  return rows;
}

// As many colours as the table has, and black ones up to the highest index in use, without which the file
// would be damaged for others.
std::string coloursOf(const BITMAPINFOHEADER* image, const PngForm& form) {
  uint32_t highest = 0;
  for (uint32_t y = 0; y < form.height; ++y) {
    const uint8_t* row = imageRow(image, y);
    for (uint32_t x = 0; x < form.width; ++x) highest = std::max(highest, sampleAt(row, x, form.depth));
  }
  const std::span<const RGBQUAD> entries = imageColours(image);
  std::string colours;
  for (const RGBQUAD& entry : entries.first(std::min<size_t>(entries.size(), size_t{1} << form.depth))) {
    colours += {static_cast<char>(entry.rgbRed), static_cast<char>(entry.rgbGreen),
                static_cast<char>(entry.rgbBlue)};
  }
  if (colours.size() < size_t{3} * (highest + 1)) colours.resize(size_t{3} * (highest + 1));
  return colours;
}

}  // namespace

HRESULT writePng(const BITMAPINFOHEADER* image, std::string& bytes) {
  const int32_t type = QvGetPixelType(image);
  const auto* row =
      std::find_if(std::begin(kWrites), std::end(kWrites), [&](const WriteRow& r) { return r.type == type; });
  if (row == std::end(kWrites)) return kUnsupported;
  const PngForm form = {static_cast<uint32_t>(image->biWidth), static_cast<uint32_t>(image->biHeight),
                        row->depth, row->colourType, 0};
  if (form.width == 0 || form.height == 0) return kInvalidArgument;
  if ((uint64_t{rowBytes(form, form.width)} + 1) * form.height > kMaxRows) return kInvalidArgument;
  bytes = pngFile(form, row->colourType == kIndexed ? coloursOf(image, form) : std::string(),
                  filteredRows(image, form));
  return kOk;
}

std::string pngFile(const PngForm& form, const std::string& colours, const std::string& rows) {
  std::string header;
  appendBig(header, form.width);
  appendBig(header, form.height);
  header += {static_cast<char>(form.depth), static_cast<char>(form.colourType), 0, 0,
             static_cast<char>(form.interlaced)};
  std::string png(kSignature);
  appendChunk(png, "IHDR", header);
  if (!colours.empty()) appendChunk(png, "PLTE", colours);
  const std::string packed = deflated(rows);
  for (size_t at = 0; at < packed.size(); at += kMaxChunk) {
    appendChunk(png, "IDAT", std::string_view(packed).substr(at, kMaxChunk));
  }
  appendChunk(png, "IEND", {});
  return png;
}

}  // namespace qv::workbench
