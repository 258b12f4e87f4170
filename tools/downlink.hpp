// The downlink wrapper with a lifetime.
#pragma once
#include <cstdint>
#include <memory>
#include <span>

#include "audio_file.hpp"
#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace zeto::tool {

class Downlink {
 public:
  Downlink(HostFormat format, const zeto_rx_param& param);

  /// One host buffer, in place. `Sample` is the format's own: int16_t, int32_t, int32_t or float.
  template <class Sample>
  void process(std::span<Sample> buffer) {
    zeto_rx_wrapper_process(handle_.get(), buffer.data(), buffer.size_bytes());
  }

 private:
  struct Deinit {
    void operator()(zeto_rx_wrapper* handle) const;
  };
  std::unique_ptr<zeto_rx_wrapper, Deinit> handle_;
};

}  // namespace zeto::tool
