/** @file
 *  The two processing cores: the emitter (downlink, "rx"), which synthesises the chirp, and the detector (uplink,
 *  "tx"), which turns two inputs into one measurement. Most hosts want the wrappers of zeto/wrappers.h, which own one
 *  of these.
 *
 *  Blocks are 480 samples, 10 ms at 48000 Hz, the only supported rate. Samples are signed 16-bit, full scale 32768.
 *
 *  Ownership: the caller owns everything. A core lives in a zero-filled state block of the size that its
 *  cal_zeto_*_struct_malloc_size() returns, aligned to 8 bytes; it holds no other memory and may be freed after its
 *  exit or destroy call. Buffers are used during the call only.
 *
 *  Bad input: a null pointer makes any call do nothing. Parameters are taken as they are; the functions say what absurd
 *  values give. Nothing is reported.
 *
 *  Threads: one state block, one thread at a time. init registers the block with the arena (zeto/arena.h), slot 0 for
 *  the detector and slot 1 for the emitter; the last one initialised holds the slot.
 *
 *  Real time: the process calls allocate nothing, take no lock, print nothing. init, reinit, set_param and destroy
 *  print one line to standard output.
 */
#ifndef ZETO_CORES_H
#define ZETO_CORES_H

#include <stddef.h>
#include <stdint.h>

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What the emitter sweeps: a linear chirp that starts anew every period. */
typedef struct zeto_rx_param {
  int32_t start_hz;        /**< start of the sweep, Hz; rounded to the nearest multiple of 11.71875 Hz; default 19600 */
  int32_t span_hz;         /**< width of the sweep, Hz; rounded down to a multiple of 11.71875 Hz; default 4000 */
  int32_t amp_start_milli; /**< amplitude at the start of a period, 1/1000 of full scale; default 10 */
  int32_t amp_end_milli;   /**< amplitude at the end of a period, 1/1000 of full scale; default 160 */
  int32_t period_ms;       /**< sweep period, ms; whole seconds count, the rest is dropped; below 1000: silence */
  int32_t enable;          /**< exactly 1: synthesise; anything else: silence, and the sweep stands still */
} zeto_rx_param;

/** Head of the emitter's state block, for reading. The bytes behind it belong to arena slot 1. */
typedef struct zeto_rx_state {
  uint32_t fft_len;        /**< 512; the frequency grid is one eighth of a bin of this length */
  int32_t frame_len;       /**< 480 samples */
  uint32_t sample_rate;    /**< Hz, 48000 */
  uint32_t frame_count;    /**< frames synthesised while enabled since init or reinit; wraps */
  int32_t start_hz;        /**< as set */
  int32_t span_hz;         /**< as set */
  int32_t amp_start_milli; /**< as set */
  int32_t amp_end_milli;   /**< as set */
  int32_t period_s;        /**< whole seconds; init leaves it as it is (0 in a cleared block) */
  int32_t enable;          /**< as set */
} zeto_rx_state;

/** Bytes of an emitter's state block: 50000. */
ZETO_API uint32_t cal_zeto_rx_struct_malloc_size(void);

/** Prepares a zero-filled state block with the defaults, enabled. It stays silent until a period of at least a second
 * is set. */
ZETO_API void zeto_rx_init(zeto_rx_state* state);

/** Restarts the sweep from its beginning, parameters kept.
 *  @param sample_rate  Hz; stored as given, but only 48000 makes periods last their seconds. */
ZETO_API void zeto_rx_reinit(zeto_rx_state* state, uint32_t sample_rate);

/** Stores six parameters; they hold from the next frame on, and the sweep goes on where it is. */
ZETO_API void zeto_rx_set_param(zeto_rx_state* state, const zeto_rx_param* param);

/** Reads the six parameters back.
 *  @param out  six words in the order of zeto_rx_param, the fifth in whole seconds, not milliseconds. */
ZETO_API void zeto_rx_get_param(const zeto_rx_state* state, int32_t* out);

/** Writes whole frames of chirp, or of silence while disabled; what `out` held is not read.
 *  Sample n of a period (n from 1) is amp(n) * sin(2 pi * frac(f0 n / fs + k n (n - 1) / (2 fs))): the frequency rises
 *  by k Hz per sample. The amplitude rises linearly, fades in over the first 99 samples of a period and out over the
 *  last 200. Results beyond 16 bits clip; not a number gives 0.
 *  @param out    room for the frames: `count` rounded up to a multiple of 480 samples.
 *  @param count  samples wanted; below 1 nothing happens. */
ZETO_API void zeto_rx_process(zeto_rx_state* state, int16_t* out, int32_t count);

/** Does nothing; the caller frees the block. */
ZETO_API void zeto_rx_exit(zeto_rx_state* state);

/** What the detector listens for. Words are scaled integers; none is checked. */
typedef struct zeto_tx_param {
  int32_t UltraHz_floor;   /**< lower frequency of the sweep, Hz; cancels but for rounding */
  int32_t UltraHz_scope;   /**< width of the sweep, Hz; the beat that maps to a full UltraHz_period; below 11 the
                                result is infinite or undefined */
  int32_t UltraHz_period;  /**< the result at a beat of UltraHz_scope; with the sweep's period in ms the result is a
                                delay in ms, folded at half of it */
  int32_t UltraHz_cand_dB; /**< level that a spectrum's peak must exceed to count, dB over an unscaled bin power of 1 */
  int32_t UltraHz_cand_ratio;   /**< least share of peaks agreeing in position, 1/100; above 0 all 18 must agree,
                                     above 100 no agreement is enough */
  int32_t UltraHz_spread_ratio; /**< least share of peaks agreeing in level, 1/100 */
  int32_t UltraHz_mix_gain;     /**< gain on the product of the inputs, 1/10 */
  int32_t UltraHz_smooth;       /**< weight of the previous result in the new one, 1/100 */
  int32_t UltraHz_spare1;       /**< carried, not used */
  int32_t UltraHz_spare2;       /**< carried, not used */
  int32_t UltraHz_delay_ms; /**< 10 and more: hold the first input back by 20 blocks, after that many ms (10 a block)
                                 without analysis at the start; below 10: off */
} zeto_tx_param;

/** The detector's state, at the start of its state block. It begins with the parameters as last set; the last 6992
 * bytes of an 8-aligned block (from byte 123004, rounded up) belong to arena slot 0. */
typedef struct zeto_tx_state zeto_tx_state;

/** Bytes of a detector's state block: 130000. */
ZETO_API uint32_t cal_zeto_tx_struct_malloc_size(void);

/** Prepares a zero-filled state block: result 0, no start-up delay. The parameters stay as they are: all 0 in a cleared
 *  block. */
ZETO_API void zeto_tx_init(zeto_tx_state* state);

/** Starts a fresh measurement: result, filters, histories and candidates are cleared. Parameters, the delay line and
 *  its progress and the block count stay, so the analysis keeps its 200 ms rhythm.
 *  @param sample_rate  Hz; printed, nothing else. */
ZETO_API void zeto_tx_reinit(zeto_tx_state* state, int32_t sample_rate);

/** Prints a line; the caller frees the block. */
ZETO_API void zeto_tx_destroy(zeto_tx_state* state);

/** Takes the parameters over; they hold from the next block on, and the measurement goes on. */
ZETO_API void zeto_tx_set_param(zeto_tx_state* state, const zeto_tx_param* param);

/** Reads back the eleven words last set, in the order of zeto_tx_param. Not a measurement.
 *  @param out  room for eleven words. */
ZETO_API void zeto_tx_get_param(const zeto_tx_state* state, uint32_t* out);

/** Runs whole blocks through zeto_tx_main_process(), scaled to full scale 1.0.
 *  A state that was never initialised only counts its blocks, and `out` is not written.
 *  @param in_a         first input, the reference: usually what the emitter plays.
 *  @param in_b         second input, the microphone.
 *  @param out          receives the measurement, the same in every sample of a block; apart from the inputs.
 *  @param num_samples  samples per channel, a multiple of 480; any rest is read and written as a whole block. */
ZETO_API void zeto_tx_process(zeto_tx_state* state, const int16_t* in_a, const int16_t* in_b, int16_t* out,
                              uint32_t num_samples);

/** One block: stores it, on every twentieth analyses the last 200 ms, and writes the measurement: 0 before the first
 *  analysis, -1000 after a rejected one, truncated toward zero to an integer of which the low 16 bits stay.
 *  zeto_tx_process() counts the block before this call; the count decides where the block goes and when to analyse.
 *  @param block_a  480 samples of the first input, full scale 1.0.
 *  @param out      480 samples.
 *  @param block_b  480 samples of the second input. */
ZETO_API void zeto_tx_main_process(zeto_tx_state* state, const float* block_a, int16_t* out, const float* block_b);

#ifdef __cplusplus
}
#endif

#endif
