// What happens to each block: into the ring, through the delay line if it is on, and every twentieth time the
// analysis.
#include "detector/analysis.hpp"
#include "kernels/lanes.hpp"
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

// True if samples are 16 bits wide, which go to `raw`.
bool narrow(const float* samples, int16_t* raw) noexcept {
  constexpr uint32_t kLanes = 4;
  i32x4 difference = {};
  for (uint32_t i = 0; i < kBlockLen; i += kLanes) {
    const f32x4 v = load<f32x4>(samples + i);
    const i16x4 narrowed = saturate_int16(v * 32768.0f);
    const f32x4 back = __builtin_convertvector(__builtin_convertvector(narrowed, i32x4), f32x4) * 0x1p-15f;
    difference |= reinterpret_cast<i32x4>(back) ^ reinterpret_cast<i32x4>(v);
    zeto::store(narrowed, raw + i);
  }
  return (difference[0] | difference[1] | difference[2] | difference[3]) == 0;
}

// The first input goes through the delay line if that is on.
void store(zeto_tx_state& state, uint32_t slot, Block block) noexcept {
  float delayed[kBlockLen];
  int16_t raw[kBlockLen];
  if (state.delay_ms >= kBlockMs) {
    copy_block(block_of(state.delay_line, slot), delayed);
    copy_block(block.a, block_of(state.delay_line, slot));
    block.a = delayed;
    block.raw_a = narrow(delayed, raw) ? raw : nullptr;
  }
  if (advance(state, slot, block)) return;
  fall_back(state);
  copy_block(block.a, block_of(state.hist_a, slot));
  copy_block(block.b, block_of(state.hist_b, slot));
}

int16_t low_half(int32_t value) noexcept {
  return static_cast<int16_t>(static_cast<uint16_t>(value));
}

}  // namespace

void step(zeto_tx_state& state, const Block& block, int16_t* out) noexcept {
  if (is_warming_up(state)) {
    fall_back(state);
    warm_up(state, block.a);
  } else {
    // Counted from 1: the last slot fills at multiples of the ring's length. Unsigned, so that a count beyond 2^31
    // stays inside the ring.
    const uint32_t k = static_cast<uint32_t>(state.frame_count) % kRingBlocks;
    store(state, k == 0 ? kRingBlocks - 1 : k - 1, block);
    if (k == 0) {
      state.analysis_count = static_cast<int32_t>(static_cast<uint32_t>(state.analysis_count) + 1u);
      analyse(state);
    }
  }

  const int16_t sample = low_half(saturate_int32(state.result_value));
  for (uint32_t i = 0; i < kBlockLen; ++i) out[i] = sample;
}

}  // namespace zeto::detector

void zeto_tx_main_process(zeto_tx_state* state, const float* block_a, int16_t* out, const float* block_b) {
  if (state == nullptr || block_a == nullptr || out == nullptr || block_b == nullptr) return;
  zeto::detector::step(*state, {nullptr, nullptr, block_a, block_b}, out);
}
