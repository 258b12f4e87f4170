// Rounding from double to float, three ways for three ranges of values, to the same bits as the conversion.
//
// Two conversions, there and back, take longer than all else that a recursive filter does between two outputs; and
// where the float is denormal, many processors take a hundred cycles and more for one.
#pragma once

#include "kernels/lanes.hpp"

namespace zeto {

// The rounded values, in both widths. What is not used of it costs nothing.
struct Rounded {
  f64x2 wide;
  f32x2 narrow;
};

// Where all results are 2^-125 or more: to nearest, ties to even, by adding to the bits. It takes half of the time of
// two conversions. Below 2^-126 it keeps a bit too many, which may show in a result of 2^-126 itself.
inline Rounded round_normal(f64x2 v) noexcept {
  constexpr int kDropped = 52 - 23;
  constexpr uint64_t kBelowHalf = (uint64_t{1} << (kDropped - 1)) - 1;
  constexpr uint64_t kKept = ~((uint64_t{1} << kDropped) - 1);
  const u64x2 bits = reinterpret_cast<u64x2>(v);
  const u64x2 rounded = ((bits + kBelowHalf) + ((bits >> kDropped) & 1)) & kKept;
  return {reinterpret_cast<f64x2>(rounded), to_float(v)};
}

// The denormal floats are the multiples of 2^-149, to which adding 1.5 * 2^-97 rounds; the low half of the sum's bits
// is then the multiple itself, and that is a float's bits.
constexpr double kLeastNormalFloat = 0x1p-126;
constexpr double kDenormalRounder = 0x1.8p-97;

inline i64x2 sign_of(f64x2 v) noexcept {
  return bits_of(v) & INT64_MIN;
}
inline f32x2 float_of(i64x2 low_bits, i64x2 sign) noexcept {
  const i32x4 low = reinterpret_cast<i32x4>(low_bits);
  const i32x4 high = reinterpret_cast<i32x4>(sign);
  return reinterpret_cast<f32x2>(__builtin_shufflevector(low, low, 0, 2) | __builtin_shufflevector(high, high, 1, 3));
}

// Where all results are denormal or zero.
inline Rounded round_denormal(f64x2 v) noexcept {
  const f64x2 shifted = magnitude_of(v) + kDenormalRounder;
  return {f64_of(bits_of(shifted - kDenormalRounder) | sign_of(v)), float_of(bits_of(shifted), sign_of(v))};
}

// Too small for a float: a zero.
inline f32x4 product_of_denormals(f32x4 a, f32x4 b) noexcept {
  return reinterpret_cast<f32x4>((reinterpret_cast<i32x4>(a) ^ reinterpret_cast<i32x4>(b)) & INT32_MIN);
}

// All values, denormal lanes without a conversion.
inline Rounded round_any(f64x2 v) noexcept {
  const i64x2 denormal = magnitude_of(v) < kLeastNormalFloat;
  const f64x2 shifted = magnitude_of(v) + kDenormalRounder;
  const i64x2 wide = (bits_of(shifted - kDenormalRounder) & denormal) | sign_of(v);
  const i32x2 narrow = reinterpret_cast<i32x2>(float_of(bits_of(shifted) & denormal, sign_of(v)));
  if ((denormal[0] & denormal[1]) != 0) return {f64_of(wide), reinterpret_cast<f32x2>(narrow)};

  const f64x2 normal = f64_of(bits_of(v) & ~denormal);
  return {f64_of(wide | bits_of(through_float(normal))),
          reinterpret_cast<f32x2>(narrow | reinterpret_cast<i32x2>(to_float(normal)))};
}

// True where round_normal is right for all of 2 n floats: their exponents are not 0 (zero, denormal), 1 or 255
// (infinite, not a number).
// @param n  even.
inline bool are_normal(const f32x2* v, size_t n) noexcept {
  constexpr uint32_t kOne = uint32_t{1} << 23;  // of the exponent
  u32x4 off = {};
  for (size_t i = 0; i < n; i += 2) {
    const u32x4 magnitude = load<u32x4>(v + i) & uint32_t{INT32_MAX};
    off |= (magnitude - 2 * kOne) | (magnitude + kOne);
  }
  return ((off[0] | off[1] | off[2] | off[3]) >> 31) == 0;
}

// True where all of 2 n values lie below the normal floats.
inline bool are_denormal(const f64x2* v, size_t n) noexcept {
  i64x2 all = {-1, -1};
  for (size_t i = 0; i < n; ++i) all &= magnitude_of(v[i]) < kLeastNormalFloat;
  return (all[0] & all[1]) != 0;
}

}  // namespace zeto
