// Fields of interlaced video: filling one from the other, and putting two together.
//
// A field is every second row of a frame. Field 0 is the rows at odd y, field 1 those at even y, counted from
// the top of the picture whatever its height.
//
//   // A still frame out of a moving one: its odd rows stay, what lies between them is made anew.
//   QvDibCopyInterlace(still, nullptr, nullptr, 0, frame, nullptr, nullptr, 0, 0, QVCOPY_QUALITY_SMOOTH);
//   // Two moments in one frame: the odd rows of the second over the first.
//   QvDibMergeFields(first, nullptr, 0, second, nullptr, 0, 0);
//
// Null pixels mean the block's own, a null rectangle the whole image, a stride of 0 packed rows; strides are
// signed. All functions may be called from any thread, on different targets at the same time.
#pragma once

#include "qv/video/dib.h"

// Copies one field of a rectangle and makes the rows between from their neighbours in the rectangle, channel
// by channel, (a + b) / 2 cut; a row at the rectangle's edge has the same neighbour twice. Types 16 to 33,
// converted as the engine does. field: 0 or 1. flags: the mode word, and QVCOPY_SUBPIXEL for rectangles
// in 18.14, cut to pixels. 0, also for an empty rectangle; 0x80004001 for other types, for rectangles of
// different sizes, and for a palette target without entries. Rectangles that overhang their images are cut,
// both by the same pixels. Source and target may be the same pixels.
QV_API HRESULT QvDibCopyInterlace(const BITMAPINFOHEADER* dst, void* dstPixels, const RECT* dstRect,
                                  uint32_t dstStride, const BITMAPINFOHEADER* src, const void* srcPixels,
                                  const RECT* srcRect, uint32_t srcStride, uint32_t field, uint32_t flags);

// Copies one field of an image over another image of the same size and depth; the other rows stay. 0x80004001
// when width, height or bits differ, or a header is none of types 16 to 33. Only whole bytes of a row are
// copied.
QV_API HRESULT QvDibMergeFields(const BITMAPINFOHEADER* dst, void* dstPixels, uint32_t dstStride,
                                const BITMAPINFOHEADER* src, const void* srcPixels, int32_t srcStride,
                                uint32_t field);

// The same for pictures that lie on their side: every second column. Meant for types 29 and 32; pixels of
// other depths are copied 16 bytes at a time, cut at the row's end, so that neighbours come along.
QV_API HRESULT QvDibMergeFieldsRotated(const BITMAPINFOHEADER* dst, void* dstPixels, uint32_t dstStride,
                                       const BITMAPINFOHEADER* src, const void* srcPixels, int32_t srcStride,
                                       uint32_t field);
