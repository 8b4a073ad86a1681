// How far a long step has come, on standard error while that is a terminal, and gone when the step ends.
#pragma once

#include "qv/app/workbench/text.h"

namespace qv::workbench {

class Progress {
 public:
  Progress();
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  // Shows a percentage (0 to 100) and a name, at most ten times a second.
  void show(double percent, WStringView name);

 private:
  bool terminal_;
  uint32_t last_ = 0;
  bool shown_ = false;
};

}  // namespace qv::workbench
