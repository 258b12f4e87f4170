// The steps of an analysis: 200 ms of both inputs become one measurement.
#pragma once

#include "detector/ahead.hpp"
#include "detector/spectrum.hpp"
#include "detector/state.hpp"

namespace zeto::detector {

// High-passes both histories in place and low-passes their amplified product: a delay between two sweeps has become a
// low beat. kWindowLen samples.
void filter_and_mix(zeto_tx_state& state, float* mixed) noexcept;

// Beat frequency of a bin, whole Hz, rounded down twice.
float position_of(uint32_t bin) noexcept;

// Ascending bubble sort whose exchange keeps the greater value in an integer: whatever moves up loses its fraction.
void truncating_sort(float* values, int n) noexcept;

// What n candidates agree on.
struct Agreement {
  float position;     // median, Hz
  float level;        // median, dB
  int hits;           // candidates near the median position
  int level_hits;     // candidates near the median level
  float hit_ratio;    // 1.0 when all segments hit, otherwise 0.0
  float level_ratio;  // level hits as a share of all segments
};

// Sorts both lists, each by itself.
Agreement agree(float* positions, float* levels, int n) noexcept;

struct Thresholds {
  float cand_ratio;
  float spread_ratio;
};

// A measurement is accepted if all three hold: enough segments hit; enough of them agree on the level; and both have
// done so for long enough, which this analysis alone may be, or with the one before.
inline bool has_hits(const Thresholds& thresholds, const RatioHistory& hits) noexcept {
  return thresholds.cand_ratio <= hits.current;
}
inline bool has_levels(const Thresholds& thresholds, const RatioHistory& levels) noexcept {
  return levels.current >= thresholds.spread_ratio;
}
constexpr float kSteady = 2.0f;
float steadiness(const RatioHistory& hits, const RatioHistory& levels) noexcept;
bool is_accepted(const Thresholds& thresholds, const RatioHistory& hits, const RatioHistory& levels) noexcept;

// The sweep's quantised width, Hz.
float span_of(int32_t floor_hz, int32_t scope_hz) noexcept;

// Positions beyond half of the span fold back.
float fold(float position, float span) noexcept;

// Maps a position to the unit of `period`: a position equal to the span is a full period, folded.
float measure(float position, int32_t floor_hz, int32_t scope_hz, int32_t period) noexcept;

bool is_candidate(const zeto_tx_state& state, const Peak& peak) noexcept;

// Lists the segments whose peak is a candidate; returns how many there are.
int list_candidates(zeto_tx_state& state, const Peak (&peaks)[kSegments]) noexcept;

void push(RatioHistory& history, float ratio) noexcept;

// What an analysis has seen, for who watches it; the rest is in the state.
struct Findings {
  const float* mixed;              // kWindowLen samples, set from kFirstStretch on
  const Peak (&peaks)[kSegments];  // not set in a state that was never initialised
  int candidates;
  const Agreement& agreed;
  bool accepted;
};

// Watches nothing.
struct Unobserved {
  void operator()(const zeto_tx_state&, const Findings&) const noexcept {}
};
template <typename Observer>
inline constexpr bool kObserves = true;
template <>
inline constexpr bool kObserves<Unobserved> = false;

// All of it, or what is left of it after an analysis ahead. `observe(state, findings)` is called last. This is the one
// point from which an analysis can be watched: the library itself does so with an observer that does nothing and leaves
// no code behind.
template <typename Observer>
void analyse(zeto_tx_state& state, Observer&& observe) noexcept {
  float mixed[kWindowLen];
  Peak peaks[kSegments];
  const bool prepared = state.fft_len != 0;  // a state that was never initialised has no transform
  if (is_window_ahead(state)) {
    finish_window(state, kObserves<Observer>, mixed, peaks);
  } else {
    filter_and_mix(state, mixed);
    if (prepared) find_peaks(state.fft, mixed, peaks);
  }
  const int n = prepared ? list_candidates(state, peaks) : 0;
  const Agreement agreed = agree(state.cand_freq, state.cand_level, n);
  push(state.hit_ratio_hist, agreed.hit_ratio);
  push(state.level_ratio_hist, agreed.level_ratio);

  const bool accepted =
      is_accepted({state.cand_ratio, state.spread_ratio}, state.hit_ratio_hist, state.level_ratio_hist);
  if (accepted) {
    const float value = measure(agreed.position, state.floor_hz, state.scope_hz, state.period);
    state.result_value = state.result_value * state.smooth + (1.0f - state.smooth) * value;
  } else {
    state.result_value = kRejected;
  }
  observe(state, Findings{mixed, peaks, n, agreed, accepted});
}

// What the library calls: unobserved. A program that holds the library's own objects may define this function itself,
// observed; the library's is weak and then steps back.
void analyse(zeto_tx_state& state) noexcept;

}  // namespace zeto::detector
