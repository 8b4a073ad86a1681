// What can be told of 8-bit text.
#include "qv/platform/codepage.h"

#include "qv/lang/lang.h"

namespace {

constexpr HRESULT kNotSure = static_cast<HRESULT>(0x8004e1fdu);
constexpr int32_t kMostResults = 10;
constexpr int32_t kSureConfidence = 100;
constexpr int32_t kWholeDocument = 100;

}  // namespace

int32_t QvLang_DetectMultiByteCharacters(const uint8_t* bytes, int32_t count) {
  constexpr int kLead = 1;
  constexpr int kTrail = 2;
  if (bytes == nullptr || count < 2 || _getmbcp() == 0) return 0;
  for (int32_t i = 0; i + 1 < count && bytes[i] != 0; ++i) {
    if (_mbbtype(bytes[i], 0) == kLead && _mbbtype(bytes[i + 1], 1) == kTrail) return 1;
  }
  return 0;
}

HRESULT QvLang_DetectPossibleCodepage(const uint8_t* bytes, int32_t count, uint32_t* codePage) {
  *codePage = 0;
  qv::platform::DetectedCodePage results[kMostResults];
  int32_t found = kMostResults;
  if (const HRESULT status = qv::platform::detectCodePages(bytes, count, results, &found); FAILED(status)) return status;
  int32_t best = -1;
  for (int32_t i = 0; i < found; ++i) {
    if (results[i].documentPercent != kWholeDocument) continue;
    if (best < 0 || results[i].confidence > results[best].confidence) best = i;
  }
  if (best < 0 || results[best].confidence < kSureConfidence) return kNotSure;
  *codePage = results[best].codePage;
  return S_OK;
}
