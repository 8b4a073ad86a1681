#include "qv/platform/content_types.h"

#include <algorithm>
#include <string_view>

namespace {

using View = std::u16string_view;

// Registered media types of what people send to servers.
constexpr struct {
  View extension, type;
} kTypes[] = {
    {u".7z", u"application/x-7z-compressed"},
    {u".aac", u"audio/aac"},
    {u".aif", u"audio/aiff"},
    {u".aiff", u"audio/aiff"},
    {u".avi", u"video/x-msvideo"},
    {u".bmp", u"image/bmp"},
    {u".css", u"text/css"},
    {u".csv", u"text/csv"},
    {u".doc", u"application/msword"},
    {u".flac", u"audio/flac"},
    {u".gif", u"image/gif"},
    {u".gz", u"application/gzip"},
    {u".htm", u"text/html"},
    {u".html", u"text/html"},
    {u".ico", u"image/vnd.microsoft.icon"},
    {u".jpeg", u"image/jpeg"},
    {u".jpg", u"image/jpeg"},
    {u".js", u"text/javascript"},
    {u".json", u"application/json"},
    {u".log", u"text/plain"},
    {u".m4a", u"audio/mp4"},
    {u".mid", u"audio/midi"},
    {u".mov", u"video/quicktime"},
    {u".mp3", u"audio/mpeg"},
    {u".mp4", u"video/mp4"},
    {u".mpeg", u"video/mpeg"},
    {u".mpg", u"video/mpeg"},
    {u".ogg", u"audio/ogg"},
    {u".pdf", u"application/pdf"},
    {u".png", u"image/png"},
    {u".rtf", u"application/rtf"},
    {u".svg", u"image/svg+xml"},
    {u".tif", u"image/tiff"},
    {u".tiff", u"image/tiff"},
    {u".txt", u"text/plain"},
    {u".wav", u"audio/wav"},
    {u".webm", u"video/webm"},
    {u".webp", u"image/webp"},
    {u".wma", u"audio/x-ms-wma"},
    {u".wmv", u"video/x-ms-wmv"},
    {u".xml", u"text/xml"},
    {u".zip", u"application/x-zip-compressed"},
};

char16_t lowerOf(char16_t c) {
  return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
}

}  // namespace

bool qv::contentTypeOfExtension(const WCHAR* extension, WCHAR* type, DWORD capacity) {
  type[0] = 0;
  for (const auto& row : kTypes) {
    if (!std::ranges::equal(View(extension), row.extension, {}, lowerOf)) continue;
    if (row.type.size() >= capacity) return false;
    type[row.type.copy(type, row.type.size())] = 0;
    return true;
  }
  return false;
}
