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

template <typename T>
void forward4(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1,
              const float* __restrict wa2, const float* __restrict wa3) noexcept {
  const Columns<const T> in(cc, ido, l1);
  const Columns<T> out(ch, ido, 4);
  for (Index k = 0; k < l1; ++k) {
    const T odd_sum = in(0, k, 1) + in(0, k, 3);
    const T even_sum = in(0, k, 0) + in(0, k, 2);
    out(0, 0, k) = odd_sum + even_sum;
    out(ido - 1, 3, k) = even_sum - odd_sum;
    out(ido - 1, 1, k) = in(0, k, 0) - in(0, k, 2);
    out(0, 2, k) = in(0, k, 3) - in(0, k, 1);
  }
  for (Index i = 1; i + 1 < ido; i += 2) {
    const Pair<float> w1 = twiddle(wa1, i), w2 = twiddle(wa2, i), w3 = twiddle(wa3, i);
    for (Index k = 0; k < l1; ++k) {
      const Pair<T> a = in.pair(i, k, 0);
      const Pair<T> b = turned_back(w1, in.pair(i, k, 1));
      const Pair<T> c = turned_back(w2, in.pair(i, k, 2));
      const Pair<T> d = turned_back(w3, in.pair(i, k, 3));
      const Pair<T> ac = a + c;
      const Pair<T> bd = b + d;
      const Pair<T> a_c = a - c;
      const Pair<T> b_d = difference_over_i(b, d);
      out.put(i, 0, k, bd + ac);
      out.put(out.mirror(i), 3, k, conj_of_difference(ac, bd));
      out.put(i, 2, k, b_d + a_c);
      out.put(out.mirror(i), 1, k, conj_of_difference(a_c, b_d));
    }
  }
  if (ido % 2 != 0) return;
  for (Index k = 0; k < l1; ++k) {  // the last twiddles are eighths of a turn
    const Index last = ido - 1;
    const T im = -kHalfSqrt2 * (in(last, k, 1) + in(last, k, 3));
    const T re = kHalfSqrt2 * (in(last, k, 1) - in(last, k, 3));
    out(last, 0, k) = re + in(last, k, 0);
    out(last, 2, k) = in(last, k, 0) - re;
    out(0, 1, k) = im - in(last, k, 2);
    out(0, 3, k) = im + in(last, k, 2);
  }
}

template <typename T>
void backward4(Index ido, Index l1, const T* __restrict cc, T* __restrict ch, const float* __restrict wa1,
               const float* __restrict wa2, const float* __restrict wa3) noexcept {
  const Columns<const T> in(cc, ido, 4);
  const Columns<T> out(ch, ido, l1);
  const Index last = ido - 1;
  for (Index k = 0; k < l1; ++k) {
    const T difference = in(0, 0, k) - in(last, 3, k);
    const T sum = in(0, 0, k) + in(last, 3, k);
    const T twice_re = in(last, 1, k) + in(last, 1, k);
    const T twice_im = in(0, 2, k) + in(0, 2, k);
    out(0, k, 0) = sum + twice_re;
    out(0, k, 1) = difference - twice_im;
    out(0, k, 2) = sum - twice_re;
    out(0, k, 3) = difference + twice_im;
  }
  for (Index i = 1; i + 1 < ido; i += 2) {
    const Pair<float> w1 = twiddle(wa1, i), w2 = twiddle(wa2, i), w3 = twiddle(wa3, i);
    for (Index k = 0; k < l1; ++k) {
      const Pair<T> a = in.pair(i, 0, k);
      const Pair<T> b = in.pair(in.mirror(i), 1, k);
      const Pair<T> c = in.pair(i, 2, k);
      const Pair<T> d = in.pair(in.mirror(i), 3, k);
      const Pair<T> ad = plus_conj(a, d);
      const Pair<T> cb = plus_conj(c, b);
      const Pair<T> a_d = minus_conj(a, d);
      const Pair<T> c_b = minus_conj(c, b);
      out.put(i, k, 0, ad + cb);
      out.put(i, k, 1, turned(w1, plus_i(a_d, c_b)));
      out.put(i, k, 2, turned(w2, ad - cb));
      out.put(i, k, 3, turned(w3, minus_i(a_d, c_b)));
    }
  }
  if (ido % 2 != 0) return;
  for (Index k = 0; k < l1; ++k) {
    const T im_sum = in(0, 1, k) + in(0, 3, k);
    const T im_difference = in(0, 3, k) - in(0, 1, k);
    const T re_difference = in(last, 0, k) - in(last, 2, k);
    const T re_sum = in(last, 0, k) + in(last, 2, k);
    out(last, k, 0) = re_sum + re_sum;
    out(last, k, 1) = kSqrt2 * (re_difference - im_sum);
    out(last, k, 2) = im_difference + im_difference;
    out(last, k, 3) = -kSqrt2 * (re_difference + im_sum);
  }
}

}  // namespace zeto::fft
