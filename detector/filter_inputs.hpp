// The input sides of the tenth-order filters' sums, formed a chunk ahead of the outputs.
//
// A sum takes its inputs oldest first, so it can be begun as soon as its oldest input is there: each input adds its
// products to the eleven sums that hold it, in the order in which these sums want them. The numerators read the same
// both ways, so six products serve all eleven. That takes 16 operations where sums one by one take 21.
#pragma once

#include "detector/filter.hpp"
#include "kernels/lanes.hpp"

namespace zeto {

class Numerator {
 public:
  explicit Numerator(const double* b) noexcept {
    for (size_t k = 0; k <= kFilterOrder / 2; ++k) b_[k] = f64x2{b[k], b[k]};
  }

  // The product with the coefficient of z^-lag.
  f64x2 times(size_t lag, f64x2 x) const noexcept { return b_[lag <= kFilterOrder / 2 ? lag : kFilterOrder - lag] * x; }

  // The sum at time `now` of the inputs with lags from kFilterOrder down to `least`. `at(t)` is the input at time t.
  template <typename At>
  f64x2 begun_sum(int now, int least, At&& at) const noexcept {
    constexpr int kMost = int{kFilterOrder};
    f64x2 sum = times(kMost, at(now - kMost));
    for (int lag = kMost - 1; lag >= least; --lag) sum += times(static_cast<size_t>(lag), at(now - lag));
    return sum;
  }

 private:
  f64x2 b_[kFilterOrder / 2 + 1];  // in both lanes
};

// Of two filters alike, one in each lane.
class TwinInputs {
 public:
  // @param memory_a, memory_b  the ten inputs before the first chunk, oldest first.
  TwinInputs(const double* b, const float* memory_a, const float* memory_b) noexcept : b_(b) {
    const auto at = [=](int t) { return to_double(f32x2{memory_a[t + kOrder], memory_b[t + kOrder]}); };
    for (int n = 0; n < kOrder; ++n) begun_[n] = b_.begun_sum(n, n + 1, at);
  }

  // Takes kFilterChunk inputs of each and completes as many sums.
  void enter(const float* in_a, const float* in_b, f64x2* sums) noexcept {
    f64x2 p[kOrder];
    for (int i = 0; i < kOrder; ++i) p[i] = begun_[i];
    for (size_t n = 0; n < kFilterChunk; ++n) {
      const f64x2 x = to_double(f32x2{in_a[n], in_b[n]});
      f64x2 products[kOrder / 2 + 1];
      for (size_t k = 0; k <= kOrder / 2; ++k) products[k] = b_.times(k, x);
      sums[n] = p[0] + products[0];
      for (int i = 1; i < kOrder; ++i) p[i - 1] = p[i] + products[i <= kOrder / 2 ? i : kOrder - i];
      p[kOrder - 1] = products[0];
    }
    for (int i = 0; i < kOrder; ++i) begun_[i] = p[i];
  }

 private:
  static constexpr int kOrder = int{kFilterOrder};
  Numerator b_;
  f64x2 begun_[kOrder];  // [n] lacks n + 1 inputs
};

// Of one filter, two samples at a time: those of times n and n + 1, n even, in the lanes.
class PairInputs {
 public:
  // @param memory  the ten inputs before the first chunk, oldest first.
  PairInputs(const double* b, const float* memory) noexcept : b_(b), last_(static_cast<double>(memory[kOrder - 1])) {
    const auto at = [=](int t) { return to_double(load<f32x2>(memory + t + kOrder)); };
    for (int i = 0; i < kPairs; ++i) begun_[i] = b_.begun_sum(2 * i, 2 * i + 2, at);
  }

  // Takes kFilterChunk inputs and completes as many sums. Pairs of even time have even lags to the sums' pairs; for odd
  // lags there are the pairs between, of one sample from each of two.
  void enter(const f64x2* in, f64x2* sums) noexcept {
    f64x2 p[kPairs];
    for (int i = 0; i < kPairs; ++i) p[i] = begun_[i];
    f64x2 before = {0.0, last_};
    for (size_t n = 0; n < kFilterChunk / 2; ++n) {
      const f64x2 even = in[n];
      const f64x2 odd = __builtin_shufflevector(before, even, 1, 2);
      const f64x2 even0 = b_.times(0, even), even2 = b_.times(2, even), even4 = b_.times(4, even);
      const f64x2 odd1 = b_.times(1, odd), odd3 = b_.times(3, odd), odd5 = b_.times(5, odd);
      sums[n] = p[0] + odd1 + even0;
      p[0] = p[1] + odd3 + even2;
      p[1] = p[2] + odd5 + even4;
      p[2] = p[3] + odd3 + even4;
      p[3] = p[4] + odd1 + even2;
      p[4] = even0;
      before = even;
    }
    last_ = before[1];
    for (int i = 0; i < kPairs; ++i) begun_[i] = p[i];
  }

 private:
  static constexpr int kOrder = int{kFilterOrder};
  static constexpr int kPairs = kOrder / 2;
  Numerator b_;
  double last_;
  f64x2 begun_[kPairs];  // [i] lacks all inputs from time -1 on
};

}  // namespace zeto
