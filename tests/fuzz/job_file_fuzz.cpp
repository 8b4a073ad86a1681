// Any bytes are a job file: reading them must end, give each fault its line, and keep text within its limits.
#include <algorithm>
#include <cstdlib>
#include <string_view>

#include "qv/app/workbench/job_file.h"

using qv::workbench::readSteps;
using qv::workbench::Step;

namespace {

std::vector<Step> readInPieces(std::string_view text, size_t piece) {
  return readSteps([&text, piece](char* buffer, size_t capacity) {
    const size_t size = std::min({piece, capacity, text.size()});
    std::copy_n(text.data(), size, buffer);
    text.remove_prefix(size);
    return static_cast<int64_t>(size);
  });
}

void require(bool condition) {
  if (!condition) abort();
}

void checkStep(const Step& step, uint32_t lineBefore) {
  require(step.line > lineBefore);
  require((step.fault < 0) == !step.message.empty());
  require((step.fault < 0) == (step.words.empty() && step.options.empty()));
  size_t units = 0;
  for (const auto& word : step.words) units += word.size();
  for (const auto& option : step.options) {
    require(!option.key.empty());
    units += option.key.size() + option.value.size();
  }
  require(units <= qv::workbench::kMaxLineBytes);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
  const auto whole = readInPieces(text, text.size() + 1);
  const auto pieces = readInPieces(text, size_t{data[0]} + 1);
  // How the bytes arrive must not matter.
  require(whole.size() == pieces.size());
  uint32_t line = 0;
  for (size_t i = 0; i < whole.size(); ++i) {
    checkStep(whole[i], line);
    line = whole[i].line;
    require(whole[i].line == pieces[i].line && whole[i].fault == pieces[i].fault);
    require(whole[i].words == pieces[i].words && whole[i].options.size() == pieces[i].options.size());
  }
  return 0;
}
