#include "detector/analysis.hpp"

#include <cmath>

#include "kernels/saturate.hpp"
#include "zeto/kernels.h"
#include "zeto/tables.h"

namespace zeto::detector {
namespace {

constexpr FilterTables kHighPass = {b_Hp_Ultra, a_Hp_Ultra};
constexpr FilterTables kLowPass = {b_Lp_Ultra, a_Lp_Ultra};

constexpr uint32_t kStretchLen = kDecimation * kFftLen;                                 // samples of the mixed signal
constexpr uint32_t kFirstStretch = kWindowLen - kSegments / kDecimation * kStretchLen;  // what lies before is not used

float median(const float* sorted, int n) noexcept {
  const int middle = n / 2;
  return n % 2 != 0 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2.0f;
}

int count_near(const float* values, int n, float centre, float tolerance) noexcept {
  int count = 0;
  for (int i = 0; i < n; ++i) count += std::fabs(values[i] - centre) < tolerance;
  return count;
}

void push(RatioHistory& history, float ratio) noexcept {
  history = {history.current, ratio};
}

// Appends the candidates of all segments; returns how many there are.
int find_candidates(zeto_tx_state& state, const float* mixed) noexcept {
  const float threshold = static_cast<float>(state.cand_db);
  float spectrum[kFftLen + 2];
  int n = 0;
  for (int segment = 0; segment < kSegments; ++segment) {
    decimate(mixed, segment, spectrum);
    const Peak peak = find_peak(state.fft, spectrum);
    if (!(peak.level > threshold)) continue;
    state.cand_level[n] = peak.level;
    state.cand_freq[n] = position_of(peak.bin);
    ++n;
  }
  return n;
}

}  // namespace

void filter_inputs(zeto_tx_state& state) noexcept {
  filter_in_place(kHighPass, state.high_pass_a, state.hist_a[0], kWindowLen);
  filter_in_place(kHighPass, state.high_pass_b, state.hist_b[0], kWindowLen);
}

void mix(zeto_tx_state& state, float* mixed) noexcept {
  zeto_vf_dot_mult_vf(state.hist_a[0], state.hist_b[0], kWindowLen, mixed);
  zeto_vf_mult_scalar(mixed, kWindowLen, mixed, state.mix_gain);
  filter_in_place(kLowPass, state.low_pass, mixed, kWindowLen);
}

void decimate(const float* mixed, int segment, float* samples) noexcept {
  const uint32_t stretch = static_cast<uint32_t>(segment / kDecimation);
  const uint32_t phase = static_cast<uint32_t>(segment % kDecimation);
  const float* first = mixed + kFirstStretch + stretch * kStretchLen + phase;
  for (uint32_t t = 0; t < kFftLen; ++t) samples[t] = first[t * kDecimation] * static_cast<float>(kDecimation);
}

Peak find_peak(zeto_drft_lookup& fft, float* samples) noexcept {
  zeto_rfft_float(&fft, samples);
  float level[kNumBins];
  for (uint32_t bin = 0; bin < kNumBins; ++bin) {
    const float re = samples[2 * bin];
    const float im = samples[2 * bin + 1];
    level[bin] = 10.0f * std::log10(re * re + im * im + 1e-15f);
  }
  Peak peak;
  peak.bin = 1 + zeto_vf_get_max(level + 1, kNumBins - 1, &peak.level);
  return peak;
}

float position_of(uint32_t bin) noexcept {
  const uint32_t hz = kSampleRate * bin / kFftLen / uint32_t{kDecimation};
  return static_cast<float>(hz);
}

void truncating_sort(float* values, int n) noexcept {
  for (int i = 0; i < n - 1; ++i) {
    for (int j = 0; j < n - 1 - i; ++j) {
      if (!(values[j] > values[j + 1])) continue;
      const int32_t greater = saturate_int32(values[j]);
      values[j] = values[j + 1];
      values[j + 1] = static_cast<float>(greater);
    }
  }
}

Agreement agree(float* positions, float* levels, int n) noexcept {
  Agreement result = {};
  if (n > 0) {
    truncating_sort(positions, n);
    truncating_sort(levels, n);
    result.position = median(positions, n);
    result.level = median(levels, n);
    result.hits = count_near(positions, n, result.position, kPositionTolerance);
    result.level_hits = count_near(levels, n, result.level, kLevelTolerance);
  }
  // The share of hits is an integer division on purpose: one segment off, and the position counts for nothing.
  const int all_hit = result.hits / kSegments;
  result.hit_ratio = static_cast<float>(all_hit);
  result.level_ratio = static_cast<float>(result.level_hits) / static_cast<float>(kSegments);
  return result;
}

bool is_accepted(const Thresholds& thresholds, const RatioHistory& hits, const RatioHistory& levels) noexcept {
  if (thresholds.cand_ratio > hits.current || levels.current < thresholds.spread_ratio) return false;
  return levels.current + levels.previous + std::trunc(hits.current + hits.previous) >= 2.0f;
}

float measure(float position, int32_t floor_hz, int32_t scope_hz, int32_t period) noexcept {
  const float low = std::round(static_cast<float>(floor_hz) / kQuantum) * kQuantum;
  const float width = std::trunc(static_cast<float>(scope_hz) / kQuantum) * kQuantum;
  const float span = (low + width) - low;
  const bool beyond_half = static_cast<double>(span) * 0.5 < static_cast<double>(position);
  const float folded = beyond_half ? span - position : position;
  return folded * static_cast<float>(period) / span;
}

void analyse(zeto_tx_state& state) noexcept {
  float mixed[kWindowLen];
  filter_inputs(state);
  mix(state, mixed);

  const int n = find_candidates(state, mixed);
  const Agreement agreed = agree(state.cand_freq, state.cand_level, n);
  push(state.hit_ratio_hist, agreed.hit_ratio);
  push(state.level_ratio_hist, agreed.level_ratio);
  if (!is_accepted({state.cand_ratio, state.spread_ratio}, state.hit_ratio_hist, state.level_ratio_hist)) {
    state.result_value = kRejected;
    return;
  }
  const float value = measure(agreed.position, state.floor_hz, state.scope_hz, state.period);
  state.result_value = state.result_value * state.smooth + (1.0f - state.smooth) * value;
}

}  // namespace zeto::detector
