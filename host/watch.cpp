#include "host/watch.hpp"

#include <math.h>

namespace zeto::host {

void Watch::start(const Learned& learned) noexcept {
  learned_ = &learned;
  newest_ = 0;
  block_ = 0;
  before_ = 0.0f;
  first_ = true;
  kept_ = {1.0f, 0.0f};
}

void Watch::take(BandRun band) noexcept {
  if (block_ == 0) {
    newest_ = 1 - newest_;
    energy_ = 0.0f;
    background_ = {};
    far_ = {};
    far_slope_ = {};
    for (Complex& sum : repeated_) sum = {};
  }
  const int first = block_ * kBandBlock;
  frames_[newest_].set(first, band, kBandBlock);
  energy_ += energy(band, kBandBlock);
  background_ = background_ + dot(learned_->background.from(first), band, kBandBlock);
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

// An echo is not at right angles to what is far: its own share there is taken off.
void Watch::explain(int late, Sight& sight) noexcept {
  const BandRun played = reference_->in_band(late);
  const Sweeps& sweeps = reference_->sweeps();
  for (int s = 0; s < sweeps.count; ++s) {
    const int first = sweeps.start[s];
    const int n = sweeps.start[s + 1] - first;
    const Complex share = dot(played.from(first), frames_[newest_].from(first), n);
    const float scale = reference_->inverse_energy_of(s);
    sight.explained += power_of(share) * scale;
    const Complex amplitude = {share.re * scale, share.im * scale};
    far_ = far_ - dot(learned_->far.from(first), played.from(first), n) * amplitude;
    far_slope_ = far_slope_ - dot(learned_->far_slope.from(first), played.from(first), n) * amplitude;
  }
}

Sight Watch::finish(bool has_echo, int late) noexcept {
  Sight sight = {};
  sight.energy = energy_;
  sight.before = before_;
  for (int s = 0; s < reference_->sweeps().count && !first_; ++s) sight.steady += sqrtf(power_of(repeated_[s]));
  if (has_echo) explain(late, sight);
  const Complex kept = {1.0f + background_.re / learned_->energy, background_.im / learned_->energy};
  sight.kept = sqrtf(power_of(kept));
  sight.kept_change = sqrtf(power_of(kept - kept_));
  if (learned_->far_energy > 0.0f) {
    const float noise = fmaxf(energy_ - sight.steady, learned_->noise);
    sight.misplaced = sqrtf((power_of(far_) + power_of(far_slope_)) / learned_->far_energy);
    sight.misplaced_by_noise = sqrtf(2.0f * noise / kBandFrame / learned_->far_energy);
  }
  kept_ = kept;
  before_ = energy_;
  block_ = 0;
  first_ = false;
  return sight;
}

}  // namespace zeto::host
