#include "qv/app/workbench/clip_file.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "qv/app/workbench/bytes.h"
#include "qv/frame/status.h"
#include "qv/video/yuvplanes.h"

namespace qv::workbench {

// How Y4M holds frames: three planes, or luma alone, samples of one byte or of two, lowest first.
struct ClipStorage {
  const char* name;  // of the colour space
  int32_t layout;
  uint8_t chromaAcross, chromaDown;  // luma samples to a chroma sample; 0 for no chroma
  uint8_t bytes;
  uint8_t shift;  // of a sample's value to the layout's
  bool written;   // what a layout is written as
};

namespace {

constexpr ClipStorage kStorages[] = {
    {"420mpeg2", QVPT_I420, 2, 2, 1, 0, true},  {"420jpeg", QVPT_I420, 2, 2, 1, 0, false},
    {"420paldv", QVPT_I420, 2, 2, 1, 0, false}, {"420", QVPT_I420, 2, 2, 1, 0, false},
    {"422", QVPT_YV16, 2, 1, 1, 0, true},       {"444", QVPT_P410, 1, 1, 1, 8, false},
    {"mono", QVPT_I420, 0, 0, 1, 0, false},     {"420p10", QVPT_P010, 2, 2, 2, 6, true},
    {"422p10", QVPT_P210, 2, 1, 2, 6, true},    {"444p10", QVPT_P410, 1, 1, 2, 6, true},
};

constexpr uint32_t kMaxSide = 65535;
constexpr size_t kHeaderLimit = 1024, kFrameLineLimit = 256;
constexpr char kMagic[] = "YUV4MPEG2";

// What no frame can have stays out of range.
bool readSize(WStringView text, uint32_t& width, uint32_t& height) {
  int64_t w = 0, h = 0;
  if (!parsePair(text, w, h)) return false;
  width = static_cast<uint32_t>(std::clamp<int64_t>(w, 0, UINT32_MAX));
  height = static_cast<uint32_t>(std::clamp<int64_t>(h, 0, UINT32_MAX));
  return true;
}

bool isSize(uint32_t width, uint32_t height) {
  return width >= 1 && width <= kMaxSide && height >= 1 && height <= kMaxSide;
}

// "25", "30000/1001", or with ":" between; 0 is unknown.
bool readRate(WStringView text, uint32_t& rate, uint32_t& scale) {
  const size_t slash = std::min(text.find_first_of(TEXT("/:")), text.size());
  int64_t over = 0, under = 1;
  if (!parseInteger(text.substr(0, slash), over)) return false;
  if (slash < text.size() && !parseInteger(text.substr(slash + 1), under)) return false;
  if (over < 0 || over > INT32_MAX || under < 0 || under > INT32_MAX) return false;
  rate = under == 0 ? 0 : static_cast<uint32_t>(over);
  scale = rate == 0 ? 1 : static_cast<uint32_t>(under);
  return true;
}

const ClipStorage* storageOf(int32_t layout) {
  for (const ClipStorage& storage : kStorages) {
    if (storage.layout == layout && storage.written) return &storage;
  }
  return nullptr;
}

uint32_t chromaSide(uint32_t luma, uint8_t ratio) {
  return ratio == 0 ? 0 : (luma + ratio - 1) / ratio;
}

uint64_t storedBytes(const ClipStorage& storage, uint32_t width, uint32_t height) {
  const uint64_t chroma =
      uint64_t{chromaSide(width, storage.chromaAcross)} * chromaSide(height, storage.chromaDown);
  return (uint64_t{width} * height + 2 * chroma) * storage.bytes;
}

BITMAPINFOHEADER frameHeader(int32_t layout, uint32_t width, uint32_t height) {
  BITMAPINFOHEADER header = {};
  uint32_t compression = 0;
  QvPixelTypeToBitAttribs(layout, &compression, nullptr, 0, nullptr);
  header.biSize = sizeof(header);
  header.biWidth = static_cast<int32_t>(width);
  header.biHeight = static_cast<int32_t>(height);
  header.biCompression = compression;
  return header;
}

// A plane in the file and in the frame, samples apart by `step` bytes there.
struct PlanePair {
  uint8_t* stored;
  size_t storedStride;
  uint8_t* samples;
  int32_t stride, step;
  uint32_t columns, rows;
};

// The three planes, as far as both sides have samples.
std::array<PlanePair, 3> planePairs(const ClipStorage& storage, uint8_t* stored, const ImagePtr& frame) {
  const BITMAPINFOHEADER& header = frame->bmiHeader;
  QVYUVPLANES planes;
  QvYUVImageBytesAndOffsets(&header, &planes);
  const auto width = static_cast<uint32_t>(header.biWidth), height = static_cast<uint32_t>(header.biHeight);
  const int32_t sample = storage.shift == 0 ? 1 : 2;
  const bool interleaved = planes.vStride == 0;
  const uint32_t across = chromaSide(width, storage.chromaAcross),
                 down = chromaSide(height, storage.chromaDown);
  const size_t lumaBytes = size_t{width} * height * storage.bytes;
  const size_t chromaBytes = size_t{across} * down * storage.bytes;
  uint8_t* const u = stored + lumaBytes;
  uint8_t* const first = frameSamples(frame);
  const int32_t vOffset = interleaved ? planes.uOffset + sample : planes.vOffset;
  const int32_t step = interleaved ? 2 * sample : sample;
  const uint32_t columns = storage.chromaAcross ? width / storage.chromaAcross : 0;
  const uint32_t rows = storage.chromaDown ? height / storage.chromaDown : 0;
  const size_t chromaStride = size_t{across} * storage.bytes;
  return {{{stored, size_t{width} * storage.bytes, first, planes.lumaStride, sample, width, height},
           {u, chromaStride, first + planes.uOffset, planes.uStride, step, columns, rows},
           {u + chromaBytes, chromaStride, first + vOffset, planes.uStride, step, columns, rows}}};
}

void unpack(const ClipStorage& storage, const PlanePair& plane) {
  for (uint32_t y = 0; y < plane.rows; ++y) {
    const uint8_t* from = plane.stored + y * plane.storedStride;
    uint8_t* to = plane.samples + static_cast<ptrdiff_t>(y) * plane.stride;
    if (storage.shift == 0) {
      memcpy(to, from, plane.columns);
      continue;
    }
    for (uint32_t x = 0; x < plane.columns; ++x, from += storage.bytes, to += plane.step) {
      const int value = storage.bytes == 1 ? from[0] : from[0] | from[1] << 8;
      const auto sample = static_cast<uint16_t>(value << storage.shift);
      memcpy(to, &sample, sizeof(sample));
    }
  }
}

void pack(const ClipStorage& storage, const PlanePair& plane) {
  for (uint32_t y = 0; y < plane.rows; ++y) {
    uint8_t* to = plane.stored + y * plane.storedStride;
    const uint8_t* from = plane.samples + static_cast<ptrdiff_t>(y) * plane.stride;
    if (storage.shift == 0) {
      memcpy(to, from, plane.columns);
      continue;
    }
    for (uint32_t x = 0; x < plane.columns; ++x, from += plane.step, to += storage.bytes) {
      uint16_t sample;
      memcpy(&sample, from, sizeof(sample));
      sample = static_cast<uint16_t>(sample >> storage.shift);
      to[0] = static_cast<uint8_t>(sample);
      to[1] = static_cast<uint8_t>(sample >> 8);
    }
  }
}

}  // namespace

HRESULT newFrame(int32_t layout, uint32_t width, uint32_t height, ImagePtr& frame) {
  if (!isSize(width, height)) return kInvalidArgument;
  return newImage(layout, width, height, frame);
}

ClipName splitClipName(WStringView name) {
  WStringView rest = name;
  const auto cutLast = [&rest](WStringView& part) {
    const size_t colon = rest.rfind(':');
    if (colon == WStringView::npos) return false;
    part = rest.substr(colon + 1);
    rest = rest.substr(0, colon);
    return true;
  };
  RawForm raw;
  WStringView last, size;
  if (!cutLast(last)) return {WString(name), {}};
  raw.layout = layoutOfName(last);
  if (raw.layout == 0) {
    if (!readRate(last, raw.rate, raw.scale) || !cutLast(last)) return {WString(name), {}};
    raw.layout = layoutOfName(last);
  }
  if (raw.layout == 0 || !cutLast(size) || !readSize(size, raw.width, raw.height)) return {WString(name), {}};
  return {WString(rest), raw};
}

// ---- Reading

HRESULT ClipFile::open(const WString& path) {
  const HRESULT status = file_.open(path);
  const int64_t size = FAILED(status) ? 0 : file_.size();
  size_ = size > 0 ? static_cast<uint64_t>(size) : 0;
  return status;
}

HRESULT ClipFile::read(uint64_t position, void* to, size_t bytes) {
  if (position != position_ && FAILED(file_.seek(static_cast<int64_t>(position)))) return kReadFailed;
  auto* at = static_cast<char*>(to);
  for (size_t left = bytes; left > 0;) {
    const int64_t got = file_.read(at, left);
    if (got <= 0) return kReadFailed;
    at += got;
    left -= static_cast<size_t>(got);
  }
  position_ = position + bytes;
  return kOk;
}

// A line without its end; kBadFormat when none ends within the limit.
HRESULT ClipReader::readLine(uint64_t position, size_t limit, std::string& line) const {
  const uint64_t left = position < source_->size() ? source_->size() - position : 0;
  line.resize(static_cast<size_t>(std::min<uint64_t>(left, limit)));
  const HRESULT status = source_->read(position, line.data(), line.size());
  if (FAILED(status)) return status;
  const size_t end = line.find('\n');
  if (end == line.npos) return kBadFormat;
  line.resize(end);
  return kOk;
}

HRESULT ClipReader::readParameter(WStringView parameter) {
  const WStringView value = parameter.substr(1);
  int64_t number = 0;
  switch (parameter[0]) {
    case 'W':
    case 'H':
      if (!parseInteger(value, number) || number < 1 || number > kMaxSide) return kBadFormat;
      (parameter[0] == 'W' ? format_.width : format_.height) = static_cast<uint32_t>(number);
      return kOk;
    case 'F':
      return readRate(value, format_.rate, format_.scale) ? kOk : kBadFormat;
    case 'I':
      format_.scan = value.size() == 1 ? static_cast<char>(value[0]) : '?';
      return kOk;
    case 'A': {
      uint32_t width = 0, height = 1;
      if (!readRate(value, width, height)) return kBadFormat;
      format_.aspect = std::to_string(width) + ":" + std::to_string(width == 0 ? 0 : height);
      return kOk;
    }
    case 'C':
      storage_ = nullptr;
      for (const ClipStorage& storage : kStorages) {
        if (sameName(value, WString(storage.name, storage.name + strlen(storage.name)))) storage_ = &storage;
      }
      return storage_ ? kOk : kUnsupported;
    default:
      return kOk;  // remarks
  }
}

HRESULT ClipReader::readHeader() {
  std::string line;
  HRESULT status = readLine(0, kHeaderLimit, line);
  if (FAILED(status)) return status;
  if (!line.starts_with(kMagic)) return kBadFormat;
  first_ = line.size() + 1;
  storage_ = &kStorages[0];  // what a header without a colour space means
  const WString wide(line.begin(), line.end());
  for (WStringView rest = WStringView(wide).substr(strlen(kMagic)); !rest.empty();) {
    rest.remove_prefix(1);
    const WStringView parameter = rest.substr(0, rest.find(' '));
    if (!parameter.empty()) status = readParameter(parameter);
    if (FAILED(status)) return status;
    rest.remove_prefix(parameter.size());
  }
  format_.layout = storage_->layout;
  format_.stored = TEXT("Y4M, ") + WString(storage_->name, storage_->name + strlen(storage_->name));
  return kOk;
}

HRESULT ClipReader::open(ClipSource& source, const std::optional<RawForm>& raw) {
  source_ = &source;
  storage_ = nullptr;
  format_ = {};
  first_ = 0;
  if (raw) {
    format_ = {raw->layout, raw->width, raw->height, raw->rate,
               raw->scale,  '?',        "0:0",       WString(TEXT("raw, ")) + layoutName(raw->layout)};
  } else if (const HRESULT status = readHeader(); FAILED(status)) {
    return status;
  }
  if (!isSize(format_.width, format_.height)) return kBadFormat;
  const BITMAPINFOHEADER header = frameHeader(format_.layout, format_.width, format_.height);
  const int32_t bytes = QvYUVImageBytesAndOffsets(&header, nullptr);
  if (bytes <= 0) return kBadFormat;
  frameBytes_ =
      storage_ ? storedBytes(*storage_, format_.width, format_.height) : static_cast<uint64_t>(bytes);
  position_ = first_;
  return kOk;
}

// Where the next frame's samples begin.
HRESULT ClipReader::findFrame(uint64_t& samples) const {
  const uint64_t size = source_->size();
  if (position_ >= size) return kNothing;
  samples = position_;
  if (storage_) {
    std::string line;
    const HRESULT status = readLine(position_, kFrameLineLimit, line);
    if (FAILED(status)) return status;
    if (line != "FRAME" && !line.starts_with("FRAME ")) return kBadFormat;
    samples += line.size() + 1;
  }
  return size - samples >= frameBytes_ ? kOk : kBadFormat;
}

HRESULT ClipReader::next(ImagePtr& frame) {
  uint64_t samples = 0;
  HRESULT status = findFrame(samples);
  if (status != kOk) return status;
  // The file holds as many bytes: what is allocated from here on is worth it.
  if (!frame) status = newFrame(format_.layout, format_.width, format_.height, frame);
  if (FAILED(status)) return status;
  if (!storage_) {
    status = source_->read(samples, frameSamples(frame), static_cast<size_t>(frameBytes_));
  } else {
    stored_.resize(static_cast<size_t>(frameBytes_));
    status = source_->read(samples, stored_.data(), stored_.size());
    if (FAILED(status)) return status;
    if (storage_->chromaAcross == 0) memset(frameSamples(frame), 0x80, frame->bmiHeader.biSizeImage);
    for (const PlanePair& plane : planePairs(*storage_, stored_.data(), frame)) unpack(*storage_, plane);
  }
  if (!FAILED(status)) position_ = samples + frameBytes_;
  return status;
}

HRESULT ClipReader::skip() {
  uint64_t samples = 0;
  const HRESULT status = findFrame(samples);
  if (status == kOk) position_ = samples + frameBytes_;
  return status;
}

HRESULT ClipReader::count(uint64_t& frames, uint64_t& rest) {
  const uint64_t here = position_;
  frames = 0;
  HRESULT status = kOk;
  if (!storage_) {
    frames = (source_->size() - position_) / frameBytes_;
    position_ += frames * frameBytes_;
  } else {
    while ((status = skip()) == kOk) ++frames;
  }
  rest = source_->size() - position_;
  position_ = here;
  return status == kReadFailed ? status : kOk;
}

// ---- Writing

HRESULT ClipWriter::open(const WString& path, const ClipFormat& format) {
  const bool y4m = path.size() > 4 && sameName(WStringView(path).substr(path.size() - 4), TEXT(".y4m"));
  storage_ = y4m ? storageOf(format.layout) : nullptr;
  if (y4m && !storage_) return kUnsupported;
  const HRESULT status = file_.open(path);
  if (FAILED(status) || !y4m) return status;
  const std::string rate =
      format.rate == 0 ? "0:0" : std::to_string(format.rate) + ":" + std::to_string(format.scale);
  stored_.resize(static_cast<size_t>(storedBytes(*storage_, format.width, format.height)));
  return file_.write(std::string(kMagic) + " W" + std::to_string(format.width) + " H" +
                     std::to_string(format.height) + " F" + rate + " I" + format.scan + " A" + format.aspect +
                     " C" + storage_->name + "\n");
}

HRESULT ClipWriter::write(const ImagePtr& frame) {
  const auto view = [](const uint8_t* bytes, size_t size) {
    return std::string_view(reinterpret_cast<const char*>(bytes), size);
  };
  if (!storage_) {
    const int32_t bytes = QvYUVImageBytesAndOffsets(&frame->bmiHeader, nullptr);
    return file_.write(view(frameSamples(frame), static_cast<size_t>(bytes)));
  }
  // A last column or row that has no chroma in the frame has grey in the file.
  for (size_t i = 0; i < stored_.size(); ++i) {
    constexpr uint8_t kGrey[] = {0x80, 0x80}, kDeepGrey[] = {0x00, 0x02};
    stored_[i] = (storage_->shift == 0 ? kGrey : kDeepGrey)[i % 2];
  }
  for (const PlanePair& plane : planePairs(*storage_, stored_.data(), frame)) pack(*storage_, plane);
  const HRESULT status = file_.write("FRAME\n");
  return FAILED(status) ? status : file_.write(view(stored_.data(), stored_.size()));
}

}  // namespace qv::workbench
