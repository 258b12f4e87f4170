// Complex arithmetic on pairs of values, in exactly the roundings that the transform's passes are defined by: every
// sign and operand order below is part of the result's bits, negative zeros included.
//
// T is one float, or a small vector of floats: either each lane is a transform of its own, with single floats for
// twiddles (W); or the lanes are values of one transform, each with a twiddle of its own.
#pragma once

#include <math.h>

namespace zeto::fft {

template <typename T>
struct Pair {
  T re, im;
};

// exp(i angle), cosine and sine from one evaluation if the C library has it.
inline Pair<float> unit_phasor(float angle) noexcept {
  Pair<float> p;
#if defined(_GNU_SOURCE) && (defined(__GLIBC__) || defined(__BIONIC__))
  ::sincosf(angle, &p.im, &p.re);
#else
  p = {::cosf(angle), ::sinf(angle)};
#endif
  return p;
}

// w z
template <typename W, typename T>
inline Pair<T> turned(Pair<W> w, Pair<T> z) noexcept {
  return {w.re * z.re - w.im * z.im, w.re * z.im + w.im * z.re};
}

// conj(w) z
template <typename W, typename T>
inline Pair<T> turned_back(Pair<W> w, Pair<T> z) noexcept {
  return {w.re * z.re + w.im * z.im, w.re * z.im - w.im * z.re};
}

template <typename T>
inline Pair<T> operator+(Pair<T> a, Pair<T> b) noexcept {
  return {a.re + b.re, a.im + b.im};
}

template <typename T>
inline Pair<T> operator-(Pair<T> a, Pair<T> b) noexcept {
  return {a.re - b.re, a.im - b.im};
}

// a + conj(b)
template <typename T>
inline Pair<T> plus_conj(Pair<T> a, Pair<T> b) noexcept {
  return {a.re + b.re, a.im - b.im};
}

// a - conj(b)
template <typename T>
inline Pair<T> minus_conj(Pair<T> a, Pair<T> b) noexcept {
  return {a.re - b.re, a.im + b.im};
}

// a + i b
template <typename T>
inline Pair<T> plus_i(Pair<T> a, Pair<T> b) noexcept {
  return {a.re - b.im, a.im + b.re};
}

// a - i b
template <typename T>
inline Pair<T> minus_i(Pair<T> a, Pair<T> b) noexcept {
  return {a.re + b.im, a.im - b.re};
}

// conj(a - b)
template <typename T>
inline Pair<T> conj_of_difference(Pair<T> a, Pair<T> b) noexcept {
  return {a.re - b.re, b.im - a.im};
}

// -i (a - b)
template <typename T>
inline Pair<T> difference_over_i(Pair<T> a, Pair<T> b) noexcept {
  return {a.im - b.im, b.re - a.re};
}

}  // namespace zeto::fft
