// Fuzz target: the detector core used out of turn. Gains and delays change amid a window, restarts come at any block,
// blocks go straight to the block step, counts jump. After every call, the plain model must have the same output,
// measurement and candidates; and if the core falls back, the same histories.
#include <array>
#include <bit>
#include <cmath>
#include <map>
#include <numbers>
#include <string>
#include <vector>

#include "detector/ahead.hpp"
#include "plain/detector.hpp"
#include "tests/support/fuzz_input.hpp"

namespace {

using support::FuzzInput;
using support::next_random;
using support::require;

constexpr uint32_t kBlock = 480, kMost = 31;  // samples; blocks of a call

long calls;
std::map<std::string, int> seen;  // how often what happened

// The inputs, in seconds: [0] a reference, [1] a beat against it, noise, faint noise, silence.
constexpr uint32_t kSecond = 48000, kSounds = 5;
using Sounds = std::vector<int16_t>;
const Sounds& sounds() {
  static const Sounds all = [] {
    Sounds made(kSounds * kSecond + kMost * kBlock);
    uint32_t state = 1;
    for (uint32_t n = 0; n < 4 * kSecond; ++n) {
      const double hz = n < kSecond ? 20000 : 20500, noise = next_random(state) / 2147483648.0 - 1;
      const double v = n < 2 * kSecond ? 0.5 * std::cos(2 * std::numbers::pi * hz / kSecond * n) : noise;
      made[n] = static_cast<int16_t>(v * (n < 3 * kSecond ? 32767 : 3));
    }
    return made;
  }();
  return all;
}
const int16_t* heard(FuzzInput& input) {
  return &sounds()[input.pick({0u, 0u, 1u, 1u, 2u, 3u, 4u}) * kSecond + input.below(kSecond)];
}

bool is_same(float a, float b) {
  return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b) || (std::isnan(a) && std::isnan(b));
}

// A block of 16 bits, of finer numbers, of odd ones, or of one or many of any bits. What is no number stays in the
// filters until a restart, so it is rare.
std::array<float, kBlock> any_block(FuzzInput& input) {
  const int16_t* const from = heard(input);
  const uint32_t kind = input.below(24);
  uint32_t random = input.take<uint32_t>();
  std::array<float, kBlock> block;
  for (uint32_t i = 0; i < kBlock; ++i) {
    float& x = block[i] = from[i] / 32768.0f;
    if (kind >= 8) x = from[i] / 32767.0f;
    if (kind >= 12) x = 0.9f * std::cos(0.001f * static_cast<float>(random % 64 * i));
    if (kind >= 16) x = std::bit_cast<float>(next_random(random) & 0x807fffff);  // denormal; now and then -0
    if (kind >= 19) x = 1e15f * from[i];
    if (kind >= 21) x = from[i] == 0 || i % 7 == 0 ? -0.0f : from[i] / 32768.0f;
    if (kind == 23) x = std::bit_cast<float>(next_random(random));
  }
  if (kind == 22) block[random % kBlock] = std::bit_cast<float>(random);
  return block;
}

class Core {
 public:
  Core() { zeto_tx_init(state()); }
  zeto_tx_state* state() { return reinterpret_cast<zeto_tx_state*>(memory_.data()); }

  // The state moves, and leaves nothing behind.
  void move() {
    std::vector<uint32_t> elsewhere(memory_);
    elsewhere.swap(memory_);
    std::fill(elsewhere.begin(), elsewhere.end(), 0x7fc00000);
  }

  void set(FuzzInput& input) {
    const zeto_tx_param param = {19605,
                                 4000,
                                 1000,
                                 input.pick({-20, -20, -151, 20}),
                                 0,
                                 0,
                                 input.pick({10, 10, 10, 20, -10, 0}),
                                 input.pick({0, 50}),
                                 0,
                                 0,
                                 input.pick({0, 0, 0, 10, 10, 50, 190, 259})};
    zeto_tx_set_param(state(), &param);
    model_.set(&param.UltraHz_floor);
  }

  void restart() {
    zeto_tx_reinit(state(), 48000);
    model_.restart();
    if (state()->frame_count % 20 != 0) ++seen[state()->ahead.slots > 0 ? "restart" : "restart, negative gain"];
  }

  // Blocks in one call, perhaps written over one of the inputs.
  void process(FuzzInput& input, uint32_t blocks) {
    const int16_t *a = heard(input), *b = heard(input);
    std::array<Sounds, 3> io = {Sounds(a, a + blocks * kBlock), Sounds(b, b + blocks * kBlock),
                                Sounds(blocks * kBlock)};
    int16_t* const out = io[input.pick({2u, 2u, 2u, 0u, 1u})].data();
    Sounds want(blocks * kBlock);
    for (uint32_t at = 0; at < want.size(); at += kBlock) model_.block(a + at, b + at, &want[at]);
    watch(state()->frame_count + 1, blocks,
          [&] { zeto_tx_process(state(), io[0].data(), io[1].data(), out, blocks * kBlock); });
    require(std::equal(want.begin(), want.end(), out), "the output is the same");
  }

  // One block straight to the block step, uncounted.
  void step(FuzzInput& input) {
    const std::array<float, kBlock> a = any_block(input), b = any_block(input);
    std::array<int16_t, kBlock> out, want;
    model_.step(a.data(), b.data(), want.data());
    watch(0, 1, [&] { zeto_tx_main_process(state(), a.data(), out.data(), b.data()); });
    require(out == want, "the output is the same");
  }

  // At another rate blocks are counted, and nothing else.
  void skip(uint32_t blocks) {
    int16_t none = 0;
    state()->sample_rate = 16000;
    zeto_tx_process(state(), &none, &none, &none, blocks * kBlock);
    state()->sample_rate = 48000;
    model_.frame_count += blocks;
  }
  void set_count(uint32_t count) {
    state()->frame_count = static_cast<int32_t>(count);
    model_.frame_count = count;
  }

  // The record with the analysis ahead taken back has what the plain way leaves behind.
  void compare_histories() {
    Core copy = *this;
    zeto::detector::fall_back(*copy.state());
    const auto same = [](const float* got, const std::vector<float>& want) {
      return std::equal(want.begin(), want.end(), got, is_same);
    };
    require(same(copy.state()->hist_a, model_.hist_a) && same(copy.state()->hist_b, model_.hist_b),
            "the histories are");
    require(same(copy.state()->delay_line, model_.delay_line), "and so is the delay line");
    const auto remembers = [](const zeto::FilterMemory& got, const plain::Filter& want) {
      const int oldest = want.at - plain::Filter::kOrder;
      return std::equal(got.inputs, std::end(got.inputs), want.in + oldest, is_same) &&
             std::equal(got.outputs, std::end(got.outputs), want.out + oldest, is_same);
    };
    require(remembers(copy.state()->high_pass_a, model_.high_a) &&
                remembers(copy.state()->high_pass_b, model_.high_b) && remembers(copy.state()->low_pass, model_.low),
            "the filters remember the same");
    const std::array<zeto::detector::Ahead, 1> left = {copy.state()->ahead};
    const auto bytes = std::bit_cast<std::array<char, sizeof left>>(left);
    require(bytes == std::array<char, sizeof left>{}, "nothing is left of the analysis ahead");
  }

 private:
  // @param count  of the first block, if it is counted.
  template <typename Call>
  void watch(int32_t count, uint32_t blocks, Call call) {
    const zeto::detector::Ahead before = state()->ahead;
    const bool warms_up = state()->delay_ms >= 10 && state()->warmup_index <= state()->delay_ms / 10;
    const bool other_gain = before.slots > 0 && !is_same(before.gain, state()->mix_gain);
    call();
    ++calls;
    require(is_same(state()->result_value, model_.result), "the measurement is the same");
    require(std::equal(model_.positions.begin(), model_.positions.end(), state()->cand_freq), "and the positions");
    require(std::equal(model_.levels.begin(), model_.levels.end(), state()->cand_level), "and the levels");
    if (blocks != 1) return;

    const auto slot = static_cast<int32_t>((static_cast<uint32_t>(count) + 19) % 20);
    const bool had = before.slots > 0 || before.has_stale != 0;
    const bool has = state()->ahead.slots > 0 || state()->ahead.has_stale != 0;
    if (had && has && before.slots == 19) ++seen["window ahead"];
    if (!had || has) return;
    const std::string stale = before.has_stale != 0 ? ", stale slots" : "";
    ++seen[(warms_up               ? "warm-up"
            : count == 0           ? "direct"
            : before.slots != slot ? "count"
            : other_gain           ? "gain"
                                   : "wide") +
           stale];
  }

  std::vector<uint32_t> memory_ = std::vector<uint32_t>(cal_zeto_tx_struct_malloc_size() / 4);
  plain::Detector model_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  Core core;
  core.set(input);
  if (input.one_in(3)) core.set_count(input.pick({0u, 20u, UINT32_MAX - 40, UINT32_MAX - 7}));
  for (int turns = 200; turns > 0 && !input.empty(); --turns) {
    switch (input.below(48)) {
      case 0:
        core.set(input);
        break;
      case 1:
      case 2:
        core.restart();
        break;
      case 3:
        for (uint32_t n = input.pick({1u, 1u, 1u, 5u}); n > 0; --n) core.step(input);
        break;
      case 4:
        core.skip(input.pick({1u, 1u, 19u, 20u, 40u}));
        break;
      case 5:
        core.compare_histories();
        break;
      case 6:
        core.move();
        break;
      case 7:
      case 8:
      case 9:
        core.process(input, 1 + input.below(kMost));
        break;
      default:
        core.process(input, 1);
    }
  }
  return 0;
}

void look_back() {
  for (const char* what :
       {"window ahead", "restart", "restart, negative gain", "warm-up", "direct", "count", "gain", "wide",
        "warm-up, stale slots", "direct, stale slots", "count, stale slots", "gain, stale slots", "wide, stale slots"})
    require(seen[what] > 0, what);
  std::fprintf(stderr, "%ld calls\n", calls);
  for (const auto& [what, times] : seen) std::fprintf(stderr, "%6d %s\n", times, what.c_str());
}
