#include "host/watch.hpp"

#include <math.h>

namespace zeto::host {

void Watch::start(const Learned& learned) noexcept {
  learned_ = &learned;
  newest_ = 0;
  block_ = 0;
  first_ = true;
}

void Watch::take(BandRun band) noexcept {
  if (block_ == 0) {
    newest_ = 1 - newest_;
    energy_ = 0.0f;
    far_ = {};
    far_slope_ = {};
    for (Complex& sum : repeated_) sum = {};
  }
  const int first = block_ * kBandBlock;
  frames_[newest_].set(first, band, kBandBlock);
  energy_ += energy(band, kBandBlock);
  far_ = far_ + dot(learned_->far.from(first), band, kBandBlock);
  far_slope_ = far_slope_ + dot(learned_->far_slope.from(first), band, kBandBlock);

  const BandRun before = frames_[1 - newest_].from(0);
  const Sweeps& sweeps = reference_->sweeps();
  for (int s = 0; s < sweeps.count; ++s) {
    const int from = sweeps.start[s] > first ? sweeps.start[s] : first;
    const int to = sweeps.start[s + 1] < first + kBandBlock ? sweeps.start[s + 1] : first + kBandBlock;
    if (from < to) repeated_[s] = repeated_[s] + dot(before.from(from), band.from(from - first), to - from);
  }
  ++block_;
}

Sight Watch::finish() noexcept {
  Sight sight = {energy_, 0.0f, 0.0f, 0.0f};
  for (int s = 0; s < reference_->sweeps().count && !first_; ++s) sight.steady += sqrtf(power_of(repeated_[s]));
  if (learned_->far_energy > 0.0f) {
    sight.misplaced = sqrtf((power_of(far_) + power_of(far_slope_)) / learned_->far_energy);
    sight.misplaced_by_noise = sqrtf(2.0f * energy_ / kBandFrame / learned_->far_energy);
  }
  block_ = 0;
  first_ = false;
  return sight;
}

}  // namespace zeto::host
