// Lifecycle, parameters and frame loop of the emitter.
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "emitter/chirp.hpp"
#include "zeto/arena.h"
#include "zeto/cores.h"

static_assert(sizeof(zeto_rx_param) == 24 && offsetof(zeto_rx_param, enable) == 20);
static_assert(sizeof(zeto_rx_state) == 40 && offsetof(zeto_rx_state, start_hz) == 16 &&
              offsetof(zeto_rx_state, enable) == 36);

namespace {

constexpr uint32_t kStateBytes = 50000;
constexpr int32_t kArenaSlot = 1;
constexpr uint32_t kSampleRate = 48000;
constexpr uint32_t kFftLen = 512;
constexpr int32_t kFrameLen = 480;
constexpr const char* kVersion = "2.02.02";

void restart(zeto_rx_state* state, uint32_t sample_rate) {
  state->fft_len = kFftLen;
  state->frame_len = kFrameLen;
  state->sample_rate = sample_rate;
  state->frame_count = 0;
}

void write_frame(zeto_rx_state* state, int16_t* out) {
  const int32_t len = state->frame_len;
  if (state->enable != 1) {
    if (len > 0) memset(out, 0, static_cast<size_t>(len) * sizeof *out);
    return;
  }
  const uint32_t frame = state->frame_count++;
  if (len < 1) return;
  const uint32_t frames = zeto::frames_per_period(*state);
  const uint32_t in_period = frames == 0 ? frame : frame % frames;  // no period: there is nothing to divide by
  zeto::write_chirp(zeto::make_sweep(*state), in_period * static_cast<uint32_t>(len) + 1u, len, out);
}

}  // namespace

uint32_t cal_zeto_rx_struct_malloc_size(void) {
  return kStateBytes;
}

void zeto_rx_init(zeto_rx_state* state) {
  if (state == nullptr) return;
  zeto_set_malloc_addr(kArenaSlot, state);
  zeto_set_cur_addr(kArenaSlot, state + 1);
  restart(state, kSampleRate);
  state->start_hz = 19600;
  state->span_hz = 4000;
  state->amp_start_milli = 10;
  state->amp_end_milli = 160;
  state->enable = 1;
  printf("[ZETO_RX] Rx_Init succ,version is %s.\n", kVersion);
}

void zeto_rx_reinit(zeto_rx_state* state, uint32_t sample_rate) {
  if (state == nullptr) return;
  restart(state, sample_rate);
  printf("[ZETO_RX] Rx_ReInit succ,version is %s.\n", kVersion);
}

void zeto_rx_set_param(zeto_rx_state* state, const zeto_rx_param* param) {
  if (state == nullptr || param == nullptr) return;
  state->start_hz = param->start_hz;
  state->span_hz = param->span_hz;
  state->amp_start_milli = param->amp_start_milli;
  state->amp_end_milli = param->amp_end_milli;
  state->period_s = param->period_ms / 1000;
  state->enable = param->enable;
  printf("[ZETO_RX]: module_param_setting: %d, %d, %d, %d, %d\n", state->period_s, state->amp_start_milli,
         state->span_hz, state->start_hz, state->enable);
}

void zeto_rx_get_param(const zeto_rx_state* state, int32_t* out) {
  if (state == nullptr || out == nullptr) return;
  const int32_t words[6] = {state->start_hz,      state->span_hz,  state->amp_start_milli,
                            state->amp_end_milli, state->period_s, state->enable};
  memcpy(out, words, sizeof words);
}

// Every frame reads the parameters afresh. A state that was never prepared has no frame length: one turn, then out.
void zeto_rx_process(zeto_rx_state* state, int16_t* out, int32_t count) {
  if (state == nullptr || out == nullptr) return;
  for (int64_t done = 0; done < count; done += state->frame_len) {
    write_frame(state, out + done);
    if (state->frame_len < 1) return;
  }
}

void zeto_rx_exit(zeto_rx_state*) {}
