// Lifecycle, parameters and block loop of the detector.
#include <stdio.h>
#include <string.h>

#include "detector/ahead.hpp"
#include "detector/state.hpp"
#include "zeto/arena.h"

namespace {

using namespace zeto::detector;

constexpr const char* kVersion = "zeto v1.0.1 build 20221213";

// What init and reinit have in common: an empty measurement on full-length blocks.
void start_measurement(zeto_tx_state* state) {
  state->result_value = 0.0f;
  state->sample_rate = kSampleRate;
  state->fft_len = kFftLen;
  state->block_len = kBlockLen;
  state->num_bins = kNumBins;

  state->high_pass_a = {};
  state->high_pass_b = {};
  state->low_pass = {};
  memset(state->hist_a, 0, sizeof state->hist_a);
  memset(state->hist_b, 0, sizeof state->hist_b);
  memset(state->cand_freq, 0, sizeof state->cand_freq);
  memset(state->cand_level, 0, sizeof state->cand_level);
  state->hit_ratio_hist = {};
  state->level_ratio_hist = {};
  state->delay_status = 0.0f;
  state->analysis_count = 0;
  state->analysis_tag = 17;
  restart_ahead(*state);
}

// A word as the parameter line shows it: its bits as an unsigned number.
long zero_extended(int32_t word) {
  return static_cast<long>(static_cast<uint32_t>(word));
}

void count_blocks(zeto_tx_state* state, uint64_t blocks) {
  state->frame_count = static_cast<int32_t>(static_cast<uint32_t>(state->frame_count) + static_cast<uint32_t>(blocks));
}

void to_float(const int16_t* samples, float* block) {
  constexpr float kScale = 1.0f / 32768.0f;
  for (uint32_t i = 0; i < kBlockLen; ++i) block[i] = static_cast<float>(samples[i]) * kScale;
}

}  // namespace

uint32_t cal_zeto_tx_struct_malloc_size(void) {
  return kStateBytes;
}

void zeto_tx_init(zeto_tx_state* state) {
  if (state == nullptr) return;
  zeto_set_malloc_addr(kArenaSlot, state);
  zeto_set_cur_addr(kArenaSlot, reinterpret_cast<char*>(state) + kArenaStart);
  state->frame_count = 0;
  state->frame_tag = 160;
  start_measurement(state);
  zeto_fft_init(&state->fft, kFftLen);
  memset(state->delay_line, 0, sizeof state->delay_line);
  state->reinit_status = 0.0f;
  state->delay_ms = 0;
  state->warmup_index = 1;
  printf("zeto_tx_init, version(0x%p) %s\n", static_cast<void*>(state), kVersion);
}

void zeto_tx_reinit(zeto_tx_state* state, int32_t sample_rate) {
  if (state == nullptr) return;
  start_measurement(state);
  state->reinit_status = -1.0f;
  zeto_fft_reinit(&state->fft, kFftLen);
  printf("zeto_tx_reinit(0x%p) sample_rate %d\n", static_cast<void*>(state), sample_rate);
}

void zeto_tx_destroy(zeto_tx_state* state) {
  if (state == nullptr) return;
  zeto_fft_destroy();
  printf("zeto_tx_destroy(0x%p) \n", static_cast<void*>(state));
}

void zeto_tx_set_param(zeto_tx_state* state, const zeto_tx_param* param) {
  if (state == nullptr || param == nullptr) return;
  state->params = *param;
  state->floor_hz = param->UltraHz_floor;
  state->scope_hz = param->UltraHz_scope;
  state->period = param->UltraHz_period;
  state->cand_db = param->UltraHz_cand_dB;
  state->cand_ratio = static_cast<float>(param->UltraHz_cand_ratio) / 100.0f;
  state->spread_ratio = static_cast<float>(param->UltraHz_spread_ratio) / 100.0f;
  state->mix_gain = static_cast<float>(param->UltraHz_mix_gain) / 10.0f;
  state->smooth = static_cast<float>(param->UltraHz_smooth) / 100.0f;
  state->spare1 = param->UltraHz_spare1;
  state->spare2 = param->UltraHz_spare2;
  state->delay_ms = param->UltraHz_delay_ms;
  printf("UltraHz_floor(%ld) UltraHz_scope(%ld) UltraHz_period(%ld) UltraHz_cand_dB(%ld) UltraHz_cand_ratio<%f>.\n",
         zero_extended(param->UltraHz_floor), zero_extended(param->UltraHz_scope), zero_extended(param->UltraHz_period),
         zero_extended(param->UltraHz_cand_dB), static_cast<double>(state->cand_ratio));
}

void zeto_tx_get_param(const zeto_tx_state* state, uint32_t* out) {
  if (state == nullptr || out == nullptr) return;
  memcpy(out, &state->params, sizeof state->params);
}

void zeto_tx_process(zeto_tx_state* state, const int16_t* in_a, const int16_t* in_b, int16_t* out,
                     uint32_t num_samples) {
  if (state == nullptr || in_a == nullptr || in_b == nullptr || out == nullptr || num_samples == 0) return;
  if (state->sample_rate != kSampleRate) {
    count_blocks(state, (uint64_t{num_samples} + kBlockLen - 1) / kBlockLen);
    return;
  }
  for (uint64_t at = 0; at < num_samples; at += kBlockLen) {
    float block_a[kBlockLen];
    float block_b[kBlockLen];
    count_blocks(state, 1);
    to_float(in_a + at, block_a);
    to_float(in_b + at, block_b);
    step(*state, {in_a + at, in_b + at, block_a, block_b}, out + at);
  }
}
