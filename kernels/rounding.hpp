// Rounding from double to float: the conversion, and two forms with the same bits for results that may be denormal. A
// conversion to or from a denormal float takes a hundred cycles and more on many x86 processors; on Arm it does not, so
// there the first form serves all.
#pragma once

#include "kernels/lanes.hpp"

namespace zeto {

enum class Rounding {
  kConverted,  // right for all values
  kDenormal,   // right if both results are denormal or zero
  kEither      // right for all values; converts no denormal ones
};

// The rounded values in both widths, the floats in the low half. What is not used of it costs nothing.
struct Rounded {
  f64x2 wide;
  f32x4 narrow;
  i64x2 evidence;  // of Rounding::kDenormal, for are_denormal()
};

// The denormal floats are the multiples of 2^-149, to which adding 1.5 * 2^-97 rounds; the low half of the sum's bits
// is then the multiple itself, and that is a float's bits.
constexpr double kLeastNormalFloat = 0x1p-126;
constexpr double kDenormalRounder = 0x1.8p-97;

// Whether two values were in the range of Rounding::kDenormal, from their evidence; or many, from all evidence joined
// by a bitwise or. The evidence is the sum's bits: those of the rounder and, if the value is in range, none besides the
// low 23. Any larger sum, infinity and NaN has another bit as well.
inline bool are_denormal(i64x2 evidence) noexcept {
  constexpr int64_t kInRange = __builtin_bit_cast(int64_t, kDenormalRounder) | ((int64_t{1} << 23) - 1);
  return ((evidence[0] | evidence[1]) & ~kInRange) == 0;
}

inline f32x4 float_of(i64x2 low_bits, i64x2 sign) noexcept {
  const i32x4 low = reinterpret_cast<i32x4>(low_bits);
  const i32x4 high = reinterpret_cast<i32x4>(sign);
  return reinterpret_cast<f32x4>(__builtin_shufflevector(low, low, 0, 2, 0, 2) |
                                 __builtin_shufflevector(high, high, 1, 3, 1, 3));
}

template <Rounding kRounding>
inline Rounded rounded(f64x2 v) noexcept {
  if constexpr (kRounding == Rounding::kConverted) {
    const f32x4 narrow = to_low_floats(v);
    return {low_to_double(narrow), narrow, i64x2{}};
  }
  const i64x2 sign = bits_of(v) & INT64_MIN;
  const f64x2 shifted = magnitude_of(v) + kDenormalRounder;
  const i64x2 small = bits_of(shifted - kDenormalRounder) | sign;
  if constexpr (kRounding == Rounding::kDenormal)
    return {f64_of(small), float_of(bits_of(shifted), sign), bits_of(shifted)};

  const i64x2 is_denormal = magnitude_of(v) < kLeastNormalFloat;
  const f32x4 normal = to_low_floats(f64_of(bits_of(v) & ~is_denormal));
  const f32x4 denormal = float_of(bits_of(shifted) & is_denormal, sign & is_denormal);
  return {f64_of((small & is_denormal) | bits_of(low_to_double(normal))),
          reinterpret_cast<f32x4>(reinterpret_cast<i32x4>(normal) | reinterpret_cast<i32x4>(denormal)), i64x2{}};
}

}  // namespace zeto
