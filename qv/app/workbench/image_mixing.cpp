// Two pictures in one: blend operators, and the fields of interlaced frames.
#include <algorithm>
#include <cmath>

#include "qv/app/workbench/image_job.h"
#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/interlace.h"
#include "qv/video/kernels.h"

namespace qv::workbench {
namespace {

constexpr double kFull = 65535;

// ---- blend ------------------------------------------------------------------------------------------------

// Codes that do what another does, or nothing, are reached by their number alone.
struct Operator {
  const WCHAR* name;
  int32_t code;
};
constexpr Operator kOperators[] = {
    {TEXT("mix"), 3},        {TEXT("replace"), 0},   {TEXT("over"), 1},      {TEXT("premultiplied"), 2},
    {TEXT("key"), 4},        {TEXT("key-mix"), 5},   {TEXT("key-shade"), 6}, {TEXT("shade"), 7},
    {TEXT("difference"), 8}, {TEXT("tint"), 11},     {TEXT("negative"), 12}, {TEXT("grey"), 13},
    {TEXT("key-add"), 14},   {TEXT("distance"), 15}, {TEXT("ramp"), 17},     {TEXT("add"), 19},
};
constexpr int32_t kLastOperator = 19;

HRESULT findOperator(const ImageJob& job, int32_t& code) {
  const WString text = job.option(TEXT("op"), kOperators[0].name);
  WString names;
  for (const Operator& each : kOperators) {
    code = each.code;
    if (text == each.name) return kOk;
    names += each.name + WString(TEXT(", "));
  }
  int64_t number = -1;
  if (!parseInteger(text, number) || number < 0 || number > kLastOperator) {
    return job.wrong(TEXT("op= takes ") + names + TEXT("or a number from 0 to 19."));
  }
  code = static_cast<int32_t>(number);
  return kOk;
}

uint16_t fraction(double value) {
  return static_cast<uint16_t>(std::lround(value * kFull));
}

HRESULT readRequest(const ImageJob& job, QvBlendRequest& request) {
  int32_t code = 0;
  double amount = 0.5, amount2 = 0.5, tolerance = 0.1;
  QVRGBAFLOAT key = {0, 0, 0, 1};
  HRESULT status = findOperator(job, code);
  if (!FAILED(status)) status = job.number(TEXT("amount"), 0, 1, amount);
  if (!FAILED(status)) status = job.number(TEXT("amount2"), 0, 1, amount2);
  if (!FAILED(status)) status = job.number(TEXT("tolerance"), 0, 3, tolerance);
  if (!FAILED(status)) status = job.colour(TEXT("key"), key);
  const uint16_t channels[] = {fraction(key.blue), fraction(key.green), fraction(key.red)};
  QvBlendRequest_Init(&request, code, channels, static_cast<uint32_t>(std::lround(tolerance * kFull)),
                      fraction(amount), fraction(amount2));
  return status;
}

bool sameSize(const ImagePtr& a, const ImagePtr& b) {
  return a->bmiHeader.biWidth == b->bmiHeader.biWidth && a->bmiHeader.biHeight == b->bmiHeader.biHeight;
}

HRESULT readPair(ImageJob& job, size_t first, ImagePtr& a, ImagePtr& b) {
  HRESULT status = job.read(first, a);
  if (!FAILED(status)) status = job.read(first + 1, b);
  return status;
}

bool hasAlpha(const ImagePtr& image) {
  const int32_t type = QvGetPixelType(&image->bmiHeader);
  return type == QVPT_RGBA32 || type == QVPT_RGBA64 || type == QVPT_RGB10A2;
}

}  // namespace

HRESULT blendImages(ImageJob& job) {
  QvBlendRequest request;
  HRESULT status = readRequest(job, request);
  ImagePtr a, b;
  if (!FAILED(status)) status = readPair(job, 0, a, b);
  if (FAILED(status)) return status;
  if (!sameSize(a, b)) return job.wrong(TEXT("The two pictures have to be of one size."));
  const bool deep = isDeepType(QvGetPixelType(&a->bmiHeader)) || isDeepType(QvGetPixelType(&b->bmiHeader));
  const bool alpha = hasAlpha(a) || hasAlpha(b);
  const int32_t type = deep ? QVPT_RGBA64 : QVPT_RGBA32;
  status = turnInto(type, a);
  if (!FAILED(status)) status = turnInto(type, b);
  QvXchgContext context;
  const uint32_t mode = (deep ? QVCOPY_QUALITY_BEST : QVCOPY_QUALITY_SMOOTH) | QVXCHG_ROUNDBLEND;
  if (!FAILED(status)) status = QvXCHGGetFunctionPointers(type, type, mode, &context, &request, 0, 0);
  for (int32_t y = 0; y < a->bmiHeader.biHeight && !FAILED(status); ++y) {
    status = QvXCHGBlendRow(&context, imageRow(&a->bmiHeader, y), imageRow(&b->bmiHeader, y),
                            a->bmiHeader.biWidth);
  }
  if (!FAILED(status) && !deep && !alpha) status = turnInto(QVPT_RGB24, a);
  if (FAILED(status)) return job.session().fail(status, TEXT("The pictures can't be blended so."));
  return job.write(2, a);
}

// ---- fields -----------------------------------------------------------------------------------------------

namespace {

// Field 0 is the rows at odd y, field 1 those at even y. One field of a frame is an image of its own: every
// second row, so the same pixels with twice the stride.
struct FieldView {
  ValuesHeader values;
  void* pixels;
  uint32_t stride;
};

FieldView fieldOf(const BITMAPINFOHEADER* frame, uint32_t field) {
  FieldView view = {valuesHeader(frame), nullptr, static_cast<uint32_t>(2 * imageRowBytes(frame))};
  const int32_t first = field == 0 ? 1 : 0;
  view.values.header.biHeight = (frame->biHeight - first + 1) / 2;
  if (view.values.header.biHeight > 0)
    view.pixels = imageRow(frame, first + 2 * (int64_t{view.values.header.biHeight} - 1));
  return view;
}

// A field in an image of its own, the one way or the other; both have the same type and size.
HRESULT copyField(const BITMAPINFOHEADER* whole, const FieldView& view, bool out) {
  const ValuesHeader values = valuesHeader(whole);
  void* pixels = imagePixels(whole);
  return out ? QvDibCopy(&values.header, pixels, nullptr, 0, &view.values.header, view.pixels, nullptr,
                         view.stride, QVCOPY_QUALITY_RAW, 0, 0)
             : QvDibCopy(&view.values.header, view.pixels, nullptr, static_cast<int32_t>(view.stride),
                         &values.header, pixels, nullptr, 0, QVCOPY_QUALITY_RAW, 0, 0);
}

HRESULT refused(const ImageJob& job, HRESULT status) {
  return job.session().fail(status, TEXT("The fields of such pictures can't be worked on."));
}

HRESULT split(ImageJob& job, uint32_t) {
  ImagePtr frame;
  HRESULT status = job.read(1, frame);
  if (FAILED(status)) return status;
  if (frame->bmiHeader.biHeight < 2) return job.wrong(TEXT("A picture of one row has no two fields."));
  for (uint32_t field = 0; field < 2; ++field) {
    const FieldView view = fieldOf(&frame->bmiHeader, field);
    ImagePtr out;
    status = newLike(&frame->bmiHeader, static_cast<uint32_t>(view.values.header.biWidth),
                     static_cast<uint32_t>(view.values.header.biHeight), out);
    if (!FAILED(status)) status = copyField(&out->bmiHeader, view, true);
    if (FAILED(status)) return refused(job, status);
    if (status = job.write(2 + field, out); FAILED(status)) return status;
  }
  return kOk;
}

HRESULT weave(ImageJob& job, uint32_t) {
  ImagePtr fields[2], frame;
  HRESULT status = readPair(job, 1, fields[0], fields[1]);
  if (FAILED(status)) return status;
  const BITMAPINFOHEADER& odd = fields[0]->bmiHeader;
  const BITMAPINFOHEADER& even = fields[1]->bmiHeader;
  const int32_t longer = even.biHeight - odd.biHeight;
  if (odd.biWidth != even.biWidth || QvGetPixelType(&odd) != QvGetPixelType(&even) || longer < 0 ||
      longer > 1) {
    return job.wrong(TEXT("The two fields have to be of one type and size; the second may have a row more."));
  }
  status = newLike(&even, static_cast<uint32_t>(even.biWidth),
                   static_cast<uint32_t>(odd.biHeight) + static_cast<uint32_t>(even.biHeight), frame);
  for (uint32_t field = 0; field < 2 && !FAILED(status); ++field) {
    status = copyField(&fields[field]->bmiHeader, fieldOf(&frame->bmiHeader, field), false);
  }
  return FAILED(status) ? refused(job, status) : job.write(3, frame);
}

template <bool Rotated>
HRESULT merge(ImageJob& job, uint32_t field) {
  ImagePtr a, b;
  HRESULT status = readPair(job, 1, a, b);
  if (FAILED(status)) return status;
  if (!sameSize(a, b)) return job.wrong(TEXT("The two pictures have to be of one size."));
  const int32_t type = QvGetPixelType(&a->bmiHeader);
  // Columns are moved as pixels of 32 bits; rows as they are, unless the two pictures differ in type or
  // colours.
  const bool alike = type == QvGetPixelType(&b->bmiHeader) && type >= QVPT_RGB555;
  if (Rotated || !alike) {
    status = turnInto(QVPT_RGBA32, a);
    if (!FAILED(status)) status = turnInto(QVPT_RGBA32, b);
  }
  if (!FAILED(status))
    status = (Rotated ? QvDibMergeFieldsRotated : QvDibMergeFields)(&a->bmiHeader, nullptr, 0, &b->bmiHeader,
                                                                    nullptr, 0, field);
  return FAILED(status) ? refused(job, status) : job.write(3, a);
}

HRESULT deinterlace(ImageJob& job, uint32_t field) {
  ImagePtr image;
  HRESULT status = job.read(1, image);
  if (FAILED(status)) return status;
  const int32_t type = smoothType(QvGetPixelType(&image->bmiHeader));
  ImagePtr out;
  status = turnInto(type, image);
  if (!FAILED(status)) {
    status = newLike(&image->bmiHeader, static_cast<uint32_t>(image->bmiHeader.biWidth),
                     static_cast<uint32_t>(image->bmiHeader.biHeight), out);
  }
  if (!FAILED(status)) {
    status = QvDibCopyInterlace(&out->bmiHeader, nullptr, nullptr, 0, &image->bmiHeader, nullptr, nullptr, 0,
                                field, QVCOPY_QUALITY_SMOOTH);
  }
  return FAILED(status) ? refused(job, status) : job.write(2, out);
}

struct FieldWork {
  const WCHAR* name;
  size_t pictures;
  HRESULT (*run)(ImageJob& job, uint32_t field);
};
constexpr FieldWork kFieldWorks[] = {
    {TEXT("split"), 3, split},
    {TEXT("weave"), 3, weave},
    {TEXT("merge"), 3, merge<false>},
    {TEXT("merge-rotated"), 3, merge<true>},
    {TEXT("deinterlace"), 2, deinterlace},
};

}  // namespace

HRESULT workOnFields(ImageJob& job) {
  int64_t field = 0;
  if (const HRESULT status = job.integer(TEXT("field"), 0, 1, field); FAILED(status)) return status;
  for (const FieldWork& work : kFieldWorks) {
    if (job.word(0) != work.name) continue;
    if (!job.hasWord(work.pictures) || job.hasWord(work.pictures + 1)) break;
    return work.run(job, static_cast<uint32_t>(field));
  }
  return job.wrong(TEXT(
      "fields takes split IN OUT0 OUT1, weave IN0 IN1 OUT, merge or merge-rotated A B OUT, or deinterlace IN "
      "OUT."));
}

}  // namespace qv::workbench
