#include "emitter/chirp.hpp"

#include <math.h>

#include "emitter/sine.hpp"
#include "kernels/lanes.hpp"
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

// A position within the period in turns, from the sample's number as one double or as a lane of several.
template <typename V>
V turns(const Sweep& s, V n) noexcept {
  return s.f0 * n / s.fs + 0.5 * ((s.k * n) * (n - 1.0) / s.fs);
}

double sine_of_turn(double turn) noexcept {
  return sine(f64x2{} + static_cast<double>(static_cast<float>(turn * kTwoPi)))[0];
}

// Adding one half before truncating rounds positive values to nearest and moves negative ones toward zero.
int16_t to_pcm16(double value) noexcept {
  const float y = static_cast<float>(value * 32768.0) + 0.5f;
  if (y > 32767.0f) return 32767;
  if (y < -32768.0f) return -32768;
  return static_cast<int16_t>(saturate_int32(y));
}

// Any sweep, any samples.
void write_one_by_one(const Sweep& s, uint32_t first, int32_t count, int16_t* out) noexcept {
  for (int32_t i = 0; i < count; ++i) {
    const uint32_t n = first + static_cast<uint32_t>(i);
    const double turn = fmod(turns(s, static_cast<double>(n)), 1.0);
    out[i] = to_pcm16(amplitude(s, n) * sine_of_turn(turn));
  }
}

// True if samples first .. first + count - 1 do not wrap, turns keep a fraction that rounding by addition can split
// off, and amplitudes stay finite. False for parameters that make anything infinite or undefined.
bool is_ordinary(const Sweep& s, uint32_t first, int32_t count) noexcept {
  const double last = static_cast<double>(first) + count;
  const double most_turns = fabs(s.f0) * last / s.fs + fabs(s.k) * last * last / s.fs;
  const double most_amplitude =
      fabs(s.slope) * last + fabs(s.a0) + fabs(s.gain_in) * kFadeIn + fabs(s.gain_out) * (fabs(s.period_len) + last);
  const bool rises = s.f0 >= 0.0 && s.f0 + 0.5 * s.k * last >= 0.0;
  return last < 4294967296.0 && rises && most_turns < 1e12 && most_amplitude < 1e12;
}

// What fmod by one leaves of turns from 0 to 2^51: the difference to the nearest whole number is exact, and so is going
// back to the one below.
f64x2 fraction(f64x2 x) noexcept {
  constexpr double kRounder = 6755399441055744.0;  // 1.5 * 2^52
  const f64x2 rest = x - ((x + kRounder) - kRounder);
  return rest + f64_of((rest < 0.0) & bits_of(f64x2{1.0, 1.0}));
}

i16x4 to_pcm16(f64x2 first, f64x2 second) noexcept {
  const f32x4 low = to_low_floats(first * 32768.0), high = to_low_floats(second * 32768.0);
  return saturate_int16(__builtin_shufflevector(low, high, 0, 1, 4, 5) + 0.5f);
}

// The same, two samples in a vector. Short loops over a few samples, one step each, keep the processor busier than one
// long loop: more samples are on their way at a time.
// @param count  samples, a multiple of 4.
void write_by_lanes(const Sweep& s, uint32_t first, int32_t count, int16_t* out) noexcept {
  constexpr int32_t kRun = 32;
  f64x2 value[kRun / 2];
  for (int32_t at = 0; at < count; at += kRun) {
    const uint32_t start = first + static_cast<uint32_t>(at);
    const int32_t pairs = (count - at < kRun ? count - at : kRun) / 2;
    const f64x2 numbers = {static_cast<double>(start), static_cast<double>(start) + 1.0};

    f64x2 n = numbers;
    for (int32_t i = 0; i < pairs; ++i, n += 2.0) value[i] = through_float(fraction(turns(s, n)) * kTwoPi);
    for (int32_t i = 0; i < pairs; ++i) value[i] = sine(value[i]);

    const uint32_t last = start + static_cast<uint32_t>(2 * pairs) - 1u;
    if (start > kFadeIn && int64_t{last} <= s.last_full) {
      n = numbers;
      for (int32_t i = 0; i < pairs; ++i, n += 2.0) value[i] = (s.slope * n + s.a0) * value[i];
    } else {
      for (int32_t i = 0; i < pairs; ++i) {
        const uint32_t number = start + static_cast<uint32_t>(2 * i);
        value[i] = f64x2{amplitude(s, number), amplitude(s, number + 1)} * value[i];
      }
    }
    for (int32_t i = 0; i < pairs; i += 2) store(to_pcm16(value[i], value[i + 1]), out + at + 2 * i);
  }
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

  s.f0 = df * round(state.start_hz / df);
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
  const int32_t by_lanes = is_ordinary(sweep, first, count) ? count - count % 4 : 0;
  write_by_lanes(sweep, first, by_lanes, out);
  write_one_by_one(sweep, first + static_cast<uint32_t>(by_lanes), count - by_lanes, out + by_lanes);
}

}  // namespace zeto
