// Filters of a given gain, without delay: their taps lie symmetrically around the present.
#pragma once
#include "path/fourier.hpp"

namespace zeto::tool {

/// What phones do above hearing: -1 dB at 18 kHz, -3 at 19, -6 at 20, -9 at 21, -15 at 22, -22 at 23, -40 at 24,
/// straight lines in dB between them, and 0 dB up to 17 kHz.
Filter phone_response();

/// Makes pink noise of white noise: 3 dB less per octave from 20 Hz on, and the same power in all.
Filter pinking();

}  // namespace zeto::tool
