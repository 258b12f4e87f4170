// A downlink handle of the library, with the face of plain::Downlink.
#pragma once

#include <cstdint>

#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace support {

// A parameter block at the length that the wrappers read.
union ParamBlock {
  uint8_t bytes[ZETO_PARAM_BLOCK_BYTES];
  zeto_rx_param param;
};

struct Downlink {
  zeto_rx_wrapper* const handle;

  explicit Downlink(int32_t format_type) : handle(zeto_rx_wrapper_init(48000, format_type)) {}
  ~Downlink() { zeto_rx_wrapper_deinit(handle); }
  Downlink(const Downlink&) = delete;
  void set(const zeto_rx_param& param) {
    ParamBlock block = {};
    block.param = param;
    zeto_rx_wrapper_set_parameters(handle, &block.param);
  }
  void process(void* buffer, uint64_t byte_count) { zeto_rx_wrapper_process(handle, buffer, byte_count); }
};

constexpr size_t sample_bytes(int32_t format_type) {
  return format_type == 1 ? 2 : 4;
}

}  // namespace support
