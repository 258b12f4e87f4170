// A target straight ahead of the phone.
#pragma once
#include <cstdint>
#include <optional>
#include <vector>

namespace zeto::tool {

constexpr double kCmPerSecond = 34300.0;  ///< the speed of sound at 20 degrees Celsius

struct Span {
  double from_s;
  double to_s;  ///< may be infinite
};

struct TargetParam {
  double distance_cm = 0.0;        ///< before it moves; from the middle between loudspeaker and microphone
  std::optional<double> level_db;  ///< against the direct sound; otherwise a hand's at its distance
  double speed_cm_s = 0.0;         ///< away from the phone above 0
  double moves_s = 0.0;            ///< when the motion begins
  std::optional<double> stop_cm;   ///< where it ends
  double tremor_mm = 0.0;
  std::vector<Span> present;
};

class Target {
 public:
  Target(TargetParam param, uint64_t seed);

  /// 0 if it is not there, else 1. It comes and goes within 10 ms.
  double presence(double at_s) const;
  /// Whether it is there.
  bool is_present(double at_s) const;
  double distance_cm(double at_s) const;
  double level_db(double distance_cm) const;

 private:
  TargetParam param_;
  double phases_[2];
};

/// The sound's way from loudspeaker to target to microphone.
double way_cm(double distance_cm, double spacing_cm);

/// A hand's echo against the direct sound: -6 dB at 2 cm, -11 at 6, -15 at 10, -22 at 20, -26 at 30, -31 at 50; between
/// these and farther on in proportion to the distance's logarithm, nearer -6 dB.
double hand_level_db(double distance_cm);

}  // namespace zeto::tool
