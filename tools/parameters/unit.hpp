// What a measurement means: how fast the sweep rises, and the unit that follows.
#pragma once
#include <string>

#include "parameters/parameters.hpp"

namespace zeto::tool {

/// Seconds of a sweep as it is played; 0 if there is none. A sweep that starts over is taken as one of a second.
double sweep_s(const zeto_set& set);

/// Rise of what is played, Hz per second, above 0 for rising and falling sweeps; 0 if nothing is played.
double slope_hz_s(const zeto_set& set);

/// The delay that the detector sees of one: only the position within what the emitter repeats counts, after the
/// detector's delay line if that is on; and what is more than half of it late cannot be told from what comes as much
/// before its next start. NaN if nothing is played.
double folded_ms(const zeto_set& set, double delay_ms);

/// Seconds of delay that a measurement of 1 means, with this set's emitter; 0 if it means none.
double seconds_per_unit(const zeto_set& set);

/// "ms", "0.1 ms", "cm", "mm" or "Hz", to 1 %; "" if it is none of them. Centimetres are half of the sound's way.
std::string unit_of(const zeto_set& set);

}  // namespace zeto::tool
