/** @file
 *  Fourier transform of 1 to 512 real samples, any length, single precision, in place. Hosts do not need it: it is the
 *  detector's, exported. Its names, some without the zeto_ prefix, are fixed by the interface. Typical use:
 *  zeto_fft_init() once, then zeto_rfft_float() on 512 samples in a buffer of 514 floats.
 *
 *  Spectrum order ("packed", n floats), with X_k = sum over j of x_j exp(-2 pi i j k / n), no scaling: [0] Re X_0;
 *  [2k-1] Re X_k and [2k] Im X_k for k = 1 .. (n-1)/2;  [n-1] Re X_(n/2), for even n only. "Interleaved" order (n + 2
 *  floats, n even): [2k] Re X_k and [2k+1] Im X_k for k = 0 .. n/2.
 *
 *  Ownership: the caller owns the lookup record and all data; nothing is allocated or kept elsewhere. A record may be
 *  copied byte by byte.
 *
 *  Bad input: pointers are not checked. With a length below 1, init, reinit and fdrffti() return at once and write
 *  nothing. With a length above 512, init and reinit print one line to standard error. NaN and infinities go through
 *  the arithmetic like any number.
 *
 *  Threads: every transform writes the record's scratch area, so one record serves one thread at a time; separate
 *  records are independent.
 *
 *  Real time: no system call, lock or allocation, except for that error line. A transform costs about n times the sum
 *  of the factors of n operations: lengths with a large prime factor are slow, and less accurate.
 */
#ifndef ZETO_FFT_H
#define ZETO_FFT_H

#include <stddef.h>
#include <stdint.h>

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

/** Largest transform length of a record. */
#define ZETO_FFT_LEN_MAX 512

#ifdef __cplusplus
extern "C" {
#endif

/** Tables and scratch of one transform length. 6276 bytes, all zero before the first init (a zeroed record is an empty
 *  one: its transforms do nothing). */
typedef struct zeto_drft_lookup {
  float trig[3 * ZETO_FFT_LEN_MAX]; /**< [0, n) scratch of the transforms; [n, 3n) twiddles; the rest as init left it */
  int32_t factors[32]; /**< n, number of factors, then the factors, in the order of the backward transform */
  int32_t n;           /**< transform length */
} zeto_drft_lookup;

/** Clears the record and prepares it for `n` points.
 *  @param n  1..512; above: one error line, then as 512. */
ZETO_API void zeto_drft_init(zeto_drft_lookup* lookup, int32_t n);

/** Prepares a record for `n` points without clearing it. Up to 512 the transforms are those of init.
 *  @param n  513 and above: one error line, and the stored length is 512. Up to 768, for which the record has room, the
 *            tables are those of the length asked for; transforms then leave their data as it is, until init or reinit
 *            with a length within range. From 769 on the tables are those of 512. */
ZETO_API void zeto_drft_reinit(zeto_drft_lookup* lookup, int32_t n);

/** Does nothing: a record holds no resources. */
ZETO_API void zeto_drft_clear(void);

/** Samples to packed spectrum, unscaled. @param data  n floats, read and written; not inside the record. */
ZETO_API void zeto_drft_forward(zeto_drft_lookup* lookup, float* data);

/** Packed spectrum to samples, unscaled: after zeto_drft_forward() the samples come back times n.
 *  @param data  n floats, read and written; not inside the record. */
ZETO_API void zeto_drft_backward(zeto_drft_lookup* lookup, float* data);

/** Factorises `n` and builds the table of twiddles, the cosines and sines that the passes multiply by. For n = 1 it
 *  writes nothing. Time grows with the largest prime factor.
 *  @param trig     2n floats, of which only [n, 2n) is written, with pairs of cosine and sine.
 *  @param factors  32 words, as in the record. */
ZETO_API void fdrffti(int32_t n, float* trig, int32_t* factors);

/** @name Radix passes
 *  One step of the transform for one factor ip, as zeto_drft_forward() (f) and zeto_drft_backward() (b) apply them.
 *   ido, l1  1 or more; the arrays hold ido * ip * l1 floats each, and must not overlap each other or the twiddles.
 *   cc, ch   columns, first index fastest: forward from cc(ido, l1, ip) to ch(ido, ip, l1), backward from
 *            cc(ido, ip, l1) to ch(ido, l1, ip).
 *   wa1..    one pointer per row 1 .. ip-1, each to (ido-1)/2 pairs cos, sin; not read if ido is 1 or 2.
 * Passes for odd factors need an odd ido; the order of the factors sees to that.
 *  @{ */

/** Forward, factor 2. */
ZETO_API void dradf2(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1);
/** Forward, factor 4. */
ZETO_API void dradf4(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1, const float* wa2,
                     const float* wa3);
/** Backward, factor 2. */
ZETO_API void dradb2(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1);
/** Backward, factor 3. */
ZETO_API void dradb3(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1, const float* wa2);
/** Backward, factor 4. */
ZETO_API void dradb4(int32_t ido, int32_t l1, const float* cc, float* ch, const float* wa1, const float* wa2,
                     const float* wa3);

/** Forward pass for any odd factor. Takes its input in cc, or in ch if ido is 1, and leaves the result in cc. ch is
 *  scratch.
 *  @param ip    odd, 3 or more.
 *  @param idl1  ido * l1.
 *  @param cc    as `c1` and `c2`: the same array three times. `ch` and `ch2`: the other one, twice.
 *  @param wa    ip - 1 blocks of ido floats, each with the pairs of one row. */
ZETO_API void dradfg(int32_t ido, int32_t ip, int32_t l1, int32_t idl1, float* cc, float* c1, float* c2, float* ch,
                     float* ch2, const float* wa);

/** Backward pass for any odd factor, arguments as dradfg(). Takes its input in cc and leaves the result in cc, or in ch
 * if ido is 1. */
ZETO_API void dradbg(int32_t ido, int32_t ip, int32_t l1, int32_t idl1, float* cc, float* c1, float* c2, float* ch,
                     float* ch2, const float* wa);
/** @} */

/** @name Front-ends
 *  The pair zeto_spx_fft, zeto_spx_ifft scales in the forward transform, the pair zeto_rfft_float, zeto_irfft_float in
 *  the backward one. With either pair a round trip restores the input.
 *  @{ */

/** zeto_drft_init(). */
ZETO_API void zeto_fft_init(zeto_drft_lookup* lookup, int32_t n);
/** zeto_drft_reinit(). */
ZETO_API void zeto_fft_reinit(zeto_drft_lookup* lookup, int32_t n);
/** Does nothing, like zeto_drft_clear(). */
ZETO_API void zeto_fft_destroy(void);

/** Samples to packed spectrum, times 1/n. @param in  n floats. @param out  n floats; may be `in`. */
ZETO_API void zeto_spx_fft(zeto_drft_lookup* lookup, const float* in, float* out);

/** Packed spectrum to samples, unscaled. @param in  n floats. @param out  n floats; may be `in`. */
ZETO_API void zeto_spx_ifft(zeto_drft_lookup* lookup, const float* in, float* out);

/** Samples to interleaved spectrum, unscaled. @param buf  n + 2 floats: n samples in, n + 2 values out. */
ZETO_API void zeto_rfft_float(zeto_drft_lookup* lookup, float* buf);

/** Interleaved spectrum to samples, times 1/n; Im X_0 is ignored. @param buf  n + 2 floats: the last two come back as
 *  Im X_(n/2) / n and 0. */
ZETO_API void zeto_irfft_float(zeto_drft_lookup* lookup, float* buf);

/** @} */

/** @name Layout converters
 *  In place on `len` floats. Note that len is the interleaved length n + 2, so 3 or more; with a length below 1 they
 * would write in front of the buffer.
 *  @{ */

/** Interleaved to packed, every value times `scale`; the last float becomes 0. */
ZETO_API void zeto_freq_layout_compact_toN(float* buf, int32_t len, float scale);
/** Packed (in the first len - 2 floats) to interleaved. */
ZETO_API void zeto_freq_layout_expand_toN_plus2(float* buf, int32_t len);
/** @} */

#ifdef __cplusplus
}
#endif

#endif
