#include "qv/platform/codepage.h"

#include <mlang.h>

#include <algorithm>
#include <vector>

namespace qv::platform {
namespace {

// The import libraries hold neither of the two.
constexpr CLSID kMultiLanguage = {0x275c23e2, 0x3747, 0x11d0, {0x9f, 0xea, 0x00, 0xaa, 0x00, 0x3f, 0x86, 0x46}};
constexpr IID kMultiLanguage2 = {0xdccfc164, 0x2b38, 0x11d2, {0xb7, 0xec, 0x00, 0xc0, 0x4f, 0x8f, 0x5d, 0x9a}};

}  // namespace

HRESULT detectCodePages(const uint8_t* bytes, int32_t count, DetectedCodePage* results, int32_t* found) {
  constexpr DWORD kEightBit = 2;
  std::vector<DetectEncodingInfo> own(static_cast<size_t>(*found));
  *found = 0;
  IMultiLanguage2* detector = nullptr;
  HRESULT status = CoCreateInstance(kMultiLanguage, nullptr, CLSCTX_INPROC_SERVER, kMultiLanguage2,
                                    reinterpret_cast<void**>(&detector));
  if (FAILED(status)) return status;
  INT size = count;
  INT number = static_cast<INT>(own.size());
  status = detector->DetectInputCodepage(kEightBit, 0, reinterpret_cast<CHAR*>(const_cast<uint8_t*>(bytes)),
                                         &size, own.data(), &number);
  detector->Release();
  // A detector that fails on the bytes has found nothing: that is no failure of ours.
  if (FAILED(status)) return S_OK;
  *found = std::clamp<int32_t>(number, 0, static_cast<int32_t>(own.size()));
  std::transform(own.begin(), own.begin() + *found, results, [](const DetectEncodingInfo& info) {
    return DetectedCodePage{info.nCodePage, info.nDocPercent, info.nConfidence};
  });
  return S_OK;
}

}  // namespace qv::platform
