// Between values of full scale 1.0 and the host's samples.
#pragma once
#include <algorithm>
#include <cmath>
#include <type_traits>

#include "audio/audio_file.hpp"

namespace zeto::tool {

/// Samples per call of a wrapper, at most.
constexpr int64_t kMaxBuffer = int64_t{1} << 24;

/// The host's sample for a value of full scale 1.0, rounded and clamped.
template <class Sample>
Sample host_sample(double value, double full_scale) {
  if constexpr (std::is_floating_point_v<Sample>) {
    return to_float(value);
  } else {
    if (std::isnan(value)) return 0;  // as the library takes it in its float format
    const double scaled = std::nearbyint(value * full_scale);
    return static_cast<Sample>(scaled >= -full_scale ? std::min(scaled, full_scale - 1.0) : -full_scale);
  }
}

/// Calls `use` with a sample of the format's type, for its type alone, and the format's full scale.
template <class Use>
auto with_samples_of(HostFormat format, Use use) {
  switch (format) {
    case HostFormat::kPcm16:
      return use(int16_t{}, 0x1p15);
    case HostFormat::kPcm24:
      return use(int32_t{}, 0x1p23);
    case HostFormat::kPcm32:
      return use(int32_t{}, 0x1p31);
    case HostFormat::kFloat:
      break;
  }
  return use(float{}, 1.0);
}

/// Samples to handle at a time: a whole number of host buffers.
inline int64_t piece_of(int64_t buffer) {
  return buffer * std::max<int64_t>(1, 65536 / buffer);
}

}  // namespace zeto::tool
