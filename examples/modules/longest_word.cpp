// A module: a library that the workbench loads and that calls back into the toolkit which the executable
// exports. It is linked against qv::host only and carries no toolkit of its own.
//
// The entry collects words in a list of the executable's and answers the longest one.

#include <cstring>

#include "qv/core/list.h"

namespace {

constexpr const WCHAR* kWords[] = {TEXT("fader"), TEXT("timecode"), TEXT("bus"), TEXT("interlace")};

int32_t CALLBACK longerFirst(int64_t, const void* a, const void* b) {
  return lstrlenW(static_cast<const WCHAR*>(b)) - lstrlenW(static_cast<const WCHAR*>(a));
}

}  // namespace

extern "C" QV_MODULE_EXPORT HRESULT QvModule_Run(WCHAR* answer, int32_t capacity) {
  tQVLIST* list = nullptr;
  HRESULT status = QvList_CreateExZ(&list, 8, 4, 4, 0x40000000, 0, 0, 0);
  if (FAILED(status)) return status;
  for (const WCHAR* word : kWords) {
    if (!FAILED(status)) status = QvList_InsertList(list, -1, &word, 1);
  }
  if (!FAILED(status)) status = QvList_HeapSort(list, 0, longerFirst);
  if (!FAILED(status)) lstrcpynW(answer, static_cast<const WCHAR* const*>(list->data)[0], capacity);
  QvList_Destroy(list);
  return status;
}
