#include "qv/app/workbench/progress.h"

#include <algorithm>

#include "qv/core/printf.h"
#include "qv/frame/clock.h"

namespace qv::workbench {
namespace {

constexpr uint32_t kEveryMilliseconds = 100;
constexpr size_t kLongestName = 60;
constexpr std::string_view kEraseLine = "\r\x1b[K";

void write(HANDLE stream, std::string_view bytes) {
  DWORD written = 0;
  WriteFile(stream, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

}  // namespace

Progress::Progress() {
  const HANDLE stream = GetStdHandle(STD_ERROR_HANDLE);
  if (stream != nullptr && GetFileType(stream) == FILE_TYPE_CHAR) terminal_ = stream;
}

Progress::~Progress() {
  if (shown_) write(terminal_, kEraseLine);
}

void Progress::show(double percent, WStringView name) {
  const auto now = static_cast<uint32_t>(QvGetMillisec());
  if (terminal_ == nullptr || (shown_ && now - last_ < kEveryMilliseconds)) return;
  last_ = now;
  shown_ = true;
  WCHAR text[16] = {};
  QvCchPrintF(text, 16, nullptr, TEXT("%5.1f %%  "), percent);
  name.remove_prefix(name.size() - std::min(name.size(), kLongestName));
  write(terminal_, std::string(kEraseLine) + encodeUtf8(text) + encodeUtf8(name));
}

}  // namespace qv::workbench
