// The low-pass, two samples at a time.
#pragma once

#include <string.h>

#include "detector/filter_inputs.hpp"
#include "detector/filter_ranges.hpp"

namespace zeto {

// Chunk by chunk: enter() takes the inputs, step() makes the outputs of one place, leave() hands the chunk on, once its
// outputs are known to be in the range that they were made for. keep() stores the memory at the end.
class LowPass {
 public:
  LowPass(const FilterBank& bank, float* output) noexcept
      : bank_(bank), inputs_(bank.low_pass.b, bank.memory_low.inputs), next_(output) {
    for (size_t k = 0; k <= kFilterOrder; ++k) a_[k] = f64x2{bank.low_pass.a[k], bank.low_pass.a[k]};
    const float* const y = bank.memory_low.outputs;
    for (size_t i = 0; i < kBefore; ++i) even_[i] = to_double(load<f32x2>(y + 2 * i));
    for (size_t i = 1; i < kBefore; ++i) odd_[i] = to_double(load<f32x2>(y + 2 * i - 1));
  }

  // @param product  of a chunk, two samples in each.
  void enter(const f64x2* product) noexcept { inputs_.enter(product, sums_); }

  Range likely_range() const noexcept {
    const f64x2 most = largest_magnitude(even_, kBefore);
    return zeto::likely_range(most[0] > most[1] ? most[0] : most[1]);
  }

  // Nine of the ten outputs that a sum holds are known for both samples. The newest is that of the pair before for the
  // first, and the first for the second.
  template <Range kRange>
  void step(size_t n) noexcept {
    f64x2 sum = sums_[n];
    for (size_t i = 0; i + 1 < kBefore; ++i) {
      sum -= a_[kFilterOrder - 2 * i] * even_[n + i];
      sum -= a_[kFilterOrder - 2 * i - 1] * odd_[n + i + 1];
    }
    sum -= a_[2] * even_[n + kBefore - 1];
    const f64x2 newest = __builtin_shufflevector(even_[n + kBefore - 1], f64x2{}, 1, 1);
    const f64x2 first = rounded<kRange>(sum - a_[1] * newest).wide;
    odd_[n + kBefore] = __builtin_shufflevector(newest, first, 0, 2);
    even_[n + kBefore] = rounded<kRange>(sum - a_[1] * odd_[n + kBefore]).wide;
    floats_[n] = rounded<kRange>(even_[n + kBefore]).narrow;
  }

  template <Range kRange>
  bool are_outputs_in() const noexcept {
    return are_in<kRange>(even_ + kBefore, floats_, kPairs);
  }

  void leave() noexcept {
    memcpy(next_, floats_, sizeof floats_);
    next_ += kFilterChunk;
    for (size_t i = 0; i < kBefore; ++i) {
      even_[i] = even_[kPairs + i];
      odd_[i] = odd_[kPairs + i];
    }
  }

  // @param product  of the last chunk.
  void keep(const f64x2* product) noexcept {
    for (size_t i = 0; i < kFilterOrder; ++i) {
      bank_.memory_low.inputs[i] = static_cast<float>(product[kPairs - kBefore + i / 2][i % 2]);
      bank_.memory_low.outputs[i] = static_cast<float>(even_[i / 2][i % 2]);
    }
  }

 private:
  static constexpr size_t kPairs = kFilterChunk / 2;
  static constexpr size_t kBefore = kFilterOrder / 2;

  const FilterBank& bank_;
  PairInputs inputs_;
  float* next_;
  f64x2 a_[kFilterOrder + 1];
  f64x2 sums_[kPairs];
  f64x2 even_[kBefore + kPairs] = {};  // outputs of the chunk and the ten before it: times (0, 1), (2, 3), ...
  f64x2 odd_[kBefore + kPairs] = {};   // the same, those between: times (-1, 0), (1, 2), ...; the first is not used
  f32x2 floats_[kPairs];
};

}  // namespace zeto
