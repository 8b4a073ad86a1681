#include "qv/platform/codepage.h"

#include <initguid.h>
#include <mlang.h>

#include <algorithm>
#include <vector>

namespace qv::platform {

HRESULT detectCodePages(const uint8_t* bytes, int32_t count, DetectedCodePage* results, int32_t* found) {
  constexpr DWORD kEightBit = 2;
  IMultiLanguage2* detector = nullptr;
  HRESULT status = CoCreateInstance(CLSID_CMultiLanguage, nullptr, CLSCTX_INPROC_SERVER, IID_IMultiLanguage2,
                                    reinterpret_cast<void**>(&detector));
  if (FAILED(status)) return status;
  std::vector<DetectEncodingInfo> own(static_cast<size_t>(*found));
  INT size = count;
  status = detector->DetectInputCodepage(kEightBit, 0, reinterpret_cast<CHAR*>(const_cast<uint8_t*>(bytes)), &size,
                                         own.data(), found);
  detector->Release();
  if (FAILED(status)) return status;
  *found = std::clamp<int32_t>(*found, 0, static_cast<int32_t>(own.size()));
  std::transform(own.begin(), own.begin() + *found, results, [](const DetectEncodingInfo& info) {
    return DetectedCodePage{info.nCodePage, info.nDocPercent, info.nConfidence};
  });
  return S_OK;
}

}  // namespace qv::platform
