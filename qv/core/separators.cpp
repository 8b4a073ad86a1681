// Loading the international data, and the tokens that carry its separators into formats.
#include "qv/core/detail/language_text.h"
#include "qv/core/detail/tokens.h"
#include "qv/core/printf.h"
#include "qv/lang/international.h"
#include "qv/platform/locale.h"

namespace qv {
namespace {

constexpr uint32_t kLabelCapacity = 64;

void defineLabel(const WCHAR* name, LanguageText pattern, const WCHAR* a, const WCHAR* b, const WCHAR* c) {
  WCHAR label[kLabelCapacity];
  QvCchPrintF(label, kLabelCapacity, nullptr, languageText(pattern), a, b, c);
  QvPrintF_AddToken(name, label);
}

}  // namespace

void defineSeparatorTokens() {
  const QVINTERNATIONALS& inat = internationals();
  const WCHAR* whole = inat.timecodeWholeSeparator.text;
  const WCHAR* nonDrop = inat.timecodeNonDropSeparator.text;
  const WCHAR* drop = inat.timecodeDropSeparator.text;
  const WCHAR* measure = inat.musicalMeasureSeparator.text;
  const WCHAR* beat = inat.musicalBeatSeparator.text;
  QvPrintF_AddToken(TEXT("SMPTE.Whole"), whole);
  QvPrintF_AddToken(TEXT("SMPTE.NonDrop"), nonDrop);
  QvPrintF_AddToken(TEXT("SMPTE.Drop"), drop);
  defineLabel(TEXT("SMPTE.Label.NonDrop"), LanguageText::timecodeLabel, whole, whole, nonDrop);
  defineLabel(TEXT("SMPTE.Label.Drop"), LanguageText::timecodeLabel, whole, whole, drop);
  defineLabel(TEXT("SMPTE.Label.NonDrop.Full"), LanguageText::timecodeFullLabel, whole, whole, nonDrop);
  defineLabel(TEXT("SMPTE.Label.Drop.Full"), LanguageText::timecodeFullLabel, whole, whole, drop);
  QvPrintF_AddToken(TEXT("m.b"), measure);
  QvPrintF_AddToken(TEXT("b.t"), beat);
  defineLabel(TEXT("MusicTime.Label"), LanguageText::musicLabel, measure, beat, TEXT(""));
  defineLabel(TEXT("MusicTime.Label.Full"), LanguageText::musicFullLabel, measure, beat, TEXT(""));
}

}  // namespace qv

HRESULT QvLang_GetInternationals(QVINTERNATIONALS* record, uint32_t size) {
  if (record) {
    qv::copyInternationals(record, size);
    return 0;
  }
  qv::setInternationals(qv::readInternationals(LOCALE_USER_DEFAULT));
  qv::defineSeparatorTokens();
  return 0;
}
