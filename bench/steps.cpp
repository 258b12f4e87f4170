// The rows of single steps. Subjects that work in place get their input anew before each round.
#include <cmath>
#include <memory>

#include "bench/peers.hpp"
#include "bench/rounds.hpp"
#include "bench/rows.hpp"
#include "bench/subjects.hpp"
#include "plain/chirp.hpp"
#include "plain/detector.hpp"
#include "plain/transform.hpp"
#include "zeto/tables.h"

namespace bench {
namespace {

using Floats = std::vector<float>;

// At multiples of 64 bytes, as the peers like it.
class Aligned {
 public:
  explicit Aligned(size_t n) : data_(static_cast<float*>(std::aligned_alloc(64, n * sizeof(float)))) {
    std::fill(data_.get(), data_.get() + n, 0.0f);
  }
  float* get() const { return data_.get(); }

 private:
  std::unique_ptr<float, Free> data_;
};

// As a block comes to the filters.
Floats in_16_bits(const Floats& signal) {
  Floats rounded(signal);
  for (float& v : rounded) v = std::round(v * 32768.0f) / 32768.0f;
  return rounded;
}

// The filtered product of the captured inputs.
Floats beat() {
  Floats mixed(kWindow);
  LibraryDetector detector;
  const Floats a = in_16_bits(capture(0)), b = in_16_bits(capture(1));
  for (size_t i = 0; i < 2; ++i) {  // the first window has the filters' start in it
    detector.filter_and_mix(&a[i * kWindow], &b[i * kWindow], mixed.data());
  }
  return mixed;
}

void gather(const float* mixed, size_t segment, float* samples) {
  for (size_t t = 0; t < kFft; ++t) samples[t] = mixed[segment_start(segment) + kDecimation * t] * 6.0f;
}

void plain_transforms(plain::Transform& transform, const float* mixed, float* spectra) {
  for (size_t i = 0; i < kSegments; ++i) {
    gather(mixed, i, spectra + i * kSpectrum);
    transform.forward(spectra + i * kSpectrum);
  }
}

Row one_transform() {
  struct Setting {
    Aligned samples{kSegments * kSpectrum}, buffers{kSegments * kSpectrum};
    zeto_drft_lookup lookup = {};
    plain::Transform plain{int(kFft)};
    Fftw fftw;
    Kiss kiss;
  };
  const auto s = std::make_shared<Setting>();
  zeto_fft_init(&s->lookup, int(kFft));
  const Floats mixed = beat();
  for (size_t i = 0; i < kSegments; ++i) gather(mixed.data(), i, s->samples.get() + i * kSpectrum);

  const auto buffer = [s](size_t i) { return s->buffers.get() + i * kSpectrum; };
  const auto refill = [s] { std::copy(s->samples.get(), s->samples.get() + kSegments * kSpectrum, s->buffers.get()); };
  const auto sample = [s](size_t i) { return s->samples.get() + i * kSpectrum; };
  // Eight of them, and where they come from, stay in the first-level cache.
  return {1,
          8,
          {{"library", [=](size_t i) { zeto_rfft_float(&s->lookup, buffer(i)); }, refill},
           {"plain", [=](size_t i) { s->plain.forward(buffer(i)); }, refill, 2.0},
           {"FFTW", [=](size_t i) { s->fftw.one(sample(i), buffer(i)); }, refill, 0.6},
           {"KissFFT", [=](size_t i) { s->kiss.one(sample(i), buffer(i)); }, refill}}};
}

Row all_transforms() {
  struct Setting {
    Aligned mixed{kWindow}, spectra{kSegments * kSpectrum};
    LibraryDetector library;
    plain::Transform plain{int(kFft)};
    Fftw fftw;
    Kiss kiss;
  };
  const auto s = std::make_shared<Setting>();
  const Floats mixed = beat();
  std::copy(mixed.begin(), mixed.end(), s->mixed.get());
  float* const from = s->mixed.get();
  float* const to = s->spectra.get();
  return {1,
          4,
          {{"library", [=](size_t) { s->library.transform(from); }},
           {"plain", [=](size_t) { plain_transforms(s->plain, from, to); }, [] {}, 2.6},
           {"FFTW", [=](size_t) { s->fftw.all(from, to); }},
           {"KissFFT", [=](size_t) { s->kiss.all(from, to); }}}};
}

Row levels_and_maxima() {
  struct Setting {
    Floats spectra = Floats(kSegments * kSpectrum);
    LibraryDetector library;
    plain::Peak peaks[kSegments];
  };
  const auto s = std::make_shared<Setting>();
  plain::Transform transform{int(kFft)};
  const Floats mixed = beat();
  plain_transforms(transform, mixed.data(), s->spectra.data());
  s->library.transform(mixed.data());
  const auto plain_peaks = [s](size_t) {
    for (size_t i = 0; i < kSegments; ++i) s->peaks[i] = plain::peak_of(&s->spectra[i * kSpectrum]);
  };
  return {1, 4, {{"library", [=](size_t) { s->library.find_peaks(); }}, {"plain", plain_peaks, [] {}, 18}}};
}

Row filters_and_product() {
  struct Setting {
    const Floats a = in_16_bits(capture(0)), b = in_16_bits(capture(1));  // the first window, again and again
    Floats window_a, window_b, mixed = Floats(kWindow);
    LibraryDetector library;
    plain::Filter high_a{b_Hp_Ultra, a_Hp_Ultra}, high_b{b_Hp_Ultra, a_Hp_Ultra}, low{b_Lp_Ultra, a_Lp_Ultra};
    float gain = 1;
    LiquidFilters liquid;

    void refill() {
      window_a.assign(a.data(), a.data() + kWindow);
      window_b.assign(b.data(), b.data() + kWindow);
    }
    void filter_plainly() {
      for (float& v : window_a) v = high_a.step(v);
      for (float& v : window_b) v = high_b.step(v);
      for (size_t i = 0; i < kWindow; ++i) mixed[i] = low.step(window_a[i] * window_b[i] * gain);
    }
  };
  const auto s = std::make_shared<Setting>();
  const auto refill = [s] { s->refill(); };
  return {
      1,
      1,
      {{"library", [=](size_t) { s->library.filter_and_mix(s->a.data(), s->b.data(), s->mixed.data()); }},
       {"plain", [=](size_t) { s->filter_plainly(); }, refill, 4.2},
       {"liquid-dsp",
        [=](size_t) { s->liquid.filter_and_mix(s->window_a.data(), s->window_b.data(), s->mixed.data()); }, refill}}};
}

// A round is a whole period, with both fades.
Row chirp_block() {
  struct Setting {
    std::unique_ptr<zeto_rx_state, Free> library{
        static_cast<zeto_rx_state*>(std::calloc(1, cal_zeto_rx_struct_malloc_size()))};
    plain::Chirp plain;
    LiquidChirp liquid;
    int16_t out[kBlock];
  };
  const auto s = std::make_shared<Setting>();
  zeto_rx_init(s->library.get());
  zeto_rx_set_param(s->library.get(), &kSweep);
  s->plain.set(kSweep);
  return {10,
          10,
          {{"library", [=](size_t) { zeto_rx_process(s->library.get(), s->out, kBlock); }},
           {"plain", [=](size_t) { s->plain.process(s->out, kBlock); }},
           {"liquid-dsp", [=](size_t) { s->liquid.block(s->out); }}}};
}

}  // namespace

void add_steps() {
  add_row("one 512-point transform", one_transform);
  add_row("18 transforms", all_transforms);
  add_row("levels and maxima of 18 spectra", levels_and_maxima);
  add_row("three filters and product, 9600 samples", filters_and_product);
  add_row("chirp, one block", chirp_block);
}

}  // namespace bench
