// Whole pages of address space and their protection.
//
//   auto* pages =
//       static_cast<uint8_t*>(VirtualAlloc(nullptr, bytes, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
//   DWORD before;
//   VirtualProtect(pages, 1, PAGE_NOACCESS, &before);  // the first page is a trap now
//   VirtualFree(pages, 0, MEM_RELEASE);
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <memoryapi.h>

#else

constexpr DWORD MEM_COMMIT = 0x1000, MEM_RESERVE = 0x2000, MEM_RELEASE = 0x8000;
constexpr DWORD PAGE_NOACCESS = 1, PAGE_READONLY = 2, PAGE_READWRITE = 4;

// Gives zeroed pages that hold `bytes` bytes. address: null. type: MEM_RESERVE | MEM_COMMIT. The caller frees
// with VirtualFree. Null on failure. Any thread.
QV_API LPVOID VirtualAlloc(LPVOID address, SIZE_T bytes, DWORD type, DWORD protection);

// Changes the protection of every page that the range touches. before: takes the first page's earlier
// protection, not null. Pages that come from VirtualAlloc only. False on failure.
QV_API BOOL VirtualProtect(LPVOID address, SIZE_T bytes, DWORD protection, DWORD* before);

// Gives pages back. address: from VirtualAlloc; bytes: 0; type: MEM_RELEASE. False on failure.
QV_API BOOL VirtualFree(LPVOID address, SIZE_T bytes, DWORD type);

#endif

namespace qv::platform {

// A hint that the whole of a writable range is about to be written: its pages come in one step instead of a
// fault each, which is half of the time that filling fresh memory takes. What it holds stays. Does nothing on
// a system that has no such step. Any thread.
void prefaultPages(void* address, SIZE_T bytes);

}  // namespace qv::platform
