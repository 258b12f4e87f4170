/** @file
 *  Signal kernels over the caller's memory: float vectors, sliding windows, frames, spectral bands.
 *
 *  Arithmetic is single precision, one rounding per operation, in the order given: the same bits from every compiler
 * and machine (logf, expf and log10f are the platform's). Denormals count; NaNs and infinities pass through unless
 * said.
 *
 *  Ownership: the caller's, always; nothing is kept but the window that zeto_window_state points to.
 *  Threads: any, on distinct data. Real time: O(n); no allocation, lock, log or system call but the one line that the
 *  frame conversions print about bad frames.
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
 * even then. An output may be one of the inputs, or overlap one: elements are worked on one by one, in ascending order.
 *  Functions that return their first array return it as it came.
 *  Where a minimum or maximum is taken, a NaN loses to a number, and -0 counts as less than +0.
 *  @{ */

/** @return sum of a[i] b[i], one sum in ascending order; 0 for n = 0. */
ZETO_API float zeto_vf_dot_mult_get_sum(const float* a, const float* b, uint32_t n);

/** Energy. From n = 16 on, the first n rounded down to a multiple of 16 elements go into two sums, one over the even
 * and one over the odd indices; what is left is added in order to the even one.
 *  @return sum of x[i] squared: odd plus even sum, or one sum in ascending order below n = 16; 0 for n = 0. */
ZETO_API float zeto_vf_dot_power_get_sum(const float* x, uint32_t n);

/** out[i] = a[i] b[i]; note the place of the output. @param n  signed; below 1 nothing happens. @return a. */
ZETO_API const float* zeto_vf_dot_mult_vf(const float* a, const float* b, int32_t n, float* out);

/** y[i] = x[i] + (y[i] - x[i]) alpha, in place. The formula holds for every alpha: at 1, y changes where the difference
 *  rounds.
 *  @param n      signed; below 1 nothing happens.
 *  @param alpha  weight of the previous value.
 *  @return x. */
ZETO_API const float* zeto_vf_smooth(const float* x, int32_t n, float* y, float alpha);

/** The largest element, the first of equals. NaNs are passed over, but a NaN in front stays.
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
 *  @param eps  above 0 to be safe from division by zero; also stands in for a NaN of b. */
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
 *  (zeto_window_de, zeto_window_de2). One state, one direction, one stream. A null pointer makes any call do nothing,
 * and those that return a number return 0.
 *  @{ */

/** The caller's record; cleared or not, it needs zeto_window_init() or zeto_window_reinit() first. */
typedef struct zeto_window_state {
  float buf[512];      /**< the current frame, oldest sample first; or the sums still growing */
  const float* window; /**< len gains; the caller's, not copied */
  uint32_t len;        /**< samples of a frame; must not exceed 512, which nothing tests */
  uint32_t hop;        /**< samples from frame to frame; must not exceed len, which reinit does not test */
} zeto_window_state;

/** Starts a stream. Refused, with the state as it was, unless len is above hop and hop is not 0.
 *  @param window  len gains, kept by reference; for example a table of zeto/tables.h. */
ZETO_API void zeto_window_init(zeto_window_state* state, const float* window, uint32_t len, uint32_t hop);

/** Starts a stream with any values. A null window turns zeto_window_en() and zeto_window_de() off. */
ZETO_API void zeto_window_reinit(zeto_window_state* state, const float* window, uint32_t len, uint32_t hop);

/** Does nothing: a state holds nothing to release. */
ZETO_API void zeto_window_destroy(zeto_window_state* state);

/** Takes hop new samples and gives the windowed frame of the latest len ones.
 *  @param in   hop samples.
 *  @param out  len samples, apart from the state. */
ZETO_API void zeto_window_en(zeto_window_state* state, const float* in, float* out);

/** Windows a frame, adds it to the sums and gives the hop samples that are complete.
 *  @param in   len samples.
 *  @param out  hop samples, apart from the state. */
ZETO_API void zeto_window_de(zeto_window_state* state, const float* in, float* out);

/** The same without the window. */
ZETO_API void zeto_window_de2(zeto_window_state* state, const float* in, float* out);

/** Factor from a bin's magnitude in a windowed spectrum to an amplitude relative to full scale.
 *  @return 2 / max(sum of the window, the smallest normal float). */
ZETO_API float zeto_window_To0dBFs(const float* window, uint32_t len);

/** Mean power of a window in dB. @return 10 log10f(energy / len); -infinity for zeros, NaN for len = 0. */
ZETO_API float zeto_window_cali_db(const float* window, uint32_t len);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
