// Small vectors that the compiler maps onto the machine's: one source serves SSE2 and NEON. A lane's arithmetic is that
// of the single value, to the bit; nothing here fuses or reorders.
#pragma once

#include <math.h>
#include <stdint.h>
#include <string.h>

namespace zeto {

typedef float f32x2 __attribute__((vector_size(8)));
typedef float f32x4 __attribute__((vector_size(16)));
typedef double f64x2 __attribute__((vector_size(16)));
typedef int16_t i16x4 __attribute__((vector_size(8)));
typedef int32_t i32x2 __attribute__((vector_size(8)));
typedef int32_t i32x4 __attribute__((vector_size(16)));
typedef int64_t i64x2 __attribute__((vector_size(16)));

template <typename V, typename T>
inline V load(const T* from) noexcept {
  V v;
  memcpy(&v, from, sizeof v);
  return v;
}

template <typename V, typename T>
inline void store(V v, T* to) noexcept {
  memcpy(to, &v, sizeof v);
}

inline f32x4 join(f32x2 low, f32x2 high) noexcept {
  return __builtin_shufflevector(low, high, 0, 1, 2, 3);
}

inline f64x2 to_double(f32x2 v) noexcept {
  return __builtin_convertvector(v, f64x2);
}

inline f32x2 to_float(f64x2 v) noexcept {
  return __builtin_convertvector(v, f32x2);
}

inline i64x2 bits_of(f64x2 v) noexcept {
  return reinterpret_cast<i64x2>(v);
}
inline f64x2 f64_of(i64x2 bits) noexcept {
  return reinterpret_cast<f64x2>(bits);
}

// To the nearest float and back.
inline double through_float(double v) noexcept {
  return static_cast<double>(static_cast<float>(v));
}
inline f64x2 through_float(f64x2 v) noexcept {
  return to_double(to_float(v));
}

// The same results, to the bit, and fast where values lie below the floats' normal range. Conversions between double and a
// denormal float take many processors a hundred cycles and more, so here no such conversion is made: the denormal floats
// are the multiples of 2^-149, to which adding 1.5 * 2^-97 rounds, and their bits are the multiple itself.
constexpr double kLeastNormalFloat = 0x1p-126;
constexpr double kDenormalRounder = 0x1.8p-97;

inline double through_float_denormal(double v) noexcept {
  if (fabs(v) >= kLeastNormalFloat) return through_float(v);
  return copysign((fabs(v) + kDenormalRounder) - kDenormalRounder, v);
}

struct SplitFloats {
  f64x2 normal;         // the values, 0 in denormal lanes
  f64x2 denormal;       // the magnitudes of the rounded denormals, 0 in normal lanes
  i64x2 denormal_bits;  // the same as floats, in the low halves
  i64x2 sign;
  bool all_denormal;
};
inline SplitFloats split_denormals(f64x2 v) noexcept {
  const i64x2 sign = bits_of(v) & INT64_MIN;
  const f64x2 magnitude = f64_of(bits_of(v) ^ sign);
  const i64x2 denormal = magnitude < kLeastNormalFloat;
  const f64x2 shifted = magnitude + kDenormalRounder;
  return {f64_of(bits_of(v) & ~denormal), f64_of(bits_of(shifted - kDenormalRounder) & denormal),
          bits_of(shifted) & denormal & UINT32_MAX, sign, (denormal[0] & denormal[1]) != 0};
}
inline f64x2 through_float_denormal(f64x2 v) noexcept {
  const SplitFloats s = split_denormals(v);
  const i64x2 rounded = bits_of(s.denormal) | s.sign;
  return f64_of(s.all_denormal ? rounded : rounded | bits_of(through_float(s.normal)));
}
inline f32x2 to_float_denormal(f64x2 v) noexcept {
  const SplitFloats s = split_denormals(v);
  const i32x4 multiple = reinterpret_cast<i32x4>(s.denormal_bits);
  const i32x4 sign = reinterpret_cast<i32x4>(s.sign);
  const i32x2 rounded = __builtin_shufflevector(multiple, multiple, 0, 2) | __builtin_shufflevector(sign, sign, 1, 3);
  return reinterpret_cast<f32x2>(s.all_denormal ? rounded : rounded | reinterpret_cast<i32x2>(to_float(s.normal)));
}

// To 16-bit integers, toward zero, saturating; not a number gives 0.
inline i16x4 saturate_int16(f32x4 v) noexcept {
  v = v == v ? v : f32x4{};
  v = v > 32767.0f ? f32x4{} + 32767.0f : v;
  v = v < -32768.0f ? f32x4{} - 32768.0f : v;
  return __builtin_convertvector(__builtin_convertvector(v, i32x4), i16x4);
}

}  // namespace zeto
