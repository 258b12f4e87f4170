/** @file
 *  The two processing cores and their parameters. Mind the names, which are the phone network's and not the
 *  sensor's:
 *  - rx, downlink, playback: the *emitter* synthesises the chirp that the loudspeaker plays.
 *  - tx, uplink, capture: the *detector* compares the microphone with the reference (what the emitter played) and
 *    measures by how much the echo is late.
 *
 *  Most hosts want zeto/wrappers.h, which owns these cores, takes any buffer length and format, and includes this
 *  header for the parameters. Begin with ZETO_RX_PARAM_DEFAULTS and ZETO_TX_PARAM_DEFAULTS: they fit each other. What
 *  init leaves does not measure: the emitter's period is 0 (silence), all detector words are 0.
 *
 *  Blocks are 480 samples, 10 ms at 48000 Hz, the only supported rate. Samples are signed 16-bit, full scale 32768.
 *
 *  What each parameter is good for: all six of the emitter's have an effect. Of the detector's eleven, UltraHz_floor
 *  has almost no effect on the result, UltraHz_spare1 and UltraHz_spare2 have none, and UltraHz_smooth is best left at
 *  0. To tune, change UltraHz_cand_dB; to change the sweep, change both sides alike.
 *
 *  Standard output: init, reinit, set_param and destroy each print one line, whose text is part of the interface and
 *  looks odd:
 *  - "version is 2.02.02" (emitter) and "zeto v1.0.1 build 20221213" (detector) are not the library's version, which is
 *    ZETO_VERSION_STRING of zeto/version.h.
 *  - "UltraHz_cand_dB(4294967276)" is -20: words are shown as unsigned 32-bit numbers.
 *  - "0x0x55d0c0de" is the state block's address. It tells a reader of that stream where the heap lies.
 *
 *  To silence them, point standard output elsewhere around these calls (fflush(stdout), dup() and dup2() on descriptor
 *  1), or write the host's own results elsewhere. Android drops a process's standard output.
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
 *  Real time: the process calls allocate nothing, take no lock, print nothing. init, reinit,
 *  set_param and destroy print, see above.
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

/** The only sample rate, Hz. */
#define ZETO_SAMPLE_RATE 48000
/** Samples of a block: 10 ms. */
#define ZETO_BLOCK_LEN 480
/** The measurement after an analysis without agreement. */
#define ZETO_REJECTED (-1000)

/** What the emitter sweeps: a linear chirp that starts anew every period. */
typedef struct zeto_rx_param {
  /** Start of the sweep, Hz; rounded to the nearest multiple of 11.71875 Hz. Typical: 19600. Below 18000 it is heard.
   *  */
  int32_t start_hz;
  /** Width of the sweep, Hz; rounded toward 0 to a multiple of 11.71875 Hz; below 0 the sweep falls. Typical: 4000.
   *  Beyond 24000 Hz a sweep folds: 24100 Hz sounds as 23900. */
  int32_t span_hz;
  /** Amplitude at the start of a period, 1/1000 of full scale. Typical: 10. */
  int32_t amp_start_milli;
  /** Amplitude at the end of a period, 1/1000 of full scale. Typical: 160. */
  int32_t amp_end_milli;
  /** Length of a sweep, ms; whole seconds count, the rest is dropped; below 1000: silence. Typical: 1000. */
  int32_t period_ms;
  /** Exactly 1: synthesise; anything else: silence, and the sweep stands still. */
  int32_t enable;
} zeto_rx_param;

/** Initialiser of a zeto_rx_param: 19600 to 23600 Hz in a second. */
#define ZETO_RX_PARAM_DEFAULTS \
  { 19600, 4000, 10, 160, 1000, 1 }

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

/** What the detector listens for. Words are scaled integers; none is checked.
 *
 *  An echo that is late by tau makes a tone, the beat, of tau times the sweep's slope (its width over its length): 240
 *  Hz for 60 ms at 4000 Hz/s. An analysis looks for that tone in 18 spectra of the last 200 ms, whose bins are 15.625
 *  Hz wide (3.9 ms of the default sweep). result = beat * UltraHz_period / UltraHz_scope.
 */
typedef struct zeto_tx_param {
  /** Lower frequency of the sweep, Hz; almost no effect. Typical: start_hz on the emitter's grid, 19605 for 19600. */
  int32_t UltraHz_floor;
  /** Width of the sweep, Hz: the beat that maps to a full UltraHz_period. Below 11 the result is infinite or undefined.
   *  Typical: 4000, as span_hz. */
  int32_t UltraHz_scope;
  /** The result at a beat of UltraHz_scope, and so the result's unit. The sweep's length in ms gives a delay in ms;
   *  17150 times its length in s gives a distance in cm. Results fold at half of it. Typical: 1000. */
  int32_t UltraHz_period;
  /** Level that a spectrum's peak must exceed to count, dB over an unscaled bin power of 1. Typical: -20 for echoes
   *  down to a quarter of the reference, -40 down to a fiftieth, -60 leaves the choice to the
   *  agreement alone. (With the default
   *  sweep an echo of a half reads -15 dB where the sweep starts and +20 dB where it ends, one of a twentieth 20 dB
   *  less.) */
  int32_t UltraHz_cand_dB;
  /** Least share of peaks agreeing in frequency, 1/100. Typical: 100. Above 0 all 18 must agree, at 0 noise is
   *  accepted, above 100 nothing is. */
  int32_t UltraHz_cand_ratio;
  /** Least share of peaks agreeing in level, 1/100. Typical: 50. */
  int32_t UltraHz_spread_ratio;
  /** Gain on the product of the inputs, 1/10. Typical: 10, a factor of 1. Ten times as much adds 20 dB to the levels.
   *  */
  int32_t UltraHz_mix_gain;
  /** Weight of the previous result in the new one, 1/100. Typical: 0. Rejections count as -1000 in it: with 50, an echo
   *  of 60 ms reads -470, -206, -73, -7 after one. */
  int32_t UltraHz_smooth;
  int32_t UltraHz_spare1; /**< carried, not used */
  int32_t UltraHz_spare2; /**< carried, not used */
  /** 10 and more: hold the first input back by 20 blocks (200 ms), after that many ms (10 a block) without analysis at
   *  the start; below 10: off. Typical: 0. */
  int32_t UltraHz_delay_ms;
} zeto_tx_param;

/** Initialiser of a zeto_tx_param that fits ZETO_RX_PARAM_DEFAULTS. The result is a delay in ms. */
#define ZETO_TX_PARAM_DEFAULTS \
  { 19605, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0 }

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
