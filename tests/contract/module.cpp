// A module that the contract test loads.
#include "qv/api.h"

extern "C" QV_API int contractAnswer() {
  return 42;
}
