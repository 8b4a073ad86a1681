// The platform operations in one include; each family has a header of its own beside this one.
#pragma once

#include "qv/platform/base.h"
