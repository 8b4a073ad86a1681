// Names of entries, compared in any case.
#pragma once

#include <algorithm>
#include <iterator>
#include <string>
#include <unordered_set>

#include "qv/files/detail/text.h"

namespace qv::files {

class NameSet {
 public:
  void add(View name) { names_.insert(folded(name)); }
  bool has(View name) const { return names_.count(folded(name)) != 0; }

 private:
  using Text = std::basic_string<WCHAR>;
  static Text folded(View name) {
    Text text;
    std::transform(name.begin(), name.end(), std::back_inserter(text), upper);
    return text;
  }
  std::unordered_set<Text> names_;
};

}  // namespace qv::files
