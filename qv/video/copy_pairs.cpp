// Copies of one size: the pairs of types that have a loop of their own, and the way through the pivot.
#include <string.h>

#include "qv/frame/status.h"
#include "qv/video/detail/copy_paths.h"
#include "qv/video/detail/gamma.h"
#include "qv/video/detail/parallel.h"
#include "qv/video/detail/rows.h"

namespace qv {
namespace {

constexpr int64_t kChunk = 512;  // pivot pixels, so that a chunk stays in the first cache

// Ordered dither for truncation to 8 bits, in units of full scale; from the top-left corner of the rectangle.
constexpr float kDither[4][4] = {{0.0f, 0.0019608f, 0.0004902f, 0.002451f},
                                 {0.0029412f, 0.0009804f, 0.0034314f, 0.0014706f},
                                 {0.0007353f, 0.0026961f, 0.0002451f, 0.0022059f},
                                 {0.0036765f, 0.0017157f, 0.0031863f, 0.0012255f}};

bool isBytes32(int32_t type) {
  return type == QVPT_RGB32 || type == QVPT_RGBA32;
}

// Types of the same channels in the same places; what differs is only the header.
bool sameBits(int32_t a, int32_t b) {
  uint8_t widthsA[4], widthsB[4];
  const uint32_t bits = QvGetPixelBitsPerChannel(a, widthsA);
  return bits > 8 && bits == QvGetPixelBitsPerChannel(b, widthsB) && memcmp(widthsA, widthsB, 4) == 0;
}

// A curve and its table for one copy.
class Curve {
 public:
  explicit Curve(const CopyJob& job) { QvGammaCurve_Init(&curve_, job.sourceGamma, job.targetGamma); }
  ~Curve() { QvGammaCurve_Release(&curve_); }
  Curve(const Curve&) = delete;
  Curve& operator=(const Curve&) = delete;
  bool active() const { return curve_.active != 0; }
  HRESULT build(uint32_t entries) { return QvGammaCurve_BuildTable(&curve_, entries); }
  const QvGammaCurve& get() const { return curve_; }

 private:
  QvGammaCurve curve_;
};

struct RowRange {
  const CopyJob& job;
  uint8_t* target(int64_t y) const {
    return job.target.row(job.targetRect.top + y) + job.targetRect.left * int64_t{job.target.bits} / 8;
  }
  const uint8_t* source(int64_t y) const {
    return job.source.row(job.sourceRect.top + y) + job.sourceRect.left * int64_t{job.source.bits} / 8;
  }
};

// Calls loop(target row, source row, y) for each row, in the order in which the target's rows lie in memory,
// so that the processor sees one stream; both types take whole bytes.
template <typename Loop>
HRESULT eachRow(const CopyJob& job, const Loop& loop) {
  const RowRange rows = {job};
  const int64_t rowBytes = job.width() * (job.target.bits + job.source.bits) / 8;
  const bool upwards = job.target.step < 0;
  parallelRows(job.height(), rowBytes, [&](int64_t first, int64_t end) {
    for (int64_t i = first; i < end; ++i) {
      const int64_t y = upwards ? first + end - 1 - i : i;
      loop(rows.target(y), rows.source(y), y);
    }
  });
  return kOk;
}

HRESULT copyBytes(const CopyJob& job) {
  const int64_t bytes = job.width() * job.target.bits / 8;
  const int64_t step = job.target.step;
  if (step != job.source.step || std::abs(step) != bytes) {
    return eachRow(
        job, [=](uint8_t* out, const uint8_t* in, int64_t) { memmove(out, in, static_cast<size_t>(bytes)); });
  }
  // One block in both images: each thread moves one piece.
  const RowRange rows = {job};
  parallelRows(job.height(), 2 * bytes, [&](int64_t first, int64_t end) {
    const int64_t lowest = step < 0 ? end - 1 : first;
    memmove(rows.target(lowest), rows.source(lowest), static_cast<size_t>((end - first) * bytes));
  });
  return kOk;
}

// Colours through the table, alpha as it stands.
void bendRow(uint8_t* out, const uint8_t* in, int64_t count, const QvGammaCurve& curve) {
  for (int64_t x = 0; x < count; ++x, in += 16, out += 16) {
    float pixel[4];
    memcpy(pixel, in, sizeof pixel);
    for (int i = 0; i < 3; ++i) pixel[i] = bendByTable(curve, pixel[i]);
    memcpy(out, pixel, sizeof pixel);
  }
}

HRESULT copyFloats(const CopyJob& job) {
  Curve curve(job);
  if (!curve.active()) return copyBytes(job);
  const HRESULT built = curve.build(2048);
  if (FAILED(built)) return built;
  return eachRow(
      job, [&](uint8_t* out, const uint8_t* in, int64_t) { bendRow(out, in, job.width(), curve.get()); });
}

using ByteLoop = void (*)(uint8_t* out, const uint8_t* in, int64_t count, const float* dither);

HRESULT copyFloatToBytes(const CopyJob& job) {
  const ByteLoop loop = job.target.bits == 24 ? rowForms().floatTo24 : rowForms().floatTo32;
  Curve curve(job);
  if (!curve.active()) {
    return eachRow(job, [&](uint8_t* out, const uint8_t* in, int64_t y) {
      loop(out, in, job.width(), job.interpolates() ? kDither[y & 3] : nullptr);
    });
  }
  const HRESULT built = curve.build(job.interpolates() ? 256 : 4096);
  if (FAILED(built)) return built;
  return eachRow(job, [&](uint8_t* out, const uint8_t* in, int64_t) {
    uint8_t bent[16 * kChunk];
    for (int64_t x = 0; x < job.width(); x += kChunk) {
      const int64_t count = std::min(kChunk, job.width() - x);
      bendRow(bent, in + 16 * x, count, curve.get());
      loop(out + x * job.target.bits / 8, bent, count, nullptr);
    }
  });
}

// Below interpolating quality the curve's input has the steps of 1/16384.
float coarse(float v) {
  return v > 0.0f && v < 1.0f ? static_cast<float>(static_cast<int32_t>(v * 16384.0f)) / 16384.0f : v;
}

HRESULT copyFloatToRgb10(const CopyJob& job) {
  Curve curve(job);
  const bool fine = job.interpolates();
  if (curve.active()) {
    const HRESULT built = curve.build(fine ? 1024 : 256);
    if (FAILED(built)) return built;
  }
  const RowForms& forms = rowForms();
  const auto read = forms.read[1][QVPT_RGBAF128 - QVPT_PAL1];
  const auto write = forms.write[QVPT_RGB10A2 - QVPT_PAL1];
  return eachRow(job, [&](uint8_t* out, const uint8_t* in, int64_t) {
    QVPIXEL64 pivot[kChunk];
    float bent[4 * kChunk];
    for (int64_t x = 0; x < job.width(); x += kChunk) {
      const int64_t count = std::min(kChunk, job.width() - x);
      const uint8_t* from = in + 16 * x;
      if (curve.active()) {
        memcpy(bent, from, static_cast<size_t>(16 * count));
        for (int64_t i = 0; !fine && i < 4 * count; ++i) bent[i] = i % 4 == 3 ? bent[i] : coarse(bent[i]);
        uint8_t* row = reinterpret_cast<uint8_t*>(bent);
        bendRow(row, row, count, curve.get());
        from = row;
      }
      read(pivot, from, 0, count, nullptr, nullptr);
      write(out + 4 * x, 0, pivot, count, nullptr, nullptr);
    }
  });
}

// What a processor's last cache can be trusted to keep until somebody reads it.
constexpr int64_t kCachedBytes = 4 << 20;

HRESULT copyBytesToFloat(const CopyJob& job) {
  const RowForms& forms = rowForms();
  const bool wide = job.source.bits == 32;
  Curve curve(job);
  if (curve.active()) {
    const HRESULT built = curve.build(256);
    if (FAILED(built)) return built;
  }
  const bool past = job.width() * job.height() * 16 > kCachedBytes;
  const auto widen = past ? forms.bytesToFloatPast : forms.bytesToFloat;
  return eachRow(job, [&](uint8_t* out, const uint8_t* in, int64_t) {
    const int64_t count = job.width();
    if (!curve.active()) {
      if (wide) return widen(out, in, 4 * count);
      return forms.from24ToFloat(out, in, count);
    }
    const float* table = curve.get().table;
    const int64_t pixelBytes = wide ? 4 : 3;
    for (int64_t x = 0; x < count; ++x, out += 16, in += pixelBytes) {
      const float alpha = wide ? static_cast<float>(in[3]) / 255.0f : 1.0f;
      const float pixel[4] = {table[in[0]], table[in[1]], table[in[2]], alpha};
      memcpy(out, pixel, sizeof pixel);
    }
  });
}

HRESULT copy24To32(const CopyJob& job) {
  const auto loop = rowForms().from24To32;
  return eachRow(job, [&](uint8_t* out, const uint8_t* in, int64_t) { loop(out, in, job.width()); });
}
HRESULT copy32To24(const CopyJob& job) {
  const auto loop = rowForms().from32To24;
  return eachRow(job, [&](uint8_t* out, const uint8_t* in, int64_t) { loop(out, in, job.width()); });
}
HRESULT copyPaletteTo32(const CopyJob& job) {
  const auto loop = rowForms().fromPalette8;
  return eachRow(
      job, [&](uint8_t* out, const uint8_t* in, int64_t) { loop(out, in, job.width(), job.sourcePalette); });
}

HRESULT copyThroughPivot(const CopyJob& job) {
  QvXchgContext context;
  const HRESULT status = bindForward(job, QVXCHG_PIVOT16, &context);
  if (FAILED(status)) return status;
  const int64_t rowBytes = job.width() * (job.target.bits + job.source.bits) / 8;
  const bool upwards = job.target.step < 0;
  const auto copyRow = [&](int64_t y) {
    copySpan(job, context, job.target.row(job.targetRect.top + y), job.targetRect.left,
             job.source.row(job.sourceRect.top + y), job.sourceRect.left, job.width());
  };
  parallelRows(job.height(), rowBytes + 16 * job.width(), [&](int64_t first, int64_t end) {
    for (int64_t i = first; i < end; ++i) copyRow(upwards ? first + end - 1 - i : i);
  });
  return kOk;
}

// The first row that takes a pair counts.
struct Pair {
  bool (*takes)(int32_t source, int32_t target);
  HRESULT (*copy)(const CopyJob& job);
};
constexpr Pair kPairs[] = {
    {[](int32_t s, int32_t t) { return s == QVPT_RGBAF128 && t == QVPT_RGBAF128; }, copyFloats},
    {[](int32_t s, int32_t t) { return s == QVPT_RGBAF128 && t == QVPT_RGB10A2; }, copyFloatToRgb10},
    {[](int32_t s, int32_t t) { return s == QVPT_RGBAF128 && (t == QVPT_RGB24 || isBytes32(t)); },
     copyFloatToBytes},
    {[](int32_t s, int32_t t) { return t == QVPT_RGBAF128 && (s == QVPT_RGB24 || isBytes32(s)); },
     copyBytesToFloat},
    {[](int32_t s, int32_t t) { return s == QVPT_RGB24 && isBytes32(t); }, copy24To32},
    {sameBits, copyBytes},
    {[](int32_t s, int32_t t) { return isBytes32(s) && t == QVPT_RGB24; }, copy32To24},
    {[](int32_t s, int32_t t) { return s == QVPT_PAL8 && isBytes32(t); }, copyPaletteTo32},
    {[](int32_t, int32_t) { return true; }, copyThroughPivot},
};

}  // namespace

void copySpan(const CopyJob& job, const QvXchgContext& context, uint8_t* targetRow, int64_t targetX,
              const uint8_t* sourceRow, int64_t sourceX, int64_t count) {
  const RowForms& forms = rowForms();
  const bool exact = (context.flags & QVXCHG_EXACT) != 0;
  const auto read = forms.read[exact][job.source.type - QVPT_PAL1];
  const auto write = forms.write[job.target.type - QVPT_PAL1];
  const QvGammaCurve* readCurve = activeOrNull(context.readCurve);
  const QvGammaCurve* writeCurve = activeOrNull(context.writeCurve);
  QVPIXEL64 pivot[kChunk];
  for (int64_t done = 0; done < count; done += kChunk) {
    const int64_t now = std::min(kChunk, count - done);
    const int64_t from = (sourceX + done) * job.source.bits, to = (targetX + done) * job.target.bits;
    read(pivot, sourceRow + from / 8, static_cast<uint32_t>(from % 8), now, context.srcPalette, readCurve);
    write(targetRow + to / 8, static_cast<uint32_t>(to % 8), pivot, now, context.inverseTable, writeCurve);
  }
}

HRESULT copySameSize(const CopyJob& job) {
  for (const Pair& pair : kPairs) {
    if (pair.takes(job.source.type, job.target.type)) return pair.copy(job);
  }
  return kGeneralFailure;
}

}  // namespace qv
