// What there is in a frame besides the background, and whether the background still holds.
#pragma once

#include "host/learner.hpp"

namespace zeto::host {

// All energies are those of the band in a frame.
struct Sight {
  float energy;              // of what is not background
  float steady;              // of that, what is the same as in the frame before, whatever its phase in each sweep
  float misplaced;           // of the background's far reflections, the share that is not where it was, in amplitude
  float misplaced_by_noise;  // of it, what noise alone may make
};

class Watch {
 public:
  void init(const Reference& reference) noexcept { reference_ = &reference; }
  void start(const Learned& learned) noexcept;

  // A block of what is not background, in the band.
  void take(BandRun band) noexcept;

  // After a frame's last block, once: what was seen.
  Sight finish() noexcept;

  // Of the frame that was finished last, the energy that an echo explains which is so many samples late.
  float explained(int late) const noexcept { return reference_->explained(current().from(0), late); }

 private:
  const Band& current() const noexcept { return frames_[newest_]; }

  const Reference* reference_;
  const Learned* learned_;
  Band frames_[2];
  int newest_;  // the frame that grows, or the one that was finished last
  int block_;
  bool first_;
  float energy_;
  Complex repeated_[ZETO_SWEEP_MAX];
  Complex far_;
  Complex far_slope_;
};

}  // namespace zeto::host
