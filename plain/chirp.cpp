#include "plain/chirp.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace plain {
namespace {

int16_t to_block(double v) {
  return int16_t(std::clamp(saturated(double(float(v * 32768.0) + 0.5f)), -32768, 32767));
}

}  // namespace

float sine(float x) {
  return float(std::sin(double(x)));
}

void Chirp::set(const zeto_rx_param& param) {
  start_hz = param.start_hz;
  span_hz = param.span_hz;
  amp_start_milli = param.amp_start_milli;
  amp_end_milli = param.amp_end_milli;
  period_s = param.period_ms / 1000;
  enable = param.enable;
}

void Chirp::restart(uint32_t rate) {
  fft_len = 512;
  frame_len = 480;
  sample_rate = rate;
  frame_count = 0;
}

void Chirp::process(int16_t* out, int32_t count) {
  for (int64_t produced = 0; produced < count; produced += frame_len) frame(out + produced);
}

void Chirp::frame(int16_t* out) {
  if (enable != 1) {
    std::memset(out, 0, size_t(frame_len) * sizeof *out);
    return;
  }
  const uint32_t c = frame_count++;
  const double fs = sample_rate;
  const double df = fs / fft_len * 0.125;
  const double f0 = df * std::round(start_hz / df);
  const float a0 = float(amp_start_milli) / 1000.0f;
  const float a1 = float(amp_end_milli) / 1000.0f;
  const int32_t steps = saturated(span_hz / df);
  const double T = fs * period_s;
  const double slope = double(a1 - a0) / T;
  const uint32_t P = uint32_t(period_s) * 100u;
  const double k = df * steps / T;
  const double gain_in = (slope * 100.0 + double(a0)) / 100.0;
  const double period = double(frame_len) * P;                // samples
  const int32_t S = int32_t(uint32_t(frame_len) * P - 200u);  // counted in 32 bits, which wrap
  const double gain_out = (slope * S + double(a0)) / 200.0;
  const uint32_t base = (P == 0 ? c : c % P) * uint32_t(frame_len);
  for (uint32_t i = 1; i <= uint32_t(frame_len); ++i) {
    const uint32_t n = base + i;
    const double dn = n;
    const double x = f0 * dn / fs + 0.5 * ((k * dn) * (dn - 1.0) / fs);
    const double phase = std::fmod(x, 1.0);
    double amp;
    if (n <= 99) {
      amp = gain_in * dn;
    } else if (int64_t{n} <= int64_t{S}) {
      amp = slope * dn + double(a0);
    } else {
      amp = gain_out * (period - dn);
    }
    out[i - 1] = to_block(amp * double(sine(float(phase * 6.2831854820251465))));
  }
}

}  // namespace plain
