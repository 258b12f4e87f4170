// What is heard from 18 to 23 kHz, as a complex signal of 6000 samples a second: an eighth of the samples to work on,
// and its phase tells delays of a hundredth of a sample.
#pragma once

#include <stddef.h>

#include "host/frame.hpp"

namespace zeto::host {

constexpr int kDecimation = 8;
constexpr int kBandBlock = kBlock / kDecimation;
constexpr int kBandFrame = kFrame / kDecimation;
constexpr double kBandRate = kSampleRate / kDecimation;  // Hz
constexpr double kBandCentre = 20500.0;                  // Hz; whole periods in a block, so each block starts alike

struct Complex {
  float re;
  float im;
};
inline float power_of(Complex z) noexcept {
  return z.re * z.re + z.im * z.im;
}
inline Complex operator+(Complex a, Complex b) noexcept {
  return {a.re + b.re, a.im + b.im};
}
inline Complex operator-(Complex a, Complex b) noexcept {
  return {a.re - b.re, a.im - b.im};
}
inline Complex operator*(Complex a, Complex b) noexcept {
  return {a.re * b.re - a.im * b.im, a.re * b.im + a.im * b.re};
}

// A run of samples of the band.
struct BandRun {
  const float* re;
  const float* im;

  BandRun from(int first) const noexcept { return {re + first, im + first}; }
};

// Room for samples of the band: a frame's, or twice a frame's, so that no run of a frame wraps.
template <size_t kLen>
struct BandBuffer {
  float re[kLen];
  float im[kLen];

  BandRun from(int first) const noexcept { return {re + first, im + first}; }
  void set(int first, BandRun run, int n) noexcept {
    for (int i = 0; i < n; ++i) {
      re[first + i] = run.re[i];
      im[first + i] = run.im[i];
    }
  }
};
using Band = BandBuffer<kBandFrame>;
using TwiceBand = BandBuffer<2 * kBandFrame>;

// Sum of conj(a) b. @param n  a multiple of 4.
Complex dot(BandRun a, BandRun b, int n) noexcept;

// Sum of the squared magnitudes. @param n  a multiple of 4.
float energy(BandRun a, int n) noexcept;

// Band-pass and decimation. 16 kHz and below is 70 dB down, so speech stays out; all signals share its delay.
class BandFilter {
 public:
  // Not for the audio thread.
  void init() noexcept;
  void restart() noexcept;
  // Takes kBlock samples.
  BandBuffer<kBandBlock> run(const float* samples) noexcept;

 private:
  static constexpr int kTaps = 96;
  static constexpr int kPast = kTaps - kDecimation;
  float re_[kTaps];  // the newest sample's tap last
  float im_[kTaps];
  float past_[kPast + kBlock];
};

}  // namespace zeto::host
