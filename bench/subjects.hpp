// Where the benchmark touches the library's inside: the detector's steps, one by one, and the streams without a core.
#pragma once

#include <cstdlib>
#include <memory>

#include "bench/signal.hpp"
#include "detector/analysis.hpp"
#include "wrapper/handle.hpp"
#include "zeto/wrappers.h"

namespace bench {

inline constexpr size_t kSpectrum = 528;  // floats from one spectrum to the next: 514, and whole cache lines

struct Free {
  void operator()(void* p) const { std::free(p); }
};

// A detector of the library, set up.
class LibraryDetector {
 public:
  LibraryDetector() : state_(static_cast<zeto_tx_state*>(std::calloc(1, cal_zeto_tx_struct_malloc_size()))) {
    zeto_tx_init(state_.get());
    zeto_tx_set_param(state_.get(), reinterpret_cast<const zeto_tx_param*>(kSensing));
  }

  void set_window(const float* a, const float* b) {
    std::memcpy(state_->hist_a, a, sizeof state_->hist_a);
    std::memcpy(state_->hist_b, b, sizeof state_->hist_b);
  }

  // The window to kWindow samples of beat.
  void filter_and_mix(float* mixed) {
    zeto::detector::filter_inputs(*state_);
    zeto::detector::mix(*state_, mixed);
  }

  // The beat to kSegments spectra, kSpectrum apart.
  void transform(const float* mixed, float* spectra) {
    for (size_t i = 0; i < kSegments; ++i) {
      zeto::detector::decimate(mixed, int(i), spectra + i * kSpectrum);
      zeto_rfft_float(&state_->fft, spectra + i * kSpectrum);
    }
  }

  // The strongest bins of kSegments spectra. An empty record transforms nothing, so that what is left is the search.
  void find_peaks(float* spectra, uint32_t* bins) {
    for (size_t i = 0; i < kSegments; ++i) bins[i] = zeto::detector::find_peak(empty_, spectra + i * kSpectrum).bin;
  }

 private:
  std::unique_ptr<zeto_tx_state, Free> state_;
  zeto_drft_lookup empty_ = {};
};

// An uplink handle's three streams around another core, or none.
class LibraryStreams {
 public:
  explicit LibraryStreams(int32_t format) : handle_(zeto_tx_wrapper_init(48000, format)) {}
  ~LibraryStreams() { zeto_tx_wrapper_deinit(handle_); }
  LibraryStreams(const LibraryStreams&) = delete;

  void process(void* in1, void* in2, void* out, uint64_t bytes) {
    process(in1, in2, out, bytes, [](const int16_t*, const int16_t*, int16_t*) {});
  }
  // core(in1, in2, out): a block of each.
  template <typename Core>
  void process(void* in1, void* in2, void* out, uint64_t bytes, Core core) {
    zeto::process<Side>(handle_, {in2, in1, out}, bytes, [this, &core] {
      core(handle_->in1_stream.pcm16_block, handle_->in2_stream.pcm16_block, handle_->out_stream.pcm16_block);
    });
  }

 private:
  struct Side {
    using Handle = zeto_tx_wrapper;
    struct Streams {
      zeto_stream* all[3];
    };
    static Streams streams(zeto_tx_wrapper* h) { return {{&h->in2_stream, &h->in1_stream, &h->out_stream}}; }
  };
  zeto_tx_wrapper* handle_;
};

}  // namespace bench
