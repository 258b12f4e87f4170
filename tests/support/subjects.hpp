// What the checksums cover of the two directions, for the library and the plain model alike.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tests/support/downlink.hpp"
#include "tests/support/seeded.hpp"

namespace support {

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

struct EchoSubject {
  const char* name;
  size_t delay;   // samples from the emitter to the microphone
  int32_t noise;  // peak, 16-bit steps
  zeto_tx_param param;
};
inline constexpr EchoSubject kEchoes[] = {
    {"detector 100 ms", 4800, 60, {19600, 4000, 1000, -20, 0, 50, 10, 30, 0, 0, 0}},
    {"detector 40 ms, noisy", 1920, 2000, {19600, 4000, 1000, -20, 0, 30, 10, 0, 0, 0, 0}},
    {"detector held back", 12000, 60, {19600, 4000, 1000, -20, 1, 50, 25, 90, 0, 0, 210}},
};

// A 16-bit sample in the host's format, to all its bits.
inline void store_sample(int32_t format_type, int32_t sample, unsigned char* to) {
  if (format_type == 1) {
    const int16_t narrow = static_cast<int16_t>(sample);
    std::memcpy(to, &narrow, sizeof narrow);
  } else {
    const int32_t wide = format_type == 2   ? sample * 256
                         : format_type == 3 ? sample * 65536
                                            : std::bit_cast<int32_t>(static_cast<float>(sample) / 32768.0f);
    std::memcpy(to, &wide, sizeof wide);
  }
}

// Five seconds of chirp and of what a microphone would record of it: the direct path, an echo, noise. Sums all three
// streams in each format, in buffers of an odd length; and the library's state blocks, whose filter memories and levels
// show differences that the measurement rounds away.
template <typename Downlink, typename Uplink>
uint64_t detector_sum(const EchoSubject& subject, Sum& states) {
  constexpr size_t kSamples = 240000, kBuffer = 1001, kEcho = 331;
  std::vector<int16_t> chirp(kSamples);
  Downlink downlink(1);
  downlink.set(kChirps[0].param);
  downlink.process(chirp.data(), kSamples * sizeof chirp[0]);
  const auto past = [&](size_t n, size_t delay) { return n < delay ? 0 : int32_t{chirp[n - delay]}; };

  uint64_t sum = kEmptySum;
  for (int32_t format = 1; format <= 4; ++format) {
    const size_t bytes = sample_bytes(format);
    std::vector<unsigned char> played(kSamples * bytes), recorded(played.size()), out(played.size());
    Seeded seeded(static_cast<uint32_t>(format));
    for (size_t n = 0; n < kSamples; ++n) {
      const int32_t noise = seeded.sample16() * subject.noise / 32768;
      const int32_t heard = past(n, subject.delay) / 2 + past(n, subject.delay + kEcho) / 9 + noise;
      store_sample(format, chirp[n], &played[n * bytes]);
      store_sample(format, heard, &recorded[n * bytes]);
    }
    Uplink uplink(format);
    uplink.set(subject.param);
    for (size_t at = 0; at < out.size(); at += kBuffer * bytes)
      uplink.process(&played[at], &recorded[at], &out[at], std::min(out.size() - at, kBuffer * bytes));
    for (const auto* stream : {&played, &recorded, &out}) sum = add_to_sum(sum, stream->data(), stream->size());
    if constexpr (requires { uplink.handle->core; }) states.add(uplink.handle->core, cal_zeto_tx_struct_malloc_size());
  }
  return sum;
}

}  // namespace support
