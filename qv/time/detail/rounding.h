// Doubles to integers, defined for every double.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

namespace qv::time {

// Towards zero. What the type can't hold becomes its limit; a NaN becomes 0.
template <typename Integer>
constexpr Integer truncated(double value) {
  using Limits = std::numeric_limits<Integer>;
  constexpr double kAbove = static_cast<double>(uint64_t{1} << (Limits::digits - 1)) * 2;
  if (value >= kAbove) return Limits::max();
  if (value > (Limits::min() == 0 ? -1.0 : -kAbove)) return static_cast<Integer>(value);
  return value != value ? 0 : Limits::min();
}

// A floor that forgives a value lying 0.000000015 under a whole number, as sums of decimal fractions do.
inline double flooredForgiving(double value) {
  return std::nearbyint(value - 0.499999985);
}

}  // namespace qv::time
