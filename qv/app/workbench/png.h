// PNG files to image blocks and back: all colour types and depths, palettes, transparency, interlacing.
//
// Every chunk's checksum counts. No size out of a file is used for an allocation before the bytes that are
// there could unpack to it, and nothing is unpacked beyond what the header declares.
#pragma once

#include "qv/app/workbench/picture_file.h"

namespace qv::workbench {

bool isPng(std::string_view bytes);

// As decodePicture; text takes how the file holds the picture.
HRESULT readPng(std::string_view bytes, ImagePtr& image, WString& text);

// A file of an image of types 17 to 21, 23, 24, 27, 29 or 31. kUnsupported for another, kInvalidArgument for
// a palette image without colours.
HRESULT writePng(const BITMAPINFOHEADER* image, std::string& bytes);

// What stands in a file's first chunk. Colour types: 0 grey, 2 red-green-blue, 3 palette, 4 grey and alpha,
// 6 red-green-blue and alpha.
struct PngForm {
  uint32_t width = 0, height = 0;
  uint8_t depth = 8, colourType = 0, interlaced = 0;
};

// A whole file: colours are red, green, blue a time (empty for none), rows have their filter byte in front.
std::string pngFile(const PngForm& form, const std::string& colours, const std::string& rows);

}  // namespace qv::workbench
