#include "bench/peers.hpp"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "bench/subjects.hpp"
#include "zeto/tables.h"

namespace bench {
namespace {

constexpr int kLength = int(kFft);

fftwf_complex* as_complex(float* spectrum) {
  return reinterpret_cast<fftwf_complex*>(spectrum);
}

iirfilt_rrrf make_filter(const double* b, const double* a) {
  float numerator[11], denominator[11];
  std::copy(b, b + 11, numerator);
  std::copy(a, a + 11, denominator);
  return iirfilt_rrrf_create(numerator, 11, denominator, 11);
}

float* not_const(const float* p) {
  return const_cast<float*>(p);  // for interfaces that do not say that they only read
}

}  // namespace

Fftw::Fftw() {
  float* in = fftwf_alloc_real(kWindow);
  float* out = fftwf_alloc_real(kSegments * kSpectrum);
  one_ = fftwf_plan_dft_r2c_1d(kLength, in, as_complex(out), FFTW_MEASURE | FFTW_PRESERVE_INPUT);
  // The six phases of a stretch; where they begin is a multiple of 16 bytes.
  stretch_ = fftwf_plan_many_dft_r2c(1, &kLength, int(kDecimation), in, nullptr, int(kDecimation), 1, as_complex(out),
                                     nullptr, 1, int(kSpectrum / 2), FFTW_MEASURE | FFTW_PRESERVE_INPUT);
  fftwf_free(in);
  fftwf_free(out);
}
Fftw::~Fftw() {
  fftwf_destroy_plan(one_);
  fftwf_destroy_plan(stretch_);
}
void Fftw::one(const float* samples, float* spectrum) const {
  fftwf_execute_dft_r2c(one_, not_const(samples), as_complex(spectrum));
}
void Fftw::all(const float* mixed, float* spectra) const {
  for (size_t i = 0; i < kSegments; i += kDecimation)
    fftwf_execute_dft_r2c(stretch_, not_const(mixed + segment_start(i)), as_complex(spectra + i * kSpectrum));
}

Kiss::Kiss() : config_(kiss_fftr_alloc(kLength, 0, nullptr, nullptr)) {}
Kiss::~Kiss() {
  kiss_fftr_free(config_);
}
void Kiss::one(const float* samples, float* spectrum) const {
  kiss_fftr(config_, samples, reinterpret_cast<kiss_fft_cpx*>(spectrum));
}
void Kiss::all(const float* mixed, float* spectra) const {
  float segment[kFft];
  for (size_t i = 0; i < kSegments; ++i) {
    for (size_t t = 0; t < kFft; ++t) segment[t] = mixed[segment_start(i) + kDecimation * t] * 6.0f;
    one(segment, spectra + i * kSpectrum);
  }
}

LiquidFilters::LiquidFilters()
    : high_a_(make_filter(b_Hp_Ultra, a_Hp_Ultra)),
      high_b_(make_filter(b_Hp_Ultra, a_Hp_Ultra)),
      low_(make_filter(b_Lp_Ultra, a_Lp_Ultra)) {}
LiquidFilters::~LiquidFilters() {
  for (iirfilt_rrrf filter : {high_a_, high_b_, low_}) iirfilt_rrrf_destroy(filter);
}
void LiquidFilters::filter_and_mix(float* a, float* b, float* mixed) {
  iirfilt_rrrf_execute_block(high_a_, a, kWindow, a);
  iirfilt_rrrf_execute_block(high_b_, b, kWindow, b);
  for (size_t i = 0; i < kWindow; ++i) mixed[i] = a[i] * b[i] * gain_;
  iirfilt_rrrf_execute_block(low_, mixed, kWindow, mixed);
}

LiquidChirp::LiquidChirp() : nco_(nco_crcf_create(LIQUID_NCO)) {}
LiquidChirp::~LiquidChirp() {
  nco_crcf_destroy(nco_);
}
void LiquidChirp::block(int16_t* out) {
  constexpr float kTwoPi = 6.2831853f;
  constexpr float kStart = 19605.46875f / 48000, kRise = 3996.09375f / 48000 / 48000;  // on the library's grid
  const float first = float(block_ * kBlock) + 1;
  if (block_ == 0) nco_crcf_set_phase(nco_, kTwoPi * kStart);
  nco_crcf_set_frequency(nco_, kTwoPi * (kStart + kRise * first));  // else the steps' rounding adds up
  const float gain = 32768 * (0.01f + 0.15f / 48000 * first);
  for (size_t i = 0; i < kBlock; ++i) {
    const float y = (gain + 32768 * 0.15f / 48000 * float(i)) * nco_crcf_sin(nco_);
    out[i] = int16_t(std::clamp(y, -32768.0f, 32767.0f));
    nco_crcf_step(nco_);
    nco_crcf_adjust_frequency(nco_, kTwoPi * kRise);
  }
  block_ = (block_ + 1) % 100;
}

PeerCore::PeerCore() : a_(kWindow), b_(kWindow), mixed_(kWindow), spectra_(kSegments * kSpectrum) {}

void PeerCore::block(const int16_t* in1, const int16_t* in2, int16_t* out) {
  for (size_t i = 0; i < kBlock; ++i) {
    a_[filled_ + i] = float(in1[i]) / 32768.0f;
    b_[filled_ + i] = float(in2[i]) / 32768.0f;
  }
  filled_ = (filled_ + kBlock) % kWindow;
  if (filled_ == 0) result_ = analyse();
  std::fill(out, out + kBlock, int16_t(result_));
}

// As the library: the beat as a share of the sweep's width, in thousandths, smoothed, or -1000.
float PeerCore::analyse() {
  filters_.filter_and_mix(a_.data(), b_.data(), mixed_.data());
  fftw_.all(mixed_.data(), spectra_.data());
  std::vector<float> positions;
  for (size_t i = 0; i < kSegments; ++i) {
    const float* spectrum = &spectra_[i * kSpectrum];
    float power[kFft / 2 + 1];
    for (size_t bin = 0; bin <= kFft / 2; ++bin) {
      const float re = 6 * spectrum[2 * bin], im = 6 * spectrum[2 * bin + 1];
      power[bin] = re * re + im * im;
    }
    const float* strongest = std::max_element(power + 1, power + kFft / 2 + 1);
    if (10 * std::log10(*strongest) > float(kSensing[3])) positions.push_back(float(strongest - power) * 8000 / kFft);
  }
  std::sort(positions.begin(), positions.end());
  if (positions.size() < kSegments || positions.back() - positions.front() > 2 * 186) return -1000;
  const float middle = positions[kSegments / 2], width = 3993;
  return 0.3f * result_ + 0.7f * 1000 * std::min(middle, width - middle) / width;
}

}  // namespace bench
