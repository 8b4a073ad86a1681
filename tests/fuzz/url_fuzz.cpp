// Any text is an address: its parts are parts of it, in their order, whether they are copied or pointed at.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "qv/platform/internet.h"

namespace {

using Text = std::basic_string<WCHAR>;

void require(bool condition) {
  if (!condition) abort();
}

constexpr size_t kParts = 6;

struct Part {
  LPWSTR URL_COMPONENTSW::*text;
  DWORD URL_COMPONENTSW::*length;
};
constexpr Part kAll[kParts] = {
    {&URL_COMPONENTSW::lpszScheme, &URL_COMPONENTSW::dwSchemeLength},
    {&URL_COMPONENTSW::lpszUserName, &URL_COMPONENTSW::dwUserNameLength},
    {&URL_COMPONENTSW::lpszPassword, &URL_COMPONENTSW::dwPasswordLength},
    {&URL_COMPONENTSW::lpszHostName, &URL_COMPONENTSW::dwHostNameLength},
    {&URL_COMPONENTSW::lpszUrlPath, &URL_COMPONENTSW::dwUrlPathLength},
    {&URL_COMPONENTSW::lpszExtraInfo, &URL_COMPONENTSW::dwExtraInfoLength},
};

struct Cracked {
  bool good;
  DWORD error;
  URL_COMPONENTSW parts;
};

Cracked crack(const Text& url, URL_COMPONENTSW parts) {
  parts.dwStructSize = sizeof(parts);
  const bool good = InternetCrackUrlW(url.c_str(), 0, 0, &parts);
  return {good, good ? 0 : GetLastError(), parts};
}

Cracked crackPlaces(const Text& url) {
  URL_COMPONENTSW parts = {};
  for (const Part& part : kAll) parts.*part.length = 1;
  return crack(url, parts);
}

// Into blocks of exactly `room` characters, so that the sanitizer sees one too many.
void checkCopies(const Text& url, const Cracked& places, DWORD room) {
  std::unique_ptr<WCHAR[]> blocks[kParts];
  URL_COMPONENTSW parts = {};
  for (size_t i = 0; i < kParts; ++i) {
    blocks[i].reset(new WCHAR[room]);
    parts.*kAll[i].text = blocks[i].get();
    parts.*kAll[i].length = room;
  }
  const Cracked copied = crack(url, parts);
  bool fits = true;
  for (const Part& part : kAll) fits = fits && places.parts.*part.length < room;
  require(copied.good == fits);
  if (!fits) return require(copied.error == ERROR_INSUFFICIENT_BUFFER);
  for (const Part& part : kAll) {
    const DWORD length = copied.parts.*part.length;
    require(length == places.parts.*part.length && (copied.parts.*part.text)[length] == 0);
    if (length == 0) continue;
    require(memcmp(copied.parts.*part.text, places.parts.*part.text, length * sizeof(WCHAR)) == 0);
  }
}

// In the address, one behind the other.
void checkPlaces(const Text& url, const Cracked& places) {
  const WCHAR* from = url.c_str();
  const WCHAR* const end = from + url.size();
  for (const Part& part : kAll) {
    const DWORD length = places.parts.*part.length;
    if (length == 0) continue;
    const WCHAR* const at = places.parts.*part.text;
    require(at >= from && length <= static_cast<size_t>(end - at));
    from = at + length;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const DWORD room = data[0] % 40u + 1;
  Text url;
  for (size_t i = 1; i < size; ++i) url += static_cast<WCHAR>(data[i] < 0xf0 ? data[i] : 0x3000 + data[i]);
  url.resize(std::min(url.size(), url.find(WCHAR{0})));
  const Cracked places = crackPlaces(url);
  if (!places.good) {
    require(places.error != 0);
    return 0;
  }
  checkPlaces(url, places);
  checkCopies(url, places, room);
  checkCopies(url, places, static_cast<DWORD>(url.size() + 1));
  return 0;
}
