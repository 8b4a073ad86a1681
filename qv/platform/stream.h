// Streams: a sequence of bytes behind an interface, and the one that keeps them in memory.
//
//   IStream* stream = nullptr;
//   if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, &stream))) return;
//   stream->Write(data, size, nullptr);
//   HGLOBAL block = nullptr;
//   if (SUCCEEDED(GetHGlobalFromStream(stream, &block))) use(GlobalLock(block)), GlobalUnlock(block);
//   stream->Release();
//
// A stream is one thread's at a time; its references may be counted by any.
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <objbase.h>

#else

using IID = GUID;
using REFIID = const IID&;
#define STDMETHODCALLTYPE
#define E_NOINTERFACE (static_cast<HRESULT>(0x80004002u))
#define STG_E_SEEKERROR (static_cast<HRESULT>(0x80030019u))

constexpr DWORD STREAM_SEEK_SET = 0, STREAM_SEEK_CUR = 1, STREAM_SEEK_END = 2;

inline bool operator==(const GUID& a, const GUID& b) {
  return __builtin_memcmp(&a, &b, sizeof(GUID)) == 0;
}
inline constexpr IID IID_IUnknown = {0x00000000, 0, 0, {0xc0, 0, 0, 0, 0, 0, 0, 0x46}};
inline constexpr IID IID_ISequentialStream = {
    0x0c733a30, 0x2a1c, 0x11ce, {0xad, 0xe5, 0x00, 0xaa, 0x00, 0x44, 0x77, 0x3d}};
inline constexpr IID IID_IStream = {0x0000000c, 0, 0, {0xc0, 0, 0, 0, 0, 0, 0, 0x46}};

// What every interface begins with. Release frees the object with its last reference.
struct IUnknown {
  virtual HRESULT QueryInterface(REFIID id, void** object) = 0;
  virtual ULONG AddRef() = 0;
  virtual ULONG Release() = 0;

 protected:
  ~IUnknown() = default;
};

// Both give how many bytes went, if asked; fewer than wanted is no failure for reading at the end.
struct ISequentialStream : IUnknown {
  virtual HRESULT Read(void* data, ULONG bytes, ULONG* read) = 0;
  virtual HRESULT Write(const void* data, ULONG bytes, ULONG* written) = 0;

 protected:
  ~ISequentialStream() = default;
};

struct STATSTG;

// What few streams have stands here as not implemented, so that a stream needs to bring only what it has.
struct IStream : ISequentialStream {
  virtual HRESULT Seek(LARGE_INTEGER distance, DWORD origin, ULARGE_INTEGER* position) = 0;
  virtual HRESULT SetSize(ULARGE_INTEGER size) = 0;
  virtual HRESULT CopyTo(IStream*, ULARGE_INTEGER, ULARGE_INTEGER*, ULARGE_INTEGER*) { return E_NOTIMPL; }
  virtual HRESULT Commit(DWORD) { return E_NOTIMPL; }
  virtual HRESULT Revert() { return E_NOTIMPL; }
  virtual HRESULT LockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_NOTIMPL; }
  virtual HRESULT UnlockRegion(ULARGE_INTEGER, ULARGE_INTEGER, DWORD) { return E_NOTIMPL; }
  virtual HRESULT Stat(STATSTG*, DWORD) { return E_NOTIMPL; }
  virtual HRESULT Clone(IStream**) { return E_NOTIMPL; }

 protected:
  ~IStream() = default;
};

// A stream over a moveable block, or over a new empty one if `block` is null. With `freeBlock` the block goes
// with the stream. The caller releases. E_OUTOFMEMORY.
QV_API HRESULT CreateStreamOnHGlobal(HGLOBAL block, BOOL freeBlock, IStream** stream);

// The block behind a stream of CreateStreamOnHGlobal, which stays the stream's; its size may exceed what was
// written. E_INVALIDARG for another stream.
QV_API HRESULT GetHGlobalFromStream(IStream* stream, HGLOBAL* block);

#endif
