// BMP files to image blocks and back.
//
// Read: 1, 2, 4, 8 (plain or run-length coded), 16, 24 and 32 bits, any colour masks, alpha, rows from either
// end, headers from the oldest to the newest. Written: the plain forms, with masks or alpha where the type
// needs them.
#pragma once

#include "qv/app/workbench/picture_file.h"

namespace qv::workbench {

bool isBmp(std::string_view bytes);

// As decodePicture; text takes how the file holds the picture.
HRESULT readBmp(std::string_view bytes, ImagePtr& image, WString& text);

// A file of an image of types 16 to 20, 23 to 29 or 33. topDown: the first row comes first. kUnsupported for
// another, kInvalidArgument for a picture of 4 GiB or more.
HRESULT writeBmp(const BITMAPINFOHEADER* image, bool topDown, std::string& bytes);

}  // namespace qv::workbench
