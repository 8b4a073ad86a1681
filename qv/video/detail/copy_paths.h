// The paths of a copy, once types, rectangles and steps are known.
#pragma once

#include "qv/video/copy.h"
#include "qv/video/detail/image.h"
#include "qv/video/kernels.h"

namespace qv {

// Rectangles are inside their images and not empty. A rectangle's top-left pixel is (0, 0) for steps, feather
// and dither.
struct CopyJob {
  Image target, source;
  RECT targetRect, sourceRect;
  RECT clip;  // what the source rectangle lost
  uint32_t flags;
  double targetGamma, sourceGamma;
  const uint8_t* sourcePalette;  // full tables
  const uint8_t* targetPalette;
  const uint8_t* inverse;  // for palette targets

  int64_t width() const { return widthOf(targetRect); }
  int64_t height() const { return heightOf(targetRect); }
  bool stretches() const { return width() != widthOf(sourceRect) || height() != heightOf(sourceRect); }
  bool interpolates() const { return (flags & kQualityMask) >= kInterpolatingQuality; }
};

// Source pixels per target pixel in 18.14; with interpolation the first and the last pixels meet.
struct Steps {
  int64_t x, y;
};
Steps stretchSteps(const CopyJob& job);

// Reads the source pixel that lies under a target pixel into pivot 0.
class StretchReader {
 public:
  StretchReader(const CopyJob& job, Steps steps) : job_(job), steps_(steps) {}
  // y: target row; the context keeps the row for the reads that follow.
  void setRow(QvXchgContext* context, int64_t y);
  void read(QvXchgContext* context, int64_t x) const;

 private:
  const CopyJob& job_;
  Steps steps_;
  const uint8_t* row_ = nullptr;
  bool lastRow_ = false;
};

// The engine bound for a job's pair of types, or back from its target.
HRESULT bindForward(const CopyJob& job, uint32_t extraMode, QvXchgContext* context);
HRESULT bindBack(const CopyJob& job, uint32_t extraMode, const QvBlendRequest* blend, QvXchgContext* context);

// Reads `count` pixels of a source row and writes them to a target row through the pivot.
void copySpan(const CopyJob& job, const QvXchgContext& context, uint8_t* targetRow, int64_t targetX,
              const uint8_t* sourceRow, int64_t sourceX, int64_t count);

HRESULT copySameSize(const CopyJob& job);
HRESULT copyStretched(const CopyJob& job);
HRESULT copyFeathered(const CopyJob& job);
HRESULT copySubpixel(const QvDibSubpixelParam& param);

}  // namespace qv
