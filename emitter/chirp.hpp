// Synthesis of one frame of the sweep.
#pragma once

#include <stdint.h>

#include "zeto/cores.h"

namespace zeto {

// The sweep's constants, worked out anew for every frame, so that parameters may change between any two.
struct Sweep {
  double fs;          // Hz
  double f0;          // start frequency on the grid, Hz
  double k;           // frequency rise, Hz per sample
  double a0;          // amplitude at the start of the period, 1.0 = full scale
  double slope;       // amplitude rise per sample
  double gain_in;     // amplitude per sample of the fade-in
  double gain_out;    // amplitude per sample left of the fade-out
  double period_len;  // samples in a period, counted in whole frames
  int32_t last_full;  // last sample before the fade-out
};

// Frames in a period. 10 ms frames are counted, which holds for 480 samples at 48000 Hz only.
constexpr uint32_t frames_per_period(const zeto_rx_state& state) noexcept {
  return static_cast<uint32_t>(state.period_s) * 100u;
}

Sweep make_sweep(const zeto_rx_state& state) noexcept;

// Samples first .. first + count - 1 of a period, numbered from 1; numbers wrap at 2^32.
void write_chirp(const Sweep& sweep, uint32_t first, int32_t count, int16_t* out) noexcept;

}  // namespace zeto
