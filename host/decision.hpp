// What is shown, out of what detectors agree on and what the watch sees.
#pragma once

#include "host/vernier.hpp"
#include "host/watch.hpp"

namespace zeto::host {

constexpr int kLeastAgreeing = 2;  // readings, for a target to be shown

class Decision {
 public:
  void init(const zeto_set& set, double spacing_cm) noexcept;
  void start(const Learned& learned) noexcept;

  // After each frame. Fills in all of the reading but `end` and `number`.
  void take(Delay delay, const Sight& sight, zeto_host_reading& reading) noexcept;

 private:
  static constexpr int kMemory = 5;  // readings, of which kLeastAgreeing must agree

  // Half of the sound's way, cm: what a reading is until it is shown.
  struct Echo {
    bool valid;
    double half_cm;
  };

  double half_cm_of(Delay delay) const noexcept;
  int cause_of(bool valid, double half_cm, const Sight& sight) const noexcept;
  bool is_in_reach(double half_cm) const noexcept;
  const Echo* latest() const noexcept;
  bool show(zeto_host_reading& reading) noexcept;
  double distance_of(double half_cm) const noexcept;

  const Learned* learned_;
  double half_spacing_;  // cm
  double greatest_cm_;
  double ahead_;          // frames
  int suspected_;         // frames in a row
  int cause_;             // once it has lasted
  int calm_;              // frames since without trouble
  bool shows_;            // a target
  float level_db_;        // of the target shown last
  Echo echoes_[kMemory];  // the newest last
};

}  // namespace zeto::host
