// The passes for the factors 2, 4 and (backward) 3. Forward: from (ido, l1, ip) to (ido, ip, l1), each row multiplied
// by the conjugates of its twiddles, then an ip-point transform across the rows. Backward: the transpose of that. T as
// in pair.hpp.
//
// The order of every operation on a value is fixed: the results' bits hang on it. The order of the loops is not: with
// the slabs inside, twiddles are fetched once for all of them, which took a fifth off a transform's time. A factor 2
// comes first, on a single slab, so its passes go the other way around.
#pragma once

#include "fft/columns.hpp"

namespace zeto::fft {

inline constexpr float kHalfSqrt2 = 0.70710677f;
inline constexpr float kSqrt2 = 1.4142135f;
inline constexpr float kCos120 = -0.5f;
inline constexpr float kSin120 = 0.8660254f;

template <typename T>
void forward2(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1) noexcept {
  const Columns<const T> in(cc, ido, l1);
  const Columns<T> out(ch, ido, 2);
  for (Index k = 0; k < l1; ++k) {
    out(0, 0, k) = in(0, k, 0) + in(0, k, 1);
    out(ido - 1, 1, k) = in(0, k, 0) - in(0, k, 1);
    for (Index i = 1; i + 1 < ido; i += 2) {
      const Pair<T> a = in.pair(i, k, 0);
      const Pair<T> b = turned_back(twiddle(wa1, i), in.pair(i, k, 1));
      out.put(i, 0, k, a + b);
      out.put(out.mirror(i), 1, k, conj_of_difference(a, b));
    }
    if (ido % 2 == 0) {  // the last twiddle is -i
      out(ido - 1, 0, k) = in(ido - 1, k, 0);
      out(0, 1, k) = -in(ido - 1, k, 1);
    }
  }
}

template <typename T>
void backward2(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1) noexcept {
  const Columns<const T> in(cc, ido, 2);
  const Columns<T> out(ch, ido, l1);
  for (Index k = 0; k < l1; ++k) {
    out(0, k, 0) = in(0, 0, k) + in(ido - 1, 1, k);
    out(0, k, 1) = in(0, 0, k) - in(ido - 1, 1, k);
    for (Index i = 1; i + 1 < ido; i += 2) {
      const Pair<T> a = in.pair(i, 0, k);
      const Pair<T> b = in.pair(in.mirror(i), 1, k);
      out.put(i, k, 0, plus_conj(a, b));
      out.put(i, k, 1, turned(twiddle(wa1, i), minus_conj(a, b)));
    }
    if (ido % 2 == 0) {
      out(ido - 1, k, 0) = in(ido - 1, 0, k) + in(ido - 1, 0, k);
      out(ido - 1, k, 1) = -(in(0, 1, k) + in(0, 1, k));
    }
  }
}

template <typename T>
void backward3(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1,
               const float* __restrict wa2) noexcept {
  const Columns<const T> in(cc, ido, 3);
  const Columns<T> out(ch, ido, l1);
  for (Index k = 0; k < l1; ++k) {
    const T twice_re = in(ido - 1, 1, k) + in(ido - 1, 1, k);
    const T part = in(0, 0, k) + kCos120 * twice_re;
    const T turn = kSin120 * (in(0, 2, k) + in(0, 2, k));
    out(0, k, 0) = in(0, 0, k) + twice_re;
    out(0, k, 1) = part - turn;
    out(0, k, 2) = part + turn;
  }
  for (Index i = 1; i + 1 < ido; i += 2) {
    const Pair<float> w1 = twiddle(wa1, i), w2 = twiddle(wa2, i);
    for (Index k = 0; k < l1; ++k) {
      const Pair<T> a = in.pair(i, 0, k);
      const Pair<T> b = in.pair(in.mirror(i), 1, k);
      const Pair<T> c = in.pair(i, 2, k);
      const Pair<T> sum = plus_conj(c, b);
      const Pair<T> difference = minus_conj(c, b);
      const Pair<T> even = {a.re + kCos120 * sum.re, a.im + kCos120 * sum.im};
      const Pair<T> odd = {kSin120 * difference.re, kSin120 * difference.im};
      out.put(i, k, 0, a + sum);
      out.put(i, k, 1, turned(w1, plus_i(even, odd)));
      out.put(i, k, 2, turned(w2, minus_i(even, odd)));
    }
  }
}

// The butterflies of the factor 4: x and z across the rows of one side, y across those of the other. Forward, odd rows
// of y are mirrored; backward, those of x and z are.

template <typename T>
inline void forward4_first(const T (&x)[4], T (&y)[4]) noexcept {
  const T odd_sum = x[1] + x[3];
  const T even_sum = x[0] + x[2];
  y[0] = odd_sum + even_sum;
  y[1] = x[0] - x[2];
  y[2] = x[3] - x[1];
  y[3] = even_sum - odd_sum;
}

template <typename W, typename T>
inline void forward4_pair(const Pair<W> (&w)[3], const Pair<T> (&z)[4], Pair<T> (&y)[4]) noexcept {
  const Pair<T> a = z[0];
  const Pair<T> b = turned_back(w[0], z[1]);
  const Pair<T> c = turned_back(w[1], z[2]);
  const Pair<T> d = turned_back(w[2], z[3]);
  const Pair<T> ac = a + c;
  const Pair<T> bd = b + d;
  const Pair<T> a_c = a - c;
  const Pair<T> b_d = difference_over_i(b, d);
  y[0] = bd + ac;
  y[1] = conj_of_difference(a_c, b_d);
  y[2] = b_d + a_c;
  y[3] = conj_of_difference(ac, bd);
}

// The last twiddles are eighths of a turn.
template <typename T>
inline void forward4_last(const T (&x)[4], T (&y)[4]) noexcept {
  const T im = -kHalfSqrt2 * (x[1] + x[3]);
  const T re = kHalfSqrt2 * (x[1] - x[3]);
  y[0] = re + x[0];
  y[1] = im - x[2];
  y[2] = x[0] - re;
  y[3] = im + x[2];
}

template <typename T>
inline void backward4_first(const T (&x)[4], T (&y)[4]) noexcept {
  const T difference = x[0] - x[3];
  const T sum = x[0] + x[3];
  const T twice_re = x[1] + x[1];
  const T twice_im = x[2] + x[2];
  y[0] = sum + twice_re;
  y[1] = difference - twice_im;
  y[2] = sum - twice_re;
  y[3] = difference + twice_im;
}

template <typename W, typename T>
inline void backward4_pair(const Pair<W> (&w)[3], const Pair<T> (&z)[4], Pair<T> (&y)[4]) noexcept {
  const Pair<T> ad = plus_conj(z[0], z[3]);
  const Pair<T> cb = plus_conj(z[2], z[1]);
  const Pair<T> a_d = minus_conj(z[0], z[3]);
  const Pair<T> c_b = minus_conj(z[2], z[1]);
  y[0] = ad + cb;
  y[1] = turned(w[0], plus_i(a_d, c_b));
  y[2] = turned(w[1], ad - cb);
  y[3] = turned(w[2], minus_i(a_d, c_b));
}

template <typename T>
inline void backward4_last(const T (&x)[4], T (&y)[4]) noexcept {
  const T im_sum = x[1] + x[3];
  const T im_difference = x[3] - x[1];
  const T re_difference = x[0] - x[2];
  const T re_sum = x[0] + x[2];
  y[0] = re_sum + re_sum;
  y[1] = kSqrt2 * (re_difference - im_sum);
  y[2] = im_difference + im_difference;
  y[3] = -kSqrt2 * (re_difference + im_sum);
}

// Their ends: the first value of each row, and the last one if that is real.
template <typename T>
inline void forward4_ends(Index ido, Index l1, const T* __restrict cc, T* __restrict ch) noexcept {
  const Columns<const T> in(cc, ido, l1);
  const Columns<T> out(ch, ido, 4);
  const Index last = ido - 1;
  for (Index k = 0; k < l1; ++k) {
    T y[4];
    forward4_first({in(0, k, 0), in(0, k, 1), in(0, k, 2), in(0, k, 3)}, y);
    for (Index j = 0; j < 4; ++j) out(j % 2 == 0 ? 0 : last, j, k) = y[j];
  }
  if (ido % 2 != 0) return;
  for (Index k = 0; k < l1; ++k) {
    T y[4];
    forward4_last({in(last, k, 0), in(last, k, 1), in(last, k, 2), in(last, k, 3)}, y);
    for (Index j = 0; j < 4; ++j) out(j % 2 == 0 ? last : 0, j, k) = y[j];
  }
}

template <typename T>
inline void backward4_ends(Index ido, Index l1, const T* __restrict cc, T* __restrict ch) noexcept {
  const Columns<const T> in(cc, ido, 4);
  const Columns<T> out(ch, ido, l1);
  const Index last = ido - 1;
  for (Index k = 0; k < l1; ++k) {
    T y[4];
    backward4_first({in(0, 0, k), in(last, 1, k), in(0, 2, k), in(last, 3, k)}, y);
    for (Index j = 0; j < 4; ++j) out(0, k, j) = y[j];
  }
  if (ido % 2 != 0) return;
  for (Index k = 0; k < l1; ++k) {
    T y[4];
    backward4_last({in(last, 0, k), in(0, 1, k), in(last, 2, k), in(0, 3, k)}, y);
    for (Index j = 0; j < 4; ++j) out(last, k, j) = y[j];
  }
}

template <typename T>
void forward4(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1,
              const float* __restrict wa2, const float* __restrict wa3) noexcept {
  const Columns<const T> in(cc, ido, l1);
  const Columns<T> out(ch, ido, 4);
  forward4_ends(ido, l1, cc, ch);
  for (Index i = 1; i + 1 < ido; i += 2) {
    const Pair<float> w[3] = {twiddle(wa1, i), twiddle(wa2, i), twiddle(wa3, i)};
    for (Index k = 0; k < l1; ++k) {
      Pair<T> y[4];
      forward4_pair(w, {in.pair(i, k, 0), in.pair(i, k, 1), in.pair(i, k, 2), in.pair(i, k, 3)}, y);
      for (Index j = 0; j < 4; ++j) out.put(j % 2 == 0 ? i : out.mirror(i), j, k, y[j]);
    }
  }
}

template <typename T>
void backward4(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1,
               const float* __restrict wa2, const float* __restrict wa3) noexcept {
  const Columns<const T> in(cc, ido, 4);
  const Columns<T> out(ch, ido, l1);
  backward4_ends(ido, l1, cc, ch);
  for (Index i = 1; i + 1 < ido; i += 2) {
    const Pair<float> w[3] = {twiddle(wa1, i), twiddle(wa2, i), twiddle(wa3, i)};
    const Index m = in.mirror(i);
    for (Index k = 0; k < l1; ++k) {
      Pair<T> y[4];
      backward4_pair(w, {in.pair(i, 0, k), in.pair(m, 1, k), in.pair(i, 2, k), in.pair(m, 3, k)}, y);
      for (Index j = 0; j < 4; ++j) out.put(i, k, j, y[j]);
    }
  }
}

}  // namespace zeto::fft
