// The inverse colour table of one operation; goes with the scope.
#pragma once

#include "qv/video/quantise.h"

namespace qv {

class QuantiserBlock {
 public:
  QuantiserBlock() = default;
  explicit QuantiserBlock(void* table) : table_(table) {}
  ~QuantiserBlock() { release(); }
  QuantiserBlock(const QuantiserBlock&) = delete;
  QuantiserBlock& operator=(const QuantiserBlock&) = delete;

  HRESULT build(const BITMAPINFOHEADER* header);
  void release();
  const uint8_t* table() const { return static_cast<const uint8_t*>(table_); }
  void* detach() {
    void* table = table_;
    table_ = nullptr;
    return table;
  }

 private:
  void* table_ = nullptr;
};

}  // namespace qv
