// Whether broadcast equipment accepts a picture's colours, where it doesn't, and the picture that it accepts.
#include <algorithm>
#include <cmath>

#include "qv/app/workbench/image_job.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/video/colour.h"
#include "qv/video/kernels.h"

namespace qv::workbench {
namespace {

constexpr float kFull = 65535.0f;
constexpr int kMostSteps = 100;
constexpr double kLessColour = 0.97;  // of the saturation, at each further step

struct Standard {
  const WCHAR* name;
  int32_t (*isHot)(const QVDIBPIXEL*);
  int32_t (*repair)(QVDIBPIXEL*);
};
constexpr Standard kStandards[] = {
    {TEXT("ntsc"), HotCheckNTSCYIQ, HotCheckNTSCYIQReturn},
    {TEXT("ntsc-yuv"), HotCheckNTSCYUV, HotCheckNTSCYUVReturn},
    {TEXT("pal"), HotCheckPALYUV, HotCheckPALYUVReturn},
};

// Between the picture's 16-bit channels and linear light.
class Light {
 public:
  Light() : levels_(65536) {
    QvGammaCurve decode;
    QvGammaCurve_Init(&decode, 0, 1);
    QvGammaCurve_Init(&encode_, 1, 0);
    for (size_t i = 0; i < levels_.size(); ++i) {
      levels_[i] = QvGammaCurve_Apply(&decode, static_cast<float>(i) / kFull);
    }
  }

  QVDIBPIXEL of(const QVPIXEL64& p) const {
    return {levels_[p.blue], levels_[p.green], levels_[p.red], static_cast<float>(p.alpha) / kFull};
  }
  QVPIXEL64 pixel(const QVDIBPIXEL& light, uint16_t alpha) const {
    return {channel(light.blue), channel(light.green), channel(light.red), alpha};
  }

 private:
  uint16_t channel(float light) const {
    const float v = QvGammaCurve_Apply(&encode_, light);
    return static_cast<uint16_t>(std::lround(std::clamp(v, 0.0f, 1.0f) * kFull));
  }

  std::vector<float> levels_;
  QvGammaCurve encode_;
};

// A legal pixel may be illegal again once the picture's type has rounded it; then a little more colour goes,
// until what stands in the picture is legal.
bool repairPixel(const Standard& standard, const Light& light, const BITMAPINFOHEADER* image, int32_t x,
                 int32_t y, const QVPIXEL64& before) {
  QVDIBPIXEL pixel = light.of(before);
  standard.repair(&pixel);
  for (int step = 0; step < kMostSteps; ++step) {
    QVPIXEL64 stored = light.pixel(pixel, before.alpha);
    if (FAILED(QvDibSetPixel(image, nullptr, 0, x, y, &stored))) return false;
    QvDibGetPixel(image, nullptr, 0, x, y, &stored);
    const QVDIBPIXEL back = light.of(stored);
    if (!standard.isHot(&back)) return true;
    QVHSL hsl;
    QVDIBPIXEL_To_QVHSL_Float(&hsl, &pixel);
    hsl.saturation *= kLessColour;
    QVHSL_To_QVDIBPIXEL_Float(&pixel, &hsl);
  }
  return false;
}

struct Findings {
  int64_t pixels = 0, illegal = 0, left = 0;
};

struct Treatment {
  const Standard& standard;
  const BITMAPINFOHEADER* out;  // or null: only counted
  bool fix;
  QVPIXEL64 mark;
};

HRESULT inspect(ImageJob& job, const BITMAPINFOHEADER* deep, const Treatment& treatment, Findings& found) {
  const Light light;
  found.pixels = int64_t{deep->biWidth} * deep->biHeight;
  for (int32_t y = 0; y < deep->biHeight; ++y) {
    const auto* row = reinterpret_cast<const QVPIXEL64*>(imageRow(deep, y));
    for (int32_t x = 0; x < deep->biWidth; ++x) {
      const QVDIBPIXEL pixel = light.of(row[x]);
      if (!treatment.standard.isHot(&pixel)) continue;
      ++found.illegal;
      if (treatment.out == nullptr) continue;
      if (!treatment.fix) {
        QvDibSetPixel(treatment.out, nullptr, 0, x, y, &treatment.mark);
      } else if (!repairPixel(treatment.standard, light, treatment.out, x, y, row[x])) {
        ++found.left;
      }
    }
    job.stage(30 + 30.0 * y / deep->biHeight, job.word(0));
  }
  return kOk;
}

WString percent(int64_t part, int64_t whole) {
  WCHAR text[32] = {};
  QvCchPrintF(text, 32, nullptr, TEXT("%.2f"),
              100.0 * static_cast<double>(part) / static_cast<double>(whole));
  return text;
}

QVPIXEL64 pixelOf(const QVRGBAFLOAT& colour) {
  const auto channel = [](float v) { return static_cast<uint16_t>(std::lround(v * kFull)); };
  return {channel(colour.blue), channel(colour.green), channel(colour.red), channel(colour.alpha)};
}

}  // namespace

HRESULT checkLegal(ImageJob& job) {
  constexpr const WCHAR* kNames[] = {kStandards[0].name, kStandards[1].name, kStandards[2].name};
  size_t standard = 0;
  QVRGBAFLOAT mark = {1, 0, 1, 1};
  HRESULT status = job.choice(TEXT("standard"), kNames, standard);
  if (!FAILED(status)) status = job.colour(TEXT("colour"), mark);
  ImagePtr image;
  if (!FAILED(status)) status = job.read(0, image);
  if (FAILED(status)) return status;
  ImagePtr deep;
  status = convertImage(&image->bmiHeader, QVPT_RGBA64, deep);
  if (!FAILED(status)) status = turnInto(colourType(QvGetPixelType(&image->bmiHeader)), image);
  if (FAILED(status)) return job.session().fail(status, TEXT("The picture's type can't be checked."));
  const bool fix = job.isSet(TEXT("fix")), writes = job.hasWord(1);
  if (fix && !writes) return job.wrong(TEXT("fix=1 takes a picture to write."));
  Findings found;
  inspect(job, &deep->bmiHeader,
          {kStandards[standard], writes ? &image->bmiHeader : nullptr, fix, pixelOf(mark)}, found);
  job.session().record(
      {TEXT("legal"), kNames[standard], found.illegal, found.pixels, percent(found.illegal, found.pixels)});
  if (fix) job.session().record({TEXT("left"), found.left});
  return writes ? job.write(1, image) : kOk;
}

}  // namespace qv::workbench
