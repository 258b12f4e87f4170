// The one conversion from floating point to a 32-bit integer: toward zero, saturating, not-a-number gives 0. A plain
// cast is undefined out of range, and processors differ there.
#pragma once

#include <cstdint>
#include <limits>

namespace zeto {

template <typename Float>
constexpr int32_t saturate_int32(Float x) noexcept {
  constexpr Float kLimit = Float(2147483648.0);
  if (!(x == x)) return 0;
  if (x >= kLimit) return std::numeric_limits<int32_t>::max();
  if (x < -kLimit) return std::numeric_limits<int32_t>::min();
  return static_cast<int32_t>(x);
}

}  // namespace zeto
