// What there is in a frame besides the background, and whether the background still holds.
#pragma once

#include "host/learner.hpp"

namespace zeto::host {

// Energies are those of the band in a frame, shares are of amplitude.
struct Sight {
  float energy;              // of what is not background
  float before;              // the same in the frame before
  float steady;              // of it, what both frames have alike; each sweep may have a phase of its own
  float explained;           // of it, what one echo explains
  float kept;                // the share of the background that is still there
  float kept_change;         // since the frame before
  float misplaced;           // the share of the background's far reflections that is not where it was
  float misplaced_by_noise;  // what noise alone may make of it
};

class Watch {
 public:
  void init(const Reference& reference) noexcept { reference_ = &reference; }
  void start(const Learned& learned) noexcept;

  // A block of what is not background, in the band.
  void take(BandRun band) noexcept;

  // After a frame's last block, once: what was seen, with an echo in it so many samples late, or none.
  Sight finish(bool has_echo, int late) noexcept;

 private:
  void explain(int late, Sight& sight) noexcept;

  const Reference* reference_;
  const Learned* learned_;
  Band frames_[2];
  int newest_;  // the frame that grows, or the one that was finished last
  int block_;
  bool first_;
  float energy_;
  float before_;
  Complex repeated_[ZETO_SWEEP_MAX];
  Complex background_;
  Complex kept_;
  Complex far_;
  Complex far_slope_;
};

}  // namespace zeto::host
