// The scalers' row kernels, from one text for every form. The including source names the form in QV_FORM; the
// vector forms put loops of their own beside these.
#pragma once

#include <string.h>

#include "qv/video/detail/pixel_io.h"
#include "qv/video/detail/scale_forms.h"

namespace qv::QV_FORM {

QV_INLINE uint32_t fractionOf(const LinearColumn& column) {
  return column.weights >> 16;
}

// Weights of 24 bits, each cut by itself; they may add up to a little less than one.
QV_INLINE void bilinearPixel8(uint8_t* out, const uint8_t* row0, const uint8_t* row1, int64_t left,
                              int64_t right, uint32_t fx, uint32_t fy) {
  const uint32_t w00 = ((16384 - fy) * (16384 - fx)) >> 4, w01 = ((16384 - fy) * fx) >> 4;
  const uint32_t w10 = (fy * (16384 - fx)) >> 4, w11 = (fy * fx) >> 4;
  for (int i = 0; i < 4; ++i) {
    const uint32_t sum =
        row0[left + i] * w00 + row0[right + i] * w01 + row1[left + i] * w10 + row1[right + i] * w11;
    out[i] = static_cast<uint8_t>((sum + 0x800000) >> 24);
  }
}
static void bilinearSpan8(uint8_t* out, const uint8_t* const rows[2], const LinearColumns& columns,
                          uint32_t fy, int64_t from, int64_t to) {
  for (int64_t x = from; x < to; ++x) {
    const int64_t left = int64_t{columns.column[x].pixel} * 4, right = x < columns.inner ? left + 4 : left;
    bilinearPixel8(out + 4 * x, rows[0], rows[1], left, right, fractionOf(columns.column[x]), fy);
  }
}
static void bilinear8(uint8_t* out, const uint8_t* const rows[2], const float* const*,
                      const LinearColumns& columns, uint32_t fy) {
  bilinearSpan8(out, rows, columns, fy, 0, columns.count);
}

constexpr float kFromFraction28 = 1.0f / 268435456.0f;

static void bilinearFloat(uint8_t* out, const uint8_t* const rows[2], const LinearColumns& columns,
                          uint32_t fy) {
  for (int64_t x = 0; x < columns.count; ++x) {
    const uint32_t fx = fractionOf(columns.column[x]);
    const int64_t left = int64_t{columns.column[x].pixel} * 16, right = x < columns.inner ? left + 16 : left;
    const auto weight = [](uint32_t a, uint32_t b) {
      return static_cast<float>(static_cast<int32_t>(a * b)) * kFromFraction28;
    };
    const float w00 = weight(16384 - fy, 16384 - fx), w01 = weight(16384 - fy, fx);
    const float w10 = weight(fy, 16384 - fx), w11 = weight(fy, fx);
    for (int64_t i = 0; i < 16; i += 4) {
      float sum = loadWord<float>(rows[0] + left + i) * w00;
      sum += loadWord<float>(rows[0] + right + i) * w01;
      sum += loadWord<float>(rows[1] + left + i) * w10;
      sum += loadWord<float>(rows[1] + right + i) * w11;
      storeWord(out + 16 * x + i, sum);
    }
  }
}

QV_INLINE int32_t rowSum8(const WeightedRows<int16_t>& rows, int64_t channel) {
  int32_t sum = 0;
  for (int64_t k = 0; k < rows.count; ++k) sum += rows.row[k][channel] * rows.weight[k];
  return sum;
}
static void sumSpan8(float* out, const WeightedRows<int16_t>& rows, int64_t from, int64_t to) {
  for (int64_t i = from; i < to; ++i) out[i] = static_cast<float>(rowSum8(rows, i));
}
static void addSpan8(double* out, const WeightedRows<int16_t>& rows, int64_t from, int64_t to) {
  for (int64_t i = from; i < to; ++i) out[i] += static_cast<double>(rowSum8(rows, i));
}
static void sumRows8(float* out, const WeightedRows<int16_t>& rows, int64_t channels) {
  sumSpan8(out, rows, 0, channels);
}
static void addRows8(double* out, const WeightedRows<int16_t>& rows, int64_t channels) {
  addSpan8(out, rows, 0, channels);
}
// start: what is there already.
QV_INLINE float rowSumFloat(float start, const WeightedRows<float>& rows, int64_t from, int64_t channel) {
  for (int64_t k = from; k < rows.count; ++k)
    start += loadWord<float>(rows.row[k] + 4 * channel) * rows.weight[k];
  return start;
}
static void sumSpanFloat(float* out, const WeightedRows<float>& rows, int64_t from, int64_t to) {
  for (int64_t i = from; i < to; ++i) {
    out[i] = rowSumFloat(loadWord<float>(rows.row[0] + 4 * i) * rows.weight[0], rows, 1, i);
  }
}
static void addSpanFloat(float* out, const WeightedRows<float>& rows, int64_t from, int64_t to) {
  for (int64_t i = from; i < to; ++i) out[i] = rowSumFloat(out[i], rows, 0, i);
}
static void sumRowsFloat(float* out, const WeightedRows<float>& rows, int64_t channels) {
  sumSpanFloat(out, rows, 0, channels);
}
static void addRowsFloat(float* out, const WeightedRows<float>& rows, int64_t channels) {
  addSpanFloat(out, rows, 0, channels);
}

template <typename Number>
Number boxReciprocal(const BoxColumn& column) {
  if constexpr (sizeof(Number) == 4) return column.reciprocal;
  return 16384.0 / static_cast<Number>(column.length);
}
template <typename Number>
void boxAcross(uint8_t* out, const Number* in, const BoxColumn* columns, int64_t count) {
  for (int64_t x = 0; x < count; ++x) {
    const BoxColumn& c = columns[x];
    const Number* p = in + int64_t{c.first} * 4;
    Number sum[4];
    for (int i = 0; i < 4; ++i) sum[i] = p[i] * static_cast<Number>(c.firstWeight);
    if (c.pixels > 1) {
      p += 4;
      for (int32_t k = c.pixels - 2; k > 0; --k, p += 4) {
        for (int i = 0; i < 4; ++i) sum[i] += p[i];
      }
      for (int i = 0; i < 4; ++i) sum[i] += p[i] * static_cast<Number>(c.lastWeight);
    }
    const Number reciprocal = boxReciprocal<Number>(c);
    for (int i = 0; i < 4; ++i) storeWord(out + 16 * x + 4 * i, static_cast<float>(sum[i] * reciprocal));
  }
}
template <typename Number>
void linearAcross(uint8_t* out, const Number* in, const LinearColumns& columns) {
  for (int64_t x = 0; x < columns.count; ++x) {
    const Number w1 = static_cast<Number>(fractionOf(columns.column[x])) / 16384, w0 = 1 - w1;
    const Number* left = in + int64_t{columns.column[x].pixel} * 4;
    const Number* right = x < columns.inner ? left + 4 : left;
    for (int i = 0; i < 4; ++i) {
      storeWord(out + 16 * x + 4 * i, static_cast<float>(left[i] * w0 + right[i] * w1));
    }
  }
}
template <typename Number>
void cubicAcross(uint8_t* out, const Number* in, const CubicColumn* columns, int64_t count) {
  const CubicTables& tables = cubicTables();
  for (int64_t x = 0; x < count; ++x) {
    const Number* p = in + int64_t{columns[x].tap} * 4;
    const float* w = tables.real[columns[x].phase];
    for (int i = 0; i < 4; ++i) {
      Number sum = p[i] * static_cast<Number>(w[0]);
      sum += p[i + 12] * static_cast<Number>(w[3]);
      sum += p[i + 8] * static_cast<Number>(w[2]);
      sum += p[i + 4] * static_cast<Number>(w[1]);
      storeWord(out + 16 * x + 4 * i, static_cast<float>(sum));
    }
  }
}

static void toBytes(uint8_t* out, const float* in, int64_t channels, float scale) {
  for (int64_t i = 0; i < channels; ++i) {
    const float v = in[i] * scale + 0.5f;
    out[i] = static_cast<uint8_t>(static_cast<int32_t>(v > 0.0f ? v < 255.0f ? v : 255.0f : 0.0f));
  }
}

static void halveSpan8(uint8_t* out, const uint8_t* const rows[2], int64_t from, int64_t to) {
  for (int64_t x = from; x < to; ++x) {
    const uint8_t *above = rows[0] + 8 * x, *below = rows[1] + 8 * x;
    for (int i = 0; i < 4; ++i) {
      out[4 * x + i] = static_cast<uint8_t>((above[i] + above[i + 4] + below[i] + below[i + 4] + 2) >> 2);
    }
  }
}
static void halve8(uint8_t* out, const uint8_t* const rows[2], int64_t count) {
  halveSpan8(out, rows, 0, count);
}

static void cubicSpan8(int16_t* out, const uint8_t* const rows[4], const int16_t weights[4], int64_t from,
                       int64_t to) {
  for (int64_t i = from; i < to; ++i) {
    int32_t sum = 8192;
    for (int k = 0; k < 4; ++k) sum += rows[k][i] * weights[k];
    out[i] = static_cast<int16_t>(sum / 16384);
  }
}
static void cubicRows8(int16_t* out, const uint8_t* const rows[4], const int16_t weights[4],
                       int64_t channels) {
  cubicSpan8(out, rows, weights, 0, channels);
}
static void cubicAcross8(uint8_t* out, const int16_t* in, const CubicColumn* columns, int64_t count) {
  const CubicTables& tables = cubicTables();
  for (int64_t x = 0; x < count; ++x) {
    const int16_t* p = in + int64_t{columns[x].tap} * 4;
    const int16_t* w = tables.whole[columns[x].phase];
    for (int i = 0; i < 4; ++i) {
      const int32_t v = (p[i] * w[0] + p[i + 12] * w[3] + p[i + 8] * w[2] + p[i + 4] * w[1] + 8192) / 16384;
      out[4 * x + i] = static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v);
    }
  }
}

constexpr ScaleForms plainScale() {
  return {nullptr,
          bilinear8,
          bilinearFloat,
          sumRows8,
          addRows8,
          sumRowsFloat,
          addRowsFloat,
          boxAcross<float>,
          linearAcross<float>,
          cubicAcross<float>,
          boxAcross<double>,
          linearAcross<double>,
          cubicAcross<double>,
          toBytes,
          halve8,
          cubicRows8,
          cubicAcross8,
          true};
}

}  // namespace qv::QV_FORM
