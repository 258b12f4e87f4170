/** @file
 *  Signal kernels over the caller's memory: float vectors, sliding windows, frames, spectral bands. Hosts do not need
 *  them; the detector uses some. Their names, some without the zeto_ prefix, are fixed by the interface.
 *
 *  Arithmetic is single precision, one rounding per operation, in the order given: the same bits from every compiler
 *  and machine (logf, expf and log10f are the platform's). Denormals are kept. NaNs and infinities pass through unless
 *  a function says otherwise.
 *
 *  Ownership: the caller owns all memory. Nothing is kept except a pointer to the window in zeto_window_state.
 *
 *  Threads: any, on distinct data.
 *
 *  Real time: O(n); no allocation, lock, log or system call, except for the one line that the frame conversions print
 *  about bad frames.
 */
#ifndef ZETO_KERNELS_H
#define ZETO_KERNELS_H

#include <stddef.h>
#include <stdint.h>

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @name Float vectors
 *  `n` is the number of elements of every array; at 0 nothing is written. Pointers are not checked and must be valid
 *  even then. An output may be one of the inputs, or overlap one: elements are worked on one by one, in ascending
 *  order. Functions that return their first array return the pointer that they were given. In minima and maxima a
 *  number wins over a NaN, and -0 counts as less than +0.
 *  @{ */

/** @return sum of a[i] b[i], one sum in ascending order; 0 for n = 0. */
ZETO_API float zeto_vf_dot_mult_get_sum(const float* a, const float* b, uint32_t n);

/** Energy. From n = 16 on, the first n rounded down to a multiple of 16 elements go into two sums, one over the even
 *  and one over the odd indices; the remaining ones are added in order to the even sum.
 *  @return sum of x[i] squared: odd plus even sum, or one sum in ascending order below n = 16; 0 for n = 0. */
ZETO_API float zeto_vf_dot_power_get_sum(const float* x, uint32_t n);

/** out[i] = a[i] b[i]; here the output is the last argument. @param n  signed; below 1 nothing happens. @return a. */
ZETO_API const float* zeto_vf_dot_mult_vf(const float* a, const float* b, int32_t n, float* out);

/** y[i] = x[i] + (y[i] - x[i]) alpha, in place. The formula holds for every alpha: even at 1, y[i] may change, if the
 *  difference is rounded.
 *  @param n      signed; below 1 nothing happens.
 *  @param alpha  weight of the previous value.
 *  @return x. */
ZETO_API const float* zeto_vf_smooth(const float* x, int32_t n, float* y, float alpha);

/** The largest element, the first of equals. NaNs are passed over, unless the first element is one: then it is the
 *  result.
 *  @param x      read at index 0 even for n = 0, which counts as n = 1.
 *  @param value  receives the element.
 *  @return its index. */
ZETO_API uint32_t zeto_vf_get_max(const float* x, uint32_t n, float* value);

/** The smallest element, see zeto_vf_get_max(). */
ZETO_API uint32_t zeto_vf_get_min(const float* x, uint32_t n, float* value);

/** @return sum of x[i], one sum in ascending order; 0 for n = 0. */
ZETO_API float zeto_vf_get_sum(const float* x, uint32_t n);

/** @return zeto_vf_get_sum() divided by n; NaN for n = 0. */
ZETO_API float zeto_vf_get_mean(const float* x, uint32_t n);

/** out[i] = a[i] + b[i]. */
ZETO_API void zeto_vf_add_vf(const float* a, const float* b, uint32_t n, float* out);

/** out[i] = a[i] - b[i]. */
ZETO_API void zeto_vf_sub_vf(const float* a, const float* b, uint32_t n, float* out);

/** out[i] = expf(logf(x[i]) p): NaN below 0; at 0: 0 for p above 0, infinity for p below 0, NaN for p = 0. */
ZETO_API void zeto_vf_dot_pow(const float* x, uint32_t n, float* out, float p);

/** out[i] = (a[i] s) (1 / max(|b[i]|, eps)), where s is 1 with the sign of b[i], -0 included.
 *  @param eps  above 0 to be safe from division by zero; also used for |b[i]| if b[i] is NaN. */
ZETO_API void zeto_vf_dot_div(const float* a, const float* b, uint32_t n, float* out, float eps);

/** out[i] = x[i] + s. @return x. */
ZETO_API const float* zeto_vf_add_scalar(const float* x, uint32_t n, float* out, float s);

/** out[i] = x[i] s. @return x. */
ZETO_API const float* zeto_vf_mult_scalar(const float* x, uint32_t n, float* out, float s);

/** Clamps from above: out[i] = min(x[i], limit); a NaN becomes the limit. @return x. */
ZETO_API const float* zeto_vf_maxim_limit(const float* x, uint32_t n, float* out, float limit);

/** Clamps from below: out[i] = max(x[i], limit); a NaN becomes the limit. @return x. */
ZETO_API const float* zeto_vf_minim_limit(const float* x, uint32_t n, float* out, float limit);

/** Power to dB: out[i] = 10 log10f(max(x[i], floor)); a NaN becomes the floor. A floor of 0 or below lets -infinity, or
 *  NaN, through. */
ZETO_API void zeto_vf_10log10(const float* x, uint32_t n, float* out, float floor);

/** x[i] = v. @return x. */
ZETO_API float* zeto_vf_fill(float* x, uint32_t n, float v);

/** Moves n floats: dst ends up with what src held, however they overlap. */
ZETO_API void zeto_vf_copy(const float* src, uint32_t n, float* dst);

/** Moves the first len - k elements of buf up by k and copies k new ones in front.
 *  @param k  at most len; must not be more. */
ZETO_API void zeto_vf_shift_and_insert_start(float* buf, const float* new_samples, int32_t len, uint32_t k);

/** Drops the first k elements of buf, moves the rest down and copies k new ones behind.
 *  @param k  at most len; must not be more. */
ZETO_API void zeto_vf_shift_and_insert_end(float* buf, const float* new_samples, uint32_t len, uint32_t k);
/** @} */

/** @name Sliding windows
 *  Cuts a stream into overlapping windowed frames (zeto_window_en), or adds such frames up to a stream again
 *  (zeto_window_de, zeto_window_de2). A state serves one stream in one direction. With a null pointer any call does
 *  nothing, and those that return a number return 0.
 *  @{ */

/** The caller's record; cleared or not, it needs zeto_window_init() or zeto_window_reinit() first. */
typedef struct zeto_window_state {
  float buf[512];      /**< the current frame, oldest sample first; or the sums that still grow */
  const float* window; /**< len gains; the caller's, not copied */
  uint32_t len;        /**< samples of a frame; must not exceed 512 (not checked) */
  uint32_t hop;        /**< samples from frame to frame; must not exceed len (not checked by reinit) */
} zeto_window_state;

/** Starts a stream. Refused, with the state as it was, unless len is above hop and hop is not 0.
 *  @param window  len gains, kept by reference; for example a table of zeto/tables.h. */
ZETO_API void zeto_window_init(zeto_window_state* state, const float* window, uint32_t len, uint32_t hop);

/** Starts a stream with any values. A null window turns zeto_window_en() and zeto_window_de() off. */
ZETO_API void zeto_window_reinit(zeto_window_state* state, const float* window, uint32_t len, uint32_t hop);

/** Does nothing: a state holds nothing to release. */
ZETO_API void zeto_window_destroy(zeto_window_state* state);

/** Takes hop new samples and returns the windowed frame of the latest len ones.
 *  @param in   hop samples.
 *  @param out  len samples, outside the state. */
ZETO_API void zeto_window_en(zeto_window_state* state, const float* in, float* out);

/** Windows a frame, adds it to the sums and returns the hop samples that are complete.
 *  @param in   len samples.
 *  @param out  hop samples, outside the state. */
ZETO_API void zeto_window_de(zeto_window_state* state, const float* in, float* out);

/** The same without the window. */
ZETO_API void zeto_window_de2(zeto_window_state* state, const float* in, float* out);

/** Factor from a bin's magnitude in a windowed spectrum to an amplitude relative to full scale.
 *  @return 2 / max(sum of the window, the smallest normal float). */
ZETO_API float zeto_window_To0dBFs(const float* window, uint32_t len);

/** Mean power of a window in dB. @return 10 log10f(energy / len); -infinity for zeros, NaN for len = 0. */
ZETO_API float zeto_window_cali_db(const float* window, uint32_t len);
/** @} */

/** @name Frames
 *  A frame describes up to four channels, each an array of its own, of 16-bit or float samples; the frame does not say
 *  which. On bad input, builders return the empty frame, all zero.
 *
 *  Copy and conversions process as many channels as the destination has, from channel 0 on. Both frames need 1 to 4
 *  channels, none of them null, and the same size, not 0; the destination must not have more channels than the source.
 *  Otherwise they print one line with the counts to standard error (0 for those of a null frame) and do nothing else.
 *  Source and destination samples must not overlap, except in zeto_frame_float_copy_to_float().
 *
 *  The interleave helpers do nothing, silently, on a frame that is null or not as above, and if the buffer is channel 0
 *  itself. Otherwise the buffer is not checked. It holds size times num samples, must not overlap the channels, and has
 *  sample t of channel c at t num + c.
 *  @{ */

/** Passed around by value; owns nothing. */
typedef struct zeto_frame {
  void* ch[4];   /**< start of each channel's samples, null from num on */
  uint32_t num;  /**< channels, 1 to 4; 0: the empty frame */
  uint32_t size; /**< samples per channel */
} zeto_frame;

/** A frame over channels stored one after another.
 *  @param base  num times size samples; null gives the empty frame.
 *  @param num   channels; 0 and above 4 give the empty frame.
 *  @param size  samples per channel; 0 gives the empty frame. A negative one is taken as its 32 bits, unsigned, and the
 *               channels' offsets wrap at 32 bits. */
ZETO_API zeto_frame zeto_frame_short_load(int16_t* base, uint32_t num, int32_t size);

/** The same over float samples. */
ZETO_API zeto_frame zeto_frame_float_load(float* base, uint32_t num, int32_t size);

/** A part of a frame of 16-bit samples, over the same memory.
 *  @param frame   null, or with more than 4 channels, gives the empty frame.
 *  @param offset  samples to skip; beyond the frame's size: the empty frame.
 *  @param length  samples wanted; the size becomes as many of them as the frame has, which may be 0. */
ZETO_API zeto_frame zeto_frame_short_offside(const zeto_frame* frame, uint32_t offset, uint32_t length);

/** Copies float samples. */
ZETO_API void zeto_frame_float_copy_to_float(const zeto_frame* source, const zeto_frame* destination);

/** 16-bit samples to float samples in [-1, 1): times 1/32768. */
ZETO_API void zeto_frame_short_convert_to_float(const zeto_frame* source, const zeto_frame* destination);

/** Float samples to 16-bit samples, without scaling: floats are expected in the 16-bit range, so this is not the
 *  inverse. Rounds by adding a half with the sample's sign, in single precision, and truncating. Saturates; NaN gives
 *  0. */
ZETO_API void zeto_frame_float_convert_to_short(const zeto_frame* source, const zeto_frame* destination);

/** Interleaved 16-bit samples into the frame's channels. */
ZETO_API void zeto_frame_short_copy_from_interleaved(const int16_t* interleaved, const zeto_frame* frame);

/** The frame's 16-bit channels to interleaved samples. */
ZETO_API void zeto_frame_short_copy_to_interleaved(const zeto_frame* frame, int16_t* interleaved);
/** @} */

/** @name Spectral bands and statistics
 *  Reduce the bins of a 512-point spectrum to bands and expand them again, by the band edges in zeto/tables.h. Bin 0
 *  belongs to no band: compressing ignores it, expanding sets it to 0. Pointers are not checked.
 *  @{ */

/** Means of the bins of each band. @param spectrum  257 values. @param bands  receives 48. */
ZETO_API void compress48b(const float* spectrum, float* bands);
ZETO_API void compress33b(const float* spectrum, float* bands); /**< 33 bands of 129 values */
ZETO_API void compress4b(const float* spectrum, float* bands);  /**< 4 bands of 257 values */
ZETO_API void compress2b(const float* spectrum, float* bands);  /**< 2 bands of 129 values */

/** Gives every bin its band's value, bit for bit. @param bands  48 values. @param spectrum  receives 257. */
ZETO_API void uncompress48b(const float* bands, float* spectrum);
ZETO_API void uncompress33b(const float* bands, float* spectrum); /**< 33 bands to 129 values */
ZETO_API void uncompress4b(const float* bands, float* spectrum);  /**< 4 bands to 257 values */
ZETO_API void uncompress2b(const float* bands, float* spectrum);  /**< 2 bands to 129 values */

/** Copies x to y, one by one, ascending; nothing for n below 1. */
ZETO_API void copyx2y(const float* x, float* y, int32_t n);

/** Sample standard deviation about a mean that the caller has.
 *  @return sqrt(sum of (values[i] - mean)^2 / (n - 1)), with 1 for n - 1 below 1; 0 for n below 1. */
ZETO_API float stdVec(const float* values, int32_t n, float mean);

/** Energy of a weighted vector in dB, less an offset in dB.
 *  @param n  below 2 divides by 0; from 46342 on, the divisor wraps at 32 bits.
 *  @return 10 log10f(e / (2 n (n - 1)) + 1e-15) - offset, where e is the sum of w[i] (x[i] w[i]). */
ZETO_API float energy_db_cal(const float* x, const float* w, uint32_t n, float offset);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
