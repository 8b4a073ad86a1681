// One step of the verb "image": its pictures, its options, and how it shows that it goes on.
//
//   HRESULT flip(ImageJob& job) {
//     ImagePtr image;
//     if (const HRESULT status = job.read(0, image); FAILED(status)) return status;
//     ...
//     return job.write(1, image);
//   }
#pragma once

#include "qv/app/workbench/picture_file.h"
#include "qv/app/workbench/progress.h"
#include "qv/video/colour_records.h"

namespace qv::workbench {

// A rectangle of a job: "X,Y,W,H" in pixels, fractions allowed.
struct JobRect {
  double x = 0, y = 0, width = 0, height = 0;
  bool isWhole() const;
  RECT pixels() const;
  RECT fixed() const;  // 18.14
};

class ImageJob {
 public:
  // first: the word of the step that is the first picture.
  ImageJob(Session& session, const Step& step, size_t first)
      : session_(session), step_(step), first_(first) {}

  Session& session() const { return session_; }
  const WString& word(size_t index) const { return step_.words[first_ + index]; }
  bool hasWord(size_t index) const { return step_.words.size() > first_ + index; }
  bool has(WStringView key) const { return step_.option(key) != nullptr; }
  bool isSet(WStringView key) const;
  WString option(WStringView key, WStringView otherwise) const { return step_.optionOr(key, otherwise); }
  HRESULT wrong(const WString& sentence) const;  // kInvalidArgument and why

  // A picture of the job, by its place behind the work or by an option's value.
  HRESULT read(size_t index, ImagePtr& image, WString* stored = nullptr);
  HRESULT readNamed(const WString& name, ImagePtr& image, WString* stored = nullptr);
  // Writes a result, as the type that the step asks for with type=, and records it: name, size and type as
  // the file has it.
  HRESULT write(size_t index, ImagePtr& image);

  // Options; each leaves `value` as it was when the step doesn't have the key, and explains what it can't
  // read.
  HRESULT number(WStringView key, double lowest, double highest, double& value) const;
  HRESULT integer(WStringView key, int64_t lowest, int64_t highest, int64_t& value) const;
  HRESULT rect(WStringView key, JobRect& value) const;
  // "#rrggbb" or "RGB(r,g,b)", and the opacity from alpha=; with both absent, value stays.
  HRESULT colour(WStringView key, QVRGBAFLOAT& value) const;
  // The place of the option's value in a list of names; 0 when the step doesn't have the key.
  HRESULT choice(WStringView key, std::span<const WCHAR* const> names, size_t& index) const;

  void stage(double percent, WStringView name) { progress_.show(percent, name); }

 private:
  HRESULT finishType(ImagePtr& image) const;

  Session& session_;
  const Step& step_;
  size_t first_;
  Progress progress_;
};

// What a verb's second word can be: how many files stand behind it, and the options that it takes.
struct JobWork {
  const WCHAR* name;
  size_t fewest, most;
  const char* options;  // separated by blanks
  HRESULT (*run)(ImageJob& job);
  const WCHAR* usage;
};
// Runs the one that the step names, or says what is wrong with the step.
HRESULT runWork(Session& session, const Step& step, std::span<const JobWork> works);

const WCHAR* pixelTypeName(int32_t type);
WString sizeText(const BITMAPINFOHEADER* image);
bool isPaletteType(int32_t type);
// More than 8 bits a channel.
bool isDeepType(int32_t type);
// With no colours, or with few fixed ones: what these become so that any colour, or any grey, can be in them.
int32_t colourType(int32_t type);
int32_t smoothType(int32_t type);

// In place: another type by the way of convertImage; and one of the two types that everything works on, 8
// bits or floats with alpha.
HRESULT turnInto(int32_t type, ImagePtr& image);
HRESULT turnIntoWorking(ImagePtr& image);

// Chooses `colours` colours (2 to 256) for the image and makes it a palette image.
HRESULT quantise(uint32_t colours, int32_t type, ImagePtr& image);

// An image's header whose pixels count as plain values: indices of a palette are copied as they are, instead
// of by their colours. The pixels are the image's own.
struct ValuesHeader {
  BITMAPINFOHEADER header;
  uint32_t masks[3];  // stand right behind a header that has them
};
static_assert(offsetof(ValuesHeader, masks) == sizeof(BITMAPINFOHEADER));
ValuesHeader valuesHeader(const BITMAPINFOHEADER* image);
inline void* imagePixels(const BITMAPINFOHEADER* image) {
  return imageRow(image, image->biHeight - 1);
}
// A new image of another size with the type, and the colours, of this one.
HRESULT newLike(const BITMAPINFOHEADER* image, uint32_t width, uint32_t height, ImagePtr& out);

// The works of image_mixing.cpp, image_legal.cpp and image_yuv.cpp.
HRESULT blendImages(ImageJob& job);
HRESULT workOnFields(ImageJob& job);
HRESULT checkLegal(ImageJob& job);
HRESULT goThroughYuv(ImageJob& job);

}  // namespace qv::workbench
