// YUV conversions against results that others computed: checksums from tests/golden/yuv_golden.py, to the
// bit, and what libyuv and FFmpeg make of small frames (tests/golden/yuv_peers.cpp), within a code value.
#include <gtest/gtest.h>

#include "qv/video/detail/yuv_rows.h"
#include "qv/video/yuv.h"
#include "tests/video/support/slow_yuv.h"

namespace {

using test::Random;
using Bytes = std::vector<uint8_t>;

struct Image {
  BITMAPINFOHEADER header = {};
  Bytes pixels;
  Image(bool floats, int32_t width, int32_t height) {
    uint32_t bytes = 0;
    QvVideo_InitBitmapInfo(reinterpret_cast<BITMAPINFO*>(&header), floats ? QVPT_RGBAF128 : QVPT_RGB32,
                           static_cast<uint32_t>(width), static_cast<uint32_t>(height), nullptr, 0, &bytes);
    pixels.resize(bytes);
  }
  size_t rowBytes() const { return pixels.size() / static_cast<size_t>(header.biHeight); }
  // Rows from the top, as the golden files have them.
  Bytes fromTop() const {
    Bytes out;
    for (auto end = pixels.end(); end != pixels.begin(); end -= static_cast<int64_t>(rowBytes())) {
      out.insert(out.end(), end - static_cast<int64_t>(rowBytes()), end);
    }
    return out;
  }
};

const test::SlowLayout& layoutOf(const std::string& name) {
  for (const test::SlowLayout& layout : test::kSlowLayouts) {
    if (name == layout.name) return layout;
  }
  ADD_FAILURE() << name;
  return test::kSlowLayouts[0];
}

// CRC-32, bit by bit.
uint32_t checksum(const uint8_t* p, size_t bytes) {
  uint32_t sum = ~0u;
  for (size_t i = 0; i < bytes; ++i) {
    sum ^= p[i];
    for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum & 1 ? 0xedb88320u : 0);
  }
  return ~sum;
}

struct Golden {
  const char *layout, *what;
  uint32_t sum;
};
const Golden kGolden[] = {
#include "tests/golden/yuv_golden.inc"
};

constexpr int32_t kWidth = 70, kHeight = 6;
constexpr uint32_t kSeed = 20;
constexpr double kGamma = 2.2222222222222223;

uint32_t decoded(const Golden& golden) {
  test::Frame frame(layoutOf(golden.layout), kWidth, kHeight, kSeed);
  const std::string what = golden.what;
  const bool half = what == "half", floats = what.starts_with("float");
  Image image(floats, half ? kWidth / 2 : kWidth, half ? kHeight / 2 : kHeight);
  QVYUVPARAMS params = {};
  params.colorMatrix = QVYUV_BT709;
  EXPECT_EQ(QvYUV_YUVToRGB(&image.header, what == "float-gamma" ? kGamma : 0.0, image.pixels.data(), 0,
                           frame.header(), &params, frame.data(), frame.planes(), half, 0),
            0);
  const Bytes rows = image.fromTop();
  return checksum(rows.data(), rows.size());
}

uint32_t encoded(const Golden& golden) {
  test::Frame frame(layoutOf(golden.layout), kWidth, kHeight, kSeed);
  memset(frame.data(), 0, frame.memory().size());
  Image image(false, kWidth, kHeight);
  Random random(kSeed + 1);
  for (int64_t y = kHeight - 1; y >= 0; --y) {
    random.fill(image.pixels.data() + static_cast<size_t>(y) * image.rowBytes(), image.rowBytes());
  }
  QVYUVPARAMS params = {};
  params.colorMatrix = QVYUV_BT709;
  EXPECT_EQ(QvYUV_RGBToYUV(frame.header(), &params, frame.data(), frame.planes(), &image.header, kGamma,
                           image.pixels.data(), 0, 0, 0, 0),
            0);
  return checksum(frame.data(), frame.memory().size());
}

TEST(YuvGolden, EveryBitIsAsComputedElsewhere) {
  for (const test::Level& level : test::kLevels) {
    const test::AtLevel at(level);
    qv::forgetYuvForms();
    for (const Golden& golden : kGolden) {
      const uint32_t sum = std::string(golden.what) == "encode" ? encoded(golden) : decoded(golden);
      EXPECT_EQ(sum, golden.sum) << golden.layout << " " << golden.what << " " << level.name;
    }
  }
  qv::forgetYuvForms();
}

struct Peer {
  const char* layout;
  uint32_t matrix;
  Bytes frame, pixels;
};
const Peer kPeers[] = {
#include "tests/golden/yuv_peers.inc"
};

struct Described {
  BITMAPINFOHEADER header = {};
  QVYUVPLANES planes = {};
  Described(const char* layout, int32_t width, int32_t height) {
    header.biSize = 40;
    header.biWidth = width;
    header.biHeight = height;
    header.biCompression = QvFourCC(layout[0], layout[1], layout[2], layout[3]);
    QvYUVImageBytesAndOffsets(&header, &planes);
  }
};

// They go from video levels to the full range; floats with a gamma do the same. Their coefficients have six
// bits and their results are cut, not rounded: up to a code value and a half on what isn't rounded here.
// Blue's coefficient is capped at 2 there, so blue cannot be compared.
TEST(YuvPeers, DecodersAgreeWithinACodeValue) {
  for (const Peer& peer : kPeers) {
    const std::string name = peer.layout;
    if (name == "encode" || name == "v210") continue;
    const Described frame(peer.layout, 8, 4);
    QVYUVPARAMS params = {};
    params.colorMatrix = peer.matrix;
    Image floats(true, 8, 4), bytes(false, 8, 4);
    for (Image* image : {&floats, &bytes}) {
      ASSERT_EQ(QvYUV_YUVToRGB(&image->header, kGamma, image->pixels.data(), 0, &frame.header, &params,
                               peer.frame.data(), &frame.planes, 0, 0),
                0);
    }
    const Bytes ours = floats.fromTop(), studio = bytes.fromTop();
    // The integer offsets of BT.2020 tint 8-bit planes.
    const bool tinted = peer.matrix == QVYUV_BT2020 && !layoutOf(name).ten;
    for (size_t i = 0; i < peer.pixels.size(); ++i) {
      if (i % 4 == 0 || i % 4 == 3) continue;
      float value;
      memcpy(&value, &ours[4 * i], 4);
      const double full = static_cast<double>(value) * 255, theirs = peer.pixels[i];
      EXPECT_NEAR(full, theirs, 1.6) << name << " " << peer.matrix << " byte " << i;
      if (!tinted) {
        EXPECT_NEAR(studio[i], 16 + theirs * 219 / 255, 1.6) << name << " " << peer.matrix << " byte " << i;
      }
    }
  }
}

TEST(YuvPeers, TheEncoderAgreesWithinACodeValue) {
  const Peer& peer = *std::find_if(std::begin(kPeers), std::end(kPeers),
                                   [](const Peer& p) { return std::string(p.layout) == "encode"; });
  const Described frame("I420", 8, 4);
  Image image(true, 8, 4);
  for (size_t i = 0; i < peer.pixels.size(); ++i) {
    const float value = static_cast<float>(peer.pixels[i]) / 255.0f;
    const size_t row = 3 - i / 32;
    memcpy(&image.pixels[row * image.rowBytes() + i % 32 * 4], &value, 4);
  }
  QVYUVPARAMS params = {};
  params.colorMatrix = peer.matrix;
  Bytes ours(48);
  ASSERT_EQ(QvYUV_RGBToYUV(&frame.header, &params, ours.data(), &frame.planes, &image.header, kGamma,
                           image.pixels.data(), 0, 0, 0, 0),
            0);
  for (size_t i = 0; i < 48; ++i) EXPECT_NEAR(ours[i], peer.frame[i], 1) << i;
}

TEST(YuvPeers, V210HasItsSamplesWhereOthersFindThem) {
  const Peer& peer = *std::find_if(std::begin(kPeers), std::end(kPeers),
                                   [](const Peer& p) { return std::string(p.layout) == "v210"; });
  const Described from("v210", 12, 1), to("P210", 12, 1);
  Bytes unpacked(48), packed(128);
  ASSERT_EQ(QvYUV_v210_To_P210(&to.header, unpacked.data(), &to.planes, &from.header, peer.frame.data(),
                               &from.planes),
            0);
  const auto theirs = [&](size_t i) { return peer.pixels[2 * i] | peer.pixels[2 * i + 1] << 8; };
  const auto ours = [&](size_t i) { return unpacked[2 * i] | unpacked[2 * i + 1] << 8; };
  for (size_t x = 0; x < 12; ++x) EXPECT_EQ(ours(x), theirs(x) << 6) << x;
  for (size_t x = 0; x < 6; ++x) {
    EXPECT_EQ(ours(12 + 2 * x), theirs(12 + x) << 6) << x;
    EXPECT_EQ(ours(13 + 2 * x), theirs(18 + x) << 6) << x;
  }
  ASSERT_EQ(
      QvYUV_P210_To_v210(&from.header, packed.data(), &from.planes, &to.header, unpacked.data(), &to.planes),
      0);
  EXPECT_TRUE(std::equal(packed.begin(), packed.begin() + 32, peer.frame.begin()));
}

}  // namespace
