// frames: clips looked at, converted, deinterlaced, and single frames or a sheet of them taken out as
// pictures.
#include <algorithm>
#include <cmath>

#include "qv/app/workbench/clip_file.h"
#include "qv/app/workbench/image_job.h"
#include "qv/app/workbench/picture.h"
#include "qv/app/workbench/verbs.h"
#include "qv/core/printf.h"
#include "qv/frame/status.h"
#include "qv/video/copy.h"
#include "qv/video/interlace.h"
#include "qv/video/yuv.h"

namespace qv::workbench {
namespace {

constexpr const WCHAR* kMatrices[] = {TEXT("size"), TEXT("601"), TEXT("709"), TEXT("2020")};
constexpr int64_t kMaxSide = 65535;

// A clip that is read, with the count of its frames for the progress display.
struct OpenClip {
  ClipFile file;
  ClipReader reader;
  ImagePtr frame;
  uint64_t frames = 0, rest = 0, done = 0;
  const ClipFormat& format() const { return reader.format(); }
};

HRESULT explain(const ImageJob& job, HRESULT status, const WString& name) {
  if (status == kBadFormat)
    return job.session().fail(status, TEXT("This is no clip that can be read: ") + name);
  if (status == kUnsupported)
    return job.session().fail(status, TEXT("Clips of this colour space can't be read: ") + name);
  return job.session().fail(status, name);
}

HRESULT openClip(ImageJob& job, OpenClip& clip) {
  const ClipName name = splitClipName(job.word(0));
  HRESULT status = clip.file.open(job.session().inputPath(name.path));
  if (!FAILED(status)) status = clip.reader.open(clip.file, name.raw);
  if (!FAILED(status)) status = clip.reader.count(clip.frames, clip.rest);
  return FAILED(status) ? explain(job, status, job.word(0)) : kOk;
}

// kNothing behind the last whole frame: what is left behind it is `info`'s to tell.
HRESULT nextFrame(ImageJob& job, OpenClip& clip) {
  if (clip.done == clip.frames) return kNothing;
  job.stage(100.0 * static_cast<double>(clip.done) / static_cast<double>(clip.frames), job.word(0));
  const HRESULT status = clip.reader.next(clip.frame);
  ++clip.done;
  return FAILED(status) ? explain(job, status, job.word(0)) : status;
}

HRESULT skipTo(ImageJob& job, OpenClip& clip, uint64_t frame) {
  for (; clip.done < frame; ++clip.done) {
    if (const HRESULT status = clip.reader.skip(); status != kOk) return explain(job, status, job.word(0));
  }
  return kOk;
}

WString sizeOf(const ClipFormat& format) {
  return Field(format.width).text + TEXT("x") + Field(format.height).text;
}

WString rateOf(const ClipFormat& format) {
  if (format.rate == 0) return TEXT("unknown");
  return Field(format.rate).text + (format.scale == 1 ? WString() : TEXT("/") + Field(format.scale).text);
}

// "0:01:02.480", from the clip's start.
WString timeOf(const ClipFormat& format, uint64_t frame) {
  if (format.rate == 0) return TEXT("unknown");
  const auto milliseconds =
      static_cast<uint64_t>(std::llround(1000.0 * static_cast<double>(frame) * format.scale / format.rate));
  const uint64_t seconds = milliseconds / 1000;
  WCHAR text[48];
  QvCchPrintF(text, 48, nullptr, TEXT("%u:%02u:%02u.%03u"), static_cast<uint32_t>(seconds / 3600),
              static_cast<uint32_t>(seconds / 60 % 60), static_cast<uint32_t>(seconds % 60),
              static_cast<uint32_t>(milliseconds % 1000));
  return text;
}

const WCHAR* scanName(char scan) {
  switch (scan) {
    case 'p':
      return TEXT("progressive");
    case 't':
      return TEXT("interlaced, top field first");
    case 'b':
      return TEXT("interlaced, bottom field first");
    case 'm':
      return TEXT("mixed");
    default:
      return TEXT("unknown");
  }
}

bool isInterlaced(const ClipFormat& format) {
  return format.scan == 't' || format.scan == 'b';
}

// ---- info -------------------------------------------------------------------------------------------------

HRESULT showInfo(ImageJob& job) {
  OpenClip clip;
  if (const HRESULT status = openClip(job, clip); FAILED(status)) return status;
  const ClipFormat& format = clip.format();
  const auto show = [&](const WCHAR* what, Field value) {
    job.session().record({TEXT("frames"), what, value});
  };
  show(TEXT("file"), format.stored);
  show(TEXT("size"), sizeOf(format));
  show(TEXT("layout"), layoutName(format.layout));
  show(TEXT("rate"), rateOf(format));
  show(TEXT("scan"), scanName(format.scan));
  show(TEXT("frames"), static_cast<int64_t>(clip.frames));
  show(TEXT("length"), timeOf(format, clip.frames));
  if (clip.rest > 0) show(TEXT("left over"), static_cast<int64_t>(clip.rest));
  return kOk;
}

// ---- between frames and pictures --------------------------------------------------------------------------

HRESULT pictureOf(const ImagePtr& frame, const QVYUVPARAMS& parameters, ImagePtr& picture) {
  const HRESULT status = newImage(QVPT_RGBAF128, static_cast<uint32_t>(frame->bmiHeader.biWidth),
                                  static_cast<uint32_t>(frame->bmiHeader.biHeight), picture);
  return FAILED(status) ? status : frameToPicture(frame, parameters, &picture->bmiHeader);
}

HRESULT resize(uint32_t width, uint32_t height, ImagePtr& picture) {
  const BITMAPINFOHEADER* header = &picture->bmiHeader;
  if (static_cast<uint32_t>(header->biWidth) == width && static_cast<uint32_t>(header->biHeight) == height)
    return kOk;
  ImagePtr out;
  HRESULT status = newImage(QVPT_RGBAF128, width, height, out);
  const bool smaller = static_cast<uint32_t>(header->biWidth) > width;
  if (!FAILED(status)) {
    status =
        QvDibCopy(&out->bmiHeader, nullptr, nullptr, 0, header, nullptr, nullptr, 0,
                  QVCOPY_QUALITY_BEST | (smaller ? QVCOPY_AREA : QVCOPY_BICUBIC), kFrameGamma, kFrameGamma);
  }
  if (!FAILED(status)) picture = std::move(out);
  return status;
}

// ---- convert ----------------------------------------------------------------------------------------------

using Repack = HRESULT (*)(const BITMAPINFOHEADER*, void*, const QVYUVPLANES*, const BITMAPINFOHEADER*,
                           const void*, const QVYUVPLANES*);
struct RepackRow {
  int32_t from, to;
  Repack repack;
};
// Samples that only change their places, or lose their low bits.
constexpr RepackRow kRepacks[] = {
    {QVPT_I420, QVPT_NV12, QvYUV_I420_To_NV12}, {QVPT_I420, QVPT_YV12, QvYUV_I420_To_YV12},
    {QVPT_NV12, QVPT_I420, QvYUV_NV12_To_I420}, {QVPT_YV12, QVPT_I420, QvYUV_YV12_To_I420},
    {QVPT_P210, QVPT_v210, QvYUV_P210_To_v210}, {QVPT_v210, QVPT_P210, QvYUV_v210_To_P210},
    {QVPT_P010, QVPT_I420, QvYUV_P010_To_I420}, {QVPT_P210, QVPT_I420, QvYUV_P210_To_I420},
    {QVPT_P410, QVPT_I420, QvYUV_P410_To_I420},
};

struct Conversion {
  ClipFormat to;
  QVYUVPARAMS decode, encode;
  Repack repack = nullptr;
  bool same = false;
};

HRESULT readSize(const ImageJob& job, ClipFormat& format) {
  if (!job.has(TEXT("size"))) return kOk;
  int64_t width = 0, height = 0;
  if (!parsePair(job.option(TEXT("size"), {}), width, height) || width < 1 || width > kMaxSide ||
      height < 1 || height > kMaxSide) {
    return job.wrong(TEXT("size= takes WIDTHxHEIGHT, from 1 to 65535."));
  }
  format.width = static_cast<uint32_t>(width);
  format.height = static_cast<uint32_t>(height);
  return kOk;
}

HRESULT readConversion(const ImageJob& job, const ClipFormat& from, Conversion& conversion) {
  size_t matrix = 0, toMatrix = 0, layout = 0;
  ClipFormat& to = conversion.to;
  to = from;
  HRESULT status = readSize(job, to);
  if (!FAILED(status)) status = job.choice(TEXT("layout"), layoutNames(), layout);
  if (!FAILED(status)) status = job.choice(TEXT("matrix"), kMatrices, matrix);
  if (!FAILED(status)) status = job.choice(TEXT("to-matrix"), kMatrices, toMatrix);
  if (FAILED(status)) return status;
  if (!job.has(TEXT("to-matrix"))) toMatrix = matrix;
  if (job.has(TEXT("layout"))) to.layout = layoutOfName(layoutNames()[layout]);
  conversion.decode = frameParameters(kMatrices[matrix], isInterlaced(from));
  conversion.encode = frameParameters(kMatrices[toMatrix], isInterlaced(from));
  // Without a matrix, another size may mean another one.
  const auto matrixOf = [](const QVYUVPARAMS& parameters, const ClipFormat& format) {
    return QvYuvMatrix(parameters.colorMatrix, static_cast<int32_t>(format.width),
                       static_cast<int32_t>(format.height));
  };
  const bool sameColours = matrixOf(conversion.decode, from) == matrixOf(conversion.encode, to);
  if (!sameColours || to.width != from.width || to.height != from.height) return kOk;
  conversion.same = to.layout == from.layout;
  for (const RepackRow& row : kRepacks) {
    if (row.from == from.layout && row.to == to.layout) conversion.repack = row.repack;
  }
  return kOk;
}

HRESULT convertFrame(const Conversion& conversion, const ImagePtr& from, const ImagePtr& to) {
  if (conversion.repack) {
    QVYUVPLANES source, target;
    QvYUVImageBytesAndOffsets(&from->bmiHeader, &source);
    QvYUVImageBytesAndOffsets(&to->bmiHeader, &target);
    return conversion.repack(&to->bmiHeader, frameSamples(to), &target, &from->bmiHeader, frameSamples(from),
                             &source);
  }
  ImagePtr picture;
  HRESULT status = pictureOf(from, conversion.decode, picture);
  if (!FAILED(status)) status = resize(conversion.to.width, conversion.to.height, picture);
  return FAILED(status) ? status : pictureToFrame(&picture->bmiHeader, conversion.encode, to);
}

HRESULT openWriter(ImageJob& job, const ClipFormat& format, ClipWriter& writer) {
  const HRESULT status = writer.open(job.session().outputPath(job.word(1)), format);
  if (status != kUnsupported) return FAILED(status) ? job.session().fail(status, job.word(1)) : kOk;
  return job.session().fail(status,
                            TEXT("A Y4M file holds I420, YV16, P010, P210 and P410; layout= chooses one."));
}

HRESULT finish(ImageJob& job, ClipWriter& writer, const ClipFormat& format, uint64_t frames) {
  if (const HRESULT status = writer.keep(); FAILED(status)) return job.session().fail(status, job.word(1));
  job.session().record(
      {TEXT("frames"), job.word(1), sizeOf(format), layoutName(format.layout), static_cast<int64_t>(frames)});
  return kOk;
}

HRESULT refused(const ImageJob& job, HRESULT status) {
  return job.session().fail(status, TEXT("The toolkit refused frames of this layout and size."));
}

HRESULT convert(ImageJob& job) {
  OpenClip clip;
  Conversion conversion;
  ClipWriter writer;
  ImagePtr out;
  HRESULT status = openClip(job, clip);
  if (!FAILED(status)) status = readConversion(job, clip.format(), conversion);
  if (!FAILED(status)) status = openWriter(job, conversion.to, writer);
  if (FAILED(status)) return status;
  const ClipFormat& to = conversion.to;
  while ((status = nextFrame(job, clip)) == kOk) {
    if (!conversion.same && !out) status = newFrame(to.layout, to.width, to.height, out);
    if (!FAILED(status) && !conversion.same) status = convertFrame(conversion, clip.frame, out);
    if (FAILED(status)) return refused(job, status);
    status = writer.write(conversion.same ? clip.frame : out);
    if (FAILED(status)) return job.session().fail(status, job.word(1));
  }
  return FAILED(status) ? status : finish(job, writer, to, clip.frames);
}

// ---- deinterlace ------------------------------------------------------------------------------------------

// One field stays, and the rows between are made from it; with bob=1 each field becomes a frame of its own.
HRESULT deinterlace(ImageJob& job) {
  OpenClip clip;
  Conversion conversion;
  ClipWriter writer;
  int64_t field = 0, bob = 0;
  HRESULT status = openClip(job, clip);
  if (!FAILED(status)) status = readConversion(job, clip.format(), conversion);
  if (!FAILED(status)) status = job.integer(TEXT("field"), 0, 1, field);
  if (!FAILED(status)) status = job.integer(TEXT("bob"), 0, 1, bob);
  if (FAILED(status)) return status;
  // Even rows, the top one among them, are field 1.
  if (!job.has(TEXT("field"))) field = clip.format().scan == 'b' ? 0 : 1;
  ClipFormat& to = conversion.to;
  to.scan = 'p';
  if (bob && to.rate != 0) to.rate *= 2;
  conversion.decode.fieldMode = 1;
  conversion.encode.fieldMode = 0;
  status = openWriter(job, to, writer);
  ImagePtr picture, still, out;
  if (!FAILED(status)) status = newFrame(to.layout, to.width, to.height, out);
  if (FAILED(status)) return status;
  while ((status = nextFrame(job, clip)) == kOk) {
    status = pictureOf(clip.frame, conversion.decode, picture);
    for (int64_t turn = 0; turn <= bob && !FAILED(status); ++turn) {
      status = newImage(QVPT_RGBAF128, clip.format().width, clip.format().height, still);
      if (!FAILED(status)) {
        status = QvDibCopyInterlace(&still->bmiHeader, nullptr, nullptr, 0, &picture->bmiHeader, nullptr,
                                    nullptr, 0, static_cast<uint32_t>(field ^ turn), QVCOPY_QUALITY_SMOOTH);
      }
      if (!FAILED(status)) status = resize(to.width, to.height, still);
      if (!FAILED(status)) status = pictureToFrame(&still->bmiHeader, conversion.encode, out);
      if (FAILED(status)) return refused(job, status);
      status = writer.write(out);
    }
    if (FAILED(status)) return job.session().fail(status, job.word(1));
  }
  return FAILED(status) ? status : finish(job, writer, to, clip.frames * (bob ? 2 : 1));
}

// ---- grab -------------------------------------------------------------------------------------------------

// "1:02:03.480", from the right: seconds, minutes, hours.
bool readTime(WStringView text, double& seconds) {
  seconds = 0;
  for (;;) {
    const size_t colon = std::min(text.find(':'), text.size());
    double part = 0;
    if (!parseNumber(text.substr(0, colon), part) || part < 0) return false;
    seconds = seconds * 60 + part;
    if (colon == text.size()) return true;
    text.remove_prefix(colon + 1);
  }
}

HRESULT readPlace(const ImageJob& job, const OpenClip& clip, uint64_t& frame) {
  int64_t number = 0;
  HRESULT status = job.integer(TEXT("frame"), 0, INT64_MAX, number);
  if (FAILED(status)) return status;
  frame = static_cast<uint64_t>(number);
  if (job.has(TEXT("time"))) {
    double seconds = 0;
    if (clip.format().rate == 0)
      return job.wrong(TEXT("The clip doesn't say how many frames make a second."));
    if (!readTime(job.option(TEXT("time"), {}), seconds) || seconds > 1e9) {
      return job.wrong(TEXT("time= takes seconds, minutes:seconds or hours:minutes:seconds."));
    }
    frame = static_cast<uint64_t>(seconds * clip.format().rate / clip.format().scale + 1e-6);
  }
  if (frame < clip.frames) return kOk;
  return job.wrong(TEXT("The clip has frames from 0 to ") +
                   Field(static_cast<int64_t>(clip.frames) - 1).text + TEXT(" only."));
}

HRESULT frameAt(ImageJob& job, OpenClip& clip, uint64_t frame, const QVYUVPARAMS& parameters,
                ImagePtr& picture) {
  HRESULT status = skipTo(job, clip, frame);
  if (status == kOk) status = nextFrame(job, clip);
  if (status != kOk) return status;
  status = pictureOf(clip.frame, parameters, picture);
  return FAILED(status) ? refused(job, status) : kOk;
}

// Pictures hold 16 bits where frames hold more than 8.
int32_t pictureType(int32_t layout) {
  constexpr int32_t kDeep[] = {QVPT_v210, QVPT_P010, QVPT_PL10, QVPT_P210, QVPT_P410};
  return std::ranges::find(kDeep, layout) != std::end(kDeep) ? QVPT_RGBA64 : QVPT_RGB24;
}

HRESULT writeGrabbed(ImageJob& job, int32_t type, ImagePtr& picture) {
  ImagePtr shown;
  const HRESULT status = newImage(type, static_cast<uint32_t>(picture->bmiHeader.biWidth),
                                  static_cast<uint32_t>(picture->bmiHeader.biHeight), shown);
  if (FAILED(status)) return refused(job, status);
  const HRESULT copied = QvDibCopy(&shown->bmiHeader, nullptr, nullptr, 0, &picture->bmiHeader, nullptr,
                                   nullptr, 0, QVCOPY_QUALITY_BEST, kFrameGamma, kFrameGamma);
  return FAILED(copied) ? refused(job, copied) : job.write(1, shown);
}

HRESULT grabOne(ImageJob& job, OpenClip& clip, const Conversion& conversion) {
  uint64_t frame = 0;
  ImagePtr picture;
  HRESULT status = readPlace(job, clip, frame);
  if (!FAILED(status)) status = frameAt(job, clip, frame, conversion.decode, picture);
  if (!FAILED(status)) status = resize(conversion.to.width, conversion.to.height, picture);
  return FAILED(status) ? status : writeGrabbed(job, pictureType(clip.format().layout), picture);
}

// A sheet of frames, evenly spaced from the first to the last, each above its time.
struct Sheet {
  static constexpr int kMargin = 8, kLabel = 14;
  int64_t columns, rows, width, height;
  int64_t cellWidth() const { return width + kMargin; }
  int64_t cellHeight() const { return height + kLabel + kMargin; }
  uint32_t totalWidth() const { return static_cast<uint32_t>(columns * cellWidth() + kMargin); }
  uint32_t totalHeight() const { return static_cast<uint32_t>(rows * cellHeight() + kMargin); }
};

HRESULT readSheet(const ImageJob& job, const ClipFormat& format, Sheet& sheet) {
  constexpr int64_t kMostCells = 64, kUsualWidth = 160, kMostWidth = 1920;
  sheet.width = kUsualWidth;
  const HRESULT status = job.integer(TEXT("width"), 8, kMostWidth, sheet.width);
  if (FAILED(status)) return status;
  if (!parsePair(job.option(TEXT("sheet"), {}), sheet.columns, sheet.rows) || sheet.columns < 1 ||
      sheet.rows < 1 || sheet.columns > kMostCells || sheet.rows > kMostCells) {
    return job.wrong(TEXT("sheet= takes COLUMNSxROWS, up to 64 each."));
  }
  sheet.height = std::max<int64_t>(1, sheet.width * format.height / format.width);
  return kOk;
}

HRESULT drawLabel(const WString& label, int64_t x, int64_t y, ImagePtr& sheet) {
  constexpr QVPIXEL64 kInk = {0xc000, 0xc000, 0xc000, 0xffff};
  const std::string letters(label.begin(), label.end());
  Picture text(static_cast<int>(letters.size()) * Picture::kLetterWidth, Picture::kLetterHeight,
               {0, 0xffffff});
  text.text(0, 0, letters, 1, 1);
  for (int at = 0; at < text.width() * text.height(); ++at) {
    if (text.pixels()[static_cast<size_t>(at)] == 0) continue;
    // What doesn't fit onto the sheet is left out.
    QvDibSetPixel(&sheet->bmiHeader, nullptr, 0, static_cast<int32_t>(x + at % text.width()),
                  static_cast<int32_t>(y + at / text.width()), &kInk);
  }
  return kOk;
}

HRESULT grabSheet(ImageJob& job, OpenClip& clip, const Conversion& conversion) {
  constexpr QVRGBAFLOAT kGround = {0.1f, 0.1f, 0.1f, 1};
  Sheet sheet = {};
  ImagePtr page, picture;
  HRESULT status = readSheet(job, clip.format(), sheet);
  if (FAILED(status)) return status;
  status = newImage(QVPT_RGB24, sheet.totalWidth(), sheet.totalHeight(), page);
  if (!FAILED(status)) status = QvDibFillRect(&page->bmiHeader, nullptr, nullptr, 0, &kGround, 0);
  if (FAILED(status)) return refused(job, status);
  const auto cells = static_cast<uint64_t>(sheet.columns * sheet.rows);
  const uint64_t shown = std::min(cells, clip.frames);
  for (uint64_t cell = 0; cell < shown; ++cell) {
    const uint64_t frame = shown == 1 ? 0 : cell * (clip.frames - 1) / (shown - 1);
    status = frameAt(job, clip, frame, conversion.decode, picture);
    if (status != kOk) return status;
    const int64_t x = Sheet::kMargin + static_cast<int64_t>(cell) % sheet.columns * sheet.cellWidth();
    const int64_t y = Sheet::kMargin + static_cast<int64_t>(cell) / sheet.columns * sheet.cellHeight();
    const RECT place = {static_cast<LONG>(x), static_cast<LONG>(y), static_cast<LONG>(x + sheet.width),
                        static_cast<LONG>(y + sheet.height)};
    status = resize(static_cast<uint32_t>(sheet.width), static_cast<uint32_t>(sheet.height), picture);
    if (!FAILED(status)) {
      status = QvDibCopy(&page->bmiHeader, nullptr, &place, 0, &picture->bmiHeader, nullptr, nullptr, 0,
                         QVCOPY_QUALITY_BEST, kFrameGamma, kFrameGamma);
    }
    if (FAILED(status)) return refused(job, status);
    const bool timed = clip.format().rate != 0;
    drawLabel(timed ? timeOf(clip.format(), frame) : Field(static_cast<int64_t>(frame)).text, x,
              y + sheet.height + 3, page);
  }
  return job.write(1, page);
}

HRESULT grab(ImageJob& job) {
  OpenClip clip;
  Conversion conversion;
  HRESULT status = openClip(job, clip);
  if (!FAILED(status)) status = readConversion(job, clip.format(), conversion);
  if (FAILED(status)) return status;
  if (clip.frames == 0) return job.session().fail(kBadFormat, TEXT("The clip has no whole frame."));
  return job.has(TEXT("sheet")) ? grabSheet(job, clip, conversion) : grabOne(job, clip, conversion);
}

// ---- the verb ---------------------------------------------------------------------------------------------

constexpr JobWork kWorks[] = {
    {TEXT("info"), 1, 1, "", showInfo, TEXT("frames info CLIP")},
    {TEXT("convert"), 2, 2, "layout size matrix to-matrix", convert,
     TEXT("frames convert CLIP OUT [layout=NAME] [size=WxH] [matrix=size|601|709|2020] [to-matrix=…]")},
    {TEXT("grab"), 2, 2, "frame time sheet width size matrix type", grab,
     TEXT("frames grab CLIP PICTURE [frame=N] [time=H:MM:SS] [size=WxH] [sheet=COLUMNSxROWS] [width=160]")},
    {TEXT("deinterlace"), 2, 2, "field bob layout size matrix to-matrix", deinterlace,
     TEXT("frames deinterlace CLIP OUT [field=0|1] [bob=1]")},
};

HRESULT runFrames(Session& session, const Step& step) {
  return runWork(session, step, kWorks);
}

constexpr Verb kVerbs[] = {{"frames", "info|convert|grab|deinterlace CLIP [OUT]", 2, 3,
                            "layout size matrix to-matrix frame time sheet width type field bob", runFrames}};

}  // namespace

std::span<const Verb> framesVerbs() {
  return kVerbs;
}

}  // namespace qv::workbench
