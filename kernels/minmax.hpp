// Minimum and maximum by the maxNum rule: a number beats a NaN, and -0 lies below +0. Written out because neither
// std::min nor fminf promises both everywhere. Of two NaNs the first comes back.
#pragma once

#include <math.h>

namespace zeto {

inline float min_num(float a, float b) noexcept {
  return a < b || b != b || (a == b && signbit(a)) ? a : b;
}

inline float max_num(float a, float b) noexcept {
  return a > b || b != b || (a == b && !signbit(a)) ? a : b;
}

}  // namespace zeto
