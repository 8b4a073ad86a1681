#include "qv/app/workbench/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace qv::workbench {

bool decodeUtf8(std::string_view bytes, WString& text) {
  text.clear();
  if (bytes.empty()) return true;
  if (bytes.size() > static_cast<size_t>(std::numeric_limits<int>::max())) return false;
  const int size = static_cast<int>(bytes.size());
  const int length = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, nullptr, 0);
  if (length <= 0) return false;
  text.resize(static_cast<size_t>(length));
  MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), size, text.data(), length);
  return true;
}

std::string encodeUtf8(WStringView text) {
  std::string bytes;
  if (text.empty()) return bytes;
  const int length = static_cast<int>(text.size());
  const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  bytes.resize(static_cast<size_t>(size));
  WideCharToMultiByte(CP_UTF8, 0, text.data(), length, bytes.data(), size, nullptr, nullptr);
  return bytes;
}

bool sameName(WStringView a, WStringView b) {
  const auto lower = [](WCHAR c) { return c >= 'A' && c <= 'Z' ? static_cast<WCHAR>(c + 32) : c; };
  return std::ranges::equal(a, b, {}, lower, lower);
}

bool parseInteger(WStringView text, int64_t& value) {
  const std::string digits = encodeUtf8(text);
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value);
  return result.ec == std::errc() && result.ptr == end;
}

bool parseNumber(WStringView text, double& value) {
  const std::string digits = encodeUtf8(text);
  const char* end = digits.data() + digits.size();
  const auto result = std::from_chars(digits.data(), end, value);
  return result.ec == std::errc() && result.ptr == end && std::isfinite(value);
}

bool parsePair(WStringView text, int64_t& across, int64_t& down) {
  const size_t cross = text.find('x');
  return cross != WStringView::npos && parseInteger(text.substr(0, cross), across) &&
         parseInteger(text.substr(cross + 1), down);
}

}  // namespace qv::workbench
