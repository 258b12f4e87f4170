// What else is told of the sound: how loud it is above hearing, whether it clips.
#pragma once
#include <cstdint>
#include <span>

#include "live/duplex.hpp"

namespace zeto::tool {

/// Of the microphone.
struct Heard {
  double ultrasound_db;  ///< root mean square above 18 kHz, dB against full scale 1.0; -120 at least
  uint64_t clipped;      ///< samples at full scale
};

class Listener {
 public:
  Listener();
  void take(std::span<const Frame> frames);
  /// Since the last call.
  Heard heard();

 private:
  static constexpr int kSections = 4;
  struct Section {
    double b0, b1, a1, a2;  // b2 is b0
    double x1 = 0, x2 = 0, y1 = 0, y2 = 0;
  };

  Section sections_[kSections];  // a Butterworth high-pass of order eight: 60 dB down at 12 kHz
  double power_ = 0.0;
  uint64_t samples_ = 0;
  uint64_t clipped_ = 0;
};

}  // namespace zeto::tool
