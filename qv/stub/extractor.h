// What the program in front of a self-extracting archive does with the archive behind it.
#pragma once

#include "qv/stub/console.h"

namespace qv::stub {

// What the program ends with.
enum : int32_t {
  kDone = 0,
  kFailed = 1,  // no archive, a damaged one, or not all of it could be written
  kWrongUse = 2,
  kStopped = 3,  // the user said so, or nobody was there to answer
};

struct Wishes {
  bool list = false;
  bool yes = false;  // overwrites without asking
  Text folder;       // empty: asks
};

// Shows or extracts the archive behind the program at `path`.
int32_t serve(const Text& path, const Wishes& wishes);

}  // namespace qv::stub
