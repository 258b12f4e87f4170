// The spectra of the mixed signal and their peaks.
#pragma once

#include "detector/state.hpp"
#include "kernels/lanes.hpp"

namespace zeto::detector {

// The strongest bin of a segment but bin 0.
struct Peak {
  uint32_t bin;  // 1 .. 256
  float level;   // 10 log10(power + 1e-15), dB
};

// The mixed signal (kWindowLen samples) is cut into kSegments interleaved 8000 Hz views, three stretches of kDecimation
// phases each, ending where the signal ends. Four segments, a group, go side by side in the lanes of a vector.
constexpr int kGroups = 5;

// Transforms a group. @param spectrum  kFftLen values: Re 0, Re 1, Im 1, ..., Re 256.
void transform(const zeto_drft_lookup& fft, const float* mixed, int group, f32x4* spectrum) noexcept;

// Finds a group's peaks; `peaks` are those of all segments.
void find_peaks(const f32x4* spectrum, int group, Peak* peaks) noexcept;

// All segments' peaks.
void find_peaks(const zeto_drft_lookup& fft, const float* mixed, Peak* peaks) noexcept;

}  // namespace zeto::detector
