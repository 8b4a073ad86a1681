// Any bytes are a settings file: it is refused with a line of its own, or read, and then what is printed
// reads the same again.
#include <algorithm>
#include <cstdlib>
#include <string>
#include <string_view>

#include "qv/app/workbench/settings_file.h"

namespace {

void require(bool condition) {
  if (!condition) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace qv::workbench;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  StoredSettings settings;
  SettingsFault fault;
  if (!parseSettings(text, settings, fault)) {
    const auto lines = static_cast<uint32_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    require(fault.line >= 1 && fault.line <= lines && !fault.sentence.empty() && settings.keys.empty());
    return 0;
  }
  require(fault.line == 0 && !settings.application.empty() && !settings.keys.empty());
  const std::string printed = printSettings(settings);
  StoredSettings again;
  require(parseSettings(printed, again, fault));
  require(again == settings && printSettings(again) == printed);
  return 0;
}
