// Small vectors that the compiler maps onto the machine's: one source serves SSE2 and NEON. A lane's arithmetic is that
// of the single value, to the bit; nothing here fuses or reorders.
#pragma once

#include <stddef.h>
#include <stdint.h>
#include <string.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#if defined(__SSE2__) && defined(__GNUC__) && !defined(__clang__) && \
    (defined(__FMA__) || defined(__FMA4__) || defined(__AVX512F__))
#error "GCC fuses multiplications and additions in spite of -ffp-contract=off: add -mno-fma -mno-fma4 -mno-avx512f"
#endif

namespace zeto {

typedef float f32x2 __attribute__((vector_size(8)));
typedef float f32x4 __attribute__((vector_size(16)));
typedef double f64x2 __attribute__((vector_size(16)));
typedef int16_t i16x4 __attribute__((vector_size(8)));
typedef int16_t i16x8 __attribute__((vector_size(16)));
typedef int32_t i32x2 __attribute__((vector_size(8)));
typedef int32_t i32x4 __attribute__((vector_size(16)));
typedef int64_t i64x2 __attribute__((vector_size(16)));
typedef uint32_t u32x4 __attribute__((vector_size(16)));
typedef uint64_t u64x2 __attribute__((vector_size(16)));

// The builtin, because a fortified memcpy looks dear to compilers that weigh what to inline.
template <typename V, typename T>
inline V load(const T* from) noexcept {
  V v;
  __builtin_memcpy(&v, from, sizeof v);
  return v;
}

template <typename V, typename T>
inline void store(V v, T* to) noexcept {
  __builtin_memcpy(to, &v, sizeof v);
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

inline f32x4 magnitude_of(f32x4 v) noexcept {
  return reinterpret_cast<f32x4>(reinterpret_cast<i32x4>(v) & INT32_MAX);
}
inline f64x2 magnitude_of(f64x2 v) noexcept {
  return f64_of(bits_of(v) & INT64_MAX);
}

// a > b ? a : b. SSE2 has an instruction for it; compilers make four.
inline f32x4 larger(f32x4 a, f32x4 b) noexcept {
#if defined(__SSE2__)
  return _mm_max_ps(a, b);
#else
  return a > b ? a : b;
#endif
}

// As to_float() and to_double(), with the floats in the low half of four; the high half may hold anything. Compilers
// clear the rest of a register that holds an 8-byte vector, which takes time if two conversions follow each other.
inline f32x4 to_low_floats(f64x2 v) noexcept {
#if defined(__SSE2__)
  return _mm_cvtpd_ps(v);
#else
  const f32x2 floats = to_float(v);
  return __builtin_shufflevector(floats, floats, 0, 1, -1, -1);
#endif
}
inline f64x2 low_to_double(f32x4 v) noexcept {
#if defined(__SSE2__)
  return _mm_cvtps_pd(v);
#else
  return to_double(__builtin_shufflevector(v, v, 0, 1));
#endif
}

// To the nearest float and back.
inline f64x2 through_float(f64x2 v) noexcept {
  return low_to_double(to_low_floats(v));
}

// To 16-bit integers, toward zero, saturating; not a number gives 0. With SSE2's own instructions, which no compiler
// finds in the general form, a third of the operations are left: the conversion turns what is far below into the least
// integer, and packing saturates.
inline i16x4 saturate_int16(f32x4 v) noexcept {
#if defined(__SSE2__)
  const __m128 number = _mm_and_ps(v, _mm_cmpord_ps(v, v));
  const __m128i wide = _mm_cvttps_epi32(_mm_min_ps(number, _mm_set1_ps(32767.0f)));
  const i16x8 narrow = reinterpret_cast<i16x8>(_mm_packs_epi32(wide, wide));
  return __builtin_shufflevector(narrow, narrow, 0, 1, 2, 3);
#else
  v = v == v ? v : f32x4{};
  v = v > 32767.0f ? f32x4{} + 32767.0f : v;
  v = v < -32768.0f ? f32x4{} - 32768.0f : v;
  return __builtin_convertvector(__builtin_convertvector(v, i32x4), i16x4);
#endif
}

}  // namespace zeto
