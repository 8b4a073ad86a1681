// image: pictures converted, copied, scaled, flipped, filled, faded, feathered and given fewer colours.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "qv/app/workbench/image_job.h"
#include "qv/app/workbench/verbs.h"
#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/kernels.h"
#include "qv/video/scale.h"

namespace qv::workbench {
namespace {

constexpr int64_t kMaxSide = 131071;

HRESULT failed(const ImageJob& job, HRESULT status) {
  return job.session().fail(status, TEXT("The toolkit refused the pictures' types or rectangles."));
}

// ---- info, convert, quantise ------------------------------------------------------------------------------

HRESULT showInfo(ImageJob& job) {
  ImagePtr image;
  WString stored;
  if (const HRESULT status = job.read(0, image, &stored); FAILED(status)) return status;
  const BITMAPINFOHEADER* header = &image->bmiHeader;
  const int32_t type = QvGetPixelType(header);
  const auto show = [&](const WCHAR* what, Field value) {
    job.session().record({TEXT("image"), what, value});
  };
  show(TEXT("file"), stored);
  show(TEXT("size"), sizeText(header));
  show(TEXT("type"), pixelTypeName(type));
  show(TEXT("bits"), uint32_t{header->biBitCount});
  show(TEXT("bytes"), uint32_t{header->biSizeImage});
  if (isPaletteType(type)) show(TEXT("colours"), static_cast<int64_t>(imageColours(header).size()));
  return kOk;
}

HRESULT convert(ImageJob& job) {
  ImagePtr image;
  const HRESULT status = job.read(0, image);
  return FAILED(status) ? status : job.write(1, image);
}

HRESULT reduceColours(ImageJob& job) {
  constexpr int64_t kMost = 256, kOfSmall = 16;
  int64_t colours = kMost;
  HRESULT status = job.integer(TEXT("colours"), 2, kMost, colours);
  if (FAILED(status)) return status;
  ImagePtr image;
  status = job.read(0, image);
  if (FAILED(status)) return status;
  status = quantise(static_cast<uint32_t>(colours), colours <= kOfSmall ? QVPT_PAL4 : QVPT_PAL8, image);
  return FAILED(status) ? failed(job, status) : job.write(1, image);
}

// ---- copy and feather -------------------------------------------------------------------------------------

struct CopyPlan {
  JobRect from, to;
  bool hasFrom = false, hasTo = false;
  uint32_t flags = QVCOPY_QUALITY_BEST;
  double gamma[2] = {0, 0};  // of the source and of the target
};

constexpr const WCHAR* kMethods[] = {TEXT("bilinear"), TEXT("bicubic"), TEXT("area"), TEXT("area-bicubic"),
                                     TEXT("nearest")};
constexpr uint32_t kMethodFlags[] = {
    QVCOPY_QUALITY_BEST, QVCOPY_QUALITY_BEST | QVCOPY_BICUBIC, QVCOPY_QUALITY_BEST | QVCOPY_AREA,
    QVCOPY_QUALITY_BEST | QVCOPY_AREA | QVCOPY_BICUBIC, QVCOPY_QUALITY_NEAREST};

HRESULT readEdges(const ImageJob& job, uint32_t& flags) {
  struct Edge {
    WCHAR letter;
    uint32_t flag;
  };
  constexpr Edge kEdges[] = {{'l', QVCOPY_FEATHER_LEFT},
                             {'t', QVCOPY_FEATHER_TOP},
                             {'r', QVCOPY_FEATHER_RIGHT},
                             {'b', QVCOPY_FEATHER_BOTTOM}};
  for (const WCHAR c : job.option(TEXT("edges"), TEXT("ltrb"))) {
    const auto* edge =
        std::find_if(std::begin(kEdges), std::end(kEdges), [&](const Edge& e) { return e.letter == c; });
    if (edge == std::end(kEdges)) return job.wrong(TEXT("edges= takes the letters l, t, r and b."));
    flags |= edge->flag;
  }
  return kOk;
}

HRESULT readPlan(const ImageJob& job, CopyPlan& plan) {
  size_t method = 0;
  int64_t width = 0;
  HRESULT status = job.rect(TEXT("from"), plan.from);
  if (!FAILED(status)) status = job.rect(TEXT("to"), plan.to);
  if (!FAILED(status)) status = job.choice(TEXT("method"), kMethods, method);
  if (!FAILED(status)) status = job.number(TEXT("from-gamma"), 0, 4, plan.gamma[0]);
  if (!FAILED(status)) status = job.number(TEXT("to-gamma"), 0, 4, plan.gamma[1]);
  if (!FAILED(status)) status = job.integer(TEXT("width"), 1, 255, width);
  plan.hasFrom = job.has(TEXT("from"));
  plan.hasTo = job.has(TEXT("to"));
  plan.flags = kMethodFlags[std::min(method, std::size(kMethods) - 1)] | static_cast<uint32_t>(width) << 16;
  if (FAILED(status) || width == 0) return status;
  return readEdges(job, plan.flags);
}

// What overhangs the picture is left out.
HRESULT readSource(ImageJob& job, CopyPlan& plan, ImagePtr& source) {
  const HRESULT status = job.read(0, source);
  if (FAILED(status) || !plan.hasFrom) return status;
  JobRect& from = plan.from;
  const double right = std::min<double>(from.x + from.width, source->bmiHeader.biWidth);
  const double bottom = std::min<double>(from.y + from.height, source->bmiHeader.biHeight);
  from.x = std::max(from.x, 0.0);
  from.y = std::max(from.y, 0.0);
  if (from.x >= right || from.y >= bottom) return job.wrong(TEXT("from= lies outside the picture."));
  from.width = right - from.x;
  from.height = bottom - from.y;
  return status;
}

// Where a copy lands: on another picture, on a plain one of the option's colour, or on nothing, which makes a
// picture of the copied size.
HRESULT prepareTarget(ImageJob& job, const BITMAPINFOHEADER* source, const CopyPlan& plan, ImagePtr& target) {
  if (job.has(TEXT("onto"))) return job.readNamed(job.option(TEXT("onto"), {}), target);
  JobRect size = {0, 0, static_cast<double>(source->biWidth), static_cast<double>(source->biHeight)};
  if (plan.hasFrom) size = plan.from;
  if (plan.hasTo) size = {0, 0, plan.to.x + plan.to.width, plan.to.y + plan.to.height};
  const auto side = [](double v) { return static_cast<uint32_t>(std::max(1.0, std::ceil(v))); };
  HRESULT status = newLike(source, side(size.width), side(size.height), target);
  if (FAILED(status)) return explainPicture(job.session(), status, job.word(0));
  QVRGBAFLOAT ground = {0, 0, 0, 1};
  status = job.colour(TEXT("colour"), ground);
  if (FAILED(status)) return status;
  return QvDibFillRect(&target->bmiHeader, nullptr, nullptr, 0, &ground, 0);
}

// Palettes are written through a table of 5 bits a channel; colours that have to be mixed want more than
// that, and so do another picture's colours, and a gamma, which only floats carry.
HRESULT chooseTypes(const ImageJob& job, const CopyPlan& plan, ImagePtr& source, ImagePtr& target) {
  if (plan.gamma[0] != 0 || plan.gamma[1] != 0) return turnInto(QVPT_RGBAF128, target);
  if (plan.hasTo || !plan.from.isWhole()) {
    const HRESULT status = turnIntoWorking(source);
    return FAILED(status) ? status : turnIntoWorking(target);
  }
  return job.has(TEXT("onto")) ? turnInto(colourType(QvGetPixelType(&target->bmiHeader)), target) : kOk;
}

HRESULT runCopy(const CopyPlan& plan, const BITMAPINFOHEADER* source, const BITMAPINFOHEADER* target) {
  const bool fractions = !plan.from.isWhole() || !plan.to.isWhole();
  const RECT from = fractions ? plan.from.fixed() : plan.from.pixels();
  const RECT to = fractions ? plan.to.fixed() : plan.to.pixels();
  const uint32_t flags = plan.flags | (fractions ? QVCOPY_SUBPIXEL : 0);
  const RECT *targetRect = plan.hasTo ? &to : nullptr, *sourceRect = plan.hasFrom ? &from : nullptr;
  if (QvGetPixelType(source) != QvGetPixelType(target)) {
    return QvDibCopy(target, nullptr, targetRect, 0, source, nullptr, sourceRect, 0, flags, plan.gamma[1],
                     plan.gamma[0]);
  }
  const ValuesHeader values[] = {valuesHeader(target), valuesHeader(source)};
  return QvDibCopy(&values[0].header, imagePixels(target), targetRect, 0, &values[1].header,
                   imagePixels(source), sourceRect, 0, flags, plan.gamma[1], plan.gamma[0]);
}

HRESULT copy(ImageJob& job) {
  CopyPlan plan;
  HRESULT status = readPlan(job, plan);
  if (FAILED(status)) return status;
  ImagePtr source, target;
  status = readSource(job, plan, source);
  if (FAILED(status)) return status;
  status = prepareTarget(job, &source->bmiHeader, plan, target);
  if (FAILED(status)) return status;
  const int32_t before = QvGetPixelType(&target->bmiHeader);
  status = chooseTypes(job, plan, source, target);
  if (FAILED(status)) return failed(job, status);
  status = runCopy(plan, &source->bmiHeader, &target->bmiHeader);
  if (FAILED(status)) return failed(job, status);
  if (QvGetPixelType(&target->bmiHeader) != before) {
    const int32_t after = job.has(TEXT("onto")) ? colourType(before) : smoothType(before);
    status = turnInto(after, target);
    if (FAILED(status)) return failed(job, status);
  }
  return job.write(1, target);
}

// The scaler knows no soft edges, so a picture is brought to its size first.
HRESULT fitSource(const CopyPlan& plan, ImagePtr& source) {
  const RECT from = plan.from.pixels();
  ImagePtr fitted;
  HRESULT status = turnIntoWorking(source);
  if (FAILED(status)) return status;
  const JobRect& size = plan.hasTo ? plan.to : plan.from;
  status = newLike(&source->bmiHeader, static_cast<uint32_t>(size.width), static_cast<uint32_t>(size.height),
                   fitted);
  if (FAILED(status)) return status;
  status =
      QvDibCopy(&fitted->bmiHeader, nullptr, nullptr, 0, &source->bmiHeader, nullptr,
                plan.hasFrom ? &from : nullptr, 0, plan.flags & ~(QVCOPY_FEATHER_EDGES | 0xff0000u), 0, 0);
  if (!FAILED(status)) source = std::move(fitted);
  return status;
}

HRESULT feather(ImageJob& job) {
  CopyPlan plan;
  if (!job.has(TEXT("width"))) return job.wrong(TEXT("feather takes width=, 1 to 255 pixels."));
  HRESULT status = readPlan(job, plan);
  if (FAILED(status)) return status;
  if (!plan.from.isWhole() || !plan.to.isWhole())
    return job.wrong(TEXT("feather takes rectangles of whole pixels."));
  ImagePtr source, target;
  status = readSource(job, plan, source);
  if (FAILED(status)) return status;
  status = prepareTarget(job, &source->bmiHeader, plan, target);
  if (FAILED(status)) return status;
  const int32_t after = colourType(QvGetPixelType(&target->bmiHeader));
  if (plan.hasFrom || plan.hasTo) status = fitSource(plan, source);
  plan.hasFrom = false;
  if (!FAILED(status)) status = turnIntoWorking(target);
  if (!FAILED(status)) status = turnInto(QvGetPixelType(&target->bmiHeader), source);
  if (!FAILED(status)) status = runCopy(plan, &source->bmiHeader, &target->bmiHeader);
  if (!FAILED(status)) status = turnInto(after, target);
  return FAILED(status) ? failed(job, status) : job.write(1, target);
}

// ---- scale ------------------------------------------------------------------------------------------------

// "320x180", or "50%" of both sides.
bool parseSize(const WString& text, const BITMAPINFOHEADER* image, SIZE& size) {
  int64_t width = 0, height = 0;
  if (!text.empty() && text.back() == '%') {
    double percent = 0;
    if (!parseNumber(text.substr(0, text.size() - 1), percent) || percent <= 0 || percent > 100000)
      return false;
    width = std::max<int64_t>(1, std::llround(image->biWidth * percent / 100));
    height = std::max<int64_t>(1, std::llround(image->biHeight * percent / 100));
  } else if (!parsePair(text, width, height)) {
    return false;
  }
  size = {static_cast<LONG>(width), static_cast<LONG>(height)};
  return width >= 1 && height >= 1 && width <= kMaxSide && height <= kMaxSide;
}

HRESULT runScaler(const BITMAPINFOHEADER* from, const BITMAPINFOHEADER* to, uint32_t flags) {
  const SIZE target = {to->biWidth, to->biHeight}, source = {from->biWidth, from->biHeight};
  const auto scaler = (flags & QVCOPY_BICUBIC) != 0 ? QvDibScale_BiCubic : QvDibScale_Bilinear;
  return scaler(imageRow(to, 0), &target, -static_cast<int32_t>(imageRowBytes(to)), nullptr,
                imageRow(from, 0), &source, -static_cast<int32_t>(imageRowBytes(from)), nullptr,
                from->biBitCount / 8u, (flags & QVCOPY_AREA) != 0, 0);
}

// The nearest pixel needs no mixing, so types and palettes stay as they are.
HRESULT takeNearest(const BITMAPINFOHEADER* from, const BITMAPINFOHEADER* to) {
  const ValuesHeader source = valuesHeader(from), target = valuesHeader(to);
  return QvDibCopy(&target.header, imagePixels(to), nullptr, 0, &source.header, imagePixels(from), nullptr, 0,
                   QVCOPY_QUALITY_NEAREST, 0, 0);
}

HRESULT scale(ImageJob& job) {
  size_t method = 0;
  HRESULT status = job.choice(TEXT("method"), kMethods, method);
  if (FAILED(status)) return status;
  ImagePtr image, scaled;
  status = job.read(0, image);
  if (FAILED(status)) return status;
  SIZE size = {};
  if (!parseSize(job.option(TEXT("size"), {}), &image->bmiHeader, size)) {
    return job.wrong(TEXT("scale takes size=, as 320x180 or 50%, up to 131071 pixels a side."));
  }
  const bool nearest = kMethodFlags[method] == QVCOPY_QUALITY_NEAREST;
  const int32_t type = QvGetPixelType(&image->bmiHeader);
  if (!nearest) status = turnIntoWorking(image);
  if (!FAILED(status)) {
    status =
        newLike(&image->bmiHeader, static_cast<uint32_t>(size.cx), static_cast<uint32_t>(size.cy), scaled);
  }
  if (FAILED(status)) return explainPicture(job.session(), status, job.word(0));
  job.stage(40, job.word(0));
  status = nearest ? takeNearest(&image->bmiHeader, &scaled->bmiHeader)
                   : runScaler(&image->bmiHeader, &scaled->bmiHeader, kMethodFlags[method]);
  if (!FAILED(status) && !nearest) status = turnInto(smoothType(type), scaled);
  return FAILED(status) ? failed(job, status) : job.write(1, scaled);
}

// ---- flip, fill, fade -------------------------------------------------------------------------------------

// Mirrors rows of types that the flip doesn't take: a row is read pixel by pixel and written from its end.
HRESULT mirrorRows(const BITMAPINFOHEADER* image) {
  const ValuesHeader values = valuesHeader(image);
  const int32_t type = QvGetPixelType(&values.header);
  QvXchgContext context;
  const HRESULT status =
      QvXCHGGetFunctionPointers(type, type, QVCOPY_QUALITY_SMOOTH, &context, nullptr, 0, 0);
  if (FAILED(status)) return status;
  const size_t width = static_cast<size_t>(image->biWidth);
  std::vector<uint8_t> pixels(width * sizeof context.pivot.floats[0]);
  constexpr size_t kOne = sizeof context.pivot.floats[0];
  for (int32_t y = 0; y < image->biHeight; ++y) {
    context.readPtr = context.writePtr = imageRow(image, y);
    context.readBit = context.writeBit = 0;
    for (size_t x = width; x-- > 0;) {
      context.read1(&context);
      memcpy(&pixels[x * kOne], &context.pivot, kOne);
    }
    for (size_t x = 0; x < width; ++x) {
      memcpy(&context.pivot, &pixels[x * kOne], kOne);
      context.write1(&context);
    }
  }
  return kOk;
}

// The toolkit's flip takes whole rows of types 23 to 33; a header of bytes stands for all the others.
HRESULT flipRows(const BITMAPINFOHEADER* image) {
  BITMAPINFOHEADER bytes = *image;
  bytes.biCompression = BI_RGB;
  bytes.biBitCount = 8;
  bytes.biWidth = static_cast<LONG>(imageRowBytes(image));
  return QvDibFlip(&bytes, imagePixels(image), nullptr, static_cast<uint32_t>(imageRowBytes(image)), 0, 1);
}

HRESULT flip(ImageJob& job) {
  constexpr const WCHAR* kWays[] = {TEXT("h"), TEXT("v"), TEXT("hv")};
  size_t way = 0;
  HRESULT status = job.choice(TEXT("way"), kWays, way);
  if (FAILED(status)) return status;
  ImagePtr image;
  status = job.read(0, image);
  if (FAILED(status)) return status;
  const BITMAPINFOHEADER* header = &image->bmiHeader;
  const int32_t type = QvGetPixelType(header);
  const bool plain = type == QVPT_RGB24 || type == QVPT_RGB32 || type == QVPT_RGBA32;
  if (plain) {
    status = QvDibFlip(header, nullptr, nullptr, 0, way != 1, way != 0);
  } else {
    if (way != 0) status = flipRows(header);
    if (!FAILED(status) && way != 1) status = mirrorRows(header);
  }
  return FAILED(status) ? failed(job, status) : job.write(1, image);
}

HRESULT fill(ImageJob& job) {
  QVRGBAFLOAT colour = {0, 0, 0, 1};
  JobRect rect;
  HRESULT status = job.colour(TEXT("colour"), colour);
  if (!FAILED(status)) status = job.rect(TEXT("rect"), rect);
  ImagePtr image;
  if (!FAILED(status)) status = job.read(0, image);
  if (FAILED(status)) return status;
  const RECT pixels = rect.pixels();
  status = QvDibFillRect(&image->bmiHeader, nullptr, job.has(TEXT("rect")) ? &pixels : nullptr, 0, &colour,
                         QVCOPY_QUALITY_BEST);
  return FAILED(status) ? failed(job, status) : job.write(1, image);
}

HRESULT fade(ImageJob& job) {
  QVRGBAFLOAT colour = {0, 0, 0, 1};
  JobRect rect;
  double amount = 0.5;
  HRESULT status = job.colour(TEXT("colour"), colour);
  if (!FAILED(status)) status = job.rect(TEXT("rect"), rect);
  if (!FAILED(status)) status = job.number(TEXT("amount"), 0, 1, amount);
  ImagePtr image;
  if (!FAILED(status)) status = job.read(0, image);
  if (FAILED(status)) return status;
  const int32_t type = QvGetPixelType(&image->bmiHeader);
  status = turnIntoWorking(image);
  if (FAILED(status)) return failed(job, status);
  const RECT place = rect.fixed();
  status = QvDibFadeToColor(&image->bmiHeader, nullptr, job.has(TEXT("rect")) ? &place : nullptr, 0, &colour,
                            static_cast<float>(amount), job.isSet(TEXT("keep-alpha")), QVCOPY_SUBPIXEL);
  if (!FAILED(status)) status = turnInto(colourType(type), image);
  return FAILED(status) ? failed(job, status) : job.write(1, image);
}

// ---- the verb ---------------------------------------------------------------------------------------------

constexpr JobWork kWorks[] = {
    {TEXT("info"), 1, 1, "", showInfo, TEXT("image info IN")},
    {TEXT("convert"), 2, 2, "type rows", convert, TEXT("image convert IN OUT [type=TYPE] [rows=top]")},
    {TEXT("copy"), 2, 2, "type rows from to onto method colour alpha from-gamma to-gamma", copy,
     TEXT("image copy IN OUT [from=X,Y,W,H] [to=X,Y,W,H] [onto=PICTURE] [method=M] [from-gamma=G] "
          "[to-gamma=G]")},
    {TEXT("scale"), 2, 2, "type rows size method", scale,
     TEXT("image scale IN OUT size=WxH|N% [method=bilinear|bicubic|area|area-bicubic|nearest]")},
    {TEXT("flip"), 2, 2, "type rows way", flip, TEXT("image flip IN OUT [way=h|v|hv]")},
    {TEXT("fill"), 2, 2, "type rows colour alpha rect", fill,
     TEXT("image fill IN OUT colour=#rrggbb [alpha=A] [rect=X,Y,W,H]")},
    {TEXT("fade"), 2, 2, "type rows colour alpha rect amount keep-alpha", fade,
     TEXT("image fade IN OUT [amount=0.5] [colour=#rrggbb] [alpha=A] [rect=X,Y,W,H] [keep-alpha=1]")},
    {TEXT("feather"), 2, 2, "type rows from to onto method colour alpha width edges", feather,
     TEXT("image feather IN OUT width=N [edges=ltrb] [onto=PICTURE] [from=X,Y,W,H] [to=X,Y,W,H]")},
    {TEXT("blend"), 3, 3, "type rows op amount amount2 key tolerance", blendImages,
     TEXT("image blend A B OUT [op=NAME] [amount=0.5] [amount2=0.5] [key=#rrggbb] [tolerance=0.1]")},
    {TEXT("legal"), 1, 2, "type rows standard fix colour", checkLegal,
     TEXT("image legal IN [OUT] [standard=ntsc|ntsc-yuv|pal] [fix=1] [colour=#rrggbb]")},
    {TEXT("quantise"), 2, 2, "rows colours", reduceColours, TEXT("image quantise IN OUT [colours=256]")},
    {TEXT("yuv"), 2, 2, "type rows layout matrix back interlaced", goThroughYuv,
     TEXT("image yuv IN OUT [layout=NV12] [matrix=709|601|2020] [back=709|601|2020] [interlaced=1]")},
    {TEXT("fields"), 3, 4, "type rows field", workOnFields,
     TEXT("image fields split IN OUT0 OUT1 | weave IN0 IN1 OUT | merge|merge-rotated A B OUT [field=0] | "
          "deinterlace IN OUT [field=0]")},
};

HRESULT runImage(Session& session, const Step& step) {
  return runWork(session, step, kWorks);
}

constexpr Verb kVerbs[] = {
    {"image",
     "info|convert|copy|scale|flip|fill|fade|feather|blend|legal|quantise|yuv|fields IN... OUT "
     "[OPTION=VALUE]...",
     2, 5,
     "type rows from to onto method colour alpha from-gamma to-gamma width edges size way rect amount "
     "keep-alpha "
     "op amount2 key tolerance standard fix colours layout matrix back interlaced field",
     runImage},
};

}  // namespace

std::span<const Verb> imageVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
