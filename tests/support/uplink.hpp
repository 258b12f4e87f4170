// An uplink handle of the library.
#pragma once

#include "tests/support/downlink.hpp"

namespace support {

struct Uplink {
  zeto_tx_wrapper* const handle;

  explicit Uplink(int32_t format_type) : handle(zeto_tx_wrapper_init(48000, format_type)) {}
  ~Uplink() { zeto_tx_wrapper_deinit(handle); }
  Uplink(const Uplink&) = delete;
  void set(const zeto_tx_param& param) {
    const zeto_tx_param_block block = {param};
    zeto_tx_wrapper_set_parameters(handle, &block);
  }
  void process(void* in1, void* in2, void* out, uint64_t byte_count) {
    zeto_tx_wrapper_process(handle, in1, in2, out, byte_count);
  }
};

}  // namespace support
