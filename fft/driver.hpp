// The whole transform over any element type: float, or Lanes4 for four transforms of one length side by side. Each lane
// gives the very bits that the float form gives.
#pragma once

#include "fft/general_passes.hpp"
#include "fft/passes.hpp"
#include "zeto/fft.h"

namespace zeto::fft {

typedef float Lanes4 __attribute__((vector_size(16)));

// A record whose tables belong to another length (an overlong reinit) or that was never set up: nothing to transform
// by. A single point is its own spectrum.
inline bool is_identity(const zeto_drft_lookup& lookup) noexcept {
  return lookup.n < 2 || lookup.factors[0] != lookup.n;
}

template <typename T>
void copy_back(const T* __restrict from, T* __restrict to, Index n) noexcept {
  for (Index i = 0; i < n; ++i) to[i] = from[i];
}

// @param data     n elements, transformed in place.
// @param scratch  n elements besides; the record's own scratch area serves for T = float.
template <typename T>
void forward(const zeto_drft_lookup& lookup, T* data, T* scratch) noexcept {
  if (is_identity(lookup)) return;
  const Index n = lookup.n;
  const int32_t* const factors = lookup.factors + 2;
  const float* wa = lookup.trig + 2 * n - 1;  // behind the last factor's twiddles; moves down
  T* here = data;
  T* there = scratch;
  Index l2 = n;
  for (int32_t f = lookup.factors[1]; f-- > 0;) {
    const Index ip = factors[f];
    const Index l1 = l2 / ip;
    // The factors multiply up to n, so l2 never comes down to 0 before they are used up.
    const Index ido = n / l2;  // NOLINT(clang-analyzer-core.UndefinedBinaryOperatorResult)
    wa -= (ip - 1) * ido;
    bool moved = true;
    if (ip == 4) {
      forward4(ido, l1, here, there, wa, wa + ido, wa + 2 * ido);
    } else if (ip == 2) {
      forward2(ido, l1, here, there, wa);
    } else if (ido == 1) {
      forward_general(ido, ip, l1, there, here, wa);
    } else {
      forward_general(ido, ip, l1, here, there, wa);
      moved = false;
    }
    if (moved) {
      T* const swap = here;
      here = there;
      there = swap;
    }
    l2 = l1;
  }
  if (here != data) copy_back(here, data, n);
}

// As forward().
template <typename T>
void backward(const zeto_drft_lookup& lookup, T* data, T* scratch) noexcept {
  if (is_identity(lookup)) return;
  const Index n = lookup.n;
  const int32_t* const factors = lookup.factors + 2;
  const float* wa = lookup.trig + n;
  T* here = data;
  T* there = scratch;
  Index l1 = 1;
  for (int32_t f = 0; f < lookup.factors[1]; ++f) {
    const Index ip = factors[f];
    const Index l2 = ip * l1;
    const Index ido = n / l2;
    bool moved = true;
    if (ip == 4) {
      backward4(ido, l1, here, there, wa, wa + ido, wa + 2 * ido);
    } else if (ip == 2) {
      backward2(ido, l1, here, there, wa);
    } else if (ip == 3) {
      backward3(ido, l1, here, there, wa, wa + ido);
    } else {
      backward_general(ido, ip, l1, here, there, wa);
      moved = ido == 1;
    }
    if (moved) {
      T* const swap = here;
      here = there;
      there = swap;
    }
    wa += (ip - 1) * ido;
    l1 = l2;
  }
  if (here != data) copy_back(here, data, n);
}

}  // namespace zeto::fft
