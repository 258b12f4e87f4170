/** @file
 *  Constant tables: analysis and synthesis windows, overlap gains, filter coefficients, band edges. Hosts do not need
 *  them; the detector uses the filters. Their names, most without the zeto_ prefix, are fixed by the interface.
 *
 *  All are read-only objects, aligned to their element only. Windows are dimensionless gains, 0 to 1, stored in single
 *  precision; index i counts samples from the oldest of a frame. Names with two numbers belong to a frame length and a
 *  hop, both in samples. I0 is the modified Bessel function of order 0.
 */
#ifndef ZETO_TABLES_H
#define ZETO_TABLES_H

#include <stdint.h>

#ifndef ZETO_API
#define ZETO_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Analysis window, Hann without its zero end points: 0.5 (1 - cos(2 pi (i + 1) / 513)). Adds up to 256.5. */
ZETO_API extern const float KT_Hann512[512];

/** Analysis window, Hann without its zero end points: 0.5 (1 - cos(2 pi (i + 1) / 257)). Adds up to 128.5. */
ZETO_API extern const float KT_Hann256[256];

/** Gain that makes overlap-add of frames weighted by KT_Hann256 flat at hop 80, by position within the hop:
 *  1 / (sum over k of KT_Hann256[n + 80 k]). */
ZETO_API extern const float KT_FixFactorHann256_80[80];

/** The same for frames of 512 at hop 160. These frames are weighted by a Hann window with zero end points,
 *  h[j] = 0.5 (1 - cos(2 pi j / 511)), and start 16 samples late: 1 / (sum over k of h[n + 16 + 160 k]). */
ZETO_API extern const float KT_FixFactorHann512_160[160];

/** Analysis window, Kaiser with beta 4.7: I0(4.7 sqrt(1 - (2i/511 - 1)^2)) / I0(4.7). */
ZETO_API extern const float Kaiser470_A_512_160[512];

/** Synthesis window for Kaiser470_A_512_160, not symmetric: symetric_sqrt_w512[i]^2 / Kaiser470_A_512_160[i]. The
 * products of the pair, added at hop 160, are 1 everywhere. */
ZETO_API extern const float Kaiser470_S_512_160[512];

/** Analysis window of 256, Kaiser with beta 4.7: I0(4.7 sqrt(1 - (2i/255 - 1)^2)) / I0(4.7); zero from 256 on. */
ZETO_API extern const float Kaiser470_A_256_80[512];

/** Synthesis window of 256 for Kaiser470_A_256_80: symetric_sqrt_w256[i]^2 / Kaiser470_A_256_80[i]; zero from 256 on.
 * The products of the pair, added at hop 80, are 1 everywhere. */
ZETO_API extern const float Kaiser470_S_256_80[512];

/** Window for both analysis and synthesis at hop 160; its squares, added at that hop, are 1 everywhere.
 *  sqrt((c(i - 160) - c(i)) / 2) with c(t) = cos(pi clamp(t, 0, 352) / 352): entry 0 is 0, the rest symmetric about
 *  256. */
ZETO_API extern const float symetric_sqrt_w512[512];

/** Window for both analysis and synthesis at hop 80: every second entry of symetric_sqrt_w512. */
ZETO_API extern const float symetric_sqrt_w256[256];

/** Filters of order 10 for 48000 Hz, Butterworth, coefficients of z^0 to z^-10 in double precision:
 *  y[n] = sum over k of b[k] x[n - k] - sum over k from 1 of a[k] y[n - k]. High-pass, -3 dB at 18000 Hz: numerator b0
 *  (1 - z^-1)^10, rounded to single precision, as the denominator is. */
ZETO_API extern const double b_Hp_Ultra[11];
ZETO_API extern const double a_Hp_Ultra[11]; /**< denominator of b_Hp_Ultra */

/** Low-pass, -3 dB at 4000 Hz, see b_Hp_Ultra: numerator b0 (1 + z^-1)^10. */
ZETO_API extern const double b_Lp_Ultra[11];
ZETO_API extern const double a_Lp_Ultra[11]; /**< denominator of b_Lp_Ultra */

/** Band edges over the bins of a 512-point spectrum, ascending: band i holds the bins from edge[i] + 1 up to and
 * including edge[i + 1]. Bin 0 belongs to no band. This one: 48 bands, 1 to 10 bins wide, up to bin 256. */
ZETO_API extern const int32_t KT_band48b[49];
ZETO_API extern const int32_t KT_band33b[34]; /**< 33 bands up to bin 128, see KT_band48b */
ZETO_API extern const int32_t band4b[5];      /**< 4 bands up to bin 256, see KT_band48b */
ZETO_API extern const int32_t band2b[5]; /**< 2 bands up to bin 128, see KT_band48b; the last two entries are unused */

#ifdef __cplusplus
}
#endif

#endif
