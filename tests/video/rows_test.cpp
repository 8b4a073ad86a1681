// The vector forms of the row loops against the plain ones: every width, alignment and end.
#include "qv/video/detail/rows.h"

#include <gtest/gtest.h>

#include "qv/frame/detail/cpu.h"
#include "tests/video/support/guarded.h"
#include "tests/video/support/slow_pixels.h"

namespace {

using test::Guarded;
using test::Random;

std::vector<const qv::RowForms*> vectorForms() {
  std::vector<const qv::RowForms*> forms = {&qv::kSse2Rows};
  if (qv::cpuHasAvx2()) forms.push_back(&qv::kAvx2Rows);
  return forms;
}

// Runs a loop in the plain form and in each vector form on the same input, with output and input ending at,
// and beginning behind, a forbidden page.
template <typename Run>
void compare(const char* name, int64_t outBytes, const std::vector<uint8_t>& input, const Run& run) {
  // One byte more, since a vector without any has no address.
  std::vector<uint8_t> in = input, expected(static_cast<size_t>(outBytes) + 1, 0x5a);
  in.resize(in.size() + 1);
  const size_t inBytes = input.size(), outSize = static_cast<size_t>(outBytes);
  run(qv::kScalarRows, expected.data(), in.data());
  for (const qv::RowForms* forms : vectorForms()) {
    for (const auto side : {Guarded::AtEnd, Guarded::AtStart}) {
      Guarded out(outSize, side), from(inBytes, side);
      memset(out.data(), 0x5a, out.size());
      std::copy(input.begin(), input.end(), from.data());
      run(*forms, out.data(), from.data());
      ASSERT_EQ(memcmp(expected.data(), out.data(), outSize), 0) << name << " " << outBytes;
      ASSERT_EQ(memcmp(in.data(), from.data(), inBytes), 0) << name;
      ASSERT_FALSE(out.spoiled() || from.spoiled()) << name;
    }
  }
}

std::vector<uint8_t> floats(int64_t count, uint32_t seed) {
  std::vector<uint8_t> out(static_cast<size_t>(count * 4));
  test::plausibleFloats(QVPT_RGBAF128, out.data(), out.size(), seed);
  return out;
}

TEST(Rows, VectorFormsGiveTheSameBytes) {
  const float dither[4] = {0.0f, 0.0019608f, 0.0004902f, 0.002451f};
  Random random(1);
  const std::vector<uint8_t> palette = random.bytes(1024);
  for (int64_t n = 0; n <= 70; ++n) {
    const auto u8 = [&](int64_t bytes) { return random.bytes(static_cast<size_t>(bytes)); };
    using Forms = const qv::RowForms&;
    compare("24 to 32", 4 * n, u8(3 * n), [n](Forms f, uint8_t* o, uint8_t* i) { f.from24To32(o, i, n); });
    compare("32 to 24", 3 * n, u8(4 * n), [n](Forms f, uint8_t* o, uint8_t* i) { f.from32To24(o, i, n); });
    compare("palette", 4 * n, u8(n),
            [&](Forms f, uint8_t* o, uint8_t* i) { f.fromPalette8(o, i, n, palette.data()); });
    compare("bytes to float", 4 * n, u8(n),
            [n](Forms f, uint8_t* o, uint8_t* i) { f.bytesToFloat(o, i, n); });
    compare("bytes to float past the caches", 4 * n, u8(n),
            [n](Forms f, uint8_t* o, uint8_t* i) { f.bytesToFloatPast(o, i, n); });
    compare("24 to float", 16 * n, u8(3 * n),
            [n](Forms f, uint8_t* o, uint8_t* i) { f.from24ToFloat(o, i, n); });
    for (const float* d : {static_cast<const float*>(nullptr), dither}) {
      compare("float to 32", 4 * n, floats(4 * n, 3),
              [=](Forms f, uint8_t* o, uint8_t* i) { f.floatTo32(o, i, n, d); });
      compare("float to 24", 3 * n, floats(4 * n, 4),
              [=](Forms f, uint8_t* o, uint8_t* i) { f.floatTo24(o, i, n, d); });
    }
    compare("swap rows", n, u8(n), [n](Forms f, uint8_t* o, uint8_t* i) { f.swapRows(o, i, n); });
    const qv::FadeRow fade = {{10, 200, 255, 0}, {0, 255, 128, 77}};
    compare("fade", 0, u8(4 * n), [&](Forms f, uint8_t*, uint8_t* i) { f.fade32(i, n, fade); });
    for (const int32_t half : {0, 128}) {
      // The second half of the bytes lies over the first.
      compare("over", 0, u8(8 * n), [=](Forms f, uint8_t*, uint8_t* i) { f.over32(i, i + 4 * n, n, half); });
      for (const int32_t weight : {0, 1, 128, 255}) {
        compare("mix", 0, u8(8 * n),
                [=](Forms f, uint8_t*, uint8_t* i) { f.mix32(i, i + 4 * n, n, weight, half); });
      }
    }
    compare("fill", 5 * n, u8(qv::kPatternBytes),
            [=](Forms f, uint8_t* o, uint8_t* i) { f.fillPattern(o, 5 * n, i); });
  }
}

// Every byte value over 255 is the quotient itself, not a product that is nearly it.
TEST(Rows, BytesBecomeExactFractions) {
  std::vector<uint8_t> all(256);
  for (int i = 0; i < 256; ++i) all[static_cast<size_t>(i)] = static_cast<uint8_t>(i);
  for (const qv::RowForms* forms : vectorForms()) {
    std::vector<float> out(256);
    forms->bytesToFloat(reinterpret_cast<uint8_t*>(out.data()), all.data(), 256);
    for (int i = 0; i < 256; ++i) EXPECT_EQ(out[static_cast<size_t>(i)], static_cast<float>(i) / 255.0f);
  }
}

// Reading and writing a row of every type, from every starting bit, against the slow opinion.
TEST(Rows, EveryTypeToAndFromThePivot) {
  Random random(2);
  const std::vector<uint8_t> palette = random.bytes(1024), inverse = random.bytes(32768);
  std::vector<const qv::RowForms*> all = vectorForms();
  all.push_back(&qv::kScalarRows);
  for (const test::SlowType& t : test::kSlowTypes) {
    for (const int64_t n : {0, 1, 2, 3, 4, 5, 7, 8, 9, 15, 16, 17, 31, 33, 66}) {
      const uint32_t firstBit = t.bits < 8 ? random.below(8 / t.bits) * t.bits : 0;
      const size_t bytes = static_cast<size_t>((int64_t{t.bits} * n + firstBit + 7) / 8);
      std::vector<QVPIXEL64> values(static_cast<size_t>(n));
      for (QVPIXEL64& v : values) random.fill(reinterpret_cast<uint8_t*>(&v), sizeof v);
      for (const qv::RowForms* forms : all) {
        for (const int exact : {0, 1}) {
          Guarded in(bytes, exact != 0 ? Guarded::AtEnd : Guarded::AtStart);
          random.fill(in.data(), bytes);
          test::plausibleFloats(t.type, in.data(), bytes, 9);
          std::vector<QVPIXEL64> got(static_cast<size_t>(n));
          forms->read[exact][t.type - 16](got.data(), in.data(), firstBit, n, palette.data(), nullptr);
          for (int64_t x = 0; x < n; ++x) {
            const int64_t at = x + (t.bits < 8 ? firstBit / t.bits : 0);
            ASSERT_TRUE(test::same(got[static_cast<size_t>(x)],
                                   test::slowRead(t.type, in.data(), at, exact != 0, palette.data())))
                << t.type << " at " << x << " of " << n;
          }
          std::vector<uint8_t> expected(in.data(), in.data() + bytes);
          for (int64_t x = 0; x < n; ++x) {
            const int64_t at = x + (t.bits < 8 ? firstBit / t.bits : 0);
            test::slowWrite(t.type, expected.data(), at, values[static_cast<size_t>(x)], inverse.data());
          }
          forms->write[t.type - 16](in.data(), firstBit, values.data(), n, inverse.data(), nullptr);
          ASSERT_EQ(bytes == 0 ? 0 : memcmp(expected.data(), in.data(), bytes), 0) << t.type << " " << n;
          ASSERT_FALSE(in.spoiled());
        }
      }
    }
  }
}

}  // namespace
