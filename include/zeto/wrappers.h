/** @file
 *  The host's interface: one handle for playback (downlink, "rx"), one for capture (uplink, "tx").
 *
 *  A handle takes the host's buffers of any length in one of four sample formats and runs its core over blocks of 480
 *  samples, 10 ms at 48000 Hz. What comes back is 479 samples late, whatever the buffers' lengths; a fresh handle's
 *  first 479 samples are zero.
 *
 *  | format_type | host sample                                      | bytes | full scale  |
 *  |-------------|--------------------------------------------------|-------|-------------|
 *  | 1           | signed 16-bit integer                            | 2     | 32768       |
 *  | 2           | signed 24-bit value, sign-extended in 32 bits    | 4     | 8388608     |
 *  | 3           | signed 32-bit integer                            | 4     | 2147483648  |
 *  | 4           | 32-bit float                                     | 4     | 1.0         |
 *
 *  Cores work on 16 bits. In: format 2 rounds to nearest, ties up, and saturates, but 2147483520 and above wrap to
 *  -32768; format 3 likewise, without the wrap; format 4 multiplies by 32767, truncates and saturates (NaN gives 0).
 *  Out: formats 2 and 3 multiply by 256 and 65536, format 4 divides by 32768.
 *
 *  Call order: init; set_parameters; process per host buffer, with set_parameters and get_parameter between as wished;
 *  deinit, once, last.
 *
 *  Ownership: init allocates the handle and all it needs, deinit frees it; nothing else is kept. Host buffers and
 *  parameter blocks are used during the call only.
 *
 *  Bad input: a null handle, or one whose `state` is 0, makes every call but deinit do nothing. The process calls also
 *  do nothing on a null buffer or a count of 0. A parameter block is not tested for null.
 *
 *  Must not: call process with a byte count that is not a multiple of the sample's bytes: the call then runs past the
 *  end of the buffers. Create a handle for an unknown format_type and process with it: init accepts it, with state 1,
 *  and the first process call never returns.
 *
 *  Threads: one handle, one thread at a time; different handles are independent, but each init registers its core with
 *  the arena (zeto/arena.h).
 *
 *  Real time: process allocates nothing, takes no lock, logs nothing, makes no system call. init, set_parameters and
 *  deinit log to the Android log under the tag "MERA_OMRU" and their cores print to standard output.
 */
#ifndef ZETO_WRAPPERS_H
#define ZETO_WRAPPERS_H

#include <stddef.h>
#include <stdint.h>

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

struct zeto_rx_param;
struct zeto_rx_state;
struct zeto_tx_param;
struct zeto_tx_state;

/** Bytes that set_parameters reads from a parameter block, of which its core uses the first few. */
#define ZETO_PARAM_BLOCK_BYTES 80

/** A circular buffer of samples that never refuses: writing to a full one drops its oldest samples, reading from an
 *  empty one gives zeros. The record's owner provides the storage and clears the rest: a fresh ring has count and
 *  positions 0.
 */
typedef struct omru_ringbuf {
  int32_t bit_width; /**< 16: 2-byte samples; 32: 4-byte integers; 48: 4-byte floats; anything else: all calls no-ops */
  int32_t capacity;  /**< samples that the storage holds; below 1: all calls no-ops */
  int32_t count;     /**< samples held, 0 to capacity */
  int32_t read_pos;  /**< index of the oldest sample held */
  int32_t write_pos; /**< index that the next sample is written to */
  void* data;        /**< capacity samples */
} omru_ringbuf;

/** Writes n samples, bit for bit. Pointers are not checked; n below 1 does nothing. O(n).
 *  @param source  n samples of the ring's width, apart from its storage. */
ZETO_API void omru_ringbuf_write(omru_ringbuf* ring, const void* source, int32_t n);

/** Reads n samples, bit for bit, zeros once the ring is empty (and then write_pos moves to read_pos).
 *  @param destination  room for n samples of the ring's width, apart from its storage. */
ZETO_API void omru_ringbuf_read(omru_ringbuf* ring, void* destination, int32_t n);

/** What carries one host buffer through a core: collect a block, process it, hand it back. */
typedef struct zeto_stream {
  omru_ringbuf in_ring;  /**< host samples on their way in, 480 */
  omru_ringbuf out_ring; /**< processed samples on their way back, 480 */
  int16_t* pcm16_block;  /**< the block that the core sees, 480 samples */
  void* wide_block;      /**< the block in the host's format, 480 samples; formats 2 to 4 */
} zeto_stream;

/** Downlink handle, for reading. */
typedef struct zeto_rx_wrapper {
  int32_t state;                          /**< 1: ready; 0: an allocation failed, only deinit has an effect */
  uint8_t params[ZETO_PARAM_BLOCK_BYTES]; /**< the parameter block last set */
  struct zeto_rx_state* core;             /**< the emitter; null where its block could not be had */
  int32_t sample_rate;                    /**< Hz, 48000 */
  int32_t format_type;                    /**< 1 to 4; 0: unknown */
  int32_t bit_width;                      /**< the rings' width code */
  int32_t sample_bytes;                   /**< bytes of a host sample */
  int32_t block_len;                      /**< 480 samples */
  zeto_stream stream;                     /**< carries the host's buffer */
} zeto_rx_wrapper;

/** Creates a downlink handle.
 *  @param sample_rate  Hz; anything but 48000 is logged as an error and gives null.
 *  @param format_type  the host's sample format, see the table above.
 *  @return the handle, or null. Where a buffer could not be had, a handle with state 0. Where only the core's block
 *          could not be had, a handle with state 1 whose process calls return the host's own samples, 479 late. */
ZETO_API zeto_rx_wrapper* zeto_rx_wrapper_init(uint32_t sample_rate, int32_t format_type);

/** Sets the chirp (zeto_rx_param in zeto/cores.h) and restarts it from its beginning. Up to 479 samples of the old one
 *  still come out.
 *  @param param  at the start of ZETO_PARAM_BLOCK_BYTES readable bytes. */
ZETO_API void zeto_rx_wrapper_set_parameters(zeto_rx_wrapper* handle, const struct zeto_rx_param* param);

/** Reads back what was set, as zeto_rx_get_param() does: the period in whole seconds.
 *  @param out  room for six words. */
ZETO_API void zeto_rx_wrapper_get_parameter(zeto_rx_wrapper* handle, int32_t* out);

/** Replaces the host's samples by the chirp, in place; nothing is mixed.
 *  @param buffer      consecutive samples in the handle's format, aligned to a sample; channels are not told apart.
 *  @param byte_count  its length in bytes, a multiple of the sample's bytes, below 2^32. */
ZETO_API void zeto_rx_wrapper_process(zeto_rx_wrapper* handle, void* buffer, uint64_t byte_count);

/** Frees the handle and all it owns. Null does nothing. */
ZETO_API void zeto_rx_wrapper_deinit(zeto_rx_wrapper* handle);

/** Uplink handle, for reading. The second input's stream decides when a block is complete. */
typedef struct zeto_tx_wrapper {
  int32_t state;                          /**< 1: ready; 0: an allocation failed, only deinit has an effect */
  uint8_t params[ZETO_PARAM_BLOCK_BYTES]; /**< the parameter block last set */
  struct zeto_tx_state* core;             /**< the detector; null where its block could not be had */
  int32_t sample_rate;                    /**< Hz, 48000 */
  int32_t format_type;                    /**< 1 to 4; 0: unknown */
  int32_t bit_width;                      /**< the rings' width code */
  int32_t sample_bytes;                   /**< bytes of a host sample */
  int32_t block_len;                      /**< 480 samples */
  zeto_stream in2_stream;                 /**< the microphone */
  zeto_stream in1_stream;                 /**< the reference */
  zeto_stream out_stream;                 /**< the measurement */
} zeto_tx_wrapper;

/** Creates an uplink handle; as zeto_rx_wrapper_init(), a handle without its core hands all three buffers back, 479
 *  late. */
ZETO_API zeto_tx_wrapper* zeto_tx_wrapper_init(uint32_t sample_rate, int32_t format_type);

/** Sets the detector (zeto_tx_param in zeto/cores.h) and starts a fresh measurement. Up to 479 samples of the old one
 *  still come out.
 *  @param param  at the start of ZETO_PARAM_BLOCK_BYTES readable bytes. */
ZETO_API void zeto_tx_wrapper_set_parameters(zeto_tx_wrapper* handle, const struct zeto_tx_param* param);

/** Reads back the eleven words last set; the measurement comes through zeto_tx_wrapper_process().
 *  @param out  room for eleven words. */
ZETO_API void zeto_tx_wrapper_get_parameter(zeto_tx_wrapper* handle, uint32_t* out);

/** Measures. The inputs come back as they were, 479 samples late and after one trip through 16 bits (format 4: scaled
 *  by 32767/32768); `out` comes back as the measurement, the same in every sample of a block, whatever the host put in.
 *  A measurement v reads v, 256 v, 65536 v and v / 32768 in formats 1 to 4. It is 0 before the first 200 ms have been
 *  analysed and -1000 after a rejected analysis. The buffers are mono, one run of consecutive samples each, in the
 *  handle's format, aligned to a sample. They may be one and the same buffer, but must not overlap in part.
 *  @param in1         the reference: usually what the emitter plays.
 *  @param in2         the microphone.
 *  @param byte_count  length of each buffer in bytes, a multiple of the sample's bytes, below 2^32. */
ZETO_API void zeto_tx_wrapper_process(zeto_tx_wrapper* handle, void* in1, void* in2, void* out, uint64_t byte_count);

/** Frees the handle and all it owns. Null does nothing. */
ZETO_API void zeto_tx_wrapper_deinit(zeto_tx_wrapper* handle);

#ifdef __cplusplus
}
#endif

#endif
