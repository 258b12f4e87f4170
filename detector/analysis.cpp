#include "detector/analysis.hpp"

#include <math.h>

#include "kernels/saturate.hpp"

namespace zeto::detector {
namespace {

float median(const float* sorted, int n) noexcept {
  const int middle = n / 2;
  return n % 2 != 0 ? sorted[middle] : (sorted[middle - 1] + sorted[middle]) / 2.0f;
}

int count_near(const float* values, int n, float centre, float tolerance) noexcept {
  int count = 0;
  for (int i = 0; i < n; ++i) count += fabsf(values[i] - centre) < tolerance;
  return count;
}

}  // namespace

void filter_and_mix(zeto_tx_state& state, float* mixed) noexcept {
  const FilterBank bank = {kHighPass, kLowPass, state.high_pass_a, state.high_pass_b, state.low_pass};
  zeto::filter_and_mix(bank, state.mix_gain, state.hist_a, state.hist_b, mixed, kWindowLen);
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

float steadiness(const RatioHistory& hits, const RatioHistory& levels) noexcept {
  return levels.current + levels.previous + truncf(hits.current + hits.previous);
}

bool is_accepted(const Thresholds& thresholds, const RatioHistory& hits, const RatioHistory& levels) noexcept {
  return has_hits(thresholds, hits) && has_levels(thresholds, levels) && steadiness(hits, levels) >= kSteady;
}

float span_of(int32_t floor_hz, int32_t scope_hz) noexcept {
  const float low = roundf(static_cast<float>(floor_hz) / kQuantum) * kQuantum;
  const float width = truncf(static_cast<float>(scope_hz) / kQuantum) * kQuantum;
  return (low + width) - low;
}

float fold(float position, float span) noexcept {
  const bool beyond_half = static_cast<double>(span) * 0.5 < static_cast<double>(position);
  return beyond_half ? span - position : position;
}

float measure(float position, int32_t floor_hz, int32_t scope_hz, int32_t period) noexcept {
  const float span = span_of(floor_hz, scope_hz);
  return fold(position, span) * static_cast<float>(period) / span;
}

bool is_candidate(const zeto_tx_state& state, const Peak& peak) noexcept {
  return peak.level > static_cast<float>(state.cand_db);
}

int list_candidates(zeto_tx_state& state, const Peak (&peaks)[kSegments]) noexcept {
  int n = 0;
  for (const Peak& peak : peaks) {
    if (!is_candidate(state, peak)) continue;
    state.cand_level[n] = peak.level;
    state.cand_freq[n] = position_of(peak.bin);
    ++n;
  }
  return n;
}

void push(RatioHistory& history, float ratio) noexcept {
  history = {history.current, ratio};
}

[[gnu::weak]] void analyse(zeto_tx_state& state) noexcept {
  analyse(state, Unobserved());
}

}  // namespace zeto::detector
