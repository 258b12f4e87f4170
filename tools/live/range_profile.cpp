#include "live/range_profile.hpp"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "audio/audio_file.hpp"
#include "parameters/parameters.hpp"
#include "path/target.hpp"
#include "sensing/sweep_table.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kTransform = 16384;  // a table, and the way to the farthest target and back
constexpr size_t kTables = 8;         // that are averaged; the kit learns from more
constexpr double kCmPerSample = kCmPerSecond / kSampleRate;
constexpr double kLeast = 1e-6;  // -120 dB

/// A Hamming window over what is played: without it an echo is 13 dB above its own side lobes. Nothing below 0 Hz, so
/// that the correlation's magnitude is its envelope.
double weight_at(double hz, double start_hz) {
  constexpr double kEnd = 0.5 * kSampleRate;
  if (hz <= start_hz || hz >= kEnd) return 0.0;
  return 0.54 - 0.46 * std::cos(2.0 * std::numbers::pi * (hz - start_hz) / (kEnd - start_hz));
}

}  // namespace

RangeProfile::RangeProfile(const zeto_set& set, double spacing_cm)
    : half_spacing_(0.5 * spacing_cm),
      distances_(static_cast<size_t>(set.greatest_cm) + 1),
      past_(kTables * kFrame),
      quiet_(kFrame),
      fourier_(kTransform),
      played_(kTransform) {
  std::vector<float> table(kFrame);
  SweepTable(sweep_of(set)).play(HostFormat::kFloat, std::span(table));
  std::copy(table.begin(), table.end(), played_.begin());
  fourier_.transform(played_);
  for (size_t i = 0; i < kTransform; ++i) {
    played_[i] =
        std::conj(played_[i]) * weight_at(static_cast<double>(i) * kSampleRate / kTransform, set.chirp.start_hz);
  }
}

void RangeProfile::learn_from(std::span<const float> microphone) {
  for (const float sample : microphone.first(microphone.size() / kFrame * kFrame)) hear(sample);
  captured_ = 0;
  keep_quiet();
}

void RangeProfile::take(std::span<const Frame> frames) {
  for (const Frame& frame : frames) hear(frame.microphone);
}

void RangeProfile::keep_quiet() {
  std::fill(quiet_.begin(), quiet_.end(), 0.0);
  for (size_t i = 0; i < past_.size(); ++i) quiet_[i % kFrame] += past_[i] / kTables;
  direct_ = 0.0;
}

std::vector<float> RangeProfile::of(const LiveReading& sensed) {
  // It also learns after it has failed to. The last time that it says so, all that is kept is what it has learned from.
  if (sensed.reading.state == ZETO_HOST_LEARNING || sensed.reading.cause == ZETO_HOST_UNHEARD) {
    keep_quiet();
    return {};
  }
  if (direct_ == 0.0) {
    latency_ = static_cast<double>(sensed.learned.latency_ms) * kSampleRate / 1000.0;
    direct_ = std::fmax(strengths(quiet_)[0], kLeast);
  }
  std::vector<double> rest(kFrame);
  for (uint64_t at = captured_ + past_.size() - kFrame; at < captured_ + past_.size(); ++at) {
    rest[at % kFrame] = past_[at % past_.size()] - quiet_[at % kFrame];
  }
  std::vector<float> levels;
  for (const double strength : strengths(rest)) {
    levels.push_back(static_cast<float>(20.0 * std::log10(std::fmax(strength / direct_, kLeast))));
  }
  return levels;
}

std::vector<double> RangeProfile::strengths(std::span<const double> heard) const {
  const auto first = static_cast<size_t>(latency_);
  std::vector<std::complex<double>> x(kTransform);
  for (size_t i = 0; i < kTransform; ++i) x[i] = heard[(first + i) % kFrame];
  fourier_.transform(x);
  for (size_t i = 0; i < kTransform; ++i) x[i] *= played_[i];
  fourier_.invert(x);
  std::vector<double> strengths(distances_);
  for (size_t cm = 0; cm < distances_; ++cm) {
    const double late =
        latency_ - static_cast<double>(first) + 2.0 * std::hypot(static_cast<double>(cm), half_spacing_) / kCmPerSample;
    const auto at = static_cast<size_t>(late);
    const double part = late - static_cast<double>(at);
    strengths[cm] = (1.0 - part) * std::abs(x[at]) + part * std::abs(x[at + 1]);
  }
  return strengths;
}

}  // namespace zeto::tool
