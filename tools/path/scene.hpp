// The way from the loudspeaker to the microphone, simulated: a phone's latency, its direct sound, the reflections of
// case and room, a target, noise, and clocks and buffers that go wrong.
//
// Delays are fractional: see path/sinc.hpp. A moving target's echo is delayed by its way at the moment at which it is
// heard, so that its beat is shifted as in reality.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "path/fourier.hpp"
#include "path/target.hpp"

namespace zeto::tool {

/// A further way of the sound.
struct Way {
  double delay_ms;  ///< without the latency
  double gain;
};

/// The clock of the capture against that of the playback.
struct Drift {
  double ppm;     ///< above 0 a captured sample lasts longer than a played one
  double from_s;  ///< until then they agree
};

/// Samples that are missing from the recording, or come twice.
struct Cut {
  double at_s;  ///< in the recording
  double ms;    ///< lost; below 0: repeated
};

/// Another phone that plays the same. Its delay, up to 200 ms, its clock, up to 30 ppm away, and its six reflections
/// within 8 ms are drawn by the seed.
struct Foreign {
  double level_db;  ///< against the direct sound
  double from_s;
};

struct Scene {
  double latency_ms = 0.0;
  double spacing_cm = 5.0;  ///< loudspeaker to microphone
  double direct = 0.3;      ///< gain of the direct sound
  std::vector<Way> echoes;
  std::optional<uint64_t> room;  ///< seed of three reflections of the case and 25 of the room
  Filter response{{1.0}, 0};     ///< of loudspeaker and microphone together
  std::optional<TargetParam> target;

  std::optional<double> pink_dbfs;  ///< of a noise's root mean square, full scale 1.0
  std::optional<double> white_dbfs;
  std::optional<double> snr_db;  ///< white noise as well: the direct sound's mean power over the noise's
  std::vector<float> noise;      ///< a recording, over and over
  double noise_gain = 1.0;

  Drift drift{0.0, 0.0};
  std::vector<Cut> cuts;
  std::optional<Foreign> foreign;
  uint64_t seed = 1;
};

/// What is captured of what is played.
class Capturing {
 public:
  Capturing(Scene scene, int64_t samples);

  /// Samples that must be played meanwhile.
  int64_t played() const;

  /// The microphone.
  /// @param played  played() of them.
  std::vector<int16_t> microphone(std::span<const int16_t> played);

  /// Samples that did not fit into 16 bits.
  int64_t clipped() const { return clipped_; }

  /// The target's distance when a sample of the recording was heard; nothing if it was not there.
  std::optional<double> true_cm(int64_t sample) const;

 private:
  std::vector<Way> fixed_ways() const;
  double time_of(int64_t heard) const;
  void add_moving(std::span<const float> sound, std::span<float> heard) const;
  void add_foreign(std::span<const float> sound, std::span<float> heard) const;
  void add_noise(std::span<float> heard, double direct_power) const;
  int64_t heard_at(int64_t sample) const;

  Scene scene_;
  int64_t samples_;
  int64_t heard_;  // samples, before cuts
  std::optional<Target> target_;
  int64_t clipped_ = 0;
};

}  // namespace zeto::tool
