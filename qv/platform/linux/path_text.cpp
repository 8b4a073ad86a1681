#include "qv/platform/path_text.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "qv/platform/linux/utf.h"
#include "qv/platform/text.h"

namespace qv::platform {
namespace {

using View = std::u16string_view;

bool isDigit(WCHAR c) {
  return c >= '0' && c <= '9';
}

// Takes the number at the start off, zeros in front left out.
View takeNumber(View* text) {
  View number = text->substr(0, std::min(text->find_first_not_of(u"0123456789"), text->size()));
  text->remove_prefix(number.size());
  return number.substr(std::min(number.find_first_not_of(u'0'), number.size()));
}

int compareNumbers(View a, View b) {
  return a.size() != b.size() ? (a.size() < b.size() ? -1 : 1) : a.compare(b);
}

int compareCharacters(WCHAR a, WCHAR b) {
  if (a == b) return 0;
  const WCHAR one[] = {a, 0}, other[] = {b, 0};
  return lstrcmpiW(one, other);
}

// One part of a path and where it goes.
struct Part {
  View text;
  WCHAR* target;
  size_t capacity;
};

}  // namespace
}  // namespace qv::platform

using namespace qv::platform;

int StrCmpLogicalW(LPCWSTR first, LPCWSTR second) {
  View a = viewOf(first), b = viewOf(second);
  while (!a.empty() && !b.empty()) {
    bool digit = isDigit(a[0]);
    if (digit != isDigit(b[0])) return digit ? -1 : 1;
    int order = digit ? compareNumbers(takeNumber(&a), takeNumber(&b)) : compareCharacters(a[0], b[0]);
    if (order != 0) return order < 0 ? -1 : 1;
    a.remove_prefix(!digit);
    b.remove_prefix(!digit);
  }
  return a.empty() ? (b.empty() ? 0 : -1) : 1;
}

int _wsplitpath_s(const WCHAR* path, WCHAR* drive, size_t driveCapacity, WCHAR* folder, size_t folderCapacity,
                  WCHAR* name, size_t nameCapacity, WCHAR* extension, size_t extensionCapacity) {
  View rest = viewOf(path);
  auto take = [&](size_t count) {
    View taken = rest.substr(0, count);
    rest.remove_prefix(taken.size());
    return taken;
  };
  View drivePart = take(rest.size() >= 2 && rest[1] == ':' ? 2 : 0);
  View folderPart = take(rest.find_last_of(u"\\/") + 1);
  View namePart = take(std::min(rest.find_last_of(u'.'), rest.size()));
  const Part parts[] = {{drivePart, drive, driveCapacity},
                        {folderPart, folder, folderCapacity},
                        {namePart, name, nameCapacity},
                        {rest, extension, extensionCapacity}};
  int error = 0;
  for (const Part& part : parts) {
    if (!path || !part.target != !part.capacity) error = EINVAL;
    if (!error && part.target && part.text.size() >= part.capacity) error = ERANGE;
  }
  for (const Part& part : parts) {
    if (!part.target || !part.capacity) continue;
    size_t length = error ? 0 : part.text.copy(part.target, part.text.size());
    part.target[length] = 0;
  }
  return error;
}
