// Sliding windows: frames out of a stream, a stream out of frames, and two gains for calibration.
#include <float.h>
#include <math.h>
#include <stddef.h>

#include "kernels/minmax.hpp"
#include "zeto/kernels.h"

static_assert(offsetof(zeto_window_state, window) == 2048);
static_assert(offsetof(zeto_window_state, len) == 2048 + sizeof(void*));
static_assert(offsetof(zeto_window_state, hop) == 2052 + sizeof(void*));

namespace {

// Adds a frame to the sums, which move down by a hop; `sample` gives the frame's samples. Strictly ascending: each sum
// is read a hop ahead of where it is written.
template <typename Sample>
void overlap_add(zeto_window_state* state, float* out, Sample sample) noexcept {
  float* const sums = state->buf;
  const uint32_t len = state->len;
  const uint32_t hop = state->hop;
  const uint32_t pending = len - hop;
  for (uint32_t i = 0; i < pending; ++i) sums[i] = sums[i + hop] + sample(i);
  for (uint32_t i = pending; i < len; ++i) sums[i] = sample(i);
  for (uint32_t i = 0; i < hop; ++i) out[i] = sums[i];
}

}  // namespace

void zeto_window_init(zeto_window_state* state, const float* window, uint32_t len, uint32_t hop) {
  if (!window || len <= hop || hop == 0) return;
  zeto_window_reinit(state, window, len, hop);
}

void zeto_window_reinit(zeto_window_state* state, const float* window, uint32_t len, uint32_t hop) {
  if (!state) return;
  state->window = window;
  state->len = len;
  state->hop = hop;
  zeto_vf_fill(state->buf, len, 0.0f);
}

void zeto_window_destroy(zeto_window_state*) {}

void zeto_window_en(zeto_window_state* state, const float* in, float* out) {
  if (!state || !in || !out || !state->window) return;
  zeto_vf_shift_and_insert_end(state->buf, in, state->len, state->hop);
  zeto_vf_dot_mult_vf(state->buf, state->window, static_cast<int32_t>(state->len), out);
}

void zeto_window_de(zeto_window_state* state, const float* in, float* out) {
  if (!state || !in || !out || !state->window) return;
  overlap_add(state, out, [in, window = state->window](uint32_t i) { return in[i] * window[i]; });
}

void zeto_window_de2(zeto_window_state* state, const float* in, float* out) {
  if (!state || !in || !out) return;
  overlap_add(state, out, [in](uint32_t i) { return in[i]; });
}

float zeto_window_To0dBFs(const float* window, uint32_t len) {
  if (!window) return 0.0f;
  return 2.0f / zeto::max_num(zeto_vf_get_sum(window, len), FLT_MIN);
}

float zeto_window_cali_db(const float* window, uint32_t len) {
  if (!window) return 0.0f;
  return 10.0f * log10f(zeto_vf_dot_power_get_sum(window, len) / static_cast<float>(len));
}
