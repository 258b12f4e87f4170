#include "path/sinc.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace zeto::tool {
namespace {

constexpr double kBeta = 9.0;  // of the window: images are 90 dB down
constexpr int kHalf = Sinc::kTaps / 2;

// The modified Bessel function of order 0, by its series.
double bessel(double x) {
  double sum = 1.0;
  double term = 1.0;
  for (int k = 1; term > 1e-18 * sum; ++k) {
    term *= x * x / (4.0 * k * k);
    sum += term;
  }
  return sum;
}

double weight(double x) {
  const double inside = 1.0 - x * x / (kHalf * kHalf);
  if (inside < 0.0) return 0.0;
  const double angle = std::numbers::pi * x;
  const double sinc = std::fabs(x) < 1e-9 ? 1.0 : std::sin(angle) / angle;
  return sinc * bessel(kBeta * std::sqrt(inside)) / bessel(kBeta);
}

}  // namespace

Sinc::Sinc() : rows_(kSteps + 1) {
  for (int step = 0; step <= kSteps; ++step) {
    for (int tap = 0; tap < kTaps; ++tap) {
      const double distance = tap - (kHalf - 1) - static_cast<double>(step) / kSteps;
      rows_[static_cast<size_t>(step)][static_cast<size_t>(tap)] = static_cast<float>(weight(distance));
    }
  }
}

Sinc::Taps Sinc::taps(double fraction) const {
  const double place = std::clamp(fraction, 0.0, 1.0) * kSteps;
  const int step = std::min(static_cast<int>(place), kSteps - 1);
  const auto share = static_cast<float>(place - step);
  const Taps& low = rows_[static_cast<size_t>(step)];
  const Taps& high = rows_[static_cast<size_t>(step) + 1];
  Taps taps;
  for (size_t i = 0; i < taps.size(); ++i) taps[i] = low[i] + share * (high[i] - low[i]);
  return taps;
}

double Sinc::at(std::span<const float> x, double position) const {
  const double whole = std::floor(position);
  const int64_t first = static_cast<int64_t>(whole) - (kHalf - 1);
  const auto n = static_cast<int64_t>(x.size());
  if (first + kTaps <= 0 || first >= n) return 0.0;
  const Taps weights = taps(position - whole);
  float sum = 0.0F;
  const int64_t end = std::min<int64_t>(kTaps, n - first);
  for (int64_t i = std::max<int64_t>(0, -first); i < end; ++i) {
    sum += weights[static_cast<size_t>(i)] * x[static_cast<size_t>(first + i)];
  }
  return static_cast<double>(sum);
}

}  // namespace zeto::tool
