#define QV_TEXT_TABLE "qv/lang/tables/pan.inc"
#define QV_TEXT_SECTION "strings2"
#include "qv/lang/tables/emit.h"
