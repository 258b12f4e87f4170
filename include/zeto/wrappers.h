/** @file
 *  What a host calls to play an ultrasonic chirp and to measure the delay of its strongest echo. A *host* is the
 *  program that calls the library. It needs this header and the two parameter records of zeto/cores.h, which it
 *  includes. For distances in centimetres there is the host kit, zeto/host.h.
 *
 *  | handle          | side                   | what its process call does                                            |
 *  |-----------------|------------------------|-----------------------------------------------------------------------|
 *  | zeto_rx_wrapper | rx, playback, downlink | overwrites what the host wanted to play with the chirp                |
 *  | zeto_tx_wrapper | tx, capture, uplink    | compares the microphone with the reference and writes the measurement |
 *
 *  The reference is what the loudspeaker plays: the samples that zeto_rx_wrapper_process() wrote. Hand a copy of them
 *  to zeto_tx_wrapper_process(), because that call delays its inputs in place. If playback and capture run on two
 *  threads, pass the copies on in a queue of the host's own. Loudspeaker and microphone must run from one clock.
 *
 *  A complete host (its microphone hears the loudspeaker 50 ms late and at half its strength):
 *
 *  @code{.c}
 *  #include <stdio.h>
 *  #include <string.h>
 *  #include <zeto/wrappers.h>
 *
 *  enum { kBuffer = ZETO_BLOCK_LEN, kEchoBuffers = 5 };  // 10 ms, 50 ms
 *
 *  int main(void) {
 *    zeto_rx_wrapper* emitter = zeto_rx_wrapper_init(ZETO_SAMPLE_RATE, ZETO_FORMAT_PCM16);
 *    zeto_tx_wrapper* detector = zeto_tx_wrapper_init(ZETO_SAMPLE_RATE, ZETO_FORMAT_PCM16);
 *    if (!emitter || !emitter->state || !emitter->core) return 1;
 *    if (!detector || !detector->state || !detector->core) return 1;
 *    zeto_rx_param_block chirp = {ZETO_RX_PARAM_DEFAULTS};
 *    zeto_tx_param_block hear = {ZETO_TX_PARAM_DEFAULTS};
 *    zeto_rx_wrapper_set_parameters(emitter, &chirp);
 *    zeto_tx_wrapper_set_parameters(detector, &hear);
 *
 *    static int16_t air[kEchoBuffers + 1][kBuffer];
 *    int16_t speaker[kBuffer] = {0}, reference[kBuffer], microphone[kBuffer], result[kBuffer];
 *    for (int n = 0; n < 100; ++n) {  // a second; in a host, one turn per audio callback
 *      zeto_rx_wrapper_process(emitter, speaker, sizeof speaker);  // to be played
 *      memcpy(reference, speaker, sizeof reference);
 *      memcpy(air[n % (kEchoBuffers + 1)], speaker, sizeof speaker);
 *      const int16_t* echo = air[(n + 1) % (kEchoBuffers + 1)];
 *      for (int i = 0; i < kBuffer; ++i) microphone[i] = (int16_t)(echo[i] / 2);
 *      zeto_tx_wrapper_process(detector, reference, microphone, result, sizeof result);
 *      if (n % 20 == 19) printf("%d ms\n", result[kBuffer - 1]);  // -1000, 50, 50, 50, 50
 *    }
 *    zeto_tx_wrapper_deinit(detector);
 *    zeto_rx_wrapper_deinit(emitter);
 *    return 0;
 *  }
 *  @endcode
 *
 *  The delay is counted between samples of the reference and of the microphone that are handed over at the same place
 *  of the same call. It contains the latency of the device's playback and capture, but not the wrappers' own 479
 *  samples.
 *
 *  Reading the measurement:
 *  - A new one comes every 9600 samples (200 ms). Count the samples handed to zeto_tx_wrapper_process() since init,
 *    from 0: a new measurement is in every sample i of the output with (i + 1) % 9600 == 0, and stays until the next.
 *    Two equal ones may follow each other, so do not wait for a change of value.
 *  - Before the first measurement the output is 0: nothing yet. After set_parameters it is 0 again until the next one;
 *    the count goes on. A measured 0 is rare but possible, so rely on the count.
 *  - ZETO_REJECTED, -1000: the spectra of the analysis do not agree on an echo. The first measurement is usually
 *    rejected, and so is about one in five, in which the sweep starts over; hold the last accepted one meanwhile. Many
 *    rejections in a row mean that there is no echo, that it is below the threshold, or that there is too much noise.
 *  - With the defaults the unit is ms, and one step of the spectrum is 3.9 ms, which is 67 cm of distance: expect
 *    errors of 2 ms either way. Delays up to 5 ms read 3, and a delay of exactly 0 (a loopback) is mostly rejected.
 *    Delays above 500 ms fold without notice: 600 reads as 400.
 *
 *  A handle takes buffers of any length in one of four sample formats, and runs its core over blocks of 480 samples,
 *  which is 10 ms. Buffers are mono; a host with stereo hands over one channel. What comes back is 479 samples late,
 *  whatever the lengths of the buffers; the first 479 samples of a fresh handle are zero.
 *
 *  | format_type               | host sample                                   | bytes | full scale | measurement |
 *  |---------------------------|-----------------------------------------------|-------|------------|-------------|
 *  | 1, ZETO_FORMAT_PCM16      | signed 16-bit integer                         | 2     | 32768      | v           |
 *  | 2, ZETO_FORMAT_PCM24_IN32 | signed 24-bit value, sign-extended in 32 bits | 4     | 8388608    | 256 v       |
 *  | 3, ZETO_FORMAT_PCM32      | signed 32-bit integer                         | 4     | 2147483648 | 65536 v     |
 *  | 4, ZETO_FORMAT_FLOAT      | 32-bit float                                  | 4     | 1.0        | v / 32768   |
 *
 *  A measurement v survives the format exactly; in format 4 it is (int)(sample * 32768.0f).
 *
 *  Cores work on 16 bits. In: format 2 rounds to nearest, ties up, and saturates, but 2147483520 and above wrap to
 *  -32768; format 3 likewise, without the wrap; format 4 multiplies by 32767, truncates and saturates (NaN gives 0).
 *  Out: formats 2 and 3 multiply by 256 and 65536, format 4 divides by 32768.
 *
 *  Call order: init; set_parameters (without it nothing is measured); process once per host buffer, with set_parameters
 *  and get_parameter in between if needed; deinit once, at the end.
 *
 *  Ownership: init allocates the handle and all it needs, deinit frees it; nothing else is kept. Host buffers and
 *  parameter blocks are used during the call only.
 *
 *  Bad input: a null handle, or one whose `state` is 0, makes every call but deinit do nothing. The process calls also
 *  do nothing on a null buffer or a count of 0. A parameter block is not tested for null, and parameters are not
 *  checked.
 *
 *  Two things that a host must not do:
 *  - Call process with a byte count that is not a multiple of the sample's bytes. The call then runs past the end of
 *    the buffers.
 *  - Process with a handle of an unknown format_type. init accepts it, with state 1, but the first process call never
 *    returns.
 *
 *  Threads: use a handle on one thread at a time. Different handles are independent, but each init registers its core
 *  with the arena (zeto/arena.h), without a lock: create handles one after another.
 *
 *  Real time: process allocates nothing, takes no lock, logs nothing and makes no system call. init, set_parameters and
 *  deinit write to the Android log under the tag "MERA_OMRU", and their cores print lines to standard output;
 *  zeto/cores.h explains these lines and says how to silence them.
 */
#ifndef ZETO_WRAPPERS_H
#define ZETO_WRAPPERS_H

#include <stddef.h>
#include <stdint.h>

#include "zeto/cores.h"

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Delay of everything that comes back, samples: 9.98 ms. */
#define ZETO_LATENCY 479

/** Values of format_type; see the table above. */
enum zeto_format {
  ZETO_FORMAT_PCM16 = 1,      /**< 16-bit integer */
  ZETO_FORMAT_PCM24_IN32 = 2, /**< 24-bit integer in 32 bits */
  ZETO_FORMAT_PCM32 = 3,      /**< 32-bit integer */
  ZETO_FORMAT_FLOAT = 4       /**< 32-bit float */
};

/** Bytes that set_parameters reads from a parameter block, of which its core uses the first few. */
#define ZETO_PARAM_BLOCK_BYTES 80

/** What zeto_rx_wrapper_set_parameters() reads: `zeto_rx_param_block chirp = {ZETO_RX_PARAM_DEFAULTS};`. */
typedef union zeto_rx_param_block {
  zeto_rx_param param;                   /**< the emitter's parameters */
  uint8_t bytes[ZETO_PARAM_BLOCK_BYTES]; /**< all that is read; the bytes behind the parameters may hold anything */
} zeto_rx_param_block;

/** What zeto_tx_wrapper_set_parameters() reads: `zeto_tx_param_block hear = {ZETO_TX_PARAM_DEFAULTS};`. */
typedef union zeto_tx_param_block {
  zeto_tx_param param;                   /**< the detector's parameters */
  uint8_t bytes[ZETO_PARAM_BLOCK_BYTES]; /**< all that is read; the bytes behind the parameters may hold anything */
} zeto_tx_param_block;

/** A circular buffer of samples that never refuses: writing to a full one drops its oldest samples, reading from an
 *  empty one gives zeros. The record's owner provides the storage and sets the other fields: a fresh ring has count and
 *  positions 0.
 */
typedef struct omru_ringbuf {
  int32_t bit_width; /**< 16: 2-byte samples; 32: 4-byte integers; 48: 4-byte floats; anything else: calls do nothing */
  int32_t capacity;  /**< samples that the storage holds; below 1: calls do nothing */
  int32_t count;     /**< samples held, 0 to capacity */
  int32_t read_pos;  /**< index of the oldest sample held */
  int32_t write_pos; /**< index that the next sample is written to */
  void* data;        /**< capacity samples */
} omru_ringbuf;

/** Writes n samples, bit for bit. Pointers are not checked; n below 1 does nothing. O(n).
 *  @param source  n samples of the ring's width, outside its storage. */
ZETO_API void omru_ringbuf_write(omru_ringbuf* ring, const void* source, int32_t n);

/** Reads n samples, bit for bit. Once the ring is empty it writes zeros, and write_pos moves to read_pos.
 *  @param destination  room for n samples of the ring's width, outside its storage. */
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
  zeto_rx_state* core;                    /**< the emitter; null if there was no memory for it */
  int32_t sample_rate;                    /**< Hz, 48000 */
  int32_t format_type;                    /**< 1 to 4; 0: unknown */
  int32_t bit_width;                      /**< the rings' width code */
  int32_t sample_bytes;                   /**< bytes of a host sample */
  int32_t block_len;                      /**< 480 samples */
  zeto_stream stream;                     /**< carries the host's buffer */
} zeto_rx_wrapper;

/** Creates a downlink handle.
 *  @param sample_rate  Hz; anything but 48000 is logged as an error and gives null.
 *  @param format_type  one of ZETO_FORMAT_PCM16 to ZETO_FORMAT_FLOAT.
 *  @return the handle; null if the rate is wrong or there is no memory for it. If a buffer could not be allocated, a
 *          handle with state 0. If only the core's block could not be allocated, a handle with state 1 and without a
 *          core: its process calls return the host's own samples, 479 late. */
ZETO_API zeto_rx_wrapper* zeto_rx_wrapper_init(uint32_t sample_rate, int32_t format_type);

/** Sets the chirp and restarts it from its beginning. Up to 479 samples of the old one still come out.
 *  @param block  all ZETO_PARAM_BLOCK_BYTES are read and kept. A zeto_rx_param alone is too short. */
ZETO_API void zeto_rx_wrapper_set_parameters(zeto_rx_wrapper* handle, const zeto_rx_param_block* block);

/** Reads back what was set, as zeto_rx_get_param() does: the period in whole seconds.
 *  @param out  room for six integers. */
ZETO_API void zeto_rx_wrapper_get_parameter(zeto_rx_wrapper* handle, int32_t* out);

/** Replaces the host's samples by the chirp, in place; nothing is mixed.
 *  @param buffer      consecutive samples in the handle's format, aligned to a sample; one channel.
 *  @param byte_count  its length in bytes, a multiple of the sample's bytes, below 2^32. */
ZETO_API void zeto_rx_wrapper_process(zeto_rx_wrapper* handle, void* buffer, uint64_t byte_count);

/** Frees the handle and all it owns. Null does nothing. */
ZETO_API void zeto_rx_wrapper_deinit(zeto_rx_wrapper* handle);

/** Uplink handle, for reading. The second input's stream decides when a block is complete. */
typedef struct zeto_tx_wrapper {
  int32_t state;                          /**< 1: ready; 0: an allocation failed, only deinit has an effect */
  uint8_t params[ZETO_PARAM_BLOCK_BYTES]; /**< the parameter block last set */
  zeto_tx_state* core;                    /**< the detector; null if there was no memory for it */
  int32_t sample_rate;                    /**< Hz, 48000 */
  int32_t format_type;                    /**< 1 to 4; 0: unknown */
  int32_t bit_width;                      /**< the rings' width code */
  int32_t sample_bytes;                   /**< bytes of a host sample */
  int32_t block_len;                      /**< 480 samples */
  zeto_stream in2_stream;                 /**< the microphone */
  zeto_stream in1_stream;                 /**< the reference */
  zeto_stream out_stream;                 /**< the measurement */
} zeto_tx_wrapper;

/** Creates an uplink handle; parameters and results as of zeto_rx_wrapper_init(). Without a core, process calls return
 *  each buffer's own samples, 479 late. */
ZETO_API zeto_tx_wrapper* zeto_tx_wrapper_init(uint32_t sample_rate, int32_t format_type);

/** Sets the detector and starts a fresh measurement. Up to 479 samples of the old one still come out.
 *  @param block  all ZETO_PARAM_BLOCK_BYTES are read and kept. A zeto_tx_param alone is too short. */
ZETO_API void zeto_tx_wrapper_set_parameters(zeto_tx_wrapper* handle, const zeto_tx_param_block* block);

/** Reads back the eleven parameters as last set; the measurement comes through zeto_tx_wrapper_process().
 *  @param out  room for eleven 32-bit integers. */
ZETO_API void zeto_tx_wrapper_get_parameter(zeto_tx_wrapper* handle, uint32_t* out);

/** Measures, in place. `out` receives the measurement, the same in every sample of a block; its old contents do not
 *  matter. The inputs receive their own samples, 479 late and rounded to 16 bits (format 4: and scaled by 32767/32768);
 *  most hosts have no use for them. Each buffer is one run of consecutive samples of the handle's format, aligned to a
 *  sample. They may be one and the same buffer, but must not overlap in part.
 *  @param in1         the reference: a copy of what the emitter plays.
 *  @param in2         the microphone.
 *  @param byte_count  length of each buffer in bytes, a multiple of the sample's bytes, below 2^32. */
ZETO_API void zeto_tx_wrapper_process(zeto_tx_wrapper* handle, void* in1, void* in2, void* out, uint64_t byte_count);

/** Frees the handle and all it owns. Null does nothing. */
ZETO_API void zeto_tx_wrapper_deinit(zeto_tx_wrapper* handle);

#ifdef __cplusplus
}
#endif

#endif
