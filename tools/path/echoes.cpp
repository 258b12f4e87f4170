#include "path/echoes.hpp"

#include <cmath>
#include <utility>

#include "audio/host_sample.hpp"

namespace zeto::tool {
namespace {

constexpr double kFullScale = 0x1p15;

/// What arrives at sample `at`.
double arriving(std::span<const int16_t> played, const Echo& echo, int64_t at) {
  return at < echo.delay ? 0.0 : echo.gain * played[static_cast<size_t>(at - echo.delay)] / kFullScale;
}

}  // namespace

double power(std::span<const int16_t> played, const Echo& echo) {
  double sum = 0.0;
  for (size_t i = 0; i < played.size(); ++i) {
    const double value = arriving(played, echo, static_cast<int64_t>(i));
    sum += value * value;
  }
  return sum / static_cast<double>(played.size());
}

EchoPath::EchoPath(std::span<const int16_t> played, std::vector<Echo> echoes, double noise_rms, uint64_t seed)
    : played_(played), echoes_(std::move(echoes)), noise_rms_(noise_rms), random_(seed, Purpose::kWhiteNoise) {}

void EchoPath::read(std::span<int16_t> capture) {
  for (size_t i = 0; i < capture.size(); i += 2, ++at_) {
    double value = noise_rms_ == 0.0 ? 0.0 : noise_rms_ * random_.normal();
    for (const Echo& echo : echoes_) value += arriving(played_, echo, at_);
    if (std::fabs(value) > 1.0) ++clipped_;
    capture[i] = played_[static_cast<size_t>(at_)];
    capture[i + 1] = host_sample<int16_t>(value, kFullScale);
  }
}

}  // namespace zeto::tool
