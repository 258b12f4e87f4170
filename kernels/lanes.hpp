// Small vectors that the compiler maps onto the machine's: one source serves SSE2 and NEON. A lane's arithmetic is that
// of the single value, to the bit; nothing here fuses or reorders.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace zeto {

typedef float f32x2 __attribute__((vector_size(8)));
typedef float f32x4 __attribute__((vector_size(16)));
typedef double f64x2 __attribute__((vector_size(16)));
typedef int16_t i16x4 __attribute__((vector_size(8)));
typedef uint32_t u32x2 __attribute__((vector_size(8)));
typedef int32_t i32x4 __attribute__((vector_size(16)));
typedef int64_t i64x2 __attribute__((vector_size(16)));
typedef uint64_t u64x2 __attribute__((vector_size(16)));

constexpr uint64_t kSignOf64 = uint64_t{1} << 63;

template <typename V, typename T>
inline V load(const T* from) noexcept {
  V v;
  std::memcpy(&v, from, sizeof v);
  return v;
}

template <typename V, typename T>
inline void store(V v, T* to) noexcept {
  std::memcpy(to, &v, sizeof v);
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

// What through_float() gives for magnitudes below 2^-126, where floats lie 2^-149 apart: the last place of the number
// that is added and taken away. Without the detour of some hundred cycles that processors take for denormal numbers.
inline constexpr double kDenormalRounder = 0x1.8p-97;
inline double through_denormal_float(double v) noexcept {
  return __builtin_copysign((v + kDenormalRounder) - kDenormalRounder, v);
}
inline f64x2 through_denormal_float(f64x2 v) noexcept {
  const f64x2 steps = (v + kDenormalRounder) - kDenormalRounder;
  return reinterpret_cast<f64x2>(reinterpret_cast<u64x2>(steps) |
                                 (reinterpret_cast<u64x2>(v) & kSignOf64));  // keeps -0
}

// As to_float(), for magnitudes below 2^-126: counted in steps of 2^-149.
inline f32x2 to_denormal_float(f64x2 v) noexcept {
  const u64x2 bits = reinterpret_cast<u64x2>(v);
  const f64x2 magnitude = reinterpret_cast<f64x2>(bits & ~kSignOf64);
  const u64x2 count = reinterpret_cast<u64x2>(magnitude + kDenormalRounder) - std::bit_cast<uint64_t>(kDenormalRounder);
  return reinterpret_cast<f32x2>(__builtin_convertvector(count | (bits & kSignOf64) >> 32, u32x2));
}

// As to_float(), for any values that may be as small as that.
inline f32x2 to_small_float(f64x2 v) noexcept {
  const u64x2 bits = reinterpret_cast<u64x2>(v);
  const f64x2 magnitude = reinterpret_cast<f64x2>(bits & ~kSignOf64);
  const u64x2 is_small = reinterpret_cast<u64x2>(magnitude < 0x1p-126);
  const u32x2 normal = reinterpret_cast<u32x2>(to_float(reinterpret_cast<f64x2>(bits & ~is_small)));
  const u32x2 small = reinterpret_cast<u32x2>(to_denormal_float(reinterpret_cast<f64x2>(bits & is_small)));
  return reinterpret_cast<f32x2>(normal | small);
}

// A zero of the sign that a product has.
inline f64x2 zero_like(f64x2 a, f64x2 b) noexcept {
  return reinterpret_cast<f64x2>((reinterpret_cast<u64x2>(a) ^ reinterpret_cast<u64x2>(b)) & kSignOf64);
}

// To 16-bit integers, toward zero, saturating; not a number gives 0.
inline i16x4 saturate_int16(f32x4 v) noexcept {
  v = v == v ? v : f32x4{};
  v = v > 32767.0f ? f32x4{} + 32767.0f : v;
  v = v < -32768.0f ? f32x4{} - 32768.0f : v;
  return __builtin_convertvector(__builtin_convertvector(v, i32x4), i16x4);
}

}  // namespace zeto
