// Names of entries as callers give them: a name, or a pattern with one star.
#include <string.h>

#include <algorithm>

#include "qv/files/detail/archive.h"
#include "qv/files/detail/text.h"
#include "qv/files/paths.h"

namespace qv::files {
namespace {

bool matchesText(const Pattern& pattern, View name) {
  const View text = pattern.text;
  switch (pattern.kind) {
    case Pattern::Exact:
      return sameInAnyCase(name, text);
    case Pattern::EndsIn:
      return name.size() > text.size() && sameInAnyCase(name.substr(name.size() - text.size()), text);
    case Pattern::BeginsWith:
      return startsInAnyCase(name, text);
    default:
      return true;
  }
}

}  // namespace

HRESULT checkForWildcards(Archive& archive, const WCHAR* name, Pattern* pattern) {
  const View text = name != nullptr ? View(name) : View();
  if (text.empty() || text.size() >= kNameCapacity) {
    return failed(archive, QVARCHIVE_ERROR_LENGTH, TEXT("CheckForWildcards"), kTooShort);
  }
  View kept = text;
  pattern->kind = Pattern::Exact;
  if (text == TEXT("*.*")) {
    pattern->kind = Pattern::Everything;
  } else if (text.front() == '*') {
    pattern->kind = Pattern::EndsIn;
    kept.remove_prefix(1);
  } else if (text.back() == '*') {
    pattern->kind = Pattern::BeginsWith;
    kept = text.substr(0, text.find('*'));
  }
  write(kept, pattern->text, kNameCapacity);
  return kOk;
}

bool matches(const Pattern& pattern, const WCHAR* name) {
  return matchesText(pattern, name) || matchesText(pattern, QvGetFileNamePtrW(name));
}

}  // namespace qv::files
