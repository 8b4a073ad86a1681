#include "qv/app/workbench/wav.h"

#include <algorithm>
#include <cstring>

#include "qv/app/workbench/bytes.h"
#include "qv/frame/status.h"

namespace qv::workbench {
namespace {

constexpr uint16_t kIntegerTag = 1;
constexpr uint16_t kFloatTag = 3;
constexpr uint16_t kExtensibleTag = 0xfffe;
constexpr size_t kFormatBytes = 16;
constexpr size_t kExtensibleBytes = 40;
constexpr size_t kSizesBytes = 28;
constexpr uint32_t kUnknownSize = 0xffffffffu;
constexpr int kMaxChunks = 4096;  // before the samples; more is no sound file

// The tag of an extensible header is the head of a GUID with this tail.
constexpr uint8_t kGuidTail[] = {0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xaa, 0, 0x38, 0x9b, 0x71};

bool isId(const char* at, const char* id) {
  return memcmp(at, id, 4) == 0;
}

struct KindRow {
  uint16_t tag;
  uint32_t bytes;
  SampleKind kind;
};
constexpr KindRow kKinds[] = {
    {kIntegerTag, 1, SampleKind::kUnsigned8}, {kIntegerTag, 2, SampleKind::kSigned16},
    {kIntegerTag, 3, SampleKind::kSigned24},  {kIntegerTag, 4, SampleKind::kSigned32},
    {kFloatTag, 4, SampleKind::kFloat32},     {kFloatTag, 8, SampleKind::kFloat64},
};

// Integers fill their container from the top, so the full scale follows from the container alone.
float sampleAt(SampleKind kind, const char* at) {
  switch (kind) {
    case SampleKind::kUnsigned8:
      return static_cast<float>(static_cast<uint8_t>(*at) - 128) / 128.0f;
    case SampleKind::kSigned16:
      return static_cast<float>(static_cast<int16_t>(little<uint16_t>(at))) / 32768.0f;
    case SampleKind::kSigned24: {
      const uint32_t bits = uint32_t{little<uint16_t>(at)} << 8 | uint32_t{static_cast<uint8_t>(at[2])} << 24;
      return static_cast<float>(static_cast<int32_t>(bits) / 256) / 8388608.0f;
    }
    case SampleKind::kSigned32:
      return static_cast<float>(static_cast<int32_t>(little<uint32_t>(at))) / 2147483648.0f;
    case SampleKind::kFloat32: {
      float value;
      memcpy(&value, at, sizeof value);
      return value;
    }
    case SampleKind::kFloat64: {
      double value;
      memcpy(&value, at, sizeof value);
      // Beyond a float's range the conversion would be undefined.
      if (value > 3.4e38) return __builtin_inff();
      if (value < -3.4e38) return -__builtin_inff();
      return static_cast<float>(value);
    }
  }
  return 0;
}

uint32_t containerBytes(SampleKind kind) {
  for (const KindRow& row : kKinds) {
    if (row.kind == kind) return row.bytes;
  }
  return 0;
}

}  // namespace

HRESULT WavReader::fill(void* bytes, size_t size, size_t* got) {
  *got = 0;
  while (*got < size) {
    const int64_t count = source_(static_cast<char*>(bytes) + *got, size - *got);
    if (count < 0) return static_cast<HRESULT>(count);
    if (count == 0) break;
    *got += static_cast<size_t>(count);
  }
  return kOk;
}

HRESULT WavReader::need(void* bytes, size_t size) {
  size_t got = 0;
  const HRESULT status = fill(bytes, size, &got);
  return FAILED(status) ? status : got == size ? kOk : kBadFormat;
}

HRESULT WavReader::skip(uint64_t size) {
  char block[4096];
  while (size > 0) {
    const size_t part = static_cast<size_t>(std::min<uint64_t>(size, sizeof block));
    if (const HRESULT status = need(block, part); FAILED(status)) return status;
    size -= part;
  }
  return kOk;
}

HRESULT WavReader::readSizes(uint64_t size) {
  char sizes[kSizesBytes];
  if (size < kSizesBytes) return kBadFormat;
  if (const HRESULT status = need(sizes, kSizesBytes); FAILED(status)) return status;
  longDataSize_ = little<uint64_t>(sizes + 8);
  return skip(size - kSizesBytes + (size & 1));
}

HRESULT WavReader::readFormat(uint64_t size) {
  char header[kExtensibleBytes] = {};
  if (size < kFormatBytes) return kBadFormat;
  const size_t known = static_cast<size_t>(std::min<uint64_t>(size, kExtensibleBytes));
  if (const HRESULT status = need(header, known); FAILED(status)) return status;
  uint16_t tag = little<uint16_t>(header);
  format_.channels = little<uint16_t>(header + 2);
  format_.sampleRate = little<uint32_t>(header + 4);
  format_.frameBytes = little<uint16_t>(header + 12);
  format_.bits = little<uint16_t>(header + 14);
  if (tag == kExtensibleTag) {
    if (known < kExtensibleBytes) return kBadFormat;
    if (memcmp(header + 26, kGuidTail, sizeof kGuidTail) != 0) return kUnsupported;
    tag = little<uint16_t>(header + 24);
    const uint16_t valid = little<uint16_t>(header + 18);
    if (valid > 0 && valid <= format_.bits) format_.bits = valid;
  }
  if (tag != kIntegerTag && tag != kFloatTag) return kUnsupported;
  if (format_.channels == 0 || format_.sampleRate == 0 || format_.bits == 0) return kBadFormat;
  if (format_.frameBytes == 0 || format_.frameBytes % format_.channels != 0) return kBadFormat;
  const uint32_t bytes = format_.frameBytes / format_.channels;
  if (format_.bits > 8 * bytes) return kBadFormat;
  const KindRow* row = std::find_if(std::begin(kKinds), std::end(kKinds),
                                    [&](const KindRow& r) { return r.tag == tag && r.bytes == bytes; });
  if (row == std::end(kKinds)) return kUnsupported;
  format_.kind = row->kind;
  return skip(size - known + (size & 1));
}

HRESULT WavReader::open() {
  char head[12];
  if (const HRESULT status = need(head, sizeof head); FAILED(status)) return status;
  longSizes_ = isId(head, "RF64");
  if ((!longSizes_ && !isId(head, "RIFF")) || !isId(head + 8, "WAVE")) return kBadFormat;
  for (int i = 0; i < kMaxChunks; ++i) {
    char chunk[8];
    HRESULT status = need(chunk, sizeof chunk);
    if (FAILED(status)) return status;
    const uint32_t size = little<uint32_t>(chunk + 4);
    if (isId(chunk, "data")) {
      if (format_.channels == 0) return kBadFormat;  // samples before their format can't be told
      // A writer to a pipe leaves the largest size; one that crashed, none.
      const bool isLong = longSizes_ && size == kUnknownSize;
      endless_ = !isLong && (size == kUnknownSize || size == 0);
      left_ = isLong ? longDataSize_ : size;
      return kOk;
    }
    if (isId(chunk, "fmt ")) {
      status = readFormat(size);
    } else if (longSizes_ && isId(chunk, "ds64")) {
      status = readSizes(size);
    } else {
      status = skip(uint64_t{size} + (size & 1));
    }
    if (FAILED(status)) return status;
  }
  return kBadFormat;
}

HRESULT WavReader::read(float* frames, size_t capacity, size_t* got) {
  *got = 0;
  const uint64_t whole = endless_ ? capacity : std::min<uint64_t>(capacity, left_ / format_.frameBytes);
  block_.resize(static_cast<size_t>(whole) * format_.frameBytes);
  size_t bytes = 0;
  const HRESULT status = fill(block_.data(), block_.size(), &bytes);
  if (FAILED(status)) return status;
  *got = bytes / format_.frameBytes;
  if (!endless_) left_ = *got < whole ? 0 : left_ - bytes;
  const size_t step = containerBytes(format_.kind);
  const size_t samples = *got * format_.channels;
  for (size_t i = 0; i < samples; ++i) frames[i] = sampleAt(format_.kind, block_.data() + i * step);
  return kOk;
}

WString sampleKindName(const WavFormat& format) {
  const bool isFloat = format.kind == SampleKind::kFloat32 || format.kind == SampleKind::kFloat64;
  WString name;
  for (char c : std::to_string(format.bits)) name += static_cast<WCHAR>(c);
  return name + (isFloat ? TEXT("-bit float") : TEXT("-bit integer"));
}

std::string wavOfFloats(const float* frames, size_t count, uint32_t channels, uint32_t sampleRate) {
  const uint32_t frameBytes = channels * static_cast<uint32_t>(sizeof(float));
  const uint32_t dataBytes = static_cast<uint32_t>(count * frameBytes);
  std::string bytes;
  bytes.reserve(size_t{58} + dataBytes);
  bytes += "RIFF";
  appendLittle<uint32_t>(bytes, 50 + dataBytes);
  bytes += "WAVEfmt ";
  appendLittle<uint32_t>(bytes, 18);
  appendLittle<uint16_t>(bytes, kFloatTag);
  appendLittle<uint16_t>(bytes, static_cast<uint16_t>(channels));
  appendLittle<uint32_t>(bytes, sampleRate);
  appendLittle<uint32_t>(bytes, sampleRate * frameBytes);
  appendLittle<uint16_t>(bytes, static_cast<uint16_t>(frameBytes));
  appendLittle<uint16_t>(bytes, 32);
  appendLittle<uint16_t>(bytes, 0);
  // Formats other than integers state their number of frames as well.
  bytes += "fact";
  appendLittle<uint32_t>(bytes, 4);
  appendLittle<uint32_t>(bytes, static_cast<uint32_t>(count));
  bytes += "data";
  appendLittle<uint32_t>(bytes, dataBytes);
  bytes.append(reinterpret_cast<const char*>(frames), dataBytes);
  return bytes;
}

}  // namespace qv::workbench
