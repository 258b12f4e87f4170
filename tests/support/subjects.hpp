// What the checksums cover, for the library and the plain model alike.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/support/downlink.hpp"

namespace support {

// FNV-1a, 64 bits.
inline uint64_t add_to_sum(uint64_t sum, const void* data, size_t bytes) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  for (size_t i = 0; i < bytes; ++i) sum = (sum ^ p[i]) * 0x100000001b3u;
  return sum;
}
inline constexpr uint64_t kEmptySum = 0xcbf29ce484222325u;

struct ChirpSubject {
  const char* name;
  zeto_rx_param param;
};
inline constexpr ChirpSubject kChirps[] = {
    {"chirp default", {19600, 4000, 10, 160, 1000, 1}},
    {"chirp wide loud", {17000, 6500, 1500, 900, 3000, 1}},
    {"chirp downward", {21000, -3000, 300, 40, 2000, 1}},
};

// Ten seconds of chirp in each format, in buffers of an odd length.
template <typename Downlink>
uint64_t chirp_sum(const ChirpSubject& subject) {
  constexpr size_t kSamples = 480000, kBuffer = 1001;
  uint64_t sum = kEmptySum;
  for (int32_t format = 1; format <= 4; ++format) {
    const size_t bytes = sample_bytes(format);
    std::vector<unsigned char> audio(kSamples * bytes);
    Downlink downlink(format);
    downlink.set(subject.param);
    for (size_t at = 0; at < audio.size(); at += kBuffer * bytes)
      downlink.process(&audio[at], std::min(audio.size() - at, kBuffer * bytes));
    sum = add_to_sum(sum, audio.data(), audio.size());
  }
  return sum;
}

}  // namespace support
