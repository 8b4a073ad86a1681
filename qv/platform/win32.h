// The platform operations in one include; each family has a header of its own beside this one.
//
// On Windows a family header includes the SDK and nothing else. Elsewhere it declares the same operations
// under the same names, and one source in linux/ implements them. docs/platform.md lists them all.
//
//   HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE | GMEM_ZEROINIT, bytes);
//   if (!block) return HRESULT_FROM_WIN32(GetLastError());
#pragma once

#include "qv/platform/base.h"
#include "qv/platform/codepage.h"
#include "qv/platform/com.h"
#include "qv/platform/files.h"
#include "qv/platform/locale.h"
#include "qv/platform/memory.h"
#include "qv/platform/message.h"
#include "qv/platform/modules.h"
#include "qv/platform/registry.h"
#include "qv/platform/resources.h"
#include "qv/platform/screen.h"
#include "qv/platform/sound.h"
#include "qv/platform/sync.h"
#include "qv/platform/system.h"
#include "qv/platform/text.h"
