// A downlink handle of the library, with the face of plain::Downlink.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace support {

struct Downlink {
  zeto_rx_wrapper* const handle;

  explicit Downlink(int32_t format_type) : handle(zeto_rx_wrapper_init(48000, format_type)) {}
  ~Downlink() { zeto_rx_wrapper_deinit(handle); }
  Downlink(const Downlink&) = delete;
  void set(const zeto_rx_param& param) {
    const zeto_rx_param_block block = {param};
    zeto_rx_wrapper_set_parameters(handle, &block);
  }
  void process(void* buffer, uint64_t byte_count) { zeto_rx_wrapper_process(handle, buffer, byte_count); }
};

constexpr size_t sample_bytes(int32_t format_type) {
  return format_type == 1 ? 2 : 4;
}

// A 16-bit sample in the host's format; of format 1, the lower half.
inline uint32_t host_sample(int32_t format_type, int32_t sample) {
  if (format_type == 4) return std::bit_cast<uint32_t>(static_cast<float>(sample) / 32768.0f);
  return static_cast<uint32_t>(sample) << (format_type == 1 ? 0 : format_type == 2 ? 8 : 16);
}
inline void store_sample(int32_t format_type, int32_t sample, void* to) {
  const uint32_t word = host_sample(format_type, sample);
  std::memcpy(to, &word, sample_bytes(format_type));
}

// And back, exactly.
inline int16_t sample_16(int32_t format_type, const void* from) {
  uint32_t word = 0;
  std::memcpy(&word, from, sample_bytes(format_type));
  if (format_type == 4) return static_cast<int16_t>(std::bit_cast<float>(word) * 32768.0f);
  return static_cast<int16_t>(static_cast<int32_t>(word) >> (format_type == 1 ? 0 : format_type == 2 ? 8 : 16));
}

}  // namespace support
