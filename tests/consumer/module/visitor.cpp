// The least that a module needs: one header, one entry, the executable's own list.
#include "qv/core/list.h"

extern "C" QV_MODULE_EXPORT HRESULT QvModule_Run(WCHAR* answer, int32_t capacity) {
  tQVLIST* list = nullptr;
  const HRESULT status = QvList_CreateExZ(&list, 4, 1, 1, 0x40000004, 0, 0, 0);
  if (FAILED(status)) return status;
  lstrcpynW(answer, QvList_IsList(list, sizeof(tQVLIST)) ? TEXT("a list of the host's") : TEXT("no list"), capacity);
  return QvList_Destroy(list);
}
