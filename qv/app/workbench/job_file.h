// The job file: UTF-8 text, one step a line.
//
//   # sort the names            a comment runs to the end of the line
//   set out=results             an option alone or behind a verb: key=value
//   lines "my names.txt" sort   double quotes hold a word together; "" inside them is one quote
//
// Reading never stops at a bad line: the step carries its fault, so that whoever runs the job decides
// whether to go on. Memory stays within the text of the steps; a line is at most kMaxLineBytes long.
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "qv/app/workbench/text.h"

namespace qv::workbench {

inline constexpr size_t kMaxLineBytes = 64 * 1024;
inline constexpr size_t kMaxSteps = 1000 * 1000;

struct Option {
  WString key;
  WString value;
};

struct Step {
  uint32_t line = 0;             // 1-based line of the job file
  HRESULT fault = 0;             // why the line cannot be read, or 0
  WString message;               // the sentence that goes with the fault
  std::vector<WString> words;    // the verb and its plain arguments, in order
  std::vector<Option> options;   // the key=value words, in order

  // The last value given for `key`, or null.
  const WString* option(WStringView key) const;
  // The same, or `otherwise`.
  WString optionOr(WStringView key, WStringView otherwise) const;
};

// Splits one line, without its line end, into `step`. A blank or comment line leaves no word and no option.
void parseLine(std::string_view bytes, Step& step);

// Gives up to `capacity` bytes and returns how many; 0 at the end; a negative status on failure.
using ReadBytes = std::function<int64_t(char* buffer, size_t capacity)>;

// Reads all steps; blank lines and comments are left out. A failure of `read` becomes the last step's fault.
std::vector<Step> readSteps(const ReadBytes& read);

}  // namespace qv::workbench
