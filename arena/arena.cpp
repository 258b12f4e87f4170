#include "zeto/arena.h"

#include <math.h>
#include <stdio.h>
#include <string.h>

#include "kernels/saturate.hpp"

int32_t log_align_flag = 0;

namespace {

// Addresses are numbers here: they may be moved anywhere and are compared modulo 2^64.
struct arena_slot {
  uint64_t base_addr;  // as registered, not rounded
  uint64_t cur_addr;   // next free address
  uint64_t mark_addr;  // set by zeto_get_curr_ptr only; registering keeps it
};

struct SlotTraits {
  uint64_t limit;  // bytes from base_addr
  const char* no_memory;
  const char* name;  // that its messages begin with
};

constexpr SlotTraits kTraits[2] = {
    {130000, "[QANT_TX] memory not enough.\n", "[QANT_TX]"},
    {50000, "[ZETO_RX] memory not enough.\n", "[ZETO_RX]"},
};

arena_slot registry[2];

constexpr int index_of(int32_t slot) {
  return slot == 0 ? 0 : 1;
}
arena_slot& slot_of(int32_t slot) {
  return registry[index_of(slot)];
}
const SlotTraits& traits_of(int32_t slot) {
  return kTraits[index_of(slot)];
}

uint64_t number_of(const void* address) {
  return reinterpret_cast<uintptr_t>(address);
}
void* address_of(uint64_t number) {
  return reinterpret_cast<void*>(static_cast<uintptr_t>(number));
}

constexpr uint64_t round_up_8(uint64_t address) {
  return (address + 7) & ~uint64_t{7};
}

// Moves the slot from `start` by `size` bytes; if that ends beyond the limit, says so and leaves the slot at
// `start`.
void* take(int32_t slot, uint64_t start, uint32_t size) {
  arena_slot& s = slot_of(slot);
  s.cur_addr = start + size;
  if (s.cur_addr - s.base_addr > traits_of(slot).limit) {
    fputs(traits_of(slot).no_memory, stderr);
    s.cur_addr -= size;
    return nullptr;
  }
  return address_of(start);
}

// All ones above the bit that log2(alignment), rounded to nearest, names. An alignment without a logarithm converts to
// a shift of 0 modulo 64: no mask.
uint64_t alignment_mask(int32_t alignment) {
  constexpr double kLn2 = 0.6931471805599453;
  const int32_t shift = zeto::saturate_int32(log(static_cast<double>(alignment)) / kLn2 + 0.5);
  return ~uint64_t{0} << (static_cast<uint32_t>(shift) % 64);
}

}  // namespace

void zeto_set_malloc_addr(int32_t slot, void* block) {
  arena_slot& s = slot_of(slot);
  s.base_addr = number_of(block);
  s.cur_addr = round_up_8(s.base_addr);
}

void zeto_set_cur_addr(int32_t slot, void* address) {
  slot_of(slot).cur_addr = round_up_8(number_of(address));
}

void zeto_get_curr_ptr(int32_t slot) {
  slot_of(slot).mark_addr = slot_of(slot).cur_addr;
}

int64_t zeto_get_use_size(int32_t slot) {
  return static_cast<int64_t>(slot_of(slot).cur_addr - slot_of(slot).mark_addr);
}

void* malloc_buffer(int32_t slot, uint32_t size) {
  void* start = take(slot, slot_of(slot).cur_addr, size);
  if (start != nullptr) memset(start, 0, size);
  return start;
}

void* align_malloc(int32_t slot, int32_t alignment, uint32_t size) {
  if (alignment % 4 != 0) {
    fprintf(stderr, "%s Unsupport alignment<%d>.\n", traits_of(slot).name, alignment);
    return nullptr;
  }
  const uint64_t last = static_cast<uint64_t>(int64_t{alignment} - 1);
  return take(slot, (slot_of(slot).cur_addr + last) & alignment_mask(alignment), size);
}

void free_buffer(int32_t, void*) {}

void align_free(int32_t, void*) {}

void* reset_buffer(void* address, int32_t size) {
  return memset(address, 0, static_cast<size_t>(static_cast<ptrdiff_t>(size)));
}
