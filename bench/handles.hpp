// Handles of the library and of the plain model, alike to use, with parameters set.
#pragma once

#include <cstring>
#include <utility>

#include "bench/signal.hpp"
#include "plain/chirp.hpp"
#include "plain/detector.hpp"
#include "plain/stream.hpp"
#include "tests/support/downlink.hpp"
#include "tests/support/uplink.hpp"

namespace bench {

struct LibraryUplink : support::Uplink {
  explicit LibraryUplink(int32_t format) : Uplink(format) {
    zeto_tx_param param;
    std::memcpy(&param, kSensing, sizeof param);
    set(param);
  }
};

// The plain streams around a core; the buffers in the library's order.
struct PlainStreams {
  plain::Streams streams;

  explicit PlainStreams(
      int32_t format, plain::Streams::Core core = [](int16_t* const*) {})
      : streams(format, 3, std::move(core)) {}
  void process(void* in1, void* in2, void* out, uint64_t bytes) {
    void* const buffers[3] = {in2, in1, out};
    streams.process(buffers, bytes);
  }
};

struct PlainUplink : PlainStreams {
  plain::Detector detector;

  explicit PlainUplink(int32_t format)
      : PlainStreams(format, [this](int16_t* const* blocks) { detector.block(blocks[1], blocks[0], blocks[2]); }) {
    detector.set(kSensing);
  }
};

template <typename Handle>
struct Downlink : Handle {
  explicit Downlink(int32_t format) : Handle(format) { this->set(kSweep); }
};
using LibraryDownlink = Downlink<support::Downlink>;
using PlainDownlink = Downlink<plain::Downlink>;

}  // namespace bench
