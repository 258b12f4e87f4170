// The library's two handles with a lifetime.
#pragma once
#include <cstdint>
#include <memory>
#include <span>

#include "audio/audio_file.hpp"
#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace zeto::tool {

struct Deinit {
  void operator()(zeto_rx_wrapper* handle) const;
  void operator()(zeto_tx_wrapper* handle) const;
};

// `Sample` is the format's own: int16_t, int32_t, int32_t or float.

class Downlink {
 public:
  Downlink(HostFormat format, const zeto_rx_param& param);

  /// One host buffer, in place.
  template <class Sample>
  void process(std::span<Sample> buffer) {
    zeto_rx_wrapper_process(handle_.get(), buffer.data(), buffer.size_bytes());
  }

 private:
  std::unique_ptr<zeto_rx_wrapper, Deinit> handle_;
};

class Uplink {
 public:
  Uplink(HostFormat format, const zeto_tx_param& param);

  /// One set of host buffers, equally long, in place. `out` need not hold anything.
  template <class Sample>
  void process(std::span<Sample> in1, std::span<Sample> in2, std::span<Sample> out) {
    zeto_tx_wrapper_process(handle_.get(), in1.data(), in2.data(), out.data(), out.size_bytes());
  }

 private:
  std::unique_ptr<zeto_tx_wrapper, Deinit> handle_;
};

}  // namespace zeto::tool
