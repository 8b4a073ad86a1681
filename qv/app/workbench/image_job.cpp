#include "qv/app/workbench/image_job.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "qv/core/convert.h"
#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/quantise.h"

namespace qv::workbench {
namespace {

constexpr double kFarthest = 131071;  // the scaler's reach
constexpr double kFixedOne = 16384;
constexpr uint32_t kFullPalette = 256, kSmallPalette = 16;

// What there is to know of each type here. QVPT_A2RGB10 is not in it: no header of a picture can say it.
struct TypeRow {
  int32_t type;
  const WCHAR* name;
  int32_t colour, smooth;
  bool deep;
};
constexpr TypeRow kTypes[] = {
    {QVPT_PAL1, TEXT("pal1"), QVPT_RGB24, QVPT_GRAY8, false},
    {QVPT_GRAY1, TEXT("gray1"), QVPT_RGB24, QVPT_GRAY8, false},
    {QVPT_GRAY2, TEXT("gray2"), QVPT_RGB24, QVPT_GRAY8, false},
    {QVPT_GRAY4, TEXT("gray4"), QVPT_RGB24, QVPT_GRAY8, false},
    {QVPT_GRAY8, TEXT("gray8"), QVPT_RGB24, QVPT_GRAY8, false},
    {QVPT_GRAY16, TEXT("gray16"), QVPT_RGBA64, QVPT_GRAY16, true},
    {QVPT_GRAYF32, TEXT("grayf32"), QVPT_RGBA64, QVPT_GRAYF32, true},
    {QVPT_PAL4, TEXT("pal4"), QVPT_RGB24, QVPT_RGB24, false},
    {QVPT_PAL8, TEXT("pal8"), QVPT_RGB24, QVPT_RGB24, false},
    {QVPT_RGB555, TEXT("rgb555"), QVPT_RGB555, QVPT_RGB555, false},
    {QVPT_RGB565, TEXT("rgb565"), QVPT_RGB565, QVPT_RGB565, false},
    {QVPT_RGB24, TEXT("rgb24"), QVPT_RGB24, QVPT_RGB24, false},
    {QVPT_RGB32, TEXT("rgb32"), QVPT_RGB32, QVPT_RGB32, false},
    {QVPT_RGBA32, TEXT("rgba32"), QVPT_RGBA32, QVPT_RGBA32, false},
    {QVPT_RGBA64, TEXT("rgba64"), QVPT_RGBA64, QVPT_RGBA64, true},
    {QVPT_RGBAF128, TEXT("rgbaf128"), QVPT_RGBAF128, QVPT_RGBAF128, true},
    {QVPT_RGB10A2, TEXT("rgb10a2"), QVPT_RGB10A2, QVPT_RGB10A2, true},
};

const TypeRow* typeRow(int32_t type) {
  for (const TypeRow& row : kTypes) {
    if (row.type == type) return &row;
  }
  return nullptr;
}

// Up to `count` numbers between commas; how many there are, or 0 when one can't be read.
size_t parseList(WStringView text, double* values, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    const size_t comma = std::min(text.find(','), text.size());
    if (!parseNumber(text.substr(0, comma), values[i])) return 0;
    if (comma == text.size()) return i + 1;
    text.remove_prefix(comma + 1);
  }
  return 0;
}

WString listed(std::span<const WCHAR* const> names) {
  WString text;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i > 0) text += i + 1 == names.size() ? TEXT(" or ") : TEXT(", ");
    text += names[i];
  }
  return text;
}

bool takes(const JobWork& work, const WString& key) {
  const std::string word = encodeUtf8(key), list = std::string(" ") + work.options + " ";
  return list.find(" " + word + " ") != std::string::npos;
}

}  // namespace

HRESULT runWork(Session& session, const Step& step, std::span<const JobWork> works) {
  WString names;
  for (const JobWork& work : works) {
    names += names.empty() ? WString(work.name) : WString(TEXT(", ")) + work.name;
    if (step.words[1] != work.name) continue;
    const size_t count = step.words.size() - 2;
    if (count < work.fewest || count > work.most) {
      return session.fail(kInvalidArgument,
                          WString(TEXT("The files don't fit the work. Usage: ")) + work.usage);
    }
    for (const Option& option : step.options) {
      if (takes(work, option.key)) continue;
      return session.fail(kInvalidArgument,
                          TEXT("This work has no option ") + option.key + TEXT("=. Usage: ") + work.usage);
    }
    ImageJob job(session, step, 2);
    return work.run(job);
  }
  return session.fail(kInvalidArgument, TEXT("The work is one of ") + names + TEXT("."));
}

// ---- options ----------------------------------------------------------------------------------------------

bool JobRect::isWhole() const {
  return x == std::floor(x) && y == std::floor(y) && width == std::floor(width) &&
         height == std::floor(height);
}
RECT JobRect::pixels() const {
  return {static_cast<LONG>(x), static_cast<LONG>(y), static_cast<LONG>(x + width),
          static_cast<LONG>(y + height)};
}
RECT JobRect::fixed() const {
  const auto at = [](double v) { return static_cast<LONG>(std::lround(v * kFixedOne)); };
  return {at(x), at(y), at(x + width), at(y + height)};
}

bool ImageJob::isSet(WStringView key) const {
  const WString* value = step_.option(key);
  return value != nullptr && *value != TEXT("0");
}

HRESULT ImageJob::wrong(const WString& sentence) const {
  return session_.fail(kInvalidArgument, sentence);
}

HRESULT ImageJob::number(WStringView key, double lowest, double highest, double& value) const {
  const WString* text = step_.option(key);
  if (text == nullptr) return kOk;
  if (parseNumber(*text, value) && value >= lowest && value <= highest) return kOk;
  return wrong(WString(key) + TEXT("= takes a number from ") + Field(static_cast<int64_t>(lowest)).text +
               TEXT(" to ") + Field(static_cast<int64_t>(highest)).text + TEXT("."));
}

HRESULT ImageJob::integer(WStringView key, int64_t lowest, int64_t highest, int64_t& value) const {
  const WString* text = step_.option(key);
  if (text == nullptr) return kOk;
  if (parseInteger(*text, value) && value >= lowest && value <= highest) return kOk;
  return wrong(WString(key) + TEXT("= takes a whole number from ") + Field(lowest).text + TEXT(" to ") +
               Field(highest).text + TEXT("."));
}

HRESULT ImageJob::rect(WStringView key, JobRect& value) const {
  const WString* text = step_.option(key);
  if (text == nullptr) return kOk;
  double v[4];
  const bool read = parseList(*text, v, 4) == 4 && v[2] > 0 && v[3] > 0;
  if (!read || !std::all_of(v, v + 4, [](double n) { return std::abs(n) <= kFarthest; }) ||
      v[0] + v[2] > kFarthest || v[1] + v[3] > kFarthest) {
    return wrong(WString(key) + TEXT("= takes a rectangle, X,Y,WIDTH,HEIGHT, up to 131071."));
  }
  value = {v[0], v[1], v[2], v[3]};
  return kOk;
}

HRESULT ImageJob::colour(WStringView key, QVRGBAFLOAT& value) const {
  double alpha = value.alpha;
  if (const HRESULT status = number(TEXT("alpha"), 0, 1, alpha); FAILED(status)) return status;
  value.alpha = static_cast<float>(alpha);
  const WString* text = step_.option(key);
  if (text == nullptr) return kOk;
  const COLORREF colour = QvTextToColorref(text->c_str());
  if (colour == kUnreadableColor)
    return wrong(WString(key) + TEXT("= takes a colour, as #ff8000 or RGB(255,128,0)."));
  const auto channel = [&](int shift) { return static_cast<float>(colour >> shift & 255) / 255.0f; };
  value = {channel(16), channel(8), channel(0), value.alpha};
  return kOk;
}

HRESULT ImageJob::choice(WStringView key, std::span<const WCHAR* const> names, size_t& index) const {
  index = 0;
  const WString* text = step_.option(key);
  if (text == nullptr) return kOk;
  for (; index < names.size(); ++index) {
    if (*text == names[index]) return kOk;
  }
  return wrong(WString(key) + TEXT("= takes ") + listed(names) + TEXT("."));
}

// ---- pictures ---------------------------------------------------------------------------------------------

HRESULT ImageJob::read(size_t index, ImagePtr& image, WString* stored) {
  return readNamed(word(index), image, stored);
}

HRESULT ImageJob::readNamed(const WString& name, ImagePtr& image, WString* stored) {
  stage(0, name);
  const HRESULT status = readPicture(session_.inputPath(name), image, stored);
  stage(30, name);
  return FAILED(status) ? explainPicture(session_, status, name) : status;
}

HRESULT ImageJob::finishType(ImagePtr& image) const {
  const WString* name = step_.option(TEXT("type"));
  if (name == nullptr) return kOk;
  for (const TypeRow& row : kTypes) {
    if (*name != row.name) continue;
    if (row.type == QvGetPixelType(&image->bmiHeader)) return kOk;
    if (!isPaletteType(row.type)) return turnInto(row.type, image);
    return quantise(row.type == QVPT_PAL4 ? kSmallPalette : kFullPalette, row.type, image);
  }
  std::vector<const WCHAR*> names;
  for (const TypeRow& row : kTypes) names.push_back(row.name);
  return wrong(TEXT("type= takes ") + listed(names) + TEXT("."));
}

HRESULT ImageJob::write(size_t index, ImagePtr& image) {
  size_t rows = 0;
  constexpr const WCHAR* kOrders[] = {TEXT("bottom"), TEXT("top")};
  HRESULT status = choice(TEXT("rows"), kOrders, rows);
  if (FAILED(status)) return status;
  status = finishType(image);
  if (FAILED(status)) return status;
  stage(60, word(index));
  const BITMAPINFOHEADER* header = &image->bmiHeader;
  status = writePicture(session_.outputPath(word(index)), header, rows == 1);
  if (FAILED(status)) return explainPicture(session_, status, word(index));
  PictureKind kind;
  pictureKindOf(word(index), kind);
  session_.record({TEXT("image"), word(index), sizeText(header),
                   pixelTypeName(storedType(kind, QvGetPixelType(header)))});
  return kOk;
}

// ---- types ------------------------------------------------------------------------------------------------

const WCHAR* pixelTypeName(int32_t type) {
  const TypeRow* row = typeRow(type);
  return row != nullptr ? row->name : TEXT("unknown");
}

WString sizeText(const BITMAPINFOHEADER* image) {
  return Field(int32_t{image->biWidth}).text + TEXT("x") + Field(int32_t{image->biHeight}).text;
}

bool isPaletteType(int32_t type) {
  return type == QVPT_PAL4 || type == QVPT_PAL8;
}
bool isDeepType(int32_t type) {
  return typeRow(type)->deep;
}
int32_t colourType(int32_t type) {
  return typeRow(type)->colour;
}
int32_t smoothType(int32_t type) {
  return typeRow(type)->smooth;
}

HRESULT turnInto(int32_t type, ImagePtr& image) {
  if (QvGetPixelType(&image->bmiHeader) == type) return kOk;
  ImagePtr converted;
  const RGBQUAD blackAndWhite[] = {{0, 0, 0, 0}, {255, 255, 255, 0}};
  const HRESULT status = convertImage(&image->bmiHeader, type, converted, blackAndWhite);
  if (!FAILED(status)) image = std::move(converted);
  return status;
}

HRESULT turnIntoWorking(ImagePtr& image) {
  return turnInto(isDeepType(QvGetPixelType(&image->bmiHeader)) ? QVPT_RGBAF128 : QVPT_RGBA32, image);
}

HRESULT quantise(uint32_t colours, int32_t type, ImagePtr& image) {
  const std::vector<RGBQUAD> black(colours);
  ImagePtr out;
  const BITMAPINFOHEADER* from = &image->bmiHeader;
  HRESULT status =
      newImage(type, static_cast<uint32_t>(from->biWidth), static_cast<uint32_t>(from->biHeight), out, black);
  if (FAILED(status)) return status;
  status = QvDibQuantizePalette(&out->bmiHeader, from, nullptr, nullptr, 0, QVCOPY_QUALITY_SMOOTH);
  if (FAILED(status)) return status;
  status =
      QvDibCopy(&out->bmiHeader, nullptr, nullptr, 0, from, nullptr, nullptr, 0, QVCOPY_QUALITY_SMOOTH, 0, 0);
  if (!FAILED(status)) image = std::move(out);
  return status;
}

ValuesHeader valuesHeader(const BITMAPINFOHEADER* image) {
  ValuesHeader values = {*image, {}};
  if (image->biCompression == BI_BITFIELDS) memcpy(values.masks, image + 1, sizeof values.masks);
  const bool indices = image->biCompression == BI_RGB && image->biBitCount <= 8;
  if (indices) values.header.biCompression = QVFOURCC_QVGS;
  return values;
}

HRESULT newLike(const BITMAPINFOHEADER* image, uint32_t width, uint32_t height, ImagePtr& out) {
  return newImage(QvGetPixelType(image), width, height, out, imageColours(image));
}

}  // namespace qv::workbench
