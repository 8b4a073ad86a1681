#include "qv/app/workbench/progress.h"

#include <algorithm>

#include "qv/core/printf.h"
#include "qv/frame/clock.h"
#include "qv/platform/console.h"

namespace qv::workbench {
namespace {

constexpr uint32_t kEveryMilliseconds = 100;
constexpr size_t kLongestName = 60;
constexpr std::string_view kEraseLine = "\r\x1b[K";

}  // namespace

Progress::Progress() : terminal_(platform::isTerminal(STD_ERROR_HANDLE)) {}

Progress::~Progress() {
  if (shown_) platform::writeText(STD_ERROR_HANDLE, kEraseLine);
}

void Progress::show(double percent, WStringView name) {
  const auto now = static_cast<uint32_t>(QvGetMillisec());
  if (!terminal_ || (shown_ && now - last_ < kEveryMilliseconds)) return;
  last_ = now;
  shown_ = true;
  WCHAR text[16] = {};
  QvCchPrintF(text, 16, nullptr, TEXT("%5.1f %%  "), percent);
  name.remove_prefix(name.size() - std::min(name.size(), kLongestName));
  platform::writeText(STD_ERROR_HANDLE, std::string(kEraseLine) + encodeUtf8(text) + encodeUtf8(name));
}

}  // namespace qv::workbench
