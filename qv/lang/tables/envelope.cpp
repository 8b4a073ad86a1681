#define QV_TEXT_TABLE "qv/lang/tables/envelope.inc"
#define QV_TEXT_SECTION "strings3"
#include "qv/lang/tables/emit.h"
