// The detector's record at the start of its state block, and the numbers that its analysis is built on.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "detector/filter.hpp"
#include "zeto/cores.h"
#include "zeto/fft.h"

namespace zeto::detector {

constexpr uint32_t kStateBytes = 130000;
constexpr uint32_t kArenaStart = 123004;  // bytes into the state block
constexpr int32_t kArenaSlot = 0;

constexpr uint32_t kSampleRate = 48000;  // Hz
constexpr uint32_t kBlockLen = 480;      // samples
constexpr uint32_t kRingBlocks = 20;
constexpr uint32_t kWindowLen = kRingBlocks * kBlockLen;  // samples of an analysis: 200 ms
constexpr uint32_t kFftLen = 512;
constexpr uint32_t kNumBins = kFftLen / 2 + 1;
constexpr int kSegments = kWindowLen / kFftLen;
constexpr int kDecimation = kSegments / 3;              // phases of a stretch; 8000 Hz each
constexpr uint32_t kBinWidth = kSampleRate / kFftLen;   // Hz, whole
constexpr float kPositionTolerance = 2.0f * kBinWidth;  // Hz
constexpr float kLevelTolerance = 10.0f;                // dB
constexpr float kQuantum = float(kBinWidth >> 3);       // Hz; grid of floor_hz and scope_hz
constexpr float kRejected = -1000.0f;

using Ring = float[kWindowLen];  // kRingBlocks blocks, one behind the other

// Two-deep memory of a ratio.
struct RatioHistory {
  float previous;
  float current;
};

// The strongest bin of a segment but bin 0.
struct Peak {
  uint32_t bin;  // 1 .. 256
  float level;   // dB
};

// How far the analysis of the window under way has come; see ahead.hpp. All zero: not begun, and no slot is packed.
struct Ahead {
  int32_t slots;                     // the window's first slots: packed, filtered, transformed as far as they reach
  int32_t has_stale;                 // 1: the slots behind them are packed too; they hold the window before
  float gain;                        // that the slots were mixed with
  FilterMemory high_a, high_b, low;  // behind the window's first slots
  FilterMemory stale_a, stale_b;     // of the high-passes in front of the first stale slot
  Peak peaks[kSegments];             // of the segments transformed so far
};

}  // namespace zeto::detector

struct zeto_tx_state {
  zeto_tx_param params;  // as last set

  uint32_t sample_rate;
  uint32_t fft_len;
  uint32_t block_len;
  uint32_t num_bins;
  zeto_drft_lookup fft;
  float result_value;

  // The parameters in working form.
  int32_t floor_hz;
  int32_t scope_hz;
  int32_t period;
  int32_t cand_db;
  float cand_ratio;
  float spread_ratio;
  float mix_gain;
  float smooth;
  int32_t spare1;
  int32_t spare2;
  int32_t delay_ms;

  int32_t warmup_index;  // delay-line block that the start-up delay fills next, from 1
  zeto::detector::Ring delay_line;

  zeto::FilterMemory high_pass_a;
  zeto::FilterMemory high_pass_b;
  zeto::FilterMemory low_pass;
  zeto::detector::Ring hist_a;
  zeto::detector::Ring hist_b;

  int32_t analysis_count;
  int32_t analysis_tag;  // 17 after init; nothing reads it

  float cand_freq[zeto::detector::kSegments];
  zeto::detector::RatioHistory hit_ratio_hist;
  float cand_level[zeto::detector::kSegments];
  zeto::detector::RatioHistory level_ratio_hist;

  float delay_status;   // -1 once the start-up delay has run
  float reinit_status;  // -1 once restarted
  int32_t frame_count;  // blocks since init; wraps
  int32_t frame_tag;    // 160 after init; nothing reads it

  zeto::detector::Ahead ahead;
};

static_assert(offsetof(zeto_tx_state, params) == 0 && sizeof(zeto_tx_param) == 44);
static_assert(sizeof(zeto_tx_state) <= zeto::detector::kArenaStart);
