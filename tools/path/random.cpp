#include "path/random.hpp"

#include <cmath>
#include <numbers>

namespace zeto::tool {

// The multiplier, an odd number without pattern, keeps the streams of neighbouring seeds apart.
Random::Random(uint64_t seed, Purpose purpose)
    : random_(seed + static_cast<uint64_t>(purpose) * UINT64_C(0x9e3779b97f4a7c15)) {}

double Random::uniform() {
  return (static_cast<double>(random_() >> 11) + 0.5) * 0x1p-53;
}

/// Polar coordinates of a normal distribution in the plane.
double Random::normal() {
  const double radius = std::sqrt(-2.0 * std::log(uniform()));
  return radius * std::cos(2.0 * std::numbers::pi * uniform());
}

}  // namespace zeto::tool
