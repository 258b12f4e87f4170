// A host object in simulated air: what it plays reaches its microphone directly, from the case, from two walls and, if
// one is there, from a hand. All delays are whole samples.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <vector>

#include "tests/support/fuzz_input.hpp"
#include "zeto/host.h"

namespace support {

constexpr double kSpacingCm = 5.0;

class Air {
 public:
  int latency = 1900;    // samples
  double direct = 0.3;   // amplitude of the direct sound
  int way = 0;           // of the hand, samples; 0: there is none
  double hand = 0.0;     // amplitude against the direct sound
  double wall = 0.02;    // the same of the walls
  double foreign = 0.0;  // of another phone's sweeps
  double hiss = 4.0;     // greatest of the noise, in 16-bit samples

  // The microphone's next samples, while these are played.
  std::vector<int16_t> pass(const std::vector<int16_t>& played) {
    std::vector<int16_t> heard;
    for (const int16_t sample : played) {
      past_.push_back(sample);
      double sum = at(kDirectWay) + 0.3 * at(kDirectWay + 12) + wall * (at(300) - 0.7 * at(711)) + foreign * at(5000);
      if (way != 0) sum += hand * at(way);
      const double noise = hiss * (static_cast<double>(next_random(state_) >> 8) * 0x1p-23 - 1.0);
      heard.push_back(static_cast<int16_t>(std::clamp(std::nearbyint(direct * sum + noise), -32768.0, 32767.0)));
    }
    return heard;
  }

  static int way_of(double cm) { return static_cast<int>(std::lround(2 * std::hypot(cm, kSpacingCm / 2) / kCm)); }
  static double cm_of(int way) { return std::sqrt(std::pow(way * kCm / 2, 2) - std::pow(kSpacingCm / 2, 2)); }

 private:
  static constexpr double kCm = 34300.0 / 48000.0;  // a sample
  static constexpr int kDirectWay = 7;              // samples

  double at(int late) const {
    const auto ago = static_cast<size_t>(latency + late);
    return ago < past_.size() ? past_[past_.size() - 1 - ago] : 0;
  }

  std::vector<int16_t> past_;
  uint32_t state_ = 1;
};

struct Host {
  const zeto_host_param param;
  const std::unique_ptr<void, decltype(&std::free)> memory;
  zeto_host* const host;

  explicit Host(const char* set = "hand", int32_t format = 1) : Host(zeto_find_set(set), format) {}
  explicit Host(const zeto_set* set, int32_t format = 1)
      : param{set, format, static_cast<float>(kSpacingCm)},
        memory(std::aligned_alloc(16, zeto_host_bytes(&param)), std::free),
        host(zeto_host_init(memory.get(), &param)) {}

  std::vector<int16_t> play(size_t n) {
    std::vector<int16_t> samples(n);
    zeto_host_play(host, samples.data(), n * sizeof(int16_t));
    return samples;
  }
  // Appends the readings that fall due.
  void capture(const std::vector<int16_t>& heard, std::vector<zeto_host_reading>& readings) {
    const zeto_host_reading now = zeto_host_capture(host, heard.data(), heard.size() * sizeof(int16_t));
    if (now.number != (readings.empty() ? 0 : readings.back().number)) readings.push_back(now);
  }
};

}  // namespace support
