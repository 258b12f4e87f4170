// What happens to each block: into the ring, through the delay line where it is on, and every twentieth time the
// analysis.
#include "detector/analysis.hpp"
#include "kernels/saturate.hpp"
#include "zeto/cores.h"
#include "zeto/kernels.h"

namespace zeto::detector {
namespace {

constexpr int32_t kBlockMs = 10;

void copy_block(const float* from, float* to) noexcept {
  zeto_vf_copy(from, kBlockLen, to);
}

float* block_of(Ring& ring, uint32_t slot) noexcept {
  return ring + slot * kBlockLen;
}

bool is_warming_up(const zeto_tx_state& state) noexcept {
  return state.delay_ms >= kBlockMs && state.warmup_index <= state.delay_ms / kBlockMs;
}

// The start-up delay fills the delay line from its first slot; more blocks than it has slots are only counted.
void warm_up(zeto_tx_state& state, const float* block_a) noexcept {
  const uint32_t slot = static_cast<uint32_t>(state.warmup_index) - 1u;
  if (slot < kRingBlocks) copy_block(block_a, block_of(state.delay_line, slot));
  ++state.warmup_index;
  state.analysis_count = 1;
  state.delay_status = -1.0f;
}

// The first input takes the way around through the delay line where that is on.
void store(zeto_tx_state& state, uint32_t slot, const float* block_a, const float* block_b) noexcept {
  if (state.delay_ms < kBlockMs) {
    copy_block(block_a, block_of(state.hist_a, slot));
  } else {
    copy_block(block_of(state.delay_line, slot), block_of(state.hist_a, slot));
    copy_block(block_a, block_of(state.delay_line, slot));
  }
  copy_block(block_b, block_of(state.hist_b, slot));
}

int16_t low_half(int32_t value) noexcept {
  return static_cast<int16_t>(static_cast<uint16_t>(value));
}

}  // namespace
}  // namespace zeto::detector

void zeto_tx_main_process(zeto_tx_state* state, const float* block_a, int16_t* out, const float* block_b) {
  using namespace zeto::detector;
  if (state == nullptr || block_a == nullptr || out == nullptr || block_b == nullptr) return;

  if (is_warming_up(*state)) {
    warm_up(*state, block_a);
  } else {
    // Counted from 1: the last slot fills at multiples of the ring's length. Unsigned, so that a count beyond 2^31
    // stays inside the ring.
    const uint32_t k = static_cast<uint32_t>(state->frame_count) % kRingBlocks;
    store(*state, k == 0 ? kRingBlocks - 1 : k - 1, block_a, block_b);
    if (k == 0) {
      state->analysis_count = static_cast<int32_t>(static_cast<uint32_t>(state->analysis_count) + 1u);
      analyse(*state);
    }
  }

  const int16_t sample = low_half(zeto::saturate_int32(state->result_value));
  for (uint32_t i = 0; i < kBlockLen; ++i) out[i] = sample;
}
