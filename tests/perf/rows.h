// Runs a test at every set of kernels that this machine has.
#pragma once

#include <gtest/gtest.h>

#include "qv/frame/detail/cpu.h"
#include "qv/perf/detail/kernels.h"

namespace qv::perf {

inline bool rowRuns(int row) {
  return row != kWideVectorIndex || cpuHasAvx();
}

// Puts one set in force for a scope.
class RowInForce {
 public:
  explicit RowInForce(int row) : before_(currentRow()) { setRow(row); }
  ~RowInForce() { setRow(before_); }
  RowInForce(const RowInForce&) = delete;
  RowInForce& operator=(const RowInForce&) = delete;

 private:
  int before_;
};

class EachRow : public testing::TestWithParam<int> {
 protected:
  void SetUp() override {
    if (!rowRuns(GetParam())) GTEST_SKIP() << "no AVX here";
    setRow(GetParam());
  }
  void TearDown() override { setRow(0); }
};

}  // namespace qv::perf
