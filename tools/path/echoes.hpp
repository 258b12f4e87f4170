// A path of nothing but echoes at whole samples, and white noise.
#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "path/random.hpp"

namespace zeto::tool {

/// One way that the sound takes.
struct Echo {
  int64_t delay;  ///< samples
  double gain;    ///< linear
};

/// Mean square of what arrives of `played` by one echo, full scale 1.0.
double power(std::span<const int16_t> played, const Echo& echo);

/// A two-channel recording: the first channel what is played, the second its echoes and white Gaussian noise, rounded
/// to 16 bits. The same seed gives the same noise.
class EchoPath {
 public:
  /// @param played     kept by the caller for as long as the path lives.
  /// @param noise_rms  full scale 1.0.
  EchoPath(std::span<const int16_t> played, std::vector<Echo> echoes, double noise_rms, uint64_t seed);

  /// Fills in the next samples, channels interleaved; no more in all than were played.
  void read(std::span<int16_t> capture);

  /// Samples so far that did not fit into 16 bits.
  int64_t clipped() const { return clipped_; }

 private:
  std::span<const int16_t> played_;
  std::vector<Echo> echoes_;
  double noise_rms_;
  Random random_;
  int64_t at_ = 0;
  int64_t clipped_ = 0;
};

}  // namespace zeto::tool
