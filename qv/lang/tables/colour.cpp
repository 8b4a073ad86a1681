#define QV_TEXT_TABLE "qv/lang/tables/colour.inc"
#define QV_TEXT_SECTION "strings4"
#include "qv/lang/tables/emit.h"
