// The output sides of the filters' sums.
//
// The sums of the ten outputs to come are kept, and each output is subtracted from all of them as soon as it is known.
// So each sum takes its outputs oldest first, as it must, and between an output and the next lie but one product, one
// subtraction and the rounding.
#pragma once

#include "detector/filter_inputs.hpp"
#include "kernels/rounding.hpp"

#if defined(__aarch64__)
#include <arm_neon.h>
#endif

namespace zeto {

// The denominator of a filter whose coefficients are floats.
class Denominator {
 public:
  explicit Denominator(const double* a) noexcept {
    for (size_t k = 1; k <= kFilterOrder; ++k) set(k, -a[k]);
  }

  // sum - a[lag] y, where y are floats: the product is exact, so fusing it with the sum changes no bit. Arm multiplies
  // by one of two lanes, so ten coefficients take five registers.
#if defined(__aarch64__)
  f64x2 subtract(f64x2 sum, size_t lag, f64x2 y) const noexcept {
    const auto to = reinterpret_cast<float64x2_t>(sum), by = reinterpret_cast<float64x2_t>(y);
    const auto a = reinterpret_cast<float64x2_t>(minus_[(lag - 1) / 2]);
    return reinterpret_cast<f64x2>(lag % 2 != 0 ? vfmaq_laneq_f64(to, by, a, 0) : vfmaq_laneq_f64(to, by, a, 1));
  }

 private:
  void set(size_t lag, double minus) noexcept {
    minus_[(lag - 1) / 2][(lag - 1) % 2] = minus;
  }
  f64x2 minus_[kFilterPairs];
#else
  f64x2 subtract(f64x2 sum, size_t lag, f64x2 y) const noexcept {
    return sum + minus_[lag - 1] * y;
  }

 private:
  void set(size_t lag, double minus) noexcept {
    minus_[lag - 1] = twice(minus);
  }
  f64x2 minus_[kFilterOrder];
#endif
};

// Both high-passes, a signal in each lane, two samples a step.
template <Rounding kRounding>
class HighPasses {
 public:
  struct Outputs {
    Rounded first, second;
  };

  // @param sums  of the inputs, ten more than there will be outputs.
  HighPasses(const FilterBank& bank, const f64x2* sums) noexcept : next_(sums + kFilterOrder), a_(bank.high_pass.a) {
    for (size_t i = 0; i < kFilterOrder; ++i) {
      u_[i] = sums[i];
      for (size_t lag = kFilterOrder; lag > i; --lag) {
        const size_t t = kFilterOrder + i - lag;
        const f64x2 y = to_double(f32x2{bank.memory_a.outputs[t], bank.memory_b.outputs[t]});
        u_[i] = a_.subtract(u_[i], lag, y);
      }
    }
  }

  Outputs step() noexcept {
    const Rounded first = rounded<kRounding>(u_[0]);
    const f64x2 y0 = first.wide;
    const Rounded second = rounded<kRounding>(a_.subtract(u_[1], 1, y0));
    const f64x2 y1 = second.wide;
    for (size_t i = 0; i < kFilterOrder; ++i) {
      const f64x2 later = i + 2 < kFilterOrder ? u_[i + 2] : next_[i + 2 - kFilterOrder];
      const f64x2 sum = i + 1 < kFilterOrder ? a_.subtract(later, i + 2, y0) : later;
      u_[i] = a_.subtract(sum, i + 1, y1);
    }
    next_ += 2;
    evidence_ |= first.evidence | second.evidence;
    return {first, second};
  }

  // Whether all outputs were in the range of Rounding::kDenormal.
  bool all_denormal() const noexcept { return are_denormal(evidence_); }

 private:
  const f64x2* next_;
  Denominator a_;
  f64x2 u_[kFilterOrder];  // [i] lacks the outputs from the next one on
  i64x2 evidence_ = {};
};

// The low-pass, two samples a step, five pairs behind its inputs. The sums of the next two outputs are in both lanes
// of a vector each, so that nothing moves between lanes from one output to the next.
template <Rounding kRounding>
class LowPass {
 public:
  // @param sums  of the inputs of the first five pairs.
  LowPass(const FilterBank& bank, const f64x2* sums, float* out) noexcept : out_(out) {
    const double* const a = bank.low_pass.a;
    for (size_t j = 0; j < kFilterPairs; ++j) {
      older_[j] = f64x2{-a[2 * j + 2], j + 1 < kFilterPairs ? -a[2 * j + 3] : -0.0};
      newer_[j] = f64x2{-a[2 * j + 1], -a[2 * j + 2]};
    }
    a1_ = twice(-a[1]);
    a2_ = twice(-a[2]);
    for (size_t i = 0; i < kFilterOrder; ++i) {
      double sum = sums[i / 2][i % 2];
      for (size_t lag = kFilterOrder; lag > i; --lag) {
        sum -= a[lag] * static_cast<double>(bank.memory_low.outputs[kFilterOrder + i - lag]);
      }
      w_[i / 2][i % 2] = sum;
    }
    first_ = twice(w_[0][0]);
    second_ = twice(w_[0][1]);
  }

  // @param sum  of the inputs of the pair five pairs on.
  void step(f64x2 sum) noexcept {
    const Rounded first = rounded<kRounding>(first_);
    const f64x2 y0 = first.wide;
    const Rounded second = rounded<kRounding>(second_ + a1_ * y0);
    const f64x2 y1 = second.wide;
    const f64x2 next = w_[1] + older_[0] * y0;
    first_ = __builtin_shufflevector(next, next, 0, 0) + a1_ * y1;
    second_ = __builtin_shufflevector(next, next, 1, 1) + a2_ * y1;
    for (size_t j = 1; j + 1 < kFilterPairs; ++j) w_[j] = (w_[j + 1] + older_[j] * y0) + newer_[j] * y1;
    // A second sample has no eleventh lag: -0 by +0 is -0, which leaves any sum alone.
    w_[kFilterPairs - 1] = (sum + older_[kFilterPairs - 1] * f64x2{y0[0], 0.0}) + newer_[kFilterPairs - 1] * y1;
    store(__builtin_shufflevector(first.narrow, second.narrow, 0, 4), out_);
    out_ += 2;
    evidence_ |= first.evidence | second.evidence;
  }

  // Whether all outputs were in the range of Rounding::kDenormal.
  bool all_denormal() const noexcept { return are_denormal(evidence_); }

 private:
  float* out_;
  f64x2 older_[kFilterPairs], newer_[kFilterPairs], a1_, a2_;
  f64x2 first_, second_, w_[kFilterPairs];  // w_[0] is not used
  i64x2 evidence_ = {};
};

}  // namespace zeto
