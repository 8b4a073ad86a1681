// Memory: global blocks whose size can be asked for, heaps that go away as a whole, task memory, and the
// run-time's block size.
//
// A global block is fixed (its handle is its address) or moveable (the address comes from GlobalLock).
//
//   HGLOBAL handle = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, 100);
//   void* data = GlobalLock(handle);
//   ...
//   GlobalUnlock(handle);
//   GlobalFree(handle);
#pragma once

#include "qv/platform/base.h"

#ifdef _WIN32

#include <malloc.h>
#include <objbase.h>

#else

constexpr UINT GMEM_FIXED = 0, GMEM_MOVEABLE = 2, GMEM_ZEROINIT = 0x40;
constexpr UINT GHND = GMEM_MOVEABLE | GMEM_ZEROINIT, GPTR = GMEM_FIXED | GMEM_ZEROINIT;
constexpr DWORD HEAP_NO_SERIALIZE = 1, HEAP_ZERO_MEMORY = 8, HEAP_REALLOC_IN_PLACE_ONLY = 0x10;

// Gives a block of exactly `bytes` bytes, aligned to 16; with GMEM_ZEROINIT zeroed, with GMEM_MOVEABLE under
// a handle that is not its address. 0 bytes are allowed. The caller frees with GlobalFree. Null on failure
// (ERROR_NOT_ENOUGH_MEMORY). Any thread; one block is one thread's at a time.
QV_API HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes);

// Changes a block's size and keeps its contents up to the smaller size; with GMEM_ZEROINIT the new bytes are
// zero. A moveable block that is not locked may move and keeps its handle. A fixed block moves only when
// GMEM_MOVEABLE is given, and then the result is its new address; otherwise it shrinks or grows where it is,
// or fails. Null on failure, and the old block stands.
QV_API HGLOBAL GlobalReAlloc(HGLOBAL block, SIZE_T bytes, UINT flags);

// The size that was asked for, in bytes (of a block of 0 bytes, a byte or none). 0 for null.
QV_API SIZE_T GlobalSize(HGLOBAL block);

// The block's address; counts a lock on a moveable block, gives a fixed block's own handle back. Null for
// null, and for a moveable block of 0 bytes (ERROR_DISCARDED).
QV_API LPVOID GlobalLock(HGLOBAL block);

// Takes one lock off a moveable block: true while locks remain. With the last one gone, false and the last
// error 0. Of a fixed block always true.
QV_API BOOL GlobalUnlock(HGLOBAL block);

// The handle of the block at this address (of its first byte, as GlobalLock or GlobalAlloc gave it); null for
// null.
QV_API HGLOBAL GlobalHandle(LPCVOID address);

// Frees a block, locked or not; null gives null. Null on success.
QV_API HGLOBAL GlobalFree(HGLOBAL block);

// Makes a private heap that grows as needed; with HEAP_NO_SERIALIZE it is one thread's at a time, without it
// any thread's. `initialSize` is a hint in bytes; `maximumSize` is 0. Null on failure. Blocks of a private
// heap cost no lock and no search, and they go with it.
QV_API HANDLE HeapCreate(DWORD options, SIZE_T initialSize, SIZE_T maximumSize);

// Frees the heap and every block that is left in it. Not for the process heap.
QV_API BOOL HeapDestroy(HANDLE heap);

// Gives a block of the heap, aligned to 16; with HEAP_ZERO_MEMORY zeroed. 0 bytes are allowed. Null on
// failure; the last error is then not set.
QV_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, SIZE_T bytes);

// Changes a block's size and keeps its contents up to the smaller size; with HEAP_ZERO_MEMORY the new bytes
// are zero, with HEAP_REALLOC_IN_PLACE_ONLY it doesn't move. Null on failure, and the old block stands.
QV_API LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID block, SIZE_T bytes);

// Gives a block of this heap back. Null is allowed and gives true.
QV_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID block);

// The size that was asked for, exactly, in bytes.
QV_API SIZE_T HeapSize(HANDLE heap, DWORD flags, LPCVOID block);

// The heap that lives as long as the process; any thread.
QV_API HANDLE GetProcessHeap();

// Memory that one side allocates and the other frees with CoTaskMemFree. Null on failure.
QV_API LPVOID CoTaskMemAlloc(SIZE_T bytes);

// Changes the size and keeps the contents; null allocates, 0 bytes of a block free it and give null. On
// failure null, and the old block stands.
QV_API LPVOID CoTaskMemRealloc(LPVOID block, SIZE_T bytes);

// Frees task memory; null is allowed.
QV_API void CoTaskMemFree(LPVOID block);

// The size of a block of the run-time's malloc, calloc or realloc, in bytes: at least what was asked for.
// Windows gives that very figure, Linux the whole of what may be used.
QV_API size_t _msize(void* block);

// True when any byte of the range can't be read at this moment; 0 bytes can always be read. It never
// crashes, whatever the address, and is for telling a live record from a wild pointer, not for safety:
// another thread may unmap the range right after.
QV_API BOOL IsBadReadPtr(const void* address, UINT_PTR bytes);

#endif
