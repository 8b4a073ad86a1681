// Any bytes are a sound file: reading must end, however the bytes arrive, and hold little memory.
#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "qv/app/workbench/wav.h"

using qv::workbench::SampleKind;
using qv::workbench::WavFormat;
using qv::workbench::WavReader;

namespace {

void require(bool condition) {
  if (!condition) abort();
}

struct Result {
  HRESULT status = 0;
  std::vector<float> samples;
};

void checkFormat(const WavFormat& format) {
  require(format.channels > 0 && format.sampleRate > 0);
  require(format.bits > 0 && format.bits <= 64);
  require(format.frameBytes >= format.channels && format.frameBytes <= 8 * format.channels);
}

Result readAll(std::string_view bytes, size_t piece, size_t samplesAtOnce) {
  WavReader wav([&](char* buffer, size_t capacity) {
    const size_t size = std::min({piece, capacity, bytes.size()});
    std::copy_n(bytes.data(), size, buffer);
    bytes.remove_prefix(size);
    return static_cast<int64_t>(size);
  });
  Result result;
  result.status = wav.open();
  if (FAILED(result.status)) return result;
  checkFormat(wav.format());
  const size_t channels = wav.format().channels, capacity = std::max<size_t>(1, samplesAtOnce / channels);
  std::vector<float> frames(capacity * channels);
  const bool isFloat = wav.format().kind == SampleKind::kFloat32 || wav.format().kind == SampleKind::kFloat64;
  for (size_t got = 1; got > 0;) {
    result.status = wav.read(frames.data(), capacity, &got);
    require(result.status == 0 && got <= capacity);
    for (size_t i = 0; i < got * channels; ++i) require(isFloat || (frames[i] >= -1 && frames[i] <= 1));
    result.samples.insert(result.samples.end(), frames.begin(),
                          frames.begin() + static_cast<ptrdiff_t>(got * channels));
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data) + 1, size - 1);
  const Result whole = readAll(bytes, bytes.size() + 1, 4096);
  const Result pieces = readAll(bytes, size_t{data[0]} + 1, size_t{data[0]} * 7 + 1);
  require(whole.status == pieces.status && whole.samples.size() == pieces.samples.size());
  if (whole.samples.empty()) return 0;
  require(memcmp(whole.samples.data(), pieces.samples.data(), whole.samples.size() * sizeof(float)) == 0);
  return 0;
}
