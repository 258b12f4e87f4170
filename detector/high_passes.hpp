// Both high-passes side by side, and the product of their outputs.
#pragma once

#include <string.h>

#include "detector/filter_inputs.hpp"
#include "detector/filter_ranges.hpp"

namespace zeto {

// One signal in each lane. Chunk by chunk: enter() takes the inputs, step() makes the outputs of one place, leave()
// hands the chunk on, once its outputs are known to be in the range that they were made for. keep() stores the memory
// at the end.
class HighPasses {
 public:
  HighPasses(const FilterBank& bank, float gain, float* a, float* b, size_t n) noexcept
      : bank_(bank),
        inputs_(bank.high_pass.b, bank.memory_a.inputs, bank.memory_b.inputs),
        gain_(gain),
        next_a_(a),
        next_b_(b) {
    for (size_t k = 0; k <= kFilterOrder; ++k) a_[k] = f64x2{bank.high_pass.a[k], bank.high_pass.a[k]};
    for (size_t i = 0; i < kFilterOrder; ++i)
      outputs_[i] = to_double(f32x2{bank.memory_a.outputs[i], bank.memory_b.outputs[i]});
    memcpy(bank.memory_a.inputs, a + n - kFilterOrder, sizeof bank.memory_a.inputs);  // before the outputs replace them
    memcpy(bank.memory_b.inputs, b + n - kFilterOrder, sizeof bank.memory_b.inputs);
  }

  void enter() noexcept { inputs_.enter(next_a_, next_b_, sums_); }

  Range likely_range() const noexcept {
    const f64x2 most = largest_magnitude(outputs_, kFilterOrder);
    return zeto::likely_range(zeto::likely_range(most[0]), zeto::likely_range(most[1]));
  }

  template <Range kRange>
  void step(size_t n) noexcept {
    f64x2 sum = sums_[n];
    for (size_t i = 0; i < kFilterOrder; ++i) sum -= a_[kFilterOrder - i] * outputs_[n + i];
    const Rounded y = rounded<kRange>(sum);
    outputs_[n + kFilterOrder] = y.wide;
    floats_[n] = y.narrow;
  }

  template <Range kRange>
  bool are_outputs_in() const noexcept {
    return are_in<kRange>(outputs_ + kFilterOrder, floats_, kFilterChunk);
  }

  template <Range kRange>
  void leave(f64x2* product) noexcept {
    for (size_t n = 0; n < kFilterChunk; n += 4) {
      const f32x4 low = load<f32x4>(floats_ + n);
      const f32x4 high = load<f32x4>(floats_ + n + 2);
      const f32x4 a = __builtin_shufflevector(low, high, 0, 2, 4, 6);
      const f32x4 b = __builtin_shufflevector(low, high, 1, 3, 5, 7);
      store(a, next_a_ + n);
      store(b, next_b_ + n);
      multiply<kRange>(n, a, b, product + n / 2);
    }
    next_a_ += kFilterChunk;
    next_b_ += kFilterChunk;
    for (size_t i = 0; i < kFilterOrder; ++i) outputs_[i] = outputs_[kFilterChunk + i];
  }

  void keep() noexcept {
    for (size_t i = 0; i < kFilterOrder; ++i) {
      bank_.memory_a.outputs[i] = static_cast<float>(outputs_[i][0]);
      bank_.memory_b.outputs[i] = static_cast<float>(outputs_[i][1]);
    }
  }

 private:
  // The amplified product of four samples, the first of which is n of the chunk.
  template <Range kRange>
  void multiply(size_t n, f32x4 a, f32x4 b, f64x2* product) const noexcept {
    if constexpr (kRange == Range::kAny) {
      product[0] = careful_product(n);
      product[1] = careful_product(n + 2);
    } else {
      const f32x4 plain = kRange == Range::kNormal ? a * b : product_of_denormals(a, b);
      const f32x4 amplified = plain * gain_;
      product[0] = to_double(__builtin_shufflevector(amplified, amplified, 0, 1));
      product[1] = to_double(__builtin_shufflevector(amplified, amplified, 2, 3));
    }
  }

  // Of two samples, denormal or not: a product of floats is exact in double, and rounding it once gives what the float
  // product gives.
  f64x2 careful_product(size_t n) const noexcept {
    const f64x2* const y = outputs_ + kFilterOrder + n;
    const f64x2 product = f64x2{y[0][0], y[1][0]} * f64x2{y[0][1], y[1][1]};
    return round_any(round_any(product).wide * static_cast<double>(gain_)).wide;
  }

  const FilterBank& bank_;
  TwinInputs inputs_;
  float gain_;
  float* next_a_;
  float* next_b_;
  f64x2 a_[kFilterOrder + 1];
  f64x2 sums_[kFilterChunk];
  f64x2 outputs_[kFilterOrder + kFilterChunk];  // of the chunk, with the ten before it
  f32x2 floats_[kFilterChunk];
};

}  // namespace zeto
