// The steps of an analysis: 200 ms of both inputs become one measurement.
#pragma once

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

bool is_accepted(const Thresholds& thresholds, const RatioHistory& hits, const RatioHistory& levels) noexcept;

// Maps a position to the unit of `period`: a position equal to the sweep's quantised width is a full period, and
// positions beyond half of it fold back.
float measure(float position, int32_t floor_hz, int32_t scope_hz, int32_t period) noexcept;

// All of it, on the histories as they stand.
void analyse(zeto_tx_state& state) noexcept;

}  // namespace zeto::detector
