// What is played, in the forms in which it is compared with what is heard.
#pragma once

#include "host/band.hpp"
#include "zeto/host.h"

namespace zeto::host {

// The sweeps of a frame, as runs of the band.
struct Sweeps {
  int count;
  int start[ZETO_SWEEP_MAX + 1];  // start[count] is kBandFrame
};

// How many sweeps a table has of its own.
int sweeps_of(const zeto_sweep& sweep) noexcept;

// Whether a table fills a frame, once or several times, and its sweeps start at whole groups of four of the band's
// samples.
bool fits_frame(const zeto_sweep& sweep) noexcept;

class Reference {
 public:
  // Makes the table. Not for the audio thread. @param scratch  an emitter's state.
  void init(const zeto_sweep& sweep, BandFilter& filter, void* scratch) noexcept;

  const int16_t* table() const noexcept { return table_; }
  const Sweeps& sweeps() const noexcept { return sweeps_; }

  // A block of what was played `late` samples before the frame's sample `first`; both wrap.
  const int16_t* block(int first, int late) const noexcept { return table_ + wrapped(first - late); }

  // How much energy of `heard`, a frame, the table explains if it comes `late` samples late. Each sweep may have a
  // phase of its own, as those of a moving target do.
  float explained(BandRun heard, int late) const noexcept;

  // 1 over the energy of a sweep; 0 for one that is silent.
  float inverse_energy_of(int sweep) const noexcept { return inverse_energy_[sweep]; }

  // The table in the band, `late` samples late: a frame's run.
  BandRun in_band(int late) const noexcept;

  // The correlation of the first sweep with the beginning of `heard`.
  Complex first_sweep(BandRun heard) const noexcept;

 private:
  // The table delayed by 0 to kDecimation - 1 samples: other delays are these, moved by samples of the band.
  TwiceBand copies_[kDecimation];

  Sweeps sweeps_;
  int16_t table_[kFrame + kBlock];  // then its start again, so that no block wraps
  float inverse_energy_[ZETO_SWEEP_MAX];
};

}  // namespace zeto::host
