// What the rows work on: a sweep and its echo, as a phone captures them, with all that the detector looks for.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numbers>
#include <random>
#include <vector>

#include "tests/support/downlink.hpp"
#include "zeto/cores.h"

namespace bench {

inline constexpr size_t kBlock = 480;
inline constexpr size_t kWindow = 20 * kBlock;  // samples of an analysis
inline constexpr size_t kFft = 512;
inline constexpr size_t kSegments = 18;

inline constexpr zeto_rx_param kSweep = {19600, 4000, 10, 160, 1000, 1};
inline constexpr int32_t kSensing[11] = {19600, 4000, 1000, -20, 0, 0, 10, 30, 0, 0, 0};

// Four seconds, full scale 1.0: [0] the reference, [1] its echo 12 ms later in a little noise.
inline std::vector<float> make_capture(int input) {
  constexpr size_t kLength = 20 * kWindow;
  constexpr size_t kDelay = 576;
  std::mt19937 random(1);
  std::vector<float> signal(kLength);
  for (size_t n = 0; n < kLength; ++n) {
    const double t = double((n + kLength - (input == 0 ? 0 : kDelay)) % 48000) / 48000;
    const double sweep = 0.16 * std::cos(2 * std::numbers::pi * (19605 * t + 2000 * t * t));
    const double noise = (double(random()) / 4294967296.0 - 0.5) * 0.002;
    signal[n] = float(input == 0 ? sweep : 0.4 * sweep + noise);
  }
  return signal;
}

inline const std::vector<float>& capture(int input) {
  static const std::vector<float> captured[2] = {make_capture(0), make_capture(1)};
  return captured[input];
}

// A host's buffer of it.
inline std::vector<unsigned char> hosted(const std::vector<float>& signal, int32_t format) {
  const size_t bytes = support::sample_bytes(format);
  std::vector<unsigned char> buffer(signal.size() * bytes);
  for (size_t n = 0; n < signal.size(); ++n) {
    if (format == 4) {
      std::memcpy(&buffer[n * bytes], &signal[n], bytes);
    } else {
      support::store_sample(format, int32_t(std::lround(signal[n] * 32767)), &buffer[n * bytes]);
    }
  }
  return buffer;
}

}  // namespace bench
