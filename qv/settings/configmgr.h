// The configuration report: what machine this is and which of our products are installed, as an XML document.
//
//   IQvConfigMgr* manager = nullptr;
//   if (FAILED(CQvConfigMgr::CreateInstance(&manager))) return;
//   uint32_t size = 0;
//   void* report = nullptr;
//   if (SUCCEEDED(manager->GetConfigXml(TEXT("Robin"), QVCONFIG_PRODUCTS | QVCONFIG_MACHINE, &size,
//   &report))) {
//     write(report, size);
//     CoTaskMemFree(report);
//   }
//   manager->Release();
//
// The report is UTF-8 without line ends or indentation, the same bytes on every system for the same facts;
// docs/formats/report.md describes it. A fact that the system doesn't tell leaves its element out.
//
// Support staff may have every report written to a file as well: the value QvConfigMgrXmlFile (REG_SZ) in
// HKEY_LOCAL_MACHINE\Software\VENDOR names it.
//
// References may be counted by any thread; one object builds one report at a time, on a thread on which COM
// is initialised.
#pragma once

#include "qv/api.h"
#include "qv/core/list.h"
#include "qv/platform/stream.h"

// What a report holds beside the user's name.
inline constexpr uint32_t QVCONFIG_PRODUCTS = 1;
inline constexpr uint32_t QVCONFIG_MACHINE = 0x30;  // either bit

inline constexpr GUID IID_IQvConfigMgr = {
    0x3e3a4a0f, 0xe796, 0x4bd1, {0xb7, 0x35, 0xbc, 0x1f, 0x36, 0x1d, 0x32, 0x1c}};

// The platform's base interface has no virtual destructor: Release ends an object, delete never does.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

struct IQvConfigMgr : IUnknown {
  // Builds a report; the first form for the vendor "Halden Media Works".
  //   userName  null or empty: no such element
  //   vendor    in whose key the file for support staff is named; at most 259 characters count
  //   flags     QVCONFIG_
  //   size      receives the bytes, not null
  //   report    receives the block, not null; the caller frees it with CoTaskMemFree
  // 0; 0x80070057 for null; 0x80004005 when an installed product of ours doesn't tell its name or version;
  // 0x8007000e; else the document's status. Size and report are 0 after a failure.
  virtual HRESULT STDMETHODCALLTYPE GetConfigXml(const WCHAR* userName, uint32_t flags, uint32_t* size,
                                                 void** report) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetConfigXmlForVendor(const WCHAR* userName, const WCHAR* vendor,
                                                          uint32_t flags, uint32_t* size, void** report) = 0;

 protected:
  ~IQvConfigMgr() = default;
};

class CQvConfigMgr : public IQvConfigMgr {
 public:
  // A new object with one reference, which the caller releases. 0x8007000e, and null, without memory;
  // 0x80070057 for null.
  QV_API static HRESULT CreateInstance(IQvConfigMgr** manager);

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override;
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE GetConfigXml(const WCHAR* userName, uint32_t flags, uint32_t* size,
                                         void** report) override;
  HRESULT STDMETHODCALLTYPE GetConfigXmlForVendor(const WCHAR* userName, const WCHAR* vendor, uint32_t flags,
                                                  uint32_t* size, void** report) override;
  virtual ~CQvConfigMgr();

  static void operator delete(void* block);

 private:
  CQvConfigMgr() = default;
  CQvConfigMgr(const CQvConfigMgr&) = delete;
  CQvConfigMgr& operator=(const CQvConfigMgr&) = delete;
  static void* operator new(size_t, void* place) { return place; }
  static void operator delete(void*, void*) {}

  HRESULT build(const WCHAR* userName, uint32_t flags, uint32_t* size, void** report);

  LONG references_ = 1;
  tQVLIST* products_ = nullptr;    // qv::ProductEntry
  tQVLIST* components_ = nullptr;  // of the same kind; no component is reported yet
  WCHAR vendor_[260] = {};
};

#pragma GCC diagnostic pop
