#include "qv/core/detail/language_text.h"

#include <atomic>

namespace qv {
namespace {

constexpr const WCHAR* kEnglish[] = {
    TEXT(" dB"),
    TEXT("Left"),
    TEXT("Right"),
    TEXT("-Inf."),
    TEXT("Err."),
    TEXT("%1 B"),
    TEXT("%1 bytes"),
    TEXT("%1 KB"),
    TEXT("%1 MB"),
    TEXT("%1 GB"),
    TEXT("%1 TB"),
    TEXT("%1 PB"),
    TEXT("%1 EB"),
    TEXT("> 9 YB"),
    TEXT("hr%smn%ssc%sfr"),
    TEXT("hours%sminutes%sseconds%sframes"),
    TEXT("ms%sbt%stk"),
    TEXT("measures%sbeats%sticks"),
};
static_assert(sizeof kEnglish / sizeof *kEnglish == static_cast<size_t>(LanguageText::count));

constexpr LanguageSource kFallback = {};
constinit std::atomic<const LanguageSource*> source{&kFallback};

constexpr uint32_t kRingSize = 8192;
constexpr uint32_t kRingReserve = 1024;
WCHAR ring[kRingSize];
constinit std::atomic<uint32_t> ringPosition{0};

uint32_t startIn(uint32_t position) {
  return position > kRingSize - kRingReserve ? 0 : position;
}

WCHAR* fallbackTemporary(uint32_t characters) {
  uint32_t position = ringPosition.load(std::memory_order_relaxed);
  uint32_t next;
  do next = (startIn(position) + 2 + characters) & ~1u;
  while (!ringPosition.compare_exchange_weak(position, next, std::memory_order_relaxed));
  return ring + startIn(position);
}

}  // namespace

void setLanguageSource(const LanguageSource* joined) {
  source = joined ? joined : &kFallback;
}

const WCHAR* languageText(LanguageText id) {
  const auto text = source.load()->text;
  const WCHAR* found = text ? text(id) : nullptr;
  return found ? found : kEnglish[static_cast<size_t>(id)];
}

WCHAR* temporaryText(uint32_t characters) {
  const auto temporary = source.load()->temporary;
  return temporary ? temporary(characters) : fallbackTemporary(characters);
}

const WCHAR* languageString(HQVLANG__* language, uint32_t number) {
  const auto string = source.load()->string;
  return string ? string(language, number) : TEXT("");
}

}  // namespace qv
