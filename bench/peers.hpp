// Peers: other libraries at the same work.
#pragma once

#include <fftw3.h>
#include <kiss_fftr.h>
#include <liquid/liquid.h>

#include <cstdint>
#include <vector>

#include "bench/handles.hpp"
#include "bench/subjects.hpp"

namespace bench {

// Where segment i begins in a window of beat, and the step from sample to sample.
constexpr size_t segment_start(size_t i) {
  return 384 + i / 6 * 3072 + i % 6;
}
inline constexpr size_t kDecimation = 6;

// FFTW, single precision, measured plans. It picks the widest vectors that it was built for and the machine has (AVX
// in Debian's build); the library stays with SSE2.
class Fftw {
 public:
  Fftw();
  ~Fftw();
  Fftw(const Fftw&) = delete;
  // 512 samples to 257 pairs. Both at multiples of 16 bytes.
  void one(const float* samples, float* spectrum) const;
  // A window of beat to 18 spectra kSpectrum apart: reads the segments where they lie, and leaves out the factor 6.
  void all(const float* mixed, float* spectra) const;

 private:
  fftwf_plan one_, stretch_;
};

class Kiss {
 public:
  Kiss();
  ~Kiss();
  Kiss(const Kiss&) = delete;
  void one(const float* samples, float* spectrum) const;
  void all(const float* mixed, float* spectra) const;

 private:
  kiss_fftr_cfg config_;
};

// liquid-dsp's recursive filters at the library's coefficients. Coefficients, products and sums are single precision:
// less exact work, the low-pass is 0.4 % off in amplitude.
class LiquidFilters {
 public:
  LiquidFilters();
  ~LiquidFilters();
  LiquidFilters(const LiquidFilters&) = delete;
  // Filters a window of both inputs, in place, and the product into `mixed`.
  void filter_and_mix(float* a, float* b, float* mixed);

 private:
  iirfilt_rrrf high_a_, high_b_, low_;
  float gain_ = 1;
};

// liquid-dsp's oscillator as a sweep. Sines from a table, up to 0.003 off; phase and its steps in single precision; no
// fades.
class LiquidChirp {
 public:
  LiquidChirp();
  ~LiquidChirp();
  LiquidChirp(const LiquidChirp&) = delete;
  void block(int16_t* out);

 private:
  nco_crcf nco_;
  uint32_t block_ = 0;
};

// An uplink's core put together from FFTW and liquid-dsp. Its candidates have a plain median.
class PeerCore {
 public:
  PeerCore();
  void block(const int16_t* in1, const int16_t* in2, int16_t* out);

 private:
  float analyse();

  Fftw fftw_;
  LiquidFilters filters_;
  std::vector<float> a_, b_, mixed_, spectra_;
  size_t filled_ = 0;
  float result_ = 0;
};

// The whole uplink. Neither peer has streams, so these are written plainly around it.
struct PeerUplink : PlainStreams {
  PeerCore core;

  explicit PeerUplink(int32_t format)
      : PlainStreams(format, [this](int16_t* const* blocks) { core.block(blocks[1], blocks[0], blocks[2]); }) {}
};

// The same inside the library's own streams, so that only the cores differ.
struct StreamedPeer {
  LibraryStreams streams;
  PeerCore core;

  explicit StreamedPeer(int32_t format) : streams(format) {}
  void process(void* in1, void* in2, void* out, uint64_t bytes) {
    streams.process(in1, in2, out, bytes,
                    [this](const int16_t* a, const int16_t* b, int16_t* shown) { core.block(a, b, shown); });
  }
};

}  // namespace bench
