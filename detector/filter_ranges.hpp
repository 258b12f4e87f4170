// In which range a chunk's outputs lie decides how they are rounded.
#pragma once

#include "kernels/rounding.hpp"

namespace zeto {

// How outputs are rounded. The first two are fast, and right only where all of a chunk's outputs lie in that range,
// which is looked at afterwards; the third is right for all.
enum class Range { kNormal, kDenormal, kAny };

template <Range kRange>
inline Rounded rounded(f64x2 v) noexcept {
  if constexpr (kRange == Range::kNormal) return round_normal(v);
  if constexpr (kRange == Range::kDenormal) return round_denormal(v);
  return round_any(v);
}

// The outputs in both widths: 2 n of them, n even.
template <Range kRange>
inline bool are_in(const f64x2* outputs, const f32x2* floats, size_t n) noexcept {
  if constexpr (kRange == Range::kNormal) return are_normal(floats, n);
  if constexpr (kRange == Range::kDenormal) return are_denormal(outputs, n);
  return true;
}

// Lane by lane.
inline f64x2 largest_magnitude(const f64x2* outputs, size_t n) noexcept {
  f64x2 most = {};
  for (size_t i = 0; i < n; ++i) {
    const f64x2 magnitude = magnitude_of(outputs[i]);
    most = magnitude > most ? magnitude : most;
  }
  return most;
}

// What the next chunk is likely to be like, by the largest of a signal's last ten outputs. These filters lose at most
// 26 bits a chunk, so what decays from above the upper limit stays above 2^-61, and the product of two such is still
// normal. Where a guess is wrong, the chunk is done again: that costs time, but no bit.
inline Range likely_range(double most) noexcept {
  if (most >= 0x1p-35) return Range::kNormal;
  return most < kLeastNormalFloat ? Range::kDenormal : Range::kAny;
}
inline Range likely_range(Range one, Range other) noexcept {
  return one == other ? one : Range::kAny;
}

}  // namespace zeto
