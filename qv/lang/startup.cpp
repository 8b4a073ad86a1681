#include "qv/lang/detail/startup.h"

#include <iterator>

#include "qv/core/detail/language_text.h"
#include "qv/lang/detail/handle.h"
#include "qv/lang/texts.h"

namespace qv {
namespace {

struct Joined {
  LanguageText id;
  const TextRecord* record;
};

// What the formatter and the conversions say, by the record that says it.
constexpr Joined kJoined[] = {
    {LanguageText::decibels, &kTextDecibelSuffix},
    {LanguageText::left, &kTextLeft},
    {LanguageText::right, &kTextRight},
    {LanguageText::minusInfinity, &kTextMinusInfinity},
    {LanguageText::error, &kTextErr},
    {LanguageText::sizeB, &kTextSizeB},
    {LanguageText::sizeBytes, &kTextSizeBytes},
    {LanguageText::sizeKB, &kTextSizeKB},
    {LanguageText::sizeMB, &kTextSizeMB},
    {LanguageText::sizeGB, &kTextSizeGB},
    {LanguageText::sizeTB, &kTextSizeTB},
    {LanguageText::sizePB, &kTextSizePB},
    {LanguageText::sizeEB, &kTextSizeEB},
    {LanguageText::sizeBeyond, &kTextSizeBeyond},
    {LanguageText::timecodeLabel, &kTextTimecodeLabel},
    {LanguageText::timecodeFullLabel, &kTextTimecodeLabelFull},
    {LanguageText::musicLabel, &kTextMusicTimeLabel},
    {LanguageText::musicFullLabel, &kTextMusicTimeLabelFull},
};
static_assert(std::size(kJoined) == static_cast<size_t>(LanguageText::count));

constexpr bool standInOrder() {
  for (size_t i = 0; i < std::size(kJoined); ++i) {
    if (kJoined[i].id != static_cast<LanguageText>(i)) return false;
  }
  return true;
}
static_assert(standInOrder());

const WCHAR* kernelText(LanguageText id) {
  return QvGetString(kernelLanguage, *kJoined[static_cast<size_t>(id)].record);
}

WCHAR* kernelTemporary(uint32_t characters) { return QvGetTempStringBuffer(kernelLanguage, characters); }

const WCHAR* stringOf(HQVLANG language, uint32_t number) { return QvGetString(language, number); }

constexpr LanguageSource kSource = {kernelText, kernelTemporary, stringOf};

}  // namespace

HRESULT startKernelLanguage(HMODULE module) {
  if (kernelLanguage != nullptr) return S_OK;
  const HRESULT status = QvLang_Open(&kernelLanguage, module, 0, 0);
  if (!FAILED(status)) setLanguageSource(&kSource);
  return status;
}

void stopKernelLanguage() {
  setLanguageSource(nullptr);
  QvLang_Close(kernelLanguage);
  kernelLanguage = nullptr;
}

}  // namespace qv
