// Learning, with nobody there: how late the sound is, what the background is, how loud the noise.
//
// For 400 ms the sound settles. Then frames are added up. Meanwhile the first sweep is looked for at every delay in the
// first of them, a few delays a block; then the whole table is compared around the places that fit, one a block. What
// remains is computed in pieces, one a block, so that no block costs much more than another.
#pragma once

#include <stdint.h>

#include "host/reference.hpp"

namespace zeto::host {

// What learning leaves. From then on frames begin where the reference does: `hold` samples after each multiple of
// kFrame, counted from where learning began. Energies are those of the band in a frame.
struct Learned {
  int hold;             // samples, a multiple of kDecimation
  double lead;          // samples by which the latency is greater than `hold`: at least 1 ms, to keep near echoes off 0
  int direct;           // samples by which the direct sound is late in a frame
  float energy;         // of the background
  float direct_energy;  // of that, what the direct sound explains
  float noise;
  float far_energy;  // of the background's reflections from afar; 0 if there is too much noise to know them
  Band background;
  Band far;        // the reflections from afar, of unit energy: they tell whether delays are still what they were
  Band far_slope;  // how they change with delay, of unit energy and at right angles to them
  float mean[kFrame + kBlock];  // the background, from where learning began; then its start again, so no block wraps
};

class Learner {
 public:
  enum class Outcome { kBusy, kLearned, kFailed };

  // @param way_samples  the direct sound's way.
  void init(const Reference& reference, double way_samples) noexcept;
  void restart() noexcept;

  // A block of the microphone, and the same in the band.
  Outcome take(const float* samples, BandRun band) noexcept;

  const Learned& learned() const noexcept { return learned_; }
  const zeto_host_findings& findings() const noexcept { return findings_; }

 private:
  void add(const float* samples, BandRun band, int at) noexcept;
  void search(int step) noexcept;
  void refine(int step) noexcept;
  Outcome finish(int step) noexcept;
  void locate() noexcept;
  void set_background() noexcept;
  bool judge() noexcept;
  bool has_changed() const noexcept;
  void keep_far(int sweep, int step) noexcept;
  void set_far() noexcept;
  void set_far_slope() noexcept;

  const Reference* reference_;
  double way_;
  int block_;  // since learning began
  Learned learned_;
  zeto_host_findings findings_;

  Band last_;        // the frame before; in the end, the background against the reference
  Band sum_;         // of the frames
  TwiceBand probe_;  // the first of them, twice
  Band third_;       // the sum as it was after a third of them
  Band two_thirds_;  // and after two, when the search ended
  float noise_;      // energy of the frames' differences
  Complex turn_;     // how their phase moves on
  float best_;       // greatest power of all delays
  float all_;        // sum of the powers of all delays
  int delay_;        // of the first sweep, samples of the band
  int late_;         // of the table, samples
  float explained_;  // of the sum of two thirds, there

  static constexpr int kNear = kDecimation + 1;
  static constexpr int kNears = 2 * kNear + 1;
  float near_[kNears];  // explained from kNear samples before late_ to kNear behind
};

}  // namespace zeto::host
