// Fuzz target: call sequences on both wrappers, in every format, with any parameters and any samples. The same bytes
// through buffers of one sample, and through the plain model, must come out the same.
#include <array>
#include <bit>
#include <cmath>
#include <cstdarg>
#include <memory>
#include <numbers>
#include <vector>

#include "tests/plain/chirp.hpp"
#include "tests/plain/detector.hpp"
#include "tests/support/downlink.hpp"
#include "tests/support/fuzz_input.hpp"
#include "tests/support/uplink.hpp"

// Formats like a log, and keeps nothing.
extern "C" __attribute__((format(printf, 3, 4))) int __android_log_print(int, const char*, const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  const int length = std::vsnprintf(text, sizeof text, format, args);
  va_end(args);
  return length;
}

namespace {

using support::FuzzInput;
using support::next_random;
using support::require;

using Words = std::array<int32_t, ZETO_PARAM_BLOCK_BYTES / 4>;
constexpr size_t kMaxBuffers = 3;
using Buffers = std::array<char*, kMaxBuffers>;  // in1, in2, out; the downlink has but one

// Both sides under one face: the library's handle, and the plain model.
struct Rx {
  static constexpr size_t kBuffers = 1;
  static constexpr Words kSane = {19600, 4000, 10, 160, 1000, 1};
  struct Library {
    explicit Library(int32_t format) : handle(format) {}
    support::Downlink handle;
    void set(const Words& words) {
      zeto_rx_wrapper_set_parameters(handle.handle, reinterpret_cast<const zeto_rx_param*>(words.data()));
    }
    void get(Words& words) { zeto_rx_wrapper_get_parameter(handle.handle, words.data()); }
    void process(const Buffers& host, size_t bytes) { handle.process(host[0], bytes); }
  };
  struct Plain {
    explicit Plain(int32_t format) : model(format) {}
    plain::Downlink model;
    void set(const Words& w) { model.set({w[0], w[1], w[2], w[3], w[4], w[5]}); }
    void process(const Buffers& host, size_t bytes) { model.process(host[0], bytes); }
  };
};

struct Tx {
  static constexpr size_t kBuffers = 3;
  static constexpr Words kSane = {19600, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0};
  struct Library {
    explicit Library(int32_t format) : handle(format) {}
    support::Uplink handle;
    void set(const Words& words) {
      zeto_tx_wrapper_set_parameters(handle.handle, reinterpret_cast<const zeto_tx_param*>(words.data()));
    }
    void get(Words& words) { zeto_tx_wrapper_get_parameter(handle.handle, reinterpret_cast<uint32_t*>(words.data())); }
    void process(const Buffers& host, size_t bytes) { handle.process(host[0], host[1], host[2], bytes); }
  };
  struct Plain {
    explicit Plain(int32_t format)
        : streams(format, 3, [this](int16_t* const* blocks) { model.block(blocks[1], blocks[0], blocks[2]); }) {}
    Plain(const Plain&) = delete;
    void set(const Words& words) {
      model.set(words.data());
      model.restart();
    }
    void process(const Buffers& host, size_t bytes) {
      void* const in_order[] = {host[1], host[0], host[2]};
      streams.process(in_order, bytes);
    }
    plain::Detector model;
    plain::Streams streams;
  };
};

Words take_words(FuzzInput& input, const Words& sane) {
  Words words = {};
  if (input.below(2) == 0) {
    input.take(words.data(), sizeof words);
  } else {
    words = sane;
    for (uint32_t changes = input.below(4); changes > 0; --changes) {
      int32_t& word = words[input.below(11)];
      word = input.below(2) == 0 ? input.take<int32_t>() : input.take<int16_t>();
    }
  }
  return words;
}

uint32_t host_sample(int32_t format, double x) {
  switch (format) {
    case 1:
      return static_cast<uint16_t>(static_cast<int16_t>(x * 32767));
    case 2:
      return std::bit_cast<uint32_t>(static_cast<int32_t>(x * 8388607));
    case 3:
      return std::bit_cast<uint32_t>(static_cast<int32_t>(x * 2147483647));
    default:
      return std::bit_cast<uint32_t>(static_cast<float>(x));
  }
}

// n samples: as they stand in the input, one word over and over, random words, or a tone in the ultrasonic band.
void fill(FuzzInput& input, int32_t format, uint32_t kind, char* host, size_t n) {
  const size_t bytes = support::sample_bytes(format);
  if (kind == 0) return input.take(host, n * bytes);
  uint32_t state = input.take<uint32_t>();
  const double turns = (19000 + state % 64 * 62.5) / 48000, amplitude = (state >> 8) % 256 / 255.0;
  for (size_t i = 0; i < n; ++i) {
    uint32_t word = state;
    if (kind == 3) word = next_random(state);
    if (kind == 2)
      word = host_sample(format, amplitude * std::sin(2 * std::numbers::pi * turns * static_cast<double>(i)));
    std::memcpy(host + i * bytes, &word, bytes);
  }
}

// One host buffer per stream; some of them may be one and the same.
struct Host {
  std::array<std::vector<char>, kMaxBuffers> storage;
  std::array<size_t, kMaxBuffers> stands_for;
  Buffers at(size_t offset) {
    Buffers buffers;
    for (size_t i = 0; i < kMaxBuffers; ++i) buffers[i] = storage[stands_for[i]].data() + offset;
    return buffers;
  }
};

template <typename Side>
void process(FuzzInput& input, int32_t format, size_t n, typename Side::Library& whole, typename Side::Library& single,
             typename Side::Plain& plain) {
  const size_t bytes = support::sample_bytes(format);
  const uint32_t same = input.below(8);
  Host host = {{}, {0, same == 1 ? 0u : 1u, same == 2 ? 0u : same == 3 ? 1u : 2u}};
  for (auto& buffer : host.storage) buffer.resize(n * bytes);
  const uint32_t common = input.below(4);  // kind of all buffers, or each its own
  for (size_t i = 0; i < Side::kBuffers; ++i)
    fill(input, format, common != 0 ? common : input.below(4), host.storage[i].data(), n);
  Host one_by_one = host, model = host;

  whole.process(host.at(0), n * bytes);
  for (size_t i = 0; i < n; ++i) single.process(one_by_one.at(i * bytes), bytes);
  require(host.storage == one_by_one.storage, "single-sample buffers give the same bytes");
  plain.process(model.at(0), n * bytes);
  require(host.storage == model.storage, "the plain model gives the same bytes");
}

// The life of a handle, in three forms at a time.
template <typename Side>
void live(FuzzInput& input, size_t& samples_left) {
  const int32_t format = static_cast<int32_t>(input.below(4)) + 1;
  typename Side::Library whole(format), single(format);
  typename Side::Plain plain(format);
  const auto set = [&] {
    const Words words = take_words(input, Side::kSane);
    whole.set(words);
    single.set(words);
    plain.set(words);
  };
  if (input.below(4) != 0) set();
  while (!input.empty() && samples_left > 0) {
    const uint32_t call = input.below(8);
    if (call == 0) return;
    if (call == 1) {
      Words a = {}, b = {};
      whole.get(a);
      single.get(b);
      require(a == b, "both handles have the same parameters");
    } else if (call == 2) {
      set();
    } else {
      const size_t n = std::min<size_t>(input.below(call >= 6 ? 10000 : 256) + 1, samples_left);
      process<Side>(input, format, n, whole, single, plain);
      samples_left -= n;
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  for (size_t samples_left = 30000; !input.empty() && samples_left > 0;)
    input.below(2) == 0 ? live<Rx>(input, samples_left) : live<Tx>(input, samples_left);
  return 0;
}
