#include "detector/ahead.hpp"

#include <math.h>
#include <string.h>

#include "detector/spectrum.hpp"

namespace zeto::detector {
namespace {

bool same_bits(float a, float b) noexcept {
  return __builtin_bit_cast(uint32_t, a) == __builtin_bit_cast(uint32_t, b);
}

constexpr uint32_t kHalf = kBlockLen / 2;
using Raw = int16_t[kBlockLen];
static_assert(sizeof(Raw) + kHalf * sizeof(float) == kBlockLen * sizeof(float));

// The packed slots of both histories.
float* slot_of(Ring& ring, uint32_t slot) noexcept {
  return ring + slot * kBlockLen;
}
float* mixed_of(Ring& ring, uint32_t slot) noexcept {
  return slot_of(ring, slot) + kHalf;
}

// The outputs of both high-passes just before a slot, first those of the first input. They lie where the mixed signal
// of slot 0 would: the start of it is not analysed. 12 slots' fit into the first history, the other 7 into the second.
float* outputs_before(zeto_tx_state& state, uint32_t slot) noexcept {
  constexpr uint32_t kFloats = 2 * kFilterOrder, kInFirst = kHalf / kFloats;
  static_assert((kRingBlocks - 1 - kInFirst) * kFloats <= kFirstStretch - kHalf);
  const uint32_t i = slot - 1;
  return i < kInFirst ? mixed_of(state.hist_a, 0) + i * kFloats : mixed_of(state.hist_b, 0) + (i - kInFirst) * kFloats;
}

// The last n samples of a slot.
void unpack(Ring& ring, uint32_t slot, float* samples, uint32_t n) noexcept {
  Raw raw;
  const char* const end = reinterpret_cast<const char*>(slot_of(ring, slot)) + sizeof raw;
  memcpy(raw, end - n * sizeof *raw, n * sizeof *raw);  // n may be all: `samples` may be the slot itself
  for (uint32_t i = 0; i < n; ++i) samples[i] = static_cast<float>(raw[i]) * 0x1p-15f;
}

// A high-pass's memory behind a slot.
FilterMemory memory_behind(Ring& ring, uint32_t slot, const float* outputs) noexcept {
  FilterMemory memory;
  unpack(ring, slot, memory.inputs, kFilterOrder);
  memcpy(memory.outputs, outputs, sizeof memory.outputs);
  return memory;
}

// The mixed signal of slots first .. last - 1, each to its place.
void gather(zeto_tx_state& state, uint32_t first, uint32_t last, float* mixed) noexcept {
  for (uint32_t slot = first; slot < last; ++slot) {
    memcpy(mixed + slot * kBlockLen, mixed_of(state.hist_a, slot), kHalf * sizeof *mixed);
    memcpy(mixed + slot * kBlockLen + kHalf, mixed_of(state.hist_b, slot), kHalf * sizeof *mixed);
  }
}

// A stale slot is about to be written over: the stale ones begin behind it.
void drop_stale(zeto_tx_state& state, uint32_t slot) noexcept {
  if (state.ahead.has_stale == 0 || slot + 1 == kRingBlocks) return;
  const float* const outputs = outputs_before(state, slot + 1);
  state.ahead.stale_a = memory_behind(state.hist_a, slot, outputs);
  state.ahead.stale_b = memory_behind(state.hist_b, slot, outputs + kFilterOrder);
}

void keep_outputs(zeto_tx_state& state, uint32_t slot) noexcept {
  if (slot == 0) return;
  float* const outputs = outputs_before(state, slot);
  memcpy(outputs, state.ahead.high_a.outputs, sizeof state.ahead.high_a.outputs);
  memcpy(outputs + kFilterOrder, state.ahead.high_b.outputs, sizeof state.ahead.high_b.outputs);
}

void pack(zeto_tx_state& state, uint32_t slot, const Block& block, const float* mixed) noexcept {
  memcpy(slot_of(state.hist_a, slot), block.raw_a, sizeof(Raw));
  memcpy(slot_of(state.hist_b, slot), block.raw_b, sizeof(Raw));
  const uint32_t skipped = slot == 0 ? kFirstStretch - kHalf : 0;
  if (slot > 0) memcpy(mixed_of(state.hist_a, slot), mixed, kHalf * sizeof *mixed);
  memcpy(mixed_of(state.hist_b, slot) + skipped, mixed + kHalf + skipped, (kHalf - skipped) * sizeof *mixed);
}

// Whether a filter's last inputs were samples of 16 bits. Those of the window before may have come in any way.
bool follows_16_bits(const FilterMemory& memory) noexcept {
  for (const float x : memory.inputs) {
    if (!(fabsf(x) <= 1.0f)) return false;
    if (!same_bits(static_cast<float>(static_cast<int32_t>(x * 0x1p15f)) * 0x1p-15f, x)) return false;
  }
  return true;
}

// A group of segments is transformed once `slots` are there; its samples begin in slot `first`.
struct Due {
  uint32_t slots, first;
  int group;
};
// The third is put off so that no block has two of them but the last.
constexpr Due kDue[] = {{8, 0, 0}, {14, 0, 1}, {16, 7, 2}, {20, 13, 3}, {20, 13, 4}};

// Each in a frame of its own, so that what one needs of the stack does not add to what the other needs.
[[gnu::noinline]] void filter_and_pack(zeto_tx_state& state, uint32_t slot, const Block& block) noexcept {
  Ahead& ahead = state.ahead;
  const bool narrow = slot > 0 || (follows_16_bits(ahead.high_a) && follows_16_bits(ahead.high_b));
  float mixed[kBlockLen];
  f64x2 high[kBlockLen];
  filter_block({kHighPass, kLowPass, ahead.high_a, ahead.high_b, ahead.low}, ahead.gain,
               narrow ? Width::k16Bits : Width::kAny, block.a, block.b, high, mixed, kBlockLen);
  pack(state, slot, block, mixed);
}
[[gnu::noinline]] void find_due(zeto_tx_state& state, const Due& due) noexcept {
  float window[kWindowLen];
  gather(state, due.first, due.slots, window);
  find_peaks_of_group(state.fft, window, due.group, state.ahead.peaks);
}

}  // namespace

bool advance(zeto_tx_state& state, uint32_t slot, const Block& block) noexcept {
  Ahead& ahead = state.ahead;
  if (block.raw_a == nullptr || block.raw_b == nullptr || ahead.slots != static_cast<int32_t>(slot)) return false;
  if (slot == 0) {
    ahead.gain = state.mix_gain;
    ahead.high_a = state.high_pass_a;
    ahead.high_b = state.high_pass_b;
    ahead.low = state.low_pass;
  } else if (!same_bits(ahead.gain, state.mix_gain)) {
    return false;
  }
  drop_stale(state, slot);
  keep_outputs(state, slot);
  filter_and_pack(state, slot, block);
  ahead.slots = static_cast<int32_t>(slot + 1);
  for (const Due& due : kDue)
    if (due.slots == slot + 1 && due.slots < kRingBlocks) find_due(state, due);
  return true;
}

void finish_window(zeto_tx_state& state, bool whole, float* mixed, Peak (&peaks)[kSegments]) noexcept {
  Ahead& ahead = state.ahead;
  gather(state, whole ? 0 : kDue[3].first, kRingBlocks, mixed);
  for (const Due& due : kDue)
    if (due.slots == kRingBlocks) find_peaks_of_group(state.fft, mixed, due.group, ahead.peaks);
  memcpy(peaks, ahead.peaks, sizeof ahead.peaks);

  ahead.slots = 0;
  ahead.has_stale = 1;
  ahead.stale_a = state.high_pass_a;
  ahead.stale_b = state.high_pass_b;
  state.high_pass_a = ahead.high_a;
  state.high_pass_b = ahead.high_b;
  state.low_pass = ahead.low;
}

void fall_back(zeto_tx_state& state) noexcept {
  Ahead& ahead = state.ahead;
  const uint32_t slots =
      ahead.slots > 0 && ahead.slots <= int32_t{kRingBlocks} ? static_cast<uint32_t>(ahead.slots) : 0;
  if (ahead.has_stale != 0) {
    FilterMemory low = {};
    for (uint32_t slot = slots; slot < kRingBlocks; ++slot) {
      float mixed[kBlockLen];
      float* const a = slot_of(state.hist_a, slot);
      float* const b = slot_of(state.hist_b, slot);
      unpack(state.hist_a, slot, a, kBlockLen);
      unpack(state.hist_b, slot, b, kBlockLen);
      zeto::filter_and_mix({kHighPass, kLowPass, ahead.stale_a, ahead.stale_b, low}, 0.0f, a, b, mixed, kBlockLen);
    }
  }
  for (uint32_t slot = 0; slot < slots; ++slot) {
    unpack(state.hist_a, slot, slot_of(state.hist_a, slot), kBlockLen);
    unpack(state.hist_b, slot, slot_of(state.hist_b, slot), kBlockLen);
  }
  ahead = {};
}

void restart_ahead(zeto_tx_state& state) noexcept {
  Ahead& ahead = state.ahead;
  ahead = {};
  // A gain that is negative or not finite turns silence into something else than zeros.
  if (!same_bits(0.0f * state.mix_gain, 0.0f)) return;
  ahead.gain = state.mix_gain;
  ahead.slots = static_cast<int32_t>(static_cast<uint32_t>(state.frame_count) % kRingBlocks);
  for (Peak& peak : ahead.peaks) peak = silent_peak();
}

}  // namespace zeto::detector
