// The whole uplink against the plain model, byte for byte: random audio, parameters, buffer lengths and restarts.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "detector/state.hpp"
#include "tests/plain/detector.hpp"
#include "tests/plain/stream.hpp"
#include "zeto/cores.h"
#include "zeto/wrappers.h"

namespace {

constexpr int32_t kMin = std::numeric_limits<int32_t>::min();
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();

// Random numbers that are the same with every standard library.
class Random {
 public:
  explicit Random(uint32_t seed) : bits_(seed) {}
  uint32_t bits() { return static_cast<uint32_t>(bits_()); }
  int below(int n) { return static_cast<int>(bits() % static_cast<uint32_t>(n)); }
  bool one_in(int n) { return below(n) == 0; }
  double unit() { return bits() / 4294967296.0; }
  template <typename T>
  T pick(std::initializer_list<T> list) {
    return list.begin()[below(static_cast<int>(list.size()))];
  }

 private:
  std::mt19937 bits_;
};

struct Words {
  int32_t word[ZETO_PARAM_BLOCK_BYTES / 4];
  const zeto_tx_param* param() const { return reinterpret_cast<const zeto_tx_param*>(word); }
};

Words some_words(Random& random, bool absurd) {
  const int32_t scope = random.pick({4000, 4000, 300 + random.below(6000), 300 + random.below(6000), random.below(14)});
  const int32_t quiet = 30 + random.below(18);  // among the levels of the phases of a beat near 4000 Hz
  const int32_t threshold = random.pick({-20, -20, -20, quiet, quiet, quiet, quiet - 10, -152 + random.below(4)});
  Words words = {{19000 + random.below(2000), scope, 1 + random.below(3000), threshold, random.pick({0, 0, 0, 1, 100}),
                  random.pick({0, 0, 0, 33, 67, 100}), random.pick({10, 10, 10, 5, -300, 2000}),
                  random.pick({0, 0, 30, 90, 100}), 8, 9, random.pick({0, 0, 0, 9, 10, 70, 200, 210, 330})}};
  if (absurd) {
    for (int32_t& word : words.word) {
      const int32_t other =
          random.pick({kMin, kMax, 0, -1, random.below(41) - 20, static_cast<int32_t>(random.bits())});
      if (random.one_in(6)) word = other;
    }
  }
  return words;
}

using Signal = std::vector<double>;  // full scale 1.0

double cosine(double hz, double phase, size_t n) {
  return std::cos(2 * std::numbers::pi * (phase + hz / 48000 * static_cast<double>(n)));
}

// Phase of a linear sweep of 4000 Hz a second, in turns, which starts anew every second.
double sweep(int n) {
  const double t = (n % 48000) / 48000.0;
  return std::cos(2 * std::numbers::pi * (19605 * t + 2000 * t * t));
}

// One stretch of audio for both inputs.
void add_part(Random& random, Signal& a, Signal& b, size_t from, size_t to) {
  const double gain = random.pick({1.0, 1.0, 0.5, 0.5, 0.3, 0.003});
  const double hz = random.pick({20000.0, 20000.0, 18500 + 5000 * random.unit()});
  const double beat = random.pick({500.0, 4000.0, 4000.0, 4000.0, 4200 * random.unit(), 31.25 * random.below(120)});
  const double phase = random.unit();
  const double noise = random.pick({0.0, 0.0, 0.01, 0.3});
  const int delay = random.below(30000);
  const int half = 1 + random.below(4);
  const double fall = random.pick({0.0, 0.0, 0.9 + 0.2 * random.unit()}) / 2 / 3072;  // about 10 dB a stretch
  const double loud = random.pick({1.0, 1.0, 1.0, 1.0, 1.0, 1e-4});  // 1e-4: three 16-bit steps, near -150 dB
  const int kind = random.below(10);
  for (size_t n = from; n < to; ++n) {
    const double hiss_a = 2 * random.unit() - 1, hiss_b = 2 * random.unit() - 1;
    const int i = static_cast<int>(n);
    switch (kind) {
      case 0:
      case 1:
      case 2:
      case 3:
      case 4:
        a[n] = 0.5 * cosine(hz, 0, n);
        b[n] =
            gain * std::pow(10, -fall * static_cast<double>(n - from)) * cosine(hz + beat, phase, n) + noise * hiss_b;
        break;
      case 5:
      case 6:
        a[n] = 0.16 * sweep(i);
        b[n] = i < delay ? 0 : gain * 0.16 * sweep(i - delay) + noise * hiss_b;
        break;
      case 7:
        a[n] = hiss_a;
        b[n] = gain * hiss_b;
        break;
      case 8:
        a[n] = i / half % 2 ? -2 : 2;
        b[n] = i / (half + 1) % 2 ? 2 : -2;
        break;
      default:
        a[n] = b[n] = 0;
    }
    a[n] *= loud;
    b[n] *= loud;
  }
}

using Bytes = std::vector<unsigned char>;

// A signal in a host's format, clipped where the format is; `wild` samples have any bits at all.
Bytes hosted(const Signal& signal, int32_t format, Random& random, bool wild) {
  const size_t size = format == 1 ? 2 : 4;
  const double scale = format == 1 ? 32767 : format == 2 ? 8388607 : 2147483647;
  Bytes bytes(signal.size() * size);
  for (size_t n = 0; n < signal.size(); ++n) {
    const double rounded = std::round(std::clamp(signal[n], -1.0, 1.0) * scale);
    uint32_t bits = format == 4 ? std::bit_cast<uint32_t>(static_cast<float>(signal[n]))
                                : static_cast<uint32_t>(static_cast<int32_t>(rounded));
    if (wild && random.one_in(1000)) bits = random.bits();
    const uint16_t narrow = static_cast<uint16_t>(bits & 0xffff);
    std::memcpy(&bytes[n * size], size == 2 ? static_cast<const void*>(&narrow) : &bits, size);
  }
  return bytes;
}

// The model of a handle.
struct Uplink {
  plain::Detector detector;
  plain::Streams streams;

  explicit Uplink(int32_t format)
      : streams(format, 3, [this](int16_t* const* blocks) { detector.block(blocks[1], blocks[0], blocks[2]); }) {}
  Uplink(const Uplink&) = delete;
};

// Something that a host does between two buffers, to both sides.
void interfere(Random& random, zeto_tx_wrapper* handle, Uplink& model, Words& words, bool absurd) {
  const int what = random.below(40);
  if (what < 2) {
    words = some_words(random, absurd);
    (what == 0) ? zeto_tx_wrapper_set_parameters(handle, words.param())
                : zeto_tx_set_param(handle->core, words.param());
    model.detector.set(words.word);
  }
  if (what == 2) zeto_tx_reinit(handle->core, random.pick({48000, 16000}));
  if (what == 0 || what == 2) model.detector.restart();
}

// The output shows whole numbers only; inside, everything is the same to the last bit.
void expect_same_measurement(const zeto_tx_state& state, const plain::Detector& model) {
  if (!std::isnan(state.result_value) || !std::isnan(model.result)) {
    ASSERT_EQ(std::bit_cast<uint32_t>(state.result_value), std::bit_cast<uint32_t>(model.result));
  }
  ASSERT_TRUE(std::equal(model.positions.begin(), model.positions.end(), state.cand_freq));
  ASSERT_TRUE(std::equal(model.levels.begin(), model.levels.end(), state.cand_level));
}

using Seen = std::array<int, plain::kBranches>;

void run(Random& random, int32_t format, Seen& seen) {
  const bool absurd = random.one_in(3), wild = random.one_in(3), busy = random.one_in(2);
  const size_t samples = 480u * 80u + random.bits() % (480u * 80u);
  Signal a(samples), b(samples);
  for (size_t from = 0; from < samples;) {
    const size_t length = static_cast<size_t>(random.pick({9600, 9600, 19200, 28800, 480 + random.below(12000)}));
    const size_t to = std::min(samples, from + length);
    add_part(random, a, b, from, to);
    from = to;
  }
  Bytes got[3] = {hosted(a, format, random, wild), hosted(b, format, random, wild), hosted(b, format, random, true)};
  Bytes want[3] = {got[0], got[1], got[2]};

  zeto_tx_wrapper* handle = zeto_tx_wrapper_init(48000, format);
  Uplink model(format);
  Words words = {};
  if (!random.one_in(20)) {  // without parameters, everything is 0
    words = some_words(random, absurd);
    zeto_tx_wrapper_set_parameters(handle, words.param());
    model.detector.set(words.word);
    model.detector.restart();
  }
  const size_t size = format == 1 ? 2 : 4;
  const int in1 = 0, in2 = random.one_in(20) ? in1 : 1, out = random.one_in(20) ? in2 : 2;  // may be one buffer
  for (size_t at = 0; at < samples;) {
    if (busy) interfere(random, handle, model, words, absurd);
    const int longest = random.pick({1, 100, 480, 3000});
    const size_t length = std::min(samples - at, static_cast<size_t>(1 + random.below(longest)));
    zeto_tx_wrapper_process(handle, &got[in1][at * size], &got[in2][at * size], &got[out][at * size], length * size);
    void* buffers[3] = {&want[in2][at * size], &want[in1][at * size], &want[out][at * size]};
    model.streams.process(buffers, length * size);
    ASSERT_NO_FATAL_FAILURE(expect_same_measurement(*handle->core, model.detector));
    at += length;
  }
  uint32_t set[11];
  zeto_tx_wrapper_get_parameter(handle, set);
  EXPECT_EQ(0, std::memcmp(set, words.word, sizeof set));
  zeto_tx_wrapper_deinit(handle);

  for (int i : {0, 1, 2}) {
    const auto differ = std::mismatch(got[i].begin(), got[i].end(), want[i].begin()).first - got[i].begin();
    ASSERT_EQ(static_cast<size_t>(differ), got[i].size()) << "buffer " << i << ", format " << format;
  }
  for (size_t branch = 0; branch < seen.size(); ++branch) seen[branch] += model.detector.seen[branch];
}

class Sensing : public testing::TestWithParam<uint32_t> {};

TEST_P(Sensing, EqualsThePlainModel) {
  Seen seen = {};
  for (uint32_t i = 0; i < 80; ++i) {
    SCOPED_TRACE(i);
    Random random(GetParam() * 1000 + i);
    ASSERT_NO_FATAL_FAILURE(run(random, static_cast<int32_t>(1 + i % 4), seen));
  }
  // The runs must have come through every branch, or they prove little.
  EXPECT_GT(seen[plain::kAnalysed], 300);
  EXPECT_GT(seen[plain::kAccepted], 30);
  for (int count : seen) EXPECT_GT(count, 0);
}
INSTANTIATE_TEST_SUITE_P(Seed, Sensing, testing::Range(0u, 4u));

}  // namespace
