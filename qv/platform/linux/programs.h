// Other programs, run without a shell: what stands in an argument stays one argument.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace qv::platform {

constexpr int kNoLimit = -1;

// How a program went: its exit code, no code while it still runs (it is looked after from then on).
struct ProgramEnd {
  bool started = false;
  std::optional<int> code;
};

// Runs the first argument's program, found along the PATH, with the others, in this folder, nothing on its
// standard input and its output thrown away: ours is full of records. Waits for its end, at most so many
// milliseconds.
ProgramEnd runProgram(const std::vector<std::string>& arguments, const std::string& folder, int milliseconds);

}  // namespace qv::platform
