#include "emitter/chirp.hpp"

#include <cmath>

#include "kernels/saturate.hpp"

namespace zeto {
namespace {

constexpr uint32_t kFadeIn = 99;    // samples
constexpr uint32_t kFadeOut = 200;  // samples

// 2 pi rounded to single precision. The products with it are double: the rounding of the sine's argument depends on it.
constexpr double kTwoPi = 6.2831854820251465;

double amplitude(const Sweep& s, uint32_t n) noexcept {
  if (n <= kFadeIn) return s.gain_in * n;
  if (int64_t{n} <= s.last_full) return s.slope * n + s.a0;
  return s.gain_out * (s.period_len - n);
}

// Fraction of a turn at sample n. fmod by one is exact: what is left of x when its whole part goes.
double phase(const Sweep& s, double n) noexcept {
  const double x = s.f0 * n / s.fs + 0.5 * ((s.k * n) * (n - 1.0) / s.fs);
  return std::fmod(x, 1.0);
}

// Correctly rounded: the double result rounds to the right float but for near ties that do not occur in practice. A
// math library's single-precision sine misses the last bit about once in eighty calls, and not everywhere in the same
// ones.
float sine(float x) noexcept {
  return static_cast<float>(std::sin(static_cast<double>(x)));
}

// Adding one half before truncating rounds positive values to nearest and moves negative ones toward zero.
int16_t to_pcm16(double value) noexcept {
  const float y = static_cast<float>(value * 32768.0) + 0.5f;
  if (y > 32767.0f) return 32767;
  if (y < -32768.0f) return -32768;
  return static_cast<int16_t>(saturate_int32(y));
}

}  // namespace

Sweep make_sweep(const zeto_rx_state& state) noexcept {
  Sweep s;
  s.fs = state.sample_rate;
  const double df = s.fs / state.fft_len * 0.125;
  const float a0 = static_cast<float>(state.amp_start_milli) / 1000.0f;
  const float a1 = static_cast<float>(state.amp_end_milli) / 1000.0f;
  const int32_t steps = saturate_int32(state.span_hz / df);
  const double period = s.fs * state.period_s;
  const uint32_t frames = frames_per_period(state);

  s.f0 = df * std::round(state.start_hz / df);
  s.k = df * steps / period;
  s.a0 = static_cast<double>(a0);
  s.slope = static_cast<double>(a1 - a0) / period;
  s.period_len = static_cast<double>(state.frame_len) * frames;
  s.last_full = static_cast<int32_t>(static_cast<uint32_t>(state.frame_len) * frames - kFadeOut);
  s.gain_in = (s.slope * 100.0 + s.a0) / 100.0;
  s.gain_out = (s.slope * s.last_full + s.a0) / 200.0;
  return s;
}

void write_chirp(const Sweep& sweep, uint32_t first, int32_t count, int16_t* out) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t n = first + static_cast<uint32_t>(i);
    const double turn = phase(sweep, n);
    out[i] = to_pcm16(amplitude(sweep, n) * static_cast<double>(sine(static_cast<float>(turn * kTwoPi))));
  }
}

}  // namespace zeto
