// One transform of 512 points, its butterflies in lanes. Each value takes the operations of the passes in passes.hpp,
// in their order, so the bits are theirs.
//
// The factors are 2 and four times 4. The passes of the two fours that work on rows of 1 and 4 values are one here,
// with four columns k in the lanes; the others have four pairs of a row in the lanes. A row has three pairs more than a
// multiple of four, so the last four overlap those before, and a pair there is worked out twice.
#pragma once

#include "fft/passes.hpp"
#include "kernels/lanes.hpp"
#include "zeto/fft.h"

namespace zeto::fft {

// The pairs at p, p + 2, p + 4 and p + 6; falling: at p, p - 2, p - 4 and p - 6.
inline Pair<f32x4> load_pairs(const float* p) noexcept {
  const f32x4 low = load<f32x4>(p), high = load<f32x4>(p + 4);
  return {__builtin_shufflevector(low, high, 0, 2, 4, 6), __builtin_shufflevector(low, high, 1, 3, 5, 7)};
}
inline Pair<f32x4> load_falling(const float* p) noexcept {
  const f32x4 low = load<f32x4>(p - 6), high = load<f32x4>(p - 2);
  return {__builtin_shufflevector(high, low, 2, 0, 6, 4), __builtin_shufflevector(high, low, 3, 1, 7, 5)};
}
inline void store_pairs(Pair<f32x4> z, float* p) noexcept {
  store(__builtin_shufflevector(z.re, z.im, 0, 4, 1, 5), p);
  store(__builtin_shufflevector(z.re, z.im, 2, 6, 3, 7), p + 4);
}
inline void store_falling(Pair<f32x4> z, float* p) noexcept {
  store(__builtin_shufflevector(z.re, z.im, 3, 7, 2, 6), p - 6);
  store(__builtin_shufflevector(z.re, z.im, 1, 5, 0, 4), p - 2);
}

inline void transpose(f32x4 (&m)[4]) noexcept {
  const f32x4 low01 = __builtin_shufflevector(m[0], m[1], 0, 4, 1, 5),
              low23 = __builtin_shufflevector(m[2], m[3], 0, 4, 1, 5);
  const f32x4 high01 = __builtin_shufflevector(m[0], m[1], 2, 6, 3, 7),
              high23 = __builtin_shufflevector(m[2], m[3], 2, 6, 3, 7);
  m[0] = __builtin_shufflevector(low01, low23, 0, 1, 4, 5);
  m[1] = __builtin_shufflevector(low01, low23, 2, 3, 6, 7);
  m[2] = __builtin_shufflevector(high01, high23, 0, 1, 4, 5);
  m[3] = __builtin_shufflevector(high01, high23, 2, 3, 6, 7);
}

// Calls step(i) for the first pair of each four of a row.
template <typename Step>
inline void for_fours(Index ido, Step step) noexcept {
  const Index last = ido - 9;
  for (Index i = 1; i < ido - 1; i += 8) step(i < last ? i : last);
}

inline void forward4_lanes(Index ido, Index l1, const float* __restrict cc, float* __restrict ch,
                           const float* __restrict wa) noexcept {
  const Columns<const float> in(cc, ido, l1);
  const Columns<float> out(ch, ido, 4);
  forward4_ends(ido, l1, cc, ch);
  for_fours(ido, [&](Index i) {
    const float* const w1 = wa + i - 1;
    const Pair<f32x4> w[3] = {load_pairs(w1), load_pairs(w1 + ido), load_pairs(w1 + 2 * ido)};
    for (Index k = 0; k < l1; ++k) {
      Pair<f32x4> z[4], y[4];
      for (Index j = 0; j < 4; ++j) z[j] = load_pairs(&in(i, k, j));
      forward4_pair(w, z, y);
      store_pairs(y[0], &out(i, 0, k));
      store_falling(y[1], &out(out.mirror(i), 1, k));
      store_pairs(y[2], &out(i, 2, k));
      store_falling(y[3], &out(out.mirror(i), 3, k));
    }
  });
}

inline void backward4_lanes(Index ido, Index l1, const float* __restrict cc, float* __restrict ch,
                            const float* __restrict wa) noexcept {
  const Columns<const float> in(cc, ido, 4);
  const Columns<float> out(ch, ido, l1);
  backward4_ends(ido, l1, cc, ch);
  for_fours(ido, [&](Index i) {
    const float* const w1 = wa + i - 1;
    const Pair<f32x4> w[3] = {load_pairs(w1), load_pairs(w1 + ido), load_pairs(w1 + 2 * ido)};
    for (Index k = 0; k < l1; ++k) {
      const Index m = in.mirror(i);
      Pair<f32x4> y[4];
      backward4_pair(
          w,
          {load_pairs(&in(i, 0, k)), load_falling(&in(m, 1, k)), load_pairs(&in(i, 2, k)), load_falling(&in(m, 3, k))},
          y);
      for (Index j = 0; j < 4; ++j) store_pairs(y[j], &out(i, k, j));
    }
  });
}

inline void forward2_lanes(Index ido, const float* __restrict cc, float* __restrict ch,
                           const float* __restrict wa) noexcept {
  const float *const a = cc, *const b = cc + ido;
  float *const even = ch, *const odd = ch + ido;
  even[0] = a[0] + b[0];
  odd[ido - 1] = a[0] - b[0];
  for_fours(ido, [&](Index i) {
    const Pair<f32x4> first = load_pairs(a + i);
    const Pair<f32x4> second = turned_back(load_pairs(wa + i - 1), load_pairs(b + i));
    store_pairs(first + second, even + i);
    store_falling(conj_of_difference(first, second), odd + ido - 2 - i);
  });
  even[ido - 1] = a[ido - 1];
  odd[0] = -b[ido - 1];
}

inline void backward2_lanes(Index ido, const float* __restrict cc, float* __restrict ch,
                            const float* __restrict wa) noexcept {
  const float *const even = cc, *const odd = cc + ido;
  float *const a = ch, *const b = ch + ido;
  a[0] = even[0] + odd[ido - 1];
  b[0] = even[0] - odd[ido - 1];
  for_fours(ido, [&](Index i) {
    const Pair<f32x4> first = load_pairs(even + i);
    const Pair<f32x4> second = load_falling(odd + ido - 2 - i);
    store_pairs(plus_conj(first, second), a + i);
    store_pairs(turned(load_pairs(wa + i - 1), minus_conj(first, second)), b + i);
  });
  a[ido - 1] = even[ido - 1] + even[ido - 1];
  b[ido - 1] = -(odd[0] + odd[0]);
}

// The passes with rows of 1 and 4 values. After the first of them, value i of row (k, j) is its y[i] at
// column k + 32 j.
constexpr Index kShortColumns = 32;

inline void forward_short(const float* __restrict cc, float* __restrict ch, const float* __restrict wa) noexcept {
  const Pair<float> w[3] = {twiddle(wa, 1), twiddle(wa + 4, 1), twiddle(wa + 8, 1)};
  for (Index k = 0; k < kShortColumns; k += 4) {
    f32x4 x[4][4];  // [i][j]
    for (Index j = 0; j < 4; ++j) {
      f32x4 in[4], y[4];
      for (Index row = 0; row < 4; ++row) in[row] = load<f32x4>(cc + k + kShortColumns * j + 4 * kShortColumns * row);
      forward4_first(in, y);
      for (Index i = 0; i < 4; ++i) x[i][j] = y[i];
    }
    f32x4 first[4], last[4];
    Pair<f32x4> pair[4];
    forward4_first(x[0], first);
    forward4_pair(w, {{x[1][0], x[2][0]}, {x[1][1], x[2][1]}, {x[1][2], x[2][2]}, {x[1][3], x[2][3]}}, pair);
    forward4_last(x[3], last);
    for (Index j = 0; j < 4; ++j) {
      const bool even = j % 2 == 0;
      f32x4 row[4] = {even ? first[j] : last[j], pair[j].re, pair[j].im, even ? last[j] : first[j]};
      transpose(row);
      for (Index lane = 0; lane < 4; ++lane) store(row[lane], ch + 4 * (j + 4 * (k + lane)));
    }
  }
}

inline void backward_short(const float* __restrict cc, float* __restrict ch, const float* __restrict wa) noexcept {
  const Pair<float> w[3] = {twiddle(wa, 1), twiddle(wa + 4, 1), twiddle(wa + 8, 1)};
  for (Index k = 0; k < kShortColumns; k += 4) {
    f32x4 first[4], last[4], y_first[4], y_last[4];
    Pair<f32x4> pair[4], y_pair[4];
    for (Index j = 0; j < 4; ++j) {
      f32x4 row[4];
      for (Index lane = 0; lane < 4; ++lane) row[lane] = load<f32x4>(cc + 4 * (j + 4 * (k + lane)));
      transpose(row);
      first[j] = row[j % 2 == 0 ? 0 : 3];
      pair[j] = {row[1], row[2]};
      last[j] = row[j % 2 == 0 ? 3 : 0];
    }
    backward4_first(first, y_first);
    backward4_pair(w, pair, y_pair);
    backward4_last(last, y_last);
    for (Index j = 0; j < 4; ++j) {
      f32x4 out[4];
      backward4_first({y_first[j], y_pair[j].re, y_pair[j].im, y_last[j]}, out);
      for (Index row = 0; row < 4; ++row) store(out[row], ch + k + kShortColumns * j + 4 * kShortColumns * row);
    }
  }
}

// Whether a record is for these two, which transform `data` in place.
inline bool is_of_512(const zeto_drft_lookup& lookup) noexcept {
  return lookup.n == 512 && lookup.factors[0] == 512;
}

inline void forward_of_512(const zeto_drft_lookup& lookup, float* data, float* scratch) noexcept {
  const float* const wa = lookup.trig + 512;  // of the factor 2; those of the fours follow
  forward_short(data, scratch, wa + 256 + 3 * 64 + 3 * 16);
  forward4_lanes(16, 8, scratch, data, wa + 256 + 3 * 64);
  forward4_lanes(64, 2, data, scratch, wa + 256);
  forward2_lanes(256, scratch, data, wa);
}

inline void backward_of_512(const zeto_drft_lookup& lookup, float* data, float* scratch) noexcept {
  const float* const wa = lookup.trig + 512;
  backward2_lanes(256, data, scratch, wa);
  backward4_lanes(64, 2, scratch, data, wa + 256);
  backward4_lanes(16, 8, data, scratch, wa + 256 + 3 * 64);
  backward_short(scratch, data, wa + 256 + 3 * 64 + 3 * 16);
}

}  // namespace zeto::fft
