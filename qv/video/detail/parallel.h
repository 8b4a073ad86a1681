// Rows in parallel: disjoint shares of a row range, in order of threads, with a barrier at the end.
#pragma once

#include <omp.h>
#include <stdint.h>

namespace qv {

// Below this much work a second thread costs more than it gives.
inline constexpr int64_t kParallelBytes = 256 * 1024;

// Calls work(first, end) for shares of 0..rows that cover it once. rowBytes: what a row moves, for the
// decision; work must not throw.
template <typename Work>
void parallelRows(int64_t rows, int64_t rowBytes, const Work& work) {
  if (rows < 2 || rows * rowBytes < kParallelBytes || omp_get_max_threads() < 2) {
    if (rows > 0) work(int64_t{0}, rows);
    return;
  }
#pragma omp parallel
  {
    const int64_t team = omp_get_num_threads(), self = omp_get_thread_num();
    const int64_t first = rows * self / team, end = rows * (self + 1) / team;
    if (first < end) work(first, end);
  }
}

}  // namespace qv
