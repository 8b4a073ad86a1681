#include "qv/platform/profile.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <string_view>

#include "qv/platform/linux/utf.h"
#include "qv/platform/text.h"

namespace {

using namespace qv::platform;

constexpr std::streamsize kLargestProfile = 1 << 20;

std::string profilePath() {
  const char* config = getenv("XDG_CONFIG_HOME");
  if (config != nullptr && config[0] == '/') return std::string(config) + "/qv/profile.ini";
  const char* home = getenv("HOME");
  return std::string(home != nullptr ? home : "") + "/.config/qv/profile.ini";
}

std::u16string profileText() {
  std::ifstream file(profilePath(), std::ios::binary);
  std::string bytes(kLargestProfile, '\0');
  file.read(bytes.data(), kLargestProfile);
  bytes.resize(static_cast<size_t>(file.gcount()));
  return utf16From(bytes.starts_with("\xef\xbb\xbf") ? std::string_view(bytes).substr(3) : bytes);
}

std::u16string_view trimmed(std::u16string_view text) {
  constexpr std::u16string_view kBlanks = u" \t\r";
  const size_t first = text.find_first_not_of(kBlanks);
  if (first == text.npos) return text.substr(0, 0);
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool same(std::u16string_view text, LPCWSTR name) {
  return lstrcmpiW(std::u16string(text).c_str(), name) == 0;
}

std::u16string_view unquoted(std::u16string_view text) {
  const bool quoted =
      text.size() >= 2 && (text.front() == u'"' || text.front() == u'\'') && text.back() == text.front();
  return quoted ? text.substr(1, text.size() - 2) : text;
}

// The text of the first such entry; null data when there is none.
std::u16string_view find(std::u16string_view text, LPCWSTR section, LPCWSTR entry) {
  bool here = false;
  while (!text.empty()) {
    const std::u16string_view whole = text.substr(0, text.find(u'\n'));
    text.remove_prefix(std::min(whole.size() + 1, text.size()));
    const std::u16string_view line = trimmed(whole);
    if (line.starts_with(u'[')) here = same(line.substr(1, line.find(u']') - 1), section);
    const size_t equals = line.find(u'=');
    if (!here || equals == line.npos || line.starts_with(u';')) continue;
    if (same(trimmed(line.substr(0, equals)), entry)) return unquoted(trimmed(line.substr(equals + 1)));
  }
  return {};
}

}  // namespace

DWORD GetProfileStringW(LPCWSTR section, LPCWSTR entry, LPCWSTR otherwise, LPWSTR text, DWORD capacity) {
  if (capacity == 0) return 0;
  const std::u16string profile = profileText();
  const std::u16string_view found = find(profile, section, entry);
  const std::u16string_view answer = found.data() != nullptr ? found : viewOf(otherwise);
  const size_t length = answer.copy(text, capacity - 1);
  text[length] = 0;
  return static_cast<DWORD>(length);
}
