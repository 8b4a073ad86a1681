// An ordered list of start-up stages: the ones that others need stop at the first failure, the ones at the
// end run whatever happened.
#pragma once

#include <span>

namespace qv {

template <typename Context>
struct Stage {
  bool (*run)(const Context& context);  // false: failed
  bool always;                          // runs after a failure too, and its result doesn't count
};

// Whether every stage that counts succeeded.
template <typename Context>
bool runStages(std::span<const Stage<Context>> stages, const Context& context) {
  bool fine = true;
  for (const Stage<Context>& stage : stages) {
    if (!fine && !stage.always) continue;
    if (!stage.run(context) && !stage.always) fine = false;
  }
  return fine;
}

}  // namespace qv
