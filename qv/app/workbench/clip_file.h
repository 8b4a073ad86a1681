// Clips: frames one after the other in YUV4MPEG2 files (.y4m) and in files of raw frames.
//
//   ClipName name = splitClipName(TEXT("take.yuv:1920x1080:NV12"));
//   ClipFile file;
//   ClipReader clip;
//   HRESULT status = file.open(session.inputPath(name.path));
//   if (!FAILED(status)) status = clip.open(file, name.raw);
//   ImagePtr frame;
//   while ((status = clip.next(frame)) == kOk) use(frame);
//
// Frames come as blocks of one of the toolkit's YUV layouts (qv/video/yuv.h), one at a time: however long a
// clip is, one frame is held. A layout that the toolkit hasn't becomes the nearest that loses nothing: 8-bit
// 4:4:4 becomes 10-bit, grey 4:2:0. An odd last column or row keeps its luma and loses its chroma.
#pragma once

#include <optional>

#include "qv/app/workbench/files.h"
#include "qv/app/workbench/yuv_frame.h"

namespace qv::workbench {

// What has to be said about raw frames, since their file says nothing.
struct RawForm {
  uint32_t width = 0, height = 0;
  int32_t layout = 0;
  uint32_t rate = 0, scale = 1;  // rate / scale frames a second; 0 for unknown
};

// "PATH", or "PATH:WIDTHxHEIGHT:LAYOUT" and perhaps ":RATE" or ":RATE/SCALE" behind it.
struct ClipName {
  WString path;
  std::optional<RawForm> raw;
};
ClipName splitClipName(WStringView name);

struct ClipFormat {
  int32_t layout = 0;  // of the frames as they are read
  uint32_t width = 0, height = 0;
  uint32_t rate = 0, scale = 1;  // rate / scale frames a second; 0 for unknown
  char scan = '?';  // as Y4M says: p progressive, t and b interlaced with that field first, m mixed
  std::string aspect = "0:0";  // of a pixel, as Y4M says it; 0:0 for unknown
  WString stored;              // how the file holds it, for people
};

// A frame of a layout, zeroed.
HRESULT newFrame(int32_t layout, uint32_t width, uint32_t height, ImagePtr& frame);

// Where a clip's bytes come from.
class ClipSource {
 public:
  virtual ~ClipSource() = default;
  virtual uint64_t size() const = 0;
  // All of them, from a place that has been checked: kOk or kReadFailed.
  virtual HRESULT read(uint64_t position, void* to, size_t bytes) = 0;
};

class ClipFile final : public ClipSource {
 public:
  HRESULT open(const WString& path);
  uint64_t size() const override { return size_; }
  HRESULT read(uint64_t position, void* to, size_t bytes) override;

 private:
  InputFile file_;
  uint64_t size_ = 0, position_ = 0;
};

struct ClipStorage;

class ClipReader {
 public:
  // kBadFormat for a header that can't be read and for sizes that no frame here can have; kUnsupported for a
  // Y4M colour space that isn't read. The source stays in use.
  HRESULT open(ClipSource& source, const std::optional<RawForm>& raw);
  const ClipFormat& format() const { return format_; }

  // The next frame, in a new block or in the one that is there. kNothing behind the last one; kBadFormat
  // where none begins and for one that was cut; kReadFailed, kOutOfMemory.
  HRESULT next(ImagePtr& frame);
  // The next frame, passed over without a look at it; as above.
  HRESULT skip();
  void rewind() { position_ = first_; }
  // Whole frames from here on, and bytes that are left behind them.
  HRESULT count(uint64_t& frames, uint64_t& rest);

 private:
  HRESULT readHeader();
  HRESULT readParameter(WStringView parameter);
  HRESULT readRatio(WStringView text);
  HRESULT findFrame(uint64_t& samples) const;
  HRESULT readLine(uint64_t position, size_t limit, std::string& line) const;

  ClipSource* source_ = nullptr;
  ClipFormat format_;
  const ClipStorage* storage_ = nullptr;  // null for raw frames
  uint64_t first_ = 0, position_ = 0, frameBytes_ = 0;
  std::vector<uint8_t> stored_;
};

class ClipWriter {
 public:
  // A Y4M file by the extension .y4m, else raw frames. kUnsupported for a layout that Y4M hasn't.
  HRESULT open(const WString& path, const ClipFormat& format);
  HRESULT write(const ImagePtr& frame);
  HRESULT keep() { return file_.keep(); }

 private:
  OutputFile file_;
  const ClipStorage* storage_ = nullptr;
  std::vector<uint8_t> stored_;
};

}  // namespace qv::workbench
