#include "live/listener.hpp"

#include <cmath>
#include <numbers>

#include "audio/audio_file.hpp"

namespace zeto::tool {
namespace {

constexpr double kCutoffHz = 18000.0;
constexpr float kFull = 32767.0F / 32768.0F;  // the largest sample of 16 bits
constexpr double kLeastPower = 1e-12;

}  // namespace

Listener::Listener() {
  const double w = 2.0 * std::numbers::pi * kCutoffHz / kSampleRate;
  for (int i = 0; i < kSections; ++i) {
    const double inverse_q = 2.0 * std::cos((2 * i + 1) * std::numbers::pi / (4 * kSections));
    const double alpha = 0.5 * std::sin(w) * inverse_q;
    const double a0 = 1.0 + alpha;
    const double b0 = 0.5 * (1.0 + std::cos(w)) / a0;
    sections_[i] = {b0, -2.0 * b0, -2.0 * std::cos(w) / a0, (1.0 - alpha) / a0};
  }
}

void Listener::take(std::span<const Frame> frames) {
  for (const Frame& frame : frames) {
    if (std::fabs(frame.microphone) >= kFull) ++clipped_;
    double x = std::isfinite(frame.microphone) ? static_cast<double>(frame.microphone) : 0.0;
    for (Section& s : sections_) {
      const double y = s.b0 * (x + s.x2) + s.b1 * s.x1 - s.a1 * s.y1 - s.a2 * s.y2;
      s.x2 = s.x1;
      s.x1 = x;
      s.y2 = s.y1;
      s.y1 = y;
      x = y;
    }
    power_ += x * x;
  }
  samples_ += frames.size();
}

Heard Listener::heard() {
  const double mean = samples_ > 0 ? power_ / static_cast<double>(samples_) : 0.0;
  const Heard heard = {10.0 * std::log10(std::fmax(mean, kLeastPower)), clipped_};
  power_ = 0.0;
  samples_ = 0;
  clipped_ = 0;
  return heard;
}

}  // namespace zeto::tool
