#include "path/filters.hpp"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <numbers>

#include "audio/audio_file.hpp"

namespace zeto::tool {
namespace {

struct Corner {
  double hz;
  double db;
};
constexpr Corner kPhone[] = {{17000, 0},  {18000, -1},  {19000, -3},  {20000, -6},
                             {21000, -9}, {22000, -15}, {23000, -22}, {24000, -40}};

double phone_gain(double hz) {
  if (hz <= kPhone[0].hz) return 1.0;
  const auto* const above = std::find_if(std::begin(kPhone), std::end(kPhone) - 1, [=](auto& c) { return c.hz >= hz; });
  const Corner& below = above[-1];
  return std::pow(10.0, std::lerp(below.db, above->db, (hz - below.hz) / (above->hz - below.hz)) / 20.0);
}

/// As the gain's inverse transform, cut to `half` taps on both sides by a Blackman window.
template <class Gain>
Filter filter_of(size_t half, Gain gain) {
  const Fourier fourier(8 * half);
  std::vector<std::complex<double>> x(fourier.len());
  for (size_t i = 0; i <= fourier.len() / 2; ++i) {
    x[i] = gain(static_cast<double>(i) * kSampleRate / static_cast<double>(fourier.len()));
    if (i > 0) x[fourier.len() - i] = x[i];
  }
  fourier.invert(x);
  Filter filter{std::vector<double>(2 * half + 1), static_cast<int64_t>(half)};
  for (size_t i = 0; i <= half; ++i) {
    const double angle = std::numbers::pi * static_cast<double>(i) / static_cast<double>(half + 1);
    const double window = 0.42 + 0.5 * std::cos(angle) + 0.08 * std::cos(2.0 * angle);
    filter.taps[half - i] = filter.taps[half + i] = window * x[i].real();
  }
  return filter;
}

}  // namespace

Filter phone_response() {
  return filter_of(256, phone_gain);
}

Filter pinking() {
  constexpr double kLeastHz = 20.0;
  Filter filter = filter_of(4096, [=](double hz) { return 1.0 / std::sqrt(std::max(hz, kLeastHz)); });
  double power = 0.0;
  for (const double tap : filter.taps) power += tap * tap;
  for (double& tap : filter.taps) tap /= std::sqrt(power);
  return filter;
}

}  // namespace zeto::tool
