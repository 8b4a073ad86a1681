#include "qv/files/detail/contained.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "qv/files/detail/text.h"

namespace qv::files {
namespace {

constexpr View kDevices[] = {TEXT("CON"), TEXT("PRN"),    TEXT("AUX"),
                             TEXT("NUL"), TEXT("CONIN$"), TEXT("CONOUT$")};

bool isDevice(View part) {
  View stem = part.substr(0, std::min(part.find('.'), part.size()));
  while (!stem.empty() && stem.back() == ' ') stem.remove_suffix(1);
  for (const View device : kDevices) {
    if (sameInAnyCase(stem, device)) return true;
  }
  if (stem.size() != 4) return false;
  const bool numbered = startsInAnyCase(stem, TEXT("COM")) || startsInAnyCase(stem, TEXT("LPT"));
  // The superscript digits count as digits here.
  return numbered && View(TEXT("123456789\u00b9\u00b2\u00b3")).find(stem[3]) != View::npos;
}

bool isName(View part) {
  if (part.empty() || part.back() == '.' || part.back() == ' ' || isDevice(part)) return false;
  return std::all_of(part.begin(), part.end(),
                     [](WCHAR c) { return c >= ' ' && View(TEXT("\"*/:<>?\\|")).find(c) == View::npos; });
}

}  // namespace

bool isContainedName(const WCHAR* name, size_t length) {
  View rest(name, length);
  if (!rest.empty() && rest.back() == '\\') rest.remove_suffix(1);
  for (;;) {
    const size_t end = rest.find('\\');
    if (!isName(rest.substr(0, end))) return false;
    if (end == View::npos) return true;
    rest.remove_prefix(end + 1);
  }
}

bool leadsThroughLink(const WCHAR* folder, const WCHAR* name, FoundPath* found) {
  std::basic_string<WCHAR> path = folder;
  if (path.empty() || path.back() != '\\') path += '\\';
  DWORD above = INVALID_FILE_ATTRIBUTES;
  size_t end = path.size();
  path += name;
  while (end < path.size()) {
    end = std::min(path.find('\\', end + 1), path.size());
    const DWORD attributes = GetFileAttributesW(path.substr(0, end).c_str());
    if (found != nullptr && end == path.size()) {
      found->attributes = attributes;
      found->hasFolder = above != INVALID_FILE_ATTRIBUTES && (above & FILE_ATTRIBUTE_DIRECTORY) != 0;
    }
    if (attributes == INVALID_FILE_ATTRIBUTES) return false;
    if ((attributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0) return true;
    above = attributes;
  }
  return false;
}

}  // namespace qv::files
