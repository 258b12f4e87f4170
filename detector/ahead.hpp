// The analysis ahead of its time: each block is filtered when it comes, and each spectrum is made when its samples are
// there, so that the window's last block costs little more than any other.
//
// The result is the same, to the bit, as that of an analysis of the whole window at its end. Where something happens
// that the analysis ahead did not foresee (blocks left out or given to the block step directly, samples wider than 16
// bits, another gain amid the window), fall_back() turns the record into what it would be without it, and the window is
// analysed at its end.
//
// Room for it is found in the histories. A slot there holds 480 floats, but a block that came through zeto_tx_process()
// is 16 bits wide; so a packed slot holds, in the same 1920 bytes, the block's raw samples and half of the slot's mixed
// signal, the first half in hist_a and the second in hist_b.
#pragma once

#include "detector/state.hpp"
#include "zeto/tables.h"

namespace zeto::detector {

constexpr FilterTables kHighPass = {b_Hp_Ultra, a_Hp_Ultra};
constexpr FilterTables kLowPass = {b_Lp_Ultra, a_Lp_Ultra};

// A block of both inputs: as it came, if it came in 16 bits (otherwise null), and with full scale 1.0.
struct Block {
  const int16_t* raw_a;
  const int16_t* raw_b;
  const float* a;
  const float* b;
};

// What happens to every block, once it is counted; zeto_tx_main_process() with or without raw samples.
void step(zeto_tx_state& state, const Block& block, int16_t* out) noexcept;

// Takes a block into its slot and analyses as far as it reaches. False, and nothing done, if it cannot.
bool advance(zeto_tx_state& state, uint32_t slot, const Block& block) noexcept;

// Whether all slots of the window went that way; and then, what is left to do for it.
// @param whole  whether all of the mixed signal from kFirstStretch on is wanted.
// @param mixed  kWindowLen samples; those that are not wanted may be left unset.
inline bool is_window_ahead(const zeto_tx_state& state) noexcept {
  return state.ahead.slots == int32_t{kRingBlocks};
}
void finish_window(zeto_tx_state& state, bool whole, float* mixed, Peak (&peaks)[kSegments]) noexcept;

// Unpacks all slots and forgets the analysis ahead. The record is then, byte for byte, as if there had never been one.
void fall_back(zeto_tx_state& state) noexcept;

// After a restart, when histories and memories are zero: the silent slots in front count as analysed.
void restart_ahead(zeto_tx_state& state) noexcept;

}  // namespace zeto::detector
