#include "qv/perf/detail/fft_plan.h"

#include <cmath>
#include <new>

namespace qv::perf {

void* allocateAligned(size_t size) {
  return ::operator new (size, std::align_val_t{kBlockAlignment}, std::nothrow);
}

void freeAligned(void* block) {
  ::operator delete (block, std::align_val_t{kBlockAlignment});
}

namespace {

constexpr int kFirstRadixLog = 3;

struct Unit {
  long double re, im;
};

// e^(-2 pi i k / 2^order) with the angle folded into the first octant, where sine and cosine lose nothing.
Unit unitRoot(uint64_t k, int order) {
  const uint64_t n = uint64_t{1} << order;
  k &= n - 1;
  if (2 * k > n) {
    const Unit u = unitRoot(n - k, order);
    return {u.re, -u.im};
  }
  if (4 * k > n) {
    const Unit u = unitRoot(n / 2 - k, order);
    return {-u.re, u.im};
  }
  if (8 * k > n) {
    const Unit u = unitRoot(n / 4 - k, order);
    return {-u.im, -u.re};
  }
  constexpr long double kTwoPi = 6.283185307179586476925286766559005768L;
  const long double angle = kTwoPi * static_cast<long double>(k) / static_cast<long double>(n);
  return {cosl(angle), -sinl(angle)};
}

// Radix 8 as far as it goes, and radix 4 (once or twice) for what is left; a lone bit takes radix 2.
template <class T>
void choosePasses(FftPlan<T>& plan, int bits) {
  const int fours = bits % 3 == 0 ? 0 : bits % 3 == 2 ? 1 : bits == 1 ? 0 : 2;
  if (bits == 1) plan.passes[plan.passCount++].radixLog = 1;
  const int eights = bits == 1 ? 0 : (bits - 2 * fours) / 3;
  for (int i = 0; i < eights; ++i) plan.passes[plan.passCount++].radixLog = 3;
  for (int i = 0; i < fours; ++i) plan.passes[plan.passCount++].radixLog = 2;
}

// The vector form needs a whole vector in each of its eight rows, and a pass after the first.
bool fitsVectors(int points, int width) {
  return width > 1 && points >= 5 && (size_t{1} << points) >= size_t{8} * width;
}

template <class T>
void layOut(FftPlan<T>& plan) {
  plan.passCount = 0;
  plan.wide = fitsVectors(plan.points, plan.kernel.width);
  if (plan.wide) plan.passes[plan.passCount++].radixLog = kFirstRadixLog;
  choosePasses(plan, plan.points - (plan.wide ? kFirstRadixLog : 0));
}

// Every twiddle in the order in which the passes read them. With a null table only the count is wanted.
template <class T>
size_t fillTable(FftPlan<T>& plan, T* table) {
  size_t at = 0;
  const auto put = [&](T value) {
    if (table) table[at] = value;
    ++at;
  };
  int bits = plan.points;
  for (int i = 0; i < plan.passCount; ++i) {
    FftPass& pass = plan.passes[i];
    pass.twiddles = at;
    const size_t rows = size_t{1} << (bits - pass.radixLog);
    const size_t radix = size_t{1} << pass.radixLog;
    const size_t width = i == 0 && plan.wide ? plan.kernel.width : 1;
    if (rows == 1) break;  // the last pass turns nothing
    for (size_t p = 0; p < rows; p += width) {
      for (size_t k = 1; k < radix; ++k) {
        if (!table) {
          at += 2 * width;
          continue;
        }
        for (int part = 0; part < 2; ++part) {
          for (size_t lane = 0; lane < width; ++lane) {
            const Unit u = unitRoot((p + (width > 1 ? plan.kernel.laneOrder[lane] : 0)) * k, bits);
            put(static_cast<T>(part ? u.im : u.re));
          }
        }
      }
    }
    bits -= pass.radixLog;
  }
  plan.splitTwiddles = at;
  if (plan.kind != kKind64f) return at;
  const size_t quarter = plan.points > 0 ? size_t{1} << (plan.points - 1) : 0;
  for (size_t k = 0; k < quarter; ++k) {
    const Unit u = table ? unitRoot(k, plan.order) : Unit{};
    put(static_cast<T>(u.re));
    put(static_cast<T>(-u.im));
  }
  return at;
}

template <class T>
FftPlan<T>* makePlan(FftPlan<T> plan) {
  layOut(plan);
  const size_t head = (sizeof(plan) + kBlockAlignment - 1) / kBlockAlignment * kBlockAlignment;
  const size_t count = fillTable<T>(plan, nullptr);
  auto* block = static_cast<uint8_t*>(allocateAligned(head + count * sizeof(T)));
  if (!block) return nullptr;
  T* table = reinterpret_cast<T*>(block + head);
  fillTable(plan, table);
  plan.table = table;
  return new (block) FftPlan<T>(plan);
}

}  // namespace

FftPlan<float>* makePlan32fc(int order, int flag) {
  FftPlan<float> plan{};
  plan.kind = kKind32fc;
  plan.order = plan.points = order;
  plan.flag = flag;
  plan.kernel = kernels().fft32;
  return makePlan(plan);
}

FftPlan<double>* makePlan64f(int order, int flag) {
  FftPlan<double> plan{};
  plan.kind = kKind64f;
  plan.order = order;
  plan.points = order > 0 ? order - 1 : 0;
  plan.flag = flag;
  plan.kernel = kernels().fft64;
  plan.split64 = kernels().split64;
  return makePlan(plan);
}

}  // namespace qv::perf
