#include "detector/spectrum.hpp"

#include "fft/driver.hpp"
#include "zeto/kernels.h"

namespace zeto::detector {
namespace {

constexpr int kBins = kNumBins - 1;  // without bin 0

const float* first_sample(const float* mixed, int segment) noexcept {
  return mixed + kFirstStretch + segment / kDecimation * kStretchLen + segment % kDecimation;
}

// Four segments' samples, one in each lane.
f32x4 samples_at(const float* low, const float* high, int t) noexcept {
  return join(load<f32x2>(low + t * kDecimation), load<f32x2>(high + t * kDecimation));
}

// True if the magnitudes of a segment's samples sum up to less than 2^-42, in all four. No bin is then larger than
// six times that sum, nor does its power add a bit to the 1e-15 that all levels start from; which is worth knowing
// because such samples may be denormal, and slow. Signal is found out at once.
bool is_silent(const float* mixed, const int (&segments)[kLanes]) noexcept {
  constexpr int kRun = 32;
  const float* const low = first_sample(mixed, segments[0]);
  const float* const high = first_sample(mixed, segments[2]);
  f32x4 sum = {};
  for (int run = 0; run < int{kFftLen}; run += kRun) {
    for (int t = run; t < run + kRun; ++t) sum += magnitude_of(samples_at(low, high, t));
    const i32x4 small = sum < 0x1p-42f;
    if ((small[0] & small[1] & small[2] & small[3]) == 0) return false;
  }
  return true;
}

void decimate(const float* mixed, const int (&segments)[kLanes], f32x4* samples) noexcept {
  const float* const low = first_sample(mixed, segments[0]);
  const float* const high = first_sample(mixed, segments[2]);
  for (int t = 0; t < int{kFftLen}; ++t) samples[t] = samples_at(low, high, t) * static_cast<float>(kDecimation);
}

// The powers of bins 1 to 256, and what is needed to find the largest without looking at all again.
struct Powers {
  static constexpr int kRun = 16;  // bins
  f32x4 power[kBins];
  f32x4 most_of_run[kBins / kRun];
  f32x4 most;
  i32x4 has_nan;
};

// @param spectrum  kFftLen values: Re 0, Re 1, Im 1, ..., Re 256.
void find_powers(const f32x4* spectrum, Powers& out) noexcept {
  const f32x4 floor = f32x4{} + kPowerFloor;
  out.most = f32x4{};
  f32x4 total = {};
  for (int run = 0; run < kBins / Powers::kRun; ++run) {
    f32x4 most = {};
    for (int i = run * Powers::kRun; i < (run + 1) * Powers::kRun; ++i) {
      const f32x4 re = spectrum[2 * i + 1];
      const f32x4 im = i + 1 < kBins ? spectrum[2 * i + 2] : f32x4{};
      const f32x4 power = re * re + im * im + floor;
      out.power[i] = power;
      total += power;
      most = larger(power, most);
    }
    out.most_of_run[run] = most;
    out.most = larger(most, out.most);
  }
  out.has_nan = total != total;  // none is negative, so infinities do not cancel
}

// The definition: the largest of all levels, the first among equals.
Peak peak_of_all(const Powers& powers, int lane) noexcept {
  float level[kBins];
  for (int i = 0; i < kBins; ++i) level[i] = level_of(powers.power[i][lane]);
  Peak peak;
  peak.bin = 1 + zeto_vf_get_max(level, kBins, &peak.level);
  return peak;
}

// The same from a few logarithms: a power that is smaller than the largest by a thousandth is smaller by 0.004 dB, some
// hundred times more than a logarithm is off, so its level cannot be the largest. Powers within the thousandth are
// looked at in order.
Peak peak_of_largest(const Powers& powers, int lane) noexcept {
  const float least = powers.most[lane] * 0.999f;
  Peak peak = {};
  float last = 0.0f;
  for (int run = 0; run < kBins / Powers::kRun; ++run) {
    if (powers.most_of_run[run][lane] < least) continue;
    for (int i = run * Powers::kRun; i < (run + 1) * Powers::kRun; ++i) {
      const float power = powers.power[i][lane];
      if (power < least || power == last) continue;  // silence is made of equals
      const float level = level_of(power);
      if (peak.bin == 0 || level > peak.level) peak = {static_cast<uint32_t>(i + 1), level};
      last = power;
    }
  }
  return peak;
}

}  // namespace

void transform_group(const zeto_drft_lookup& fft, const float* mixed, int group, f32x4* spectra) noexcept {
  f32x4 scratch[kFftLen];
  decimate(mixed, kSegmentOf[group], spectra);
  fft::forward(fft, spectra, scratch);
}

void find_peaks_of_group(const f32x4* spectra, int group, Peak (&peaks)[kSegments]) noexcept {
  Powers powers;
  find_powers(spectra, powers);
  for (int lane = 0; lane < segments_in(group); ++lane) {
    const bool has_nan = powers.has_nan[lane] != 0;
    peaks[kSegmentOf[group][lane]] = has_nan ? peak_of_all(powers, lane) : peak_of_largest(powers, lane);
  }
}

void find_peaks_of_group(const zeto_drft_lookup& fft, const float* mixed, int group,
                         Peak (&peaks)[kSegments]) noexcept {
  if (is_silent(mixed, kSegmentOf[group])) {
    for (int segment : kSegmentOf[group]) peaks[segment] = silent_peak();
  } else {
    f32x4 spectra[kFftLen];
    transform_group(fft, mixed, group, spectra);
    find_peaks_of_group(spectra, group, peaks);
  }
}

void find_peaks(const zeto_drft_lookup& fft, const float* mixed, Peak (&peaks)[kSegments]) noexcept {
  for (int group = 0; group < kGroups; ++group) find_peaks_of_group(fft, mixed, group, peaks);
}

}  // namespace zeto::detector
