// Between samples: a sinc in a Kaiser window.
//
// Up to 22.5 kHz what comes out differs from the ideal delay by less than -85 dB of the signal; above, more and more.
#pragma once
#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace zeto::tool {

class Sinc {
 public:
  static constexpr int kTaps = 96;
  using Taps = std::array<float, kTaps>;

  Sinc();

  /// Weights of the samples around a position: of the one before it by up to a sample, that is tap kTaps / 2 - 1, and
  /// of those on both sides.
  /// @param fraction  how far behind that sample, 0 to 1.
  Taps taps(double fraction) const;

  /// Where there are no samples there is silence.
  double at(std::span<const float> x, double position) const;

 private:
  // Weights at fractions of 1 / kSteps; between these they are interpolated, which adds less than -100 dB.
  static constexpr int kSteps = 512;
  std::vector<Taps> rows_;
};

}  // namespace zeto::tool
