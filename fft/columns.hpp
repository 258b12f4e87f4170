// A transform's working array, seen as columns of `ido` values: value 0 is real, pairs (re, im) start at 1, 3, 5, ...,
// and in even columns the last value is real again.
#pragma once

#include <stddef.h>

#include "fft/pair.hpp"

namespace zeto::fft {

using Index = ptrdiff_t;

template <typename T>
struct Unqualified {
  using Type = T;
};
template <typename T>
struct Unqualified<const T> {
  using Type = T;
};

template <typename T>
class Columns {
 public:
  Columns(T* data, Index ido, Index rows) noexcept : data_(data), ido_(ido), rows_(rows) {}

  T& operator()(Index i, Index row, Index slab) const noexcept { return data_[i + ido_ * (row + rows_ * slab)]; }

  Pair<typename Unqualified<T>::Type> pair(Index i, Index row, Index slab) const noexcept {
    const T* p = &(*this)(i, row, slab);
    return {p[0], p[1]};
  }

  void put(Index i, Index row, Index slab, Pair<T> z) const noexcept {
    T* p = &(*this)(i, row, slab);
    p[0] = z.re;
    p[1] = z.im;
  }

  // Where the pair lies that mirrors pair i: real input makes half of the spectrum the conjugate of the other half, and
  // every second row is kept in falling order for that.
  Index mirror(Index i) const noexcept { return ido_ - 2 - i; }

 private:
  T* data_;
  Index ido_, rows_;
};

inline Pair<float> twiddle(const float* wa, Index i) noexcept {
  return {wa[i - 1], wa[i]};
}

}  // namespace zeto::fft
