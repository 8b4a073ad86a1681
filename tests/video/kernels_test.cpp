#include "qv/video/kernels.h"

#include <gtest/gtest.h>

#include <set>

#include "qv/frame/status.h"
#include "tests/video/support/guarded.h"
#include "tests/video/support/slow_pixels.h"

namespace {

using test::Guarded;
using test::Random;

QvXchgContext bound(int32_t dst, int32_t src, uint32_t mode, const QvBlendRequest* blend = nullptr) {
  QvXchgContext context;
  EXPECT_EQ(QvXCHGGetFunctionPointers(dst, src, mode, &context, blend, 1.0, 1.0), 0);
  return context;
}

// With both ends of a row and the tables of palette types.
QvXchgContext bound(int32_t dst, int32_t src, uint32_t mode, const uint8_t* in, uint8_t* out,
                    const std::vector<uint8_t>& palette, const std::vector<uint8_t>& inverse) {
  QvXchgContext c = bound(dst, src, mode);
  c.readPtr = in;
  c.writePtr = out;
  c.srcPalette = palette.data();
  c.inverseTable = inverse.data();
  return c;
}

TEST(Selection, RouteAndModeWord) {
  struct Row {
    int32_t dst, src;
    uint32_t mode, flags, route;
  };
  const Row rows[] = {
      {QVPT_RGB32, QVPT_RGB24, 0, 0, QVXCHG_ROUTE_BYTES},
      {QVPT_RGB32, QVPT_RGB24, 1, 0x180, QVXCHG_ROUTE_BYTES},
      {QVPT_RGBA32, QVPT_PAL8, 2, 0x1c0, QVXCHG_ROUTE_BYTES},
      {QVPT_RGB32, QVPT_RGB24, 3, 0x1e0, QVXCHG_ROUTE_BYTES},
      {QVPT_RGB32, QVPT_RGB24, 4, 0x1f0, QVXCHG_ROUTE_PIVOT16},
      {QVPT_RGB32, QVPT_RGB24, 19, 0x1f0, QVXCHG_ROUTE_PIVOT16},
      {QVPT_RGB32, QVPT_RGB24, 0xff000e03u, 0x070001e0, QVXCHG_ROUTE_BYTES},
      {QVPT_RGB32, QVPT_RGB24, 0xf8000e05u, 0xf8000e05u, QVXCHG_ROUTE_BYTES},
      {QVPT_RGB32, QVPT_PAL4, 3, 0x1f0, QVXCHG_ROUTE_PIVOT16},
      {QVPT_RGBAF128, QVPT_RGBAF128, 3, 0x1e0, QVXCHG_ROUTE_FLOAT},
      {QVPT_RGBAF128, QVPT_GRAYF32, 3, 0x1f0, QVXCHG_ROUTE_PIVOT16},
      {QVPT_GRAY8, QVPT_GRAY8, 0, 0x10, QVXCHG_ROUTE_PIVOT16},
  };
  for (const Row& row : rows) {
    const QvXchgContext context = bound(row.dst, row.src, row.mode);
    EXPECT_EQ(context.flags, row.flags) << row.mode;
    EXPECT_EQ(context.route, row.route) << row.mode;
  }
  EXPECT_EQ(bound(28, 28, 0x00370003).featherWidth, 0x37u);
  QvXchgContext context;
  memset(&context, 0x77, sizeof context);
  EXPECT_EQ(QvXCHGGetFunctionPointers(15, 28, 3, &context, nullptr, 0, 0), qv::kInvalidArgument);
  EXPECT_EQ(QvXCHGGetFunctionPointers(28, 34, 3, &context, nullptr, 0, 0), qv::kInvalidArgument);
  EXPECT_EQ(context.flags, 0x77777777u);
  QvBlendRequest request;
  QvBlendRequest_Init(&request, 20, nullptr, 0, 0, 0);
  EXPECT_EQ(QvXCHGGetFunctionPointers(28, 28, 3, &context, &request, 0, 0), qv::kUnsupported);
  EXPECT_EQ(context.read1, nullptr);
}

// One pixel, four pixels and the running pointers, against the slow opinion, with guards on both sides.
TEST(Kernels, ReadAndWriteEveryType) {
  Random random(3);
  const std::vector<uint8_t> palette = random.bytes(1024), inverse = random.bytes(32768);
  for (const test::SlowType& t : test::kSlowTypes) {
    for (const uint32_t mode : {0x10u, 0x30u}) {
      for (const auto side : {Guarded::AtEnd, Guarded::AtStart}) {
        const int64_t n = 9 + static_cast<int64_t>(random.below(8));
        const size_t bytes = static_cast<size_t>((t.bits * n + 7) / 8);
        Guarded in(bytes, side), out(bytes, side);
        random.fill(in.data(), bytes);
        random.fill(out.data(), bytes);
        test::plausibleFloats(t.type, in.data(), bytes, 4);
        std::vector<uint8_t> expected(out.data(), out.data() + bytes);
        QvXchgContext c = bound(t.type, t.type, mode, in.data(), out.data(), palette, inverse);
        int64_t x = 0;
        const auto step = [&](auto read, auto write, int pixels) {
          read(&c);
          for (int i = 0; i < pixels; ++i, ++x) {
            const QVPIXEL64 slow = test::slowRead(t.type, in.data(), x, mode == 0x30, palette.data());
            EXPECT_TRUE(test::same(c.pivot.pixels[i], slow)) << t.type << " at " << x;
            test::slowWrite(t.type, expected.data(), x, slow, inverse.data());
          }
          write(&c);
        };
        step(c.read1, c.write1, 1);
        for (int i = 0; i < 2; ++i) step(c.read4, c.write4, 4);
        while (x < n) step(c.read1, c.write1, 1);
        EXPECT_EQ(memcmp(expected.data(), out.data(), bytes), 0) << t.type;
        EXPECT_FALSE(in.spoiled() || out.spoiled());
      }
    }
  }
}

TEST(Kernels, ByteAndFloatRoutes) {
  Random random(4);
  const std::vector<uint8_t> palette = random.bytes(1024), inverse = random.bytes(32768);
  const std::vector<uint8_t> in = random.bytes(64);
  for (const int32_t src : {QVPT_PAL8, QVPT_RGB24, QVPT_RGB32}) {
    for (const int32_t dst : {QVPT_PAL8, QVPT_RGB24, QVPT_RGBA32}) {
      std::vector<uint8_t> out(64), expected(64);
      QvXchgContext c = bound(dst, src, 3, in.data(), out.data(), palette, inverse);
      c.read4(&c);
      c.write4(&c);
      c.read1(&c);
      c.write1(&c);
      for (int64_t x = 0; x < 5; ++x) {
        const QVPIXEL64 v = test::slowRead(src, in.data(), x, true, palette.data());
        test::slowWrite(dst, expected.data(), x, v, inverse.data());
      }
      EXPECT_EQ(out, expected) << src << " to " << dst;
    }
  }
  const float pixel[4] = {-3.0f, 7.0f, NAN, 0.5f};
  float copied[4] = {};
  QvXchgContext c = bound(QVPT_RGBAF128, QVPT_RGBAF128, 3);
  c.readPtr = reinterpret_cast<const uint8_t*>(pixel);
  c.writePtr = reinterpret_cast<uint8_t*>(copied);
  c.read1(&c);
  c.write1(&c);
  EXPECT_EQ(memcmp(pixel, copied, sizeof pixel), 0);
}

// Interpolating reads from 2 by 2 pixels, each type, from each starting bit, in 64-bit arithmetic.
TEST(Kernels, InterpolatingReads) {
  Random random(5);
  const std::vector<uint8_t> palette = random.bytes(1024);
  for (const test::SlowType& t : test::kSlowTypes) {
    for (int round = 0; round < 40; ++round) {
      const int64_t x = t.bits < 8 ? random.below(8) : 0;
      const size_t bytes = static_cast<size_t>((t.bits * (x + 2) + 7) / 8);
      Guarded rows(2 * bytes, Guarded::AtEnd);
      random.fill(rows.data(), rows.size());
      test::plausibleFloats(t.type, rows.data(), rows.size(), static_cast<uint32_t>(round));
      QvXchgContext c = bound(QVPT_RGBA64, t.type, 0x30);
      c.srcPalette = palette.data();
      c.readPtr = rows.data() + x * t.bits / 8;
      c.readBit = static_cast<uint32_t>(x * t.bits % 8);
      c.rowStep = static_cast<int32_t>(bytes);
      c.fracX = random.below(16384);
      c.fracY = random.below(16384);
      uint16_t p[4][4];
      for (int i = 0; i < 4; ++i) {
        const QVPIXEL64 v =
            test::slowRead(t.type, rows.data() + (i / 2) * bytes, x + i % 2, true, palette.data());
        memcpy(p[i], &v, 8);
      }
      const uint64_t fx = c.fracX, fy = c.fracY, gx = 16384 - fx, gy = 16384 - fy;
      uint16_t got[4];
      const auto pivot = [&](int i) { memcpy(got, &c.pivot.pixels[i], 8); };
      for (int i = 0; i < 4; ++i) {
        c.readQuad(&c);
        pivot(i);
        EXPECT_EQ(memcmp(got, p[i], 8), 0) << t.type;
      }
      for (const auto read : {c.readBilinear, c.readBilinearAlt}) {
        read(&c);
        pivot(0);
        for (int k = 0; k < 4; ++k) {
          const uint64_t sum = p[0][k] * (gx * gy / 16384) + p[1][k] * (fx * gy / 16384) +
                               p[2][k] * (gx * fy / 16384) + p[3][k] * (fx * fy / 16384);
          EXPECT_EQ(got[k], sum >> 14) << t.type;
        }
      }
      c.readVertical(&c);
      pivot(0);
      for (int k = 0; k < 4; ++k) EXPECT_EQ(got[k], (p[0][k] * gy + p[2][k] * fy) / 16384) << t.type;
    }
  }
  // Byte route: the second bilinear read of 24-bit pixels has a kernel of its own, with the same result.
  for (int round = 0; round < 100; ++round) {
    Guarded rows(12, Guarded::AtEnd);
    random.fill(rows.data(), 12);
    QvXchgContext c = bound(QVPT_RGB32, QVPT_RGB24, 3);
    EXPECT_NE(c.readBilinear, c.readBilinearAlt);
    c.readPtr = rows.data();
    c.rowStep = 6;
    c.fracX = random.below(16384);
    c.fracY = random.below(16384);
    c.readBilinear(&c);
    uint8_t first[4];
    memcpy(first, c.pivot.bytes[0], 4);
    c.readBilinearAlt(&c);
    EXPECT_EQ(memcmp(first, c.pivot.bytes[0], 4), 0);
  }
  const QvXchgContext nearest = bound(QVPT_RGB32, QVPT_RGB555, 2);
  EXPECT_EQ(nearest.readBilinear, nearest.read1);
}

struct BlendCase {
  int op;
  uint16_t a[4], b[4], expected[4];  // blue, green, red, alpha
};

// Worked by hand with key 0x1000, 0x2000, 0x3000, tolerance 100, amount 0x4000, second amount 0x8000.
constexpr BlendCase kBlends[] = {
    {0, {1, 2, 3, 4}, {5, 6, 7, 8}, {5, 6, 7, 8}},
    {9, {1, 2, 3, 4}, {5, 6, 7, 8}, {5, 6, 7, 8}},
    {10, {1, 2, 3, 4}, {5, 6, 7, 8}, {5, 6, 7, 8}},
    {1, {0, 65535, 1000, 0}, {65535, 0, 2000, 0x8000}, {32767, 32767, 1500, 0x4000}},
    {2, {1000, 2000, 3000, 4000}, {65535, 0, 0, 0}, {1000, 2000, 3000, 4000}},
    {3, {1000, 2000, 40000, 0}, {2000, 1000, 40000, 65535}, {1250, 1750, 40000, 16383}},
    {4, {9, 9, 9, 9}, {0x1000, 0x2000, 0x3000 + 100, 7}, {9, 9, 9, 9}},
    {4, {9, 9, 9, 9}, {0x1000, 0x2000, 0x3000 + 101, 7}, {0x1000, 0x2000, 0x3000 + 101, 7}},
    {5, {0, 0, 0, 0}, {0x4000, 0x4000, 0x4000, 0x4000}, {0x1000, 0x1000, 0x1000, 0x1000}},
    {5, {9, 9, 9, 9}, {0x1000, 0x2000, 0x3000, 7}, {9, 9, 9, 9}},
    {6, {65535, 20000, 0, 5}, {0x1000, 0x2000, 0x3000, 7}, {38912, 11875, 0, 5}},
    {7, {0x6000, 0x3000, 0, 5}, {0x1000, 0x2000, 0x3000, 7}, {0x4800, 0x2400, 0, 5}},
    {8, {10, 20, 30, 40}, {40, 20, 10, 65535}, {30, 0, 20, 65495}},
    {11, {7, 7, 7, 7}, {0, 0x2000, 0x7000, 9}, {0x400, 0x2000, 0x6000, 7}},
    {12, {0, 65535, 65535, 65535}, {0, 65535, 0, 65535}, {16383, 49151, 65535, 49151}},
    {13, {0, 400, 800, 0}, {300, 600, 900, 400}, {150, 450, 750, 100}},
    {14, {0x1000, 0x2000, 0x3000, 7}, {100, 200, 300, 0x8000}, {100, 200, 300, 7}},
    {14, {0, 65535, 0, 7}, {0, 65535, 0x4000, 0}, {0, 65535, 0x1000, 7}},
    {15, {0x1000 + 300, 0x2000 + 300, 0x3000 + 300, 5}, {}, {300, 300, 300, 5}},
    {16, {1, 2, 3, 4}, {5, 6, 7, 8}, {1, 2, 3, 4}},
    {17, {1, 2, 3, 4}, {}, {0, 0, 0, 4}},
    {17, {60000, 60000, 60000, 4}, {}, {65535, 65535, 65535, 4}},
    {18, {1, 2, 3, 4}, {5, 6, 7, 8}, {1, 2, 3, 4}},
    {19, {1000, 65535, 0, 100}, {400, 400, 65535, 4}, {1100, 99, 16383, 101}},
};

// A row at once gives what single pixels give, in both routes, rounded or not, for widths around a vector.
TEST(Blend, ARowIsItsPixels) {
  const uint16_t key[3] = {0x4000, 0x8000, 0xc000};
  test::Random random(6);
  for (const int32_t type : {QVPT_GRAY16, QVPT_RGB565, QVPT_RGB24, QVPT_RGB32, QVPT_RGBA32, QVPT_RGBA64}) {
    const int64_t bytes = type == QVPT_RGBA64 ? 8 : type < QVPT_RGB24 ? 2 : type == QVPT_RGB24 ? 3 : 4;
    for (int32_t op = 0; op < 20; ++op) {
      for (const uint32_t mode : {3u, 0x43u, 0x40u}) {
        QvBlendRequest request;
        QvBlendRequest_Init(&request, op, key, 0x8000, 0x4321, 0x8000);
        QvXchgContext c = bound(type, type, mode, &request);
        const int64_t count = 1 + random.below(40);
        std::vector<uint8_t> row = random.bytes(static_cast<size_t>(bytes * count));
        const std::vector<uint8_t> other = random.bytes(row.size());
        std::vector<uint8_t> expected = row;
        QvXchgContext single = c;
        for (int64_t x = 0; x < count; ++x) {
          single.readPtr = other.data() + bytes * x;
          single.read1(&single);
          single.pivot.pixels[2] = single.pivot.pixels[0];
          single.writePtr = expected.data() + bytes * x;
          single.readPtr = single.writePtr;
          single.read1(&single);
          if (single.route == QVXCHG_ROUTE_BYTES) {
            memcpy(single.pivot.bytes[1], &single.pivot.pixels[2], 4);
          } else {
            single.pivot.pixels[1] = single.pivot.pixels[2];
          }
          single.blend1(&single);
          single.write1(&single);
        }
        ASSERT_EQ(QvXCHGBlendRow(&c, row.data(), other.data(), count), 0);
        ASSERT_EQ(row, expected) << "type " << type << " operator " << op << " mode " << mode;
      }
    }
  }
  QvBlendRequest request;
  QvBlendRequest_Init(&request, 3, nullptr, 0, 0x4000, 0);
  uint8_t pixel[16] = {};
  const QvXchgContext packed = bound(QVPT_PAL4, QVPT_PAL4, 3, &request), none = bound(28, 28, 3),
                      mixed = bound(QVPT_RGB32, QVPT_RGB24, 3, &request);
  EXPECT_EQ(QvXCHGBlendRow(&packed, pixel, pixel + 8, 1), qv::kUnsupported);
  EXPECT_EQ(QvXCHGBlendRow(&none, pixel, pixel + 8, 1), qv::kUnsupported);
  EXPECT_EQ(QvXCHGBlendRow(&mixed, pixel, pixel + 8, 1), qv::kInvalidArgument);
}

TEST(Blend, EachOperatorByHand) {
  const uint16_t key[3] = {0x1000, 0x2000, 0x3000};
  for (const BlendCase& row : kBlends) {
    QvBlendRequest request;
    QvBlendRequest_Init(&request, row.op, key, 100, 0x4000, 0x8000);
    QvXchgContext c = bound(QVPT_RGBA64, QVPT_RGBA64, 0x10, &request);
    memcpy(&c.pivot.pixels[0], row.a, 8);
    memcpy(&c.pivot.pixels[1], row.b, 8);
    c.blend1(&c);
    EXPECT_EQ(memcmp(&c.pivot.pixels[0], row.expected, 8), 0)
        << "operator " << row.op << ": " << c.pivot.pixels[0].blue << " " << c.pivot.pixels[0].green << " "
        << c.pivot.pixels[0].red << " " << c.pivot.pixels[0].alpha;
    for (int i = 0; i < 4; ++i) {
      memcpy(&c.pivot.pixels[i], row.a, 8);
      memcpy(&c.pivot.pixels[4 + i], row.b, 8);
    }
    const uint16_t mask[4] = {65535, 0, 65535, 0};
    QvXchgContext masked = c;
    c.blend4(&c);
    masked.blendMask4(&masked, mask);
    for (int i = 0; i < 4; ++i) {
      EXPECT_EQ(memcmp(&c.pivot.pixels[i], row.expected, 8), 0) << row.op;
      EXPECT_EQ(memcmp(&masked.pivot.pixels[i], i % 2 == 0 ? row.expected : row.a, 8), 0) << row.op;
    }
  }
}

TEST(Blend, WidthsRoundingAndTables) {
  QvBlendRequest request;
  QvBlendRequest_Init(&request, 3, nullptr, 0, 0x8000, 0);
  struct Row {
    uint32_t mode, route;
    int a, b, expected;
  };
  const Row rows[] = {{0, QVXCHG_ROUTE_BYTES, 0, 255, 127},
                      {QVXCHG_ROUNDBLEND, QVXCHG_ROUTE_BYTES, 0, 255, 128},
                      {0x10, QVXCHG_ROUTE_PIVOT16, 0, 65535, 32767},
                      {0x10 | QVXCHG_ROUNDBLEND, QVXCHG_ROUTE_PIVOT16, 0, 65535, 32768},
                      {0, QVXCHG_ROUTE_BYTES, 255, 0, 127}};
  for (const Row& row : rows) {
    QvXchgContext c = bound(QVPT_RGB32, QVPT_RGB32, row.mode, &request);
    ASSERT_EQ(c.route, row.route);
    const bool bytes = row.route == QVXCHG_ROUTE_BYTES;
    if (bytes) {
      memset(c.pivot.bytes[0], row.a, 4);
      memset(c.pivot.bytes[1], row.b, 4);
    } else {
      c.pivot.pixels[0] = {static_cast<uint16_t>(row.a), 0, 0, 0};
      c.pivot.pixels[1] = {static_cast<uint16_t>(row.b), 0, 0, 0};
    }
    c.blend1(&c);
    EXPECT_EQ(bytes ? c.pivot.bytes[0][0] : c.pivot.pixels[0].blue, row.expected);
  }
  // Floats are blended on the integer pivot.
  EXPECT_EQ(bound(QVPT_RGBAF128, QVPT_RGBAF128, 3, &request).route, QVXCHG_ROUTE_PIVOT16);
  std::vector<uint16_t> table(65536);
  for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<uint16_t>(65535 - i);
  QvBlendRequest_Init(&request, 15, nullptr, 0, 0, 0);
  request.table = table.data();
  QvXchgContext c = bound(QVPT_RGB32, QVPT_RGB32, 0x10, &request);
  c.pivot.pixels[0] = {300, 300, 300, 1};
  c.blend1(&c);
  EXPECT_EQ(c.pivot.pixels[0].green, 65235);
}

// The defaults are the broadcast curve of cameras; the table agrees with the curve and both ways cancel out.
TEST(Gamma, CurveIsTheBroadcastOne) {
  QvGammaCurve encode, decode;
  QvGammaCurve_Init(&encode, 1.0, 0.0);
  QvGammaCurve_Init(&decode, 0.0, 1.0);
  EXPECT_EQ(encode.kind, 1u);
  EXPECT_EQ(decode.kind, 0u);
  for (float x = -1.5f; x <= 1.5f; x += 0.01f) {
    const float bent = QvGammaCurve_Apply(&encode, x);
    const double magnitude = fabs(static_cast<double>(x));
    const double known = magnitude < 0.018 ? 4.5 * magnitude : 1.099 * pow(magnitude, 0.45) - 0.099;
    EXPECT_NEAR(bent, x < 0 ? -known : known, 2e-3) << x;
    EXPECT_NEAR(QvGammaCurve_Apply(&decode, bent), x, 2e-5) << x;
  }
  EXPECT_NEAR(QvGammaCurve_Apply(&encode, 1.0f), 1.0f, 1e-6f);
  ASSERT_EQ(QvGammaCurve_BuildTable(&encode, 256), 0);
  EXPECT_EQ(encode.tableSizeLessOne, 255u);
  for (uint32_t k = 0; k <= 256; ++k) {
    EXPECT_EQ(encode.table[k], QvGammaCurve_Apply(&encode, static_cast<float>(k) / 255.0f));
  }
  QvGammaCurve_Release(&encode);
  QvGammaCurve_Release(&encode);
  QvGammaCurve same;
  QvGammaCurve_Init(&same, 0.0, 2.2222222222222223);
  EXPECT_EQ(same.active, 0u);
  EXPECT_EQ(QvGammaCurve_Apply(&same, 0.3f), 0.3f);
  QvGammaCurve_Init(&same, 100.0, 0.01);  // clamped to 4 and 0.5
  EXPECT_EQ(same.gamma, 8.0f);
}

TEST(Gamma, FloatKernelsBend) {
  QvXchgContext c;
  ASSERT_EQ(QvXCHGGetFunctionPointers(QVPT_RGBA64, QVPT_RGBAF128, 3, &c, nullptr, 0.0, 1.0), 0);
  const float half[4] = {0.5f, 0.0f, 1.0f, 1.0f};
  c.readPtr = reinterpret_cast<const uint8_t*>(half);
  c.read1(&c);
  EXPECT_NEAR(c.pivot.pixels[0].blue, (1.099 * pow(0.5, 0.45) - 0.099) * 65535, 40);
  EXPECT_EQ(c.pivot.pixels[0].red, 65535);
  ASSERT_EQ(QvXCHGGetFunctionPointers(QVPT_GRAYF32, QVPT_RGBA64, 3, &c, nullptr, 1.0, 0.0), 0);
  float grey = 0;
  c.writePtr = reinterpret_cast<uint8_t*>(&grey);
  c.pivot.pixels[0] = {46233, 46233, 46233, 0};
  c.write1(&c);
  EXPECT_NEAR(grey, 0.5f, 2e-3f);
  ASSERT_EQ(QvXCHGGetFunctionPointers(QVPT_RGB32, QVPT_RGBA64, 3, &c, nullptr, 1.0, 0.0), 0);
  EXPECT_EQ(c.readCurve.active | c.writeCurve.active, 0u);
}

}  // namespace
