// What a recording of the chirp looks like, measured from its samples alone.
#pragma once
#include <cstddef>
#include <limits>
#include <optional>
#include <span>

namespace zeto::tool {

constexpr double kNotMeasured = std::numeric_limits<double>::quiet_NaN();

struct MeasuredChirp {
  double peak = 0.0;               ///< largest absolute value
  std::optional<size_t> latency;   ///< index of the first sample that is not zero; nothing: all silent
  std::optional<size_t> period;    ///< samples until the sweep starts again; nothing: it does not in this recording
  double start_hz = kNotMeasured;  ///< frequency at the first sample of the first sweep
  double end_hz = kNotMeasured;    ///< frequency at its last sample, or at the recording's if it does not end before
};

MeasuredChirp measure_chirp(std::span<const float> samples, double sample_rate);

}  // namespace zeto::tool
