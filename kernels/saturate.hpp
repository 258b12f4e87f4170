// The one conversion from floating point to a 32-bit integer: toward zero, saturating, not-a-number gives 0. A plain
// cast is undefined out of range, and processors differ there.
#pragma once

#include <stdint.h>

namespace zeto {

template <typename Float>
constexpr int32_t saturate_int32(Float x) noexcept {
  constexpr Float kLimit = Float(2147483648.0);
  if (!(x == x)) return 0;
  if (x >= kLimit) return INT32_MAX;
  if (x < -kLimit) return INT32_MIN;
  return static_cast<int32_t>(x);
}

}  // namespace zeto
