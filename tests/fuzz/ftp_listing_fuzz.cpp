// Any bytes are a listing, line by line, in both forms. Whatever names a file is a name and no path, fits its
// field, and a machine's line gives the size that it states.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "qv/platform/linux/internet_ftp.h"

namespace {

void require(bool condition) {
  if (!condition) abort();
}

void checkEntry(const WIN32_FIND_DATAW& found) {
  std::u16string_view name(found.cFileName, MAX_PATH);
  const size_t end = name.find(u'\0');
  require(end != name.npos && end > 0);
  name = name.substr(0, end);
  require(name != u"." && name != u"..");
  for (const char16_t c : name) require(c >= u' ' && c != 0x7f && c != u'/' && c != u'\\');
  require(found.dwFileAttributes == FILE_ATTRIBUTE_DIRECTORY ||
          found.dwFileAttributes == FILE_ATTRIBUTE_NORMAL);
  require(found.ftLastWriteTime.dwHighDateTime < 0x80000000u);
}

// A name that was read once is read again from a line of ours, the same.
void checkAgain(const WIN32_FIND_DATAW& found) {
  const std::u16string_view name = found.cFileName;
  for (const char16_t c : name) {
    if (c > 0x7e) return;
  }
  const uint64_t size = uint64_t{found.nFileSizeHigh} << 32 | found.nFileSizeLow;
  const std::string line =
      "Size=" + std::to_string(size) + ";Type=file; " + std::string(name.begin(), name.end());
  WIN32_FIND_DATAW again;
  require(qv::platform::parseMachineLine(line, again) && std::u16string_view(again.cFileName) == name);
  require(again.nFileSizeHigh == found.nFileSizeHigh && again.nFileSizeLow == found.nFileSizeLow);
}

// In a block of exactly its size, so that the sanitizer sees one byte too many.
void checkLine(std::string_view line) {
  const std::unique_ptr<char[]> block(new char[line.size()]);
  line.copy(block.get(), line.size());
  for (const auto parse : {qv::platform::parseMachineLine, qv::platform::parseHumanLine}) {
    WIN32_FIND_DATAW found;
    if (!parse({block.get(), line.size()}, found)) continue;
    checkEntry(found);
    checkAgain(found);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view text(reinterpret_cast<const char*>(data), size);
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    checkLine(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return 0;
}
