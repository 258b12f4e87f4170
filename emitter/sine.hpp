// The single-precision sine, correctly rounded, two at a time.
#pragma once

#include "kernels/lanes.hpp"

namespace zeto {

// Sines of angles up to a full turn either way, each angle a float, each result the float nearest to the true sine
// (held in double). Not a number stays so.
//
// The angle is taken to r in [-pi/2, pi/2] by whole half turns, and sin r = r + r u P(u) with u = r^2. P interpolates
// (sin r / r - 1) / u at the Chebyshev nodes of the interval; it is off by 2.1e-19 at most, far less than double
// arithmetic itself. Every float angle in the range was compared with the double sine rounded to float: no difference
// (tests/sine_check.cpp, stride 1).
inline f64x2 sine(f64x2 angle) noexcept {
  constexpr double kPerHalfTurn = 0.3183098861837907;      // 1 / pi
  constexpr double kHalfTurnHigh = 3.141592502593994;      // pi to 24 bits: its few multiples are exact
  constexpr double kHalfTurnLow = 1.5099579909783765e-07;  // the rest
  constexpr double kRounder = 6755399441055744.0;          // 1.5 * 2^52: adding it rounds to a whole number
  constexpr double kP[8] = {-0.16666666666666666,   0.008333333333333186,    -0.00019841269841208207,
                            2.755731921114858e-06,  -2.5052106882985918e-08, 1.6058940487611267e-10,
                            -7.643016120795302e-13, 2.721462224407809e-15};

  const f64x2 shifted = angle * kPerHalfTurn + kRounder;
  const f64x2 half_turns = shifted - kRounder;
  const f64x2 r = (angle - half_turns * kHalfTurnHigh) - half_turns * kHalfTurnLow;
  const f64x2 u = r * r;
  const f64x2 u2 = u * u;
  const f64x2 low = (kP[0] + kP[1] * u) + (kP[2] + kP[3] * u) * u2;
  const f64x2 high = (kP[4] + kP[5] * u) + (kP[6] + kP[7] * u) * u2;
  const f64x2 p = low + high * (u2 * u2);
  const f64x2 s = through_float(r + r * (u * p));

  // The lowest bit of the rounder's sum tells odd from even; an odd number of half turns turns the sign.
  const i64x2 sign = (bits_of(shifted) & 1) << 63;
  return f64_of(bits_of(s) ^ sign);
}

}  // namespace zeto
