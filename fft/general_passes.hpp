// The passes for odd factors without one of their own. An ip-point transform costs ip^2 here: rows j and ip - j are
// folded into a sum and a difference, and each harmonic takes their combination with the cosines and sines of its
// angle. Those come from a rotation carried on in single precision, harmonic by harmonic, which is why the error grows
// with the factor. T as in pair.hpp; ip odd, ido odd.
#pragma once

#include "fft/columns.hpp"

namespace zeto::fft {

inline constexpr float kTwoPi = 6.2831855f;

// The next angle of a rotation that goes on by `step`.
inline Pair<float> next_angle(Pair<float> step, Pair<float> now) noexcept {
  return {step.re * now.re - step.im * now.im, step.re * now.im + step.im * now.re};
}

// Harmonics of ip folded rows of `len` values: row 0 becomes the plain sum, row l the sum of cos(2 pi j l / ip) times
// row j, row ip - l the sum of sin(2 pi j l / ip) times row ip - j, always over j = 1 .. (ip-1)/2, ascending.
template <typename T>
void harmonics(Index len, Index ip, const T* __restrict in, T* __restrict out) noexcept {
  const Index half = (ip + 1) / 2;
  const Pair<float> first = unit_phasor(kTwoPi / static_cast<float>(ip));
  Pair<float> outer = {1.0f, 0.0f};
  for (Index l = 1; l < half; ++l) {
    T* const cosines = out + l * len;
    T* const sines = out + (ip - l) * len;
    outer = next_angle(first, outer);
    for (Index i = 0; i < len; ++i) cosines[i] = in[i] + outer.re * in[i + len];
    for (Index i = 0; i < len; ++i) sines[i] = outer.im * in[i + (ip - 1) * len];
    Pair<float> inner = outer;
    for (Index j = 2; j < half; ++j) {
      const T* const sum = in + j * len;
      const T* const difference = in + (ip - j) * len;
      inner = next_angle(outer, inner);
      for (Index i = 0; i < len; ++i) cosines[i] += inner.re * sum[i];
      for (Index i = 0; i < len; ++i) sines[i] += inner.im * difference[i];
    }
  }
  for (Index i = 0; i < len; ++i) out[i] = in[i];
  for (Index j = 1; j < half; ++j)
    for (Index i = 0; i < len; ++i) out[i] += in[i + j * len];
}

// Result in cc. The input lies in ch while ido is 1, else in cc too.
template <typename T>
void forward_general(Index ido, Index ip, Index l1, T* cc, T* ch, const float* wa) noexcept {
  const Index half = (ip + 1) / 2;
  const Columns<T> in(ido == 1 ? ch : cc, ido, l1);
  const Columns<T> folded(cc, ido, l1);
  if (ido == 1)
    for (Index k = 0; k < l1; ++k) folded(0, k, 0) = in(0, k, 0);
  for (Index j = 1; j < half; ++j) {
    const Index jc = ip - j;
    for (Index k = 0; k < l1; ++k) {
      const T a = in(0, k, j);
      const T b = in(0, k, jc);
      folded(0, k, j) = a + b;
      folded(0, k, jc) = b - a;
      for (Index i = 1; i + 1 < ido; i += 2) {
        const Pair<T> z = turned_back(twiddle(wa + (j - 1) * ido, i), in.pair(i, k, j));
        const Pair<T> zc = turned_back(twiddle(wa + (jc - 1) * ido, i), in.pair(i, k, jc));
        folded.put(i, k, j, z + zc);
        folded.put(i, k, jc, difference_over_i(z, zc));
      }
    }
  }

  harmonics(ido * l1, ip, cc, ch);

  const Columns<T> summed(ch, ido, l1);
  const Columns<T> out(cc, ido, ip);
  for (Index k = 0; k < l1; ++k)
    for (Index i = 0; i < ido; ++i) out(i, 0, k) = summed(i, k, 0);
  for (Index j = 1; j < half; ++j) {
    for (Index k = 0; k < l1; ++k) {
      out(ido - 1, 2 * j - 1, k) = summed(0, k, j);
      out(0, 2 * j, k) = summed(0, k, ip - j);
      for (Index i = 1; i + 1 < ido; i += 2) {
        const Pair<T> even = summed.pair(i, k, j);
        const Pair<T> odd = summed.pair(i, k, ip - j);
        out.put(i, 2 * j, k, even + odd);
        out.put(out.mirror(i), 2 * j - 1, k, conj_of_difference(even, odd));
      }
    }
  }
}

// Input in cc. The result lies in ch while ido is 1, else in cc too.
template <typename T>
void backward_general(Index ido, Index ip, Index l1, T* cc, T* ch, const float* wa) noexcept {
  const Index half = (ip + 1) / 2;
  const Columns<T> in(cc, ido, ip);
  const Columns<T> folded(ch, ido, l1);
  for (Index k = 0; k < l1; ++k)
    for (Index i = 0; i < ido; ++i) folded(i, k, 0) = in(i, 0, k);
  for (Index j = 1; j < half; ++j) {
    for (Index k = 0; k < l1; ++k) {
      folded(0, k, j) = in(ido - 1, 2 * j - 1, k) + in(ido - 1, 2 * j - 1, k);
      folded(0, k, ip - j) = in(0, 2 * j, k) + in(0, 2 * j, k);
      for (Index i = 1; i + 1 < ido; i += 2) {
        const Pair<T> a = in.pair(i, 2 * j, k);
        const Pair<T> b = in.pair(in.mirror(i), 2 * j - 1, k);
        folded.put(i, k, j, plus_conj(a, b));
        folded.put(i, k, ip - j, minus_conj(a, b));
      }
    }
  }

  harmonics(ido * l1, ip, ch, cc);

  const Columns<T> summed(cc, ido, l1);
  const Columns<T> out(ido == 1 ? ch : cc, ido, l1);
  if (ido == 1)
    for (Index k = 0; k < l1; ++k) out(0, k, 0) = summed(0, k, 0);
  for (Index j = 1; j < half; ++j) {
    const Index jc = ip - j;
    for (Index k = 0; k < l1; ++k) {
      const T even = summed(0, k, j);
      const T odd = summed(0, k, jc);
      out(0, k, j) = even - odd;
      out(0, k, jc) = even + odd;
      for (Index i = 1; i + 1 < ido; i += 2) {
        const Pair<T> a = summed.pair(i, k, j);
        const Pair<T> b = summed.pair(i, k, jc);
        out.put(i, k, j, turned(twiddle(wa + (j - 1) * ido, i), plus_i(a, b)));
        out.put(i, k, jc, turned(twiddle(wa + (jc - 1) * ido, i), minus_i(a, b)));
      }
    }
  }
}

}  // namespace zeto::fft
