// The input sides of the filters' sums.
//
// A sum takes its inputs oldest first, so it can be begun as soon as its oldest input is there: each input adds its
// products to the eleven sums that hold it, in the order in which these sums want them. The numerators read the same
// both ways, so six products serve all eleven. That takes 16 operations; sums one by one take 21.
#pragma once

#include "detector/filter.hpp"

namespace zeto {

constexpr size_t kFilterPairs = kFilterOrder / 2;

inline f64x2 twice(double v) noexcept {
  return f64x2{v, v};
}

class Numerator {
 public:
  explicit Numerator(const double* b) noexcept {
    for (size_t k = 0; k <= kFilterPairs; ++k) b_[k] = twice(b[k]);
  }
  // The product with the coefficient of z^-lag.
  f64x2 times(size_t lag, f64x2 x) const noexcept { return b_[lag <= kFilterPairs ? lag : kFilterOrder - lag] * x; }

 private:
  f64x2 b_[kFilterPairs + 1];  // in both lanes
};

// Of both high-passes, a signal in each lane.
// @param sums  n of them, and room for ten more, for which no inputs have come yet: they hold any numbers.
inline void sum_inputs(const FilterBank& bank, const float* a, const float* b, size_t n, f64x2* sums) noexcept {
  const Numerator b_of(bank.high_pass.b);
  f64x2 p[kFilterOrder];  // [i] lacks the inputs from time 0 on
  for (size_t i = 0; i < kFilterOrder; ++i) {
    p[i] = f64x2{};
    for (size_t lag = kFilterOrder; lag > i; --lag) {
      const size_t t = kFilterOrder + i - lag;
      const f64x2 x = to_double(f32x2{bank.memory_a.inputs[t], bank.memory_b.inputs[t]});
      p[i] = lag == kFilterOrder ? b_of.times(lag, x) : p[i] + b_of.times(lag, x);
    }
  }
  for (size_t t = 0; t < n; ++t) {
    const f64x2 x = {static_cast<double>(a[t]), static_cast<double>(b[t])};
    f64x2 products[kFilterPairs + 1];
    for (size_t k = 0; k <= kFilterPairs; ++k) products[k] = b_of.times(k, x);
    sums[t] = p[0] + products[0];
    for (size_t i = 1; i < kFilterOrder; ++i) p[i - 1] = p[i] + products[i <= kFilterPairs ? i : kFilterOrder - i];
    p[kFilterOrder - 1] = products[0];
  }
  for (size_t i = 0; i < kFilterOrder; ++i) sums[n + i] = f64x2{};
}

// The same for samples of 16 bits. Products of such with the high-pass's coefficients are multiples of 2^-55, and sums
// of eleven stay below 2^-6: nothing is rounded, so inputs of the same coefficient may be added first. No zero turns
// negative: samples of 16 bits are never -0, and the oldest and newest input's coefficient is positive.
inline void sum_inputs_of_16_bits(const FilterBank& bank, const float* a, const float* b, size_t n,
                                  f64x2* sums) noexcept {
  const Numerator b_of(bank.high_pass.b);
  f64x2 inputs[kFilterOrder + kFilterMost];
  for (size_t i = 0; i < kFilterOrder; ++i) {
    inputs[i] = to_double(f32x2{bank.memory_a.inputs[i], bank.memory_b.inputs[i]});
    sums[n + i] = f64x2{};
  }
  for (size_t t = 0; t < n; ++t) {
    inputs[kFilterOrder + t] = f64x2{static_cast<double>(a[t]), static_cast<double>(b[t])};
  }
  for (size_t t = 0; t < n; ++t) {
    const f64x2* const x = inputs + t;
    const f64x2 outer = b_of.times(0, x[0] + x[10]) + b_of.times(1, x[1] + x[9]);
    const f64x2 inner = b_of.times(2, x[2] + x[8]) + b_of.times(3, x[3] + x[7]);
    sums[t] = outer + inner + (b_of.times(4, x[4] + x[6]) + b_of.times(5, x[5]));
  }
}

// Of the low-pass, two samples at a time: those of times n and n + 1, n even, in the lanes.
class PairInputs {
 public:
  // @param memory  the ten inputs before the first pair, oldest first.
  PairInputs(const double* b, const float* memory) noexcept : b_(b) {
    f64x2 even[kFilterPairs], odd[kFilterPairs];
    for (size_t i = 0; i < kFilterPairs; ++i) even[i] = to_double(load<f32x2>(memory + 2 * i));
    for (size_t i = 1; i < kFilterPairs; ++i) odd[i] = to_double(load<f32x2>(memory + 2 * i - 1));
    for (size_t i = 0; i < kFilterPairs; ++i) {
      begun_[i] = b_.times(kFilterOrder, even[i]);
      for (size_t lag = kFilterOrder - 1; lag >= 2 * i + 2; --lag) {
        begun_[i] += b_.times(lag, (lag % 2 != 0 ? odd : even)[i + kFilterPairs - lag / 2]);
      }
    }
    before_ = even[kFilterPairs - 1];
  }

  // Takes a pair and completes its sums. Pairs of even time have even lags to the sums' pairs; for odd lags there are
  // the pairs between, of one sample from each of two.
  f64x2 step(f64x2 even) noexcept {
    const f64x2 odd = __builtin_shufflevector(before_, even, 1, 2);
    const f64x2 even0 = b_.times(0, even), even2 = b_.times(2, even), even4 = b_.times(4, even);
    const f64x2 odd1 = b_.times(1, odd), odd3 = b_.times(3, odd), odd5 = b_.times(5, odd);
    const f64x2 sum = begun_[0] + odd1 + even0;
    begun_[0] = begun_[1] + odd3 + even2;
    begun_[1] = begun_[2] + odd5 + even4;
    begun_[2] = begun_[3] + odd3 + even4;
    begun_[3] = begun_[4] + odd1 + even2;
    begun_[4] = even0;
    before_ = even;
    return sum;
  }

 private:
  Numerator b_;
  f64x2 before_;
  f64x2 begun_[kFilterPairs];  // [i] lacks all inputs from the next pair's odd one on
};

}  // namespace zeto
