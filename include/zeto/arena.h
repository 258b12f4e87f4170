/** @file
 *  Working-memory arena: bump allocation inside the two state blocks of the library. Hosts do not need it; the cores
 *  register themselves. Its names, some without the zeto_ prefix, are fixed by the interface.
 *
 *  A process-wide registry of two slots. Slot 0 is the uplink core's block (limit 130000 bytes), any other slot value
 *  is the downlink core's (limit 50000 bytes). zeto_tx_init() and zeto_rx_init() register their block here. The cores
 *  themselves take nothing from it: the memory behind their own fields is free for the caller of these functions.
 *
 *  Ownership: the arena owns no memory; whoever allocated a block frees it, after the last use of the slot.
 *
 *  Bad input: pointers and slots are not checked. It is not noticed if a slot was never registered: it then counts from
 *  address 0, and the addresses that it returns must not be used. A request beyond the limit or with a bad alignment
 *  prints one line to standard error and returns null.
 *
 *  Threads: the registry is global and unlocked. The two slots are independent; users of one slot must take turns.
 *
 *  Real time: a few additions, no lock and no system allocation (the failure message is the only system call).
 */
#ifndef ZETO_ARENA_H
#define ZETO_ARENA_H

#include <stddef.h>
#include <stdint.h>

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Kept for the interface; nothing in the library reads or writes it. Starts at 0. */
ZETO_API extern int32_t log_align_flag;

/** Registers a block. The limit counts from the address as given; the current address starts at it, rounded up to a
 *  multiple of 8. The slot's mark stays. A block registered earlier is forgotten. */
ZETO_API void zeto_set_malloc_addr(int32_t slot, void* block);

/** Moves the current address, rounded up to a multiple of 8: past a fixed layout, or back to release all behind it. */
ZETO_API void zeto_set_cur_addr(int32_t slot, void* address);

/** Marks the current address as the start of a measurement. Returns nothing, despite its name. */
ZETO_API void zeto_get_curr_ptr(int32_t slot);

/** Bytes handed out since the last mark; without a mark, the current address itself. */
ZETO_API int64_t zeto_get_use_size(int32_t slot);

/** Takes `size` bytes at the current address, zero-filled, not aligned.
 *  @return the bytes, or null if they would end beyond the slot's limit; the slot is then as before. */
ZETO_API void* malloc_buffer(int32_t slot, uint32_t size);

/** Takes `size` bytes at the current address rounded up to `alignment` bytes, not zero-filled.
 *  @param alignment  a power of two from 4. Typical: 16. Other multiples of 4 are accepted, too: alignment - 1 is
 *                    added to the current address, and the sum is rounded down to a multiple of the power of two whose
 *                    logarithm is nearest (0 and below: not rounded). The result may then lie below the current
 *                    address. Anything else is refused before the slot is touched.
 *  @return the bytes, or null. A request beyond the limit leaves the current address at its rounded value. */
ZETO_API void* align_malloc(int32_t slot, int32_t alignment, uint32_t size);

/** Does nothing: memory is released by zeto_set_cur_addr() or by registering again. */
ZETO_API void free_buffer(int32_t slot, void* address);

/** Does nothing, like free_buffer(). */
ZETO_API void align_free(int32_t slot, void* address);

/** Zero-fills.
 *  @param size  bytes at `address`, 0 or more; a negative size is sign-extended to an enormous one.
 *  @return `address`. */
ZETO_API void* reset_buffer(void* address, int32_t size);

#ifdef __cplusplus
}
#endif

#endif
