// Fuzz target: call sequences on both wrappers, in every format, with any parameters and any samples, or with sensible
// ones and a room's echo. The plain model must give the same bytes and measure the same to the last bit; so must the
// same bytes through buffers of one sample.
#include <array>
#include <bit>
#include <cmath>
#include <cstdarg>
#include <memory>
#include <numbers>
#include <vector>

#include "detector/state.hpp"
#include "plain/chirp.hpp"
#include "plain/detector.hpp"
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

constexpr size_t kMaxBuffers = 3;
using Buffers = std::array<char*, kMaxBuffers>;  // in1, in2, out; the downlink has but one

// Branches of all analyses, and uplinks that lived for 60 blocks.
std::array<int, plain::kBranches> seen;
int long_lives;

int32_t any(FuzzInput& in, int from, uint32_t n) {
  return from + static_cast<int32_t>(in.below(n));
}

// Both sides under one face.
struct Rx {
  using Library = support::Downlink;
  using Plain = plain::Downlink;
  using Param = zeto_rx_param;
  static Param sensible(FuzzInput& in) {
    return {any(in, 17000, 5000), any(in, -6000, 12000), any(in, 0, 300),
            any(in, 0, 3000),     any(in, 0, 5000),      !in.one_in(4)};
  }
};

struct Tx {
  using Library = support::Uplink;
  using Plain = plain::Uplink;
  using Param = zeto_tx_param;
  static Param sensible(FuzzInput& in) {
    const int32_t quiet = any(in, 30, 18);  // among the levels of the phases of a beat near 4000 Hz
    return {any(in, 19000, 2000),
            in.pick({4000, 4000, any(in, 300, 6000), any(in, 300, 6000), any(in, 0, 14)}),
            any(in, 1, 3000),
            in.pick({-20, -20, -20, quiet, quiet, quiet, quiet - 10, any(in, -152, 4)}),
            in.pick({0, 0, 0, 1, 100}),
            in.pick({0, 0, 0, 33, 67, 100}),
            in.pick({10, 10, 10, 5, -300, 2000}),
            in.pick({0, 0, 30, 90, 100}),
            8,
            9,
            in.pick({0, 0, 0, 9, 10, 70, 200, 210, 330})};
  }
};

void set_core(support::Uplink& on, const zeto_tx_param& param) {
  zeto_tx_set_param(on.handle->core, &param);
}
void set_core(plain::Uplink& on, const zeto_tx_param& param) {
  on.detector.set(&param.UltraHz_floor);
}
void restart(support::Uplink& on) {
  zeto_tx_reinit(on.handle->core, 16000);
}
void restart(plain::Uplink& on) {
  on.detector.restart();
}

template <typename Handle>
void process(Handle& on, const Buffers& host, size_t bytes) {
  if constexpr (requires { on.process(host[0], bytes); }) {
    on.process(host[0], bytes);
  } else {
    on.process(host[0], host[1], host[2], bytes);
  }
}

// The output shows whole numbers only; inside, everything is the same to the last bit.
void compare(const zeto_tx_state& state, const plain::Detector& model) {
  require(std::bit_cast<uint32_t>(state.result_value) == std::bit_cast<uint32_t>(model.result) ||
              (std::isnan(state.result_value) && std::isnan(model.result)),
          "the measurements are the same");
  require(std::equal(model.positions.begin(), model.positions.end(), state.cand_freq), "and the positions");
  require(std::equal(model.levels.begin(), model.levels.end(), state.cand_level), "and the levels");
}

template <typename Side>
typename Side::Param take_param(FuzzInput& input) {
  auto words = std::bit_cast<std::array<int32_t, sizeof(typename Side::Param) / 4>>(Side::sensible(input));
  const uint32_t kind = input.below(6);
  if (kind == 0) input.take(words.data(), sizeof words);
  for (uint32_t changes = kind == 1 ? 3 : 0; changes > 0; --changes) {
    int32_t& word = words[input.below(words.size())];
    word = input.pick({INT32_MIN, INT32_MAX, 0, -1, int32_t{input.take<int8_t>()}, input.take<int32_t>()});
  }
  return std::bit_cast<typename Side::Param>(words);
}

// What the two inputs hear: parts of tones that beat, sweeps and their echoes, noise, full scale and silence.
class Scene {
 public:
  // The next sample of both, full scale 1.0.
  std::array<double, 2> next(FuzzInput& input) {
    if (n_ == end_) turn(input);
    const auto n = static_cast<double>(n_ - from_);
    const double hiss = noise();
    std::array<double, 2> x = {};
    switch (kind_) {
      case kBeat:
        x = {0.5 * cosine(hz_, n), gain_ * std::pow(10, -fall_ * n) * cosine(hz_ + beat_, n) + hiss_ * hiss};
        break;
      case kSweep:
        x = {0.16 * sweep(n_), n_ < delay_ ? 0 : gain_ * 0.16 * sweep(n_ - delay_) + hiss_ * hiss};
        break;
      case kNoise:
        x = {noise(), gain_ * hiss};
        break;
      case kFullScale:
        x = {n_ / half_ % 2 ? -2.0 : 2.0, n_ / (half_ + 1) % 2 ? 2.0 : -2.0};
        break;
      default:
        break;
    }
    ++n_;
    return {x[0] * loud_, x[1] * loud_};
  }

 private:
  enum Kind { kBeat, kSweep, kNoise, kFullScale, kSilence };

  void turn(FuzzInput& in) {
    const auto share = [&] { return in.take<uint16_t>() / 65536.0; };
    from_ = n_;
    end_ += in.pick({9600u, 9600u, 19200u, 28800u, 480 + in.below(12000)});
    kind_ = in.pick({kBeat, kBeat, kBeat, kBeat, kBeat, kSweep, kSweep, kNoise, kFullScale, kSilence});
    gain_ = in.pick({1.0, 1.0, 0.5, 0.5, 0.3, 0.003});
    hz_ = in.pick({20000.0, 20000.0, 18500 + 5000 * share()});
    beat_ = in.pick({500.0, 4000.0, 4000.0, 4000.0, 4200 * share(), 31.25 * in.below(120)});
    hiss_ = in.pick({0.0, 0.0, 0.01, 0.3});
    delay_ = in.below(30000);
    half_ = 1 + in.below(4);
    fall_ = in.pick({0.0, 0.0, 0.9 + 0.2 * share()}) / 2 / 3072;  // about 10 dB a stretch
    loud_ = in.pick({1.0, 1.0, 1.0, 1.0, 1.0, 1e-4});             // 1e-4: three 16-bit steps, near -150 dB
    state_ = in.take<uint32_t>();
  }
  double noise() { return next_random(state_) / 2147483648.0 - 1; }
  static double cosine(double hz, double n) { return std::cos(2 * std::numbers::pi * hz / 48000 * n); }
  // A linear sweep of 4000 Hz a second, which starts anew every second.
  static double sweep(size_t n) {
    const double t = static_cast<double>(n % 48000) / 48000;
    return std::cos(2 * std::numbers::pi * (19605 * t + 2000 * t * t));
  }

  Kind kind_ = kSilence;
  size_t n_ = 0, from_ = 0, end_ = 0, delay_ = 0, half_ = 1;
  double gain_ = 0, hz_ = 0, beat_ = 0, hiss_ = 0, fall_ = 0, loud_ = 0;
  uint32_t state_ = 0;
};

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

// n samples a buffer: as they stand in the input, one word over and over, random words, or what the scene has (in1 and
// in2; now and then some other word).
void fill(FuzzInput& input, int32_t format, size_t n, Scene& scene, Host& host) {
  const size_t bytes = support::sample_bytes(format);
  const uint32_t kind = input.below(16), wild = input.below(3);
  uint32_t state = input.take<uint32_t>();
  for (auto& buffer : host.storage) {
    buffer.resize(n * bytes);
    for (size_t i = 0; i < n && kind != 0; ++i) {
      const uint32_t word = kind == 1 ? state : next_random(state);
      std::memcpy(&buffer[i * bytes], &word, bytes);
    }
    if (kind == 0) input.take(buffer.data(), std::min(buffer.size(), size_t{200}));
  }
  for (size_t i = 0; i < n && kind > 2; ++i) {
    const auto heard = scene.next(input);
    for (size_t stream = 0; stream < 2; ++stream)
      if (wild != 0 || next_random(state) % 1000 != 0)
        support::store_sample(format, static_cast<int32_t>(std::clamp(heard[stream], -1.0, 1.0) * 32767),
                              &host.storage[stream][i * bytes]);
  }
}

// The life of a handle, in two or three forms at a time; returns its samples.
template <typename Side>
size_t live(FuzzInput& input, size_t samples) {
  const int32_t format = static_cast<int32_t>(input.below(4)) + 1;
  const size_t bytes = support::sample_bytes(format);
  const bool slices = input.one_in(4);
  constexpr bool kUplink = std::is_same_v<Side, Tx>;
  typename Side::Library whole(format), single(format);
  typename Side::Plain plain(format);
  Scene scene;
  const auto all = [&](auto call) { call(whole), call(single), call(plain); };
  const auto set = [&](const auto& param) { all([&](auto& on) { on.set(param); }); };
  if (!input.one_in(20)) set(take_param<Side>(input));  // without parameters, everything is as init left it
  size_t done = 0;
  while (!input.empty() && done < samples) {
    const uint32_t call = input.below(64);
    if (call == 0) break;
    if (call == 1) set(take_param<Side>(input));
    if constexpr (kUplink) {
      if (call == 2) all([param = take_param<Side>(input)](auto& on) { set_core(on, param); });
      if (call == 3) all([](auto& on) { restart(on); });
      std::array<uint32_t, 11> a, b;
      zeto_tx_wrapper_get_parameter(whole.handle, a.data());
      zeto_tx_wrapper_get_parameter(single.handle, b.data());
      require(a == b, "both handles have the same parameters");
    }
    const size_t n = 1 + input.below(input.pick({1u, 100u, 480u, 3000u, 10000u}));
    const uint32_t same = input.below(20);
    Host host = {{}, {0, same == 1 ? 0u : 1u, same == 2 ? 0u : same == 3 ? 1u : 2u}};
    fill(input, format, n, scene, host);
    Host one_by_one = host, model = host;
    process(whole, host.at(0), n * bytes);
    process(plain, model.at(0), n * bytes);
    require(host.storage == model.storage, "the plain model gives the same bytes");
    if constexpr (kUplink) compare(*whole.handle->core, plain.detector);
    for (size_t i = 0; i < n && slices; ++i) process(single, one_by_one.at(i * bytes), bytes);
    require(!slices || host.storage == one_by_one.storage, "single-sample buffers give the same bytes");
    done += n;
  }
  if constexpr (kUplink) {
    for (size_t i = 0; i < seen.size(); ++i) seen[i] += plain.detector.seen[i];
    long_lives += done >= 60 * plain::kBlock;
  }
  return done;
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  for (size_t left = 60000; !input.empty() && left > 0;) {
    const size_t done = input.one_in(4) ? live<Rx>(input, left) : live<Tx>(input, left);
    left -= std::min(left, done + 1);
  }
  return 0;
}

void look_back() {
  for (const int count : seen) require(count > 0, "every branch of the analysis was taken");
  require(seen[plain::kAnalysed] > 1200 && seen[plain::kAccepted] > 120, "there was much to compare");
  require(long_lives >= 300, "most uplinks lived for long");
}
