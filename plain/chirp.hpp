// The plain model of the emitter: every sample from its closed form, in the fixed order of operations and precisions.
#pragma once

#include <cstdint>

#include "plain/stream.hpp"
#include "zeto/cores.h"

namespace plain {

// Correctly rounded single-precision sine. The double result is within an ulp of double precision and 29 bits longer
// than a float, so that rounding it to float is correct but for arguments whose sine lies within about 2^-29 ulp of a
// tie between two floats.
float sine(float x);

struct Chirp {
  uint32_t fft_len = 512;
  int32_t frame_len = 480;
  uint32_t sample_rate = 48000;
  uint32_t frame_count = 0;
  int32_t start_hz = 19600, span_hz = 4000, amp_start_milli = 10, amp_end_milli = 160;
  int32_t period_s = 0, enable = 1;

  void set(const zeto_rx_param& param);
  void restart(uint32_t rate);
  void process(int16_t* out, int32_t count);

 private:
  void frame(int16_t* out);
};

// A downlink handle: the emitter behind one stream.
struct Downlink {
  Chirp chirp;
  Streams streams;

  explicit Downlink(int32_t format_type)
      : streams(format_type, 1, [this](int16_t* const* blocks) { chirp.process(blocks[0], kBlock); }) {}
  Downlink(const Downlink&) = delete;
  void set(const zeto_rx_param& param) {
    chirp.set(param);
    chirp.restart(48000);
  }
  void process(void* buffer, uint64_t byte_count) { streams.process(&buffer, byte_count); }
};

}  // namespace plain
