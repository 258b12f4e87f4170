/** @file
 *  The two processing cores and their parameters. Their names are the phone network's, not the sensor's:
 *  - rx, downlink, playback: the *emitter* synthesises the chirp that the loudspeaker plays.
 *  - tx, uplink, capture: the *detector* compares the microphone with the reference (what the emitter played) and
 *    measures the delay of the strongest echo.
 *
 *  Most hosts want zeto/wrappers.h, which owns these cores, takes any buffer length and format, and includes this
 *  header for the parameters. Begin with ZETO_RX_PARAM_DEFAULTS and ZETO_TX_PARAM_DEFAULTS: they fit each other.
 *  Without set_param nothing is measured: init leaves the emitter's period at 0, which is silence, and the detector's
 *  parameters at 0.
 *
 *  Blocks are 480 samples, 10 ms at 48000 Hz, the only supported rate. Samples are signed 16-bit, full scale 32768.
 *
 *  Which parameters matter: all six of the emitter's have an effect. Of the detector's eleven, UltraHz_floor has almost
 *  no effect on the result, UltraHz_spare1 and UltraHz_spare2 have none, and UltraHz_smooth is best left at 0. To tune,
 *  change UltraHz_cand_dB; to change the sweep, change both sides alike.
 *
 *  Standard output: init, reinit, set_param and destroy each print one line, whose text is part of the interface and
 *  looks odd:
 *  - "version is 2.02.02" (emitter) and "zeto v1.0.1 build 20221213" (detector) are not the library's version, which is
 *    ZETO_VERSION_STRING of zeto/version.h.
 *  - "UltraHz_cand_dB(4294967276)" is -20: parameters are shown as unsigned 32-bit numbers.
 *  - "0x0x55d0c0de" is the state block's address. It tells a reader of that stream where the heap is.
 *
 *  To silence them, redirect standard output around these calls (fflush(stdout), dup() and dup2() on descriptor 1), or
 *  write the host's own results elsewhere. Android normally drops a process's standard output.
 *
 *  Ownership: the caller owns everything. A core lives in a zero-filled state block of the size that its
 *  cal_zeto_*_struct_malloc_size() returns, aligned to 8 bytes; it uses no other memory and may be freed after its
 *  exit or destroy call. Buffers are used during the call only.
 *
 *  Bad input: a null pointer makes any call do nothing. Parameters are taken as they are; their comments say what
 *  absurd values do. Nothing is reported.
 *
 *  Threads: one state block, one thread at a time. init registers the block with the arena (zeto/arena.h), slot 0 for
 *  the detector and slot 1 for the emitter; the last one initialised holds the slot.
 *
 *  Real time: the process calls allocate nothing, take no lock and print nothing. init, reinit, set_param and destroy
 *  print, see above.
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
/** The measurement after a rejected analysis, one whose spectra do not agree on an echo. */
#define ZETO_REJECTED (-1000)

/** What the emitter sweeps: a linear chirp that starts anew every period. */
typedef struct zeto_rx_param {
  /** Start of the sweep, Hz; rounded to the nearest multiple of 11.71875 Hz. Typical: 19600. Below 18000 people may
   *  hear it. */
  int32_t start_hz;
  /** Width of the sweep, Hz; rounded toward 0 to a multiple of 11.71875 Hz; below 0 the sweep falls. Typical: 4000.
   *  A sweep that rises beyond 24000 Hz folds back: 24100 Hz sounds as 23900. */
  int32_t span_hz;
  /** Amplitude at the start of a period, 1/1000 of full scale. Typical: 10. */
  int32_t amp_start_milli;
  /** Amplitude at the end of a period, 1/1000 of full scale. Typical: 160. */
  int32_t amp_end_milli;
  /** Length of a sweep, ms; only whole seconds count; below 1000: silence. Typical: 1000. */
  int32_t period_ms;
  /** Exactly 1: synthesise; anything else: silence, and the sweep pauses. */
  int32_t enable;
} zeto_rx_param;

/** Initialiser of a zeto_rx_param: 19600 to 23600 Hz in a second, growing from 1 % to 16 % of full scale. */
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
  int32_t period_s;        /**< whole seconds; init does not change it (0 in a cleared block) */
  int32_t enable;          /**< as set */
} zeto_rx_state;

/** Bytes of an emitter's state block: 50000. */
ZETO_API uint32_t cal_zeto_rx_struct_malloc_size(void);

/** Prepares a zero-filled state block with the defaults, enabled. It stays silent until a period of at least a second
 * is set. */
ZETO_API void zeto_rx_init(zeto_rx_state* state);

/** Restarts the sweep from its beginning and keeps the parameters.
 *  @param sample_rate  Hz; stored as given, but only 48000 makes periods last their seconds. */
ZETO_API void zeto_rx_reinit(zeto_rx_state* state, uint32_t sample_rate);

/** Stores six parameters. They take effect with the next frame (480 samples); the sweep is not restarted. */
ZETO_API void zeto_rx_set_param(zeto_rx_state* state, const zeto_rx_param* param);

/** Reads the six parameters back.
 *  @param out  room for six integers, in the order of zeto_rx_param; the fifth is in whole seconds, not ms. */
ZETO_API void zeto_rx_get_param(const zeto_rx_state* state, int32_t* out);

/** Writes whole frames of chirp, or of silence while disabled; the old contents of `out` are not read.
 *  Sample n of a period (n from 1) is amp(n) * sin(2 pi * frac(f0 n / fs + k n (n - 1) / (2 fs))): the frequency rises
 *  by k Hz per sample. The amplitude rises linearly, fades in over the first 99 samples of a period and out over the
 *  last 200. Results beyond 16 bits clip; not a number gives 0.
 *  @param out    room for the frames: `count` rounded up to a multiple of 480 samples.
 *  @param count  samples wanted; below 1 nothing happens. */
ZETO_API void zeto_rx_process(zeto_rx_state* state, int16_t* out, int32_t count);

/** Does nothing; the caller frees the block. */
ZETO_API void zeto_rx_exit(zeto_rx_state* state);

/** What the detector listens for. All parameters are integers, some of them scaled; none is checked.
 *
 *  The detector multiplies the reference by the microphone. An echo with a delay of tau then makes a tone, the *beat*:
 *  its frequency is tau times the sweep's slope (width over length), 240 Hz for 60 ms at 4000 Hz/s. Every 200 ms an
 *  *analysis* looks for that tone in 18 spectra of the last 200 ms. Their bins are 15.625 Hz wide, 3.9 ms of the
 *  default sweep. If the spectra agree, the result is beat * UltraHz_period / UltraHz_scope; otherwise the analysis is
 *  rejected.
 */
typedef struct zeto_tx_param {
  /** Lower frequency of the sweep, Hz; almost no effect. Typical: start_hz on the emitter's grid, 19605 for 19600. */
  int32_t UltraHz_floor;
  /** Width of the sweep, Hz: a beat of this frequency makes a result of UltraHz_period. Below 11 the result is infinite
   *  or undefined. Typical: 4000, as span_hz. */
  int32_t UltraHz_scope;
  /** The result at a beat of UltraHz_scope, and so the result's unit. The sweep's length in ms gives a delay in ms;
   *  17150 times its length in s gives a distance in cm. Results fold at half of it. Typical: 1000. */
  int32_t UltraHz_period;
  /** Level that a spectrum's peak must exceed to count, dB: 10 log10 of the bin's power, without scaling. Typical: -20
   *  for echoes down to a quarter of the reference, -40 down to a fiftieth; with -60 nearly all peaks count, and only
   *  their agreement decides. (With the default sweep an echo of a half has -15 dB at the start of the sweep and +20 dB
   *  at its end, an echo of a twentieth 20 dB less.) */
  int32_t UltraHz_cand_dB;
  /** Least share of the 18 peaks that agree in frequency (within 186 Hz of their median), 1/100. Typical: 100. From 1
   *  to 100 all 18 must agree; at 0 and below noise is accepted; above 100 nothing is. */
  int32_t UltraHz_cand_ratio;
  /** Least share of the 18 peaks that agree in level (within 10 dB of their median), 1/100. Typical: 50. */
  int32_t UltraHz_spread_ratio;
  /** Gain on the product of the inputs, in tenths. Typical: 10, a factor of 1. Ten times as much adds 20 dB to the
   *  levels. */
  int32_t UltraHz_mix_gain;
  /** Weight of the previous result in the new one, 1/100. Typical: 0. Rejections count as -1000 in it: with 50, an echo
   *  of 60 ms reads -470, -206, -73, -7 after one. */
  int32_t UltraHz_smooth;
  int32_t UltraHz_spare1; /**< carried, not used */
  int32_t UltraHz_spare2; /**< carried, not used */
  /** 10 and more: hold the first input back by 20 blocks (200 ms), whatever the number; nothing is analysed for that
   *  many ms (10 per block) at the start. Below 10: off. Typical: 0. */
  int32_t UltraHz_delay_ms;
} zeto_tx_param;

/** Initialiser of a zeto_tx_param that fits ZETO_RX_PARAM_DEFAULTS. The result is a delay in ms. */
#define ZETO_TX_PARAM_DEFAULTS \
  { 19605, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0 }

/** The detector's state, at the start of its state block. It begins with the parameters as last set. The last 6992
 * bytes of an 8-aligned block (from byte 123004, rounded up) belong to arena slot 0. */
typedef struct zeto_tx_state zeto_tx_state;

/** Bytes of a detector's state block: 130000. */
ZETO_API uint32_t cal_zeto_tx_struct_malloc_size(void);

/** Prepares a zero-filled state block: result 0, no start-up delay. Does not set parameters: they are all 0 in a
 *  zero-filled block. */
ZETO_API void zeto_tx_init(zeto_tx_state* state);

/** Starts a fresh measurement: clears result, filters, histories and candidates. Keeps the parameters, the delay line
 *  with its progress, and the block count, so that analyses keep their rhythm of 200 ms.
 *  @param sample_rate  Hz; only printed. */
ZETO_API void zeto_tx_reinit(zeto_tx_state* state, int32_t sample_rate);

/** Prints a line; the caller frees the block. */
ZETO_API void zeto_tx_destroy(zeto_tx_state* state);

/** Copies the parameters. They take effect with the next block; the measurement is not restarted. */
ZETO_API void zeto_tx_set_param(zeto_tx_state* state, const zeto_tx_param* param);

/** Reads back the eleven parameters as last set, in the order of zeto_tx_param. Not a measurement.
 *  @param out  room for eleven 32-bit integers. */
ZETO_API void zeto_tx_get_param(const zeto_tx_state* state, uint32_t* out);

/** Runs whole blocks through zeto_tx_main_process(), scaled to full scale 1.0.
 *  If the state was never initialised, blocks are only counted and `out` is not written.
 *  @param in_a         first input, the reference: usually what the emitter plays.
 *  @param in_b         second input, the microphone.
 *  @param out          receives the measurement, the same in every sample of a block; must not overlap the inputs.
 *  @param num_samples  samples per channel, a multiple of 480; any rest is read and written as a whole block. */
ZETO_API void zeto_tx_process(zeto_tx_state* state, const int16_t* in_a, const int16_t* in_b, int16_t* out,
                              uint32_t num_samples);

/** Takes one block; every twentieth completes an analysis of the last 200 ms. Writes the measurement: 0 before the
 *  first analysis, -1000 after a rejected one, otherwise the result, truncated toward zero to an integer of which the
 *  low 16 bits are kept. Does not count the block, which zeto_tx_process() does before this step; the count decides
 *  where the block goes and when an analysis is complete.
 *  @param block_a  480 samples of the first input, full scale 1.0.
 *  @param out      480 samples.
 *  @param block_b  480 samples of the second input. */
ZETO_API void zeto_tx_main_process(zeto_tx_state* state, const float* block_a, int16_t* out, const float* block_b);

#ifdef __cplusplus
}
#endif

#endif
