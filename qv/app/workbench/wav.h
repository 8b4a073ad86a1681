// Sound files: RIFF/WAVE with samples of 8 to 32 bits or floats, any number of channels.
//
// A reader takes its bytes from a source in sequence, so files of any size, pipes and memory serve alike:
//
//   WavReader wav([&](char* buffer, size_t capacity) { return file.read(buffer, capacity); });
//   if (FAILED(wav.open())) return;
//   while (wav.read(frames, 4096, &got) == kOk && got > 0) use(frames, got);
//
// Also understood: the extensible format header, chunk padding, RF64 with its 64-bit sizes, and files whose
// writer didn't know the length (the data then goes on to the end). No size from the file is used for an
// allocation; only the block that one read needs is held.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qv/app/workbench/job_file.h"

namespace qv::workbench {

enum class SampleKind { kUnsigned8, kSigned16, kSigned24, kSigned32, kFloat32, kFloat64 };

struct WavFormat {
  SampleKind kind = SampleKind::kSigned16;
  uint32_t channels = 0;
  uint32_t sampleRate = 0;  // frames a second
  uint32_t bits = 0;        // those that count, of the container's
  uint32_t frameBytes = 0;
};

class WavReader {
 public:
  explicit WavReader(ReadBytes source) : source_(std::move(source)) {}

  // Reads up to the first sample. kBadFormat: not such a file, or a damaged one. kUnsupported: a sound file,
  // but compressed or of another sample size.
  HRESULT open();
  const WavFormat& format() const { return format_; }

  // Up to `capacity` frames as floats from -1 to 1, interleaved; 0 frames at the end. A file that stops early
  // ends with its last whole frame.
  HRESULT read(float* frames, size_t capacity, size_t* got);

 private:
  HRESULT fill(void* bytes, size_t size, size_t* got);
  HRESULT need(void* bytes, size_t size);
  HRESULT skip(uint64_t size);
  HRESULT readSizes(uint64_t size);
  HRESULT readFormat(uint64_t size);

  ReadBytes source_;
  WavFormat format_;
  bool longSizes_ = false;
  bool endless_ = false;
  uint64_t longDataSize_ = 0;
  uint64_t left_ = 0;  // bytes of samples
  std::vector<char> block_;
};

// The name that people use: "16-bit integer", "32-bit float".
WString sampleKindName(const WavFormat& format);

// A mono or multichannel file of 32-bit floats, as bytes. The whole has to stay below 4 GiB.
std::string wavOfFloats(const float* frames, size_t count, uint32_t channels, uint32_t sampleRate);

}  // namespace qv::workbench
