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

  // A window of both inputs, 16 bits wide, to kWindow samples of beat: block by block, as they come.
  void filter_and_mix(const float* a, const float* b, float* mixed) {
    using namespace zeto;
    const FilterBank bank = {detector::kHighPass, detector::kLowPass, state_->high_pass_a, state_->high_pass_b,
                             state_->low_pass};
    for (size_t at = 0; at < kWindow; at += kBlock) {
      f64x2 high[kBlock];
      filter_block(bank, state_->mix_gain, Width::k16Bits, a + at, b + at, high, mixed + at, kBlock);
    }
  }

  // The beat to spectra, which lie as the library likes it.
  void transform(const float* mixed) {
    for (int i = 0; i < zeto::detector::kGroups; ++i) {
      zeto::detector::transform_group(state_->fft, mixed, i, spectra_[i]);
    }
  }

  // The strongest bins of the transformed, group by group.
  void find_peaks() {
    for (int i = 0; i < zeto::detector::kGroups; ++i) zeto::detector::find_peaks_of_group(spectra_[i], i, peaks_);
  }

 private:
  std::unique_ptr<zeto_tx_state, Free> state_;
  zeto::f32x4 spectra_[zeto::detector::kGroups][kFft];
  zeto::detector::Peak peaks_[kSegments];
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
