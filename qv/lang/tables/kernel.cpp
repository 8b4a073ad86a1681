#define QV_TEXT_TABLE "qv/lang/tables/kernel.inc"
#define QV_TEXT_SECTION "strings"
#include "qv/lang/tables/emit.h"
