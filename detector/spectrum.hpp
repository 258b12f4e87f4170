// The spectra of the mixed signal and their peaks.
#pragma once

#include "detector/state.hpp"

namespace zeto::detector {

// The strongest bin of a segment but bin 0.
struct Peak {
  uint32_t bin;  // 1 .. 256
  float level;   // 10 log10(power + 1e-15), dB
};

// Cuts the mixed signal (kWindowLen samples) into kSegments interleaved 8000 Hz views, three stretches of kDecimation
// phases each, ending where the signal ends; transforms them and finds their peaks.
void find_peaks(const zeto_drft_lookup& fft, const float* mixed, Peak* peaks) noexcept;

}  // namespace zeto::detector
