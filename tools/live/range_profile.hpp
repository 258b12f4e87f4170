// How strong an echo comes from where, for the eye: the correlation of what is heard with what is played, without what
// was there while the kit learned.
#pragma once
#include <complex>
#include <optional>
#include <span>
#include <vector>

#include "live/duplex.hpp"
#include "path/fourier.hpp"

namespace zeto::tool {

class RangeProfile {
 public:
  /// Of a set that the host kit plays.
  RangeProfile(const zeto_set& set, double spacing_cm);

  /// What was heard with nobody there, from the start of the sweep table on.
  void learn_from(std::span<const float> microphone);
  void take(std::span<const Frame> frames);

  /// dB against the direct sound, one value per cm from 0 to the set's greatest distance, of the 200 ms up to `sensed`;
  /// nothing until the kit has learned.
  std::vector<float> of(const LiveReading& sensed);

 private:
  void hear(float sample) { past_[captured_++ % past_.size()] = static_cast<double>(sample); }
  void keep_quiet();
  std::vector<double> strengths(std::span<const double> heard) const;

  double half_spacing_;
  size_t distances_;
  double latency_ = 0.0;  // samples
  double direct_ = 0.0;   // the direct sound's strength; 0 until known
  uint64_t captured_ = 0;
  std::vector<double> past_;   // what was heard last: some sweep tables, in turns
  std::vector<double> quiet_;  // their mean when the kit had learned
  Fourier fourier_;
  std::vector<std::complex<double>> played_;  // conjugate spectrum of the table, above 0 Hz
};

}  // namespace zeto::tool
