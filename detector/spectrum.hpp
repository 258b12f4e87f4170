// The spectra of the mixed signal and their peaks.
#pragma once

#include <math.h>

#include "detector/state.hpp"
#include "kernels/lanes.hpp"

namespace zeto::detector {

// The level of a power re^2 + im^2 + kPowerFloor, dB.
constexpr float kPowerFloor = 1e-15f;
inline float level_of(float power) noexcept {
  return 10.0f * log10f(power);
}

// The mixed signal (kWindowLen samples) is cut into kSegments interleaved 8000 Hz views: three stretches of kDecimation
// phases each, ending where the signal ends. They are worked on in groups, a segment in each lane: two pairs of
// adjacent phases. The last group has but two; they fill the other lanes, too.
constexpr int kStretchLen = kDecimation * kFftLen;                                 // samples of the mixed signal
constexpr int kFirstStretch = kWindowLen - kSegments / kDecimation * kStretchLen;  // what lies before is not used
constexpr int kLanes = 4;
constexpr int kGroups = 5;
constexpr int kSegmentOf[kGroups][kLanes] = {
    {0, 1, 2, 3}, {4, 5, 6, 7}, {8, 9, 10, 11}, {12, 13, 14, 15}, {16, 17, 16, 17}};
constexpr int segments_in(int group) noexcept {
  return group + 1 < kGroups ? kLanes : kSegments - kLanes * group;
}

// The peak of a segment of nothing but zeros: the first of equals.
inline Peak silent_peak() noexcept {
  return {1, level_of(kPowerFloor)};
}

// The spectra of a group: kFftLen values Re 0, Re 1, Im 1, Re 2, Im 2, ..., Re 256.
void transform_group(const zeto_drft_lookup& fft, const float* mixed, int group, f32x4* spectra) noexcept;

// Their peaks, each to its segment's place.
void find_peaks_of_group(const f32x4* spectra, int group, Peak (&peaks)[kSegments]) noexcept;

// Both for one group. Silence is noticed and not transformed.
void find_peaks_of_group(const zeto_drft_lookup& fft, const float* mixed, int group, Peak (&peaks)[kSegments]) noexcept;

// All of it.
void find_peaks(const zeto_drft_lookup& fft, const float* mixed, Peak (&peaks)[kSegments]) noexcept;

}  // namespace zeto::detector
