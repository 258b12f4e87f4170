#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <vector>

#include "tests/plain/chirp.hpp"
#include "zeto/arena.h"
#include "zeto/cores.h"

namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

// A prepared state block.
struct Core {
  std::vector<uint64_t> block = std::vector<uint64_t>(cal_zeto_rx_struct_malloc_size() / 8);
  zeto_rx_state* const state = reinterpret_cast<zeto_rx_state*>(block.data());
  Core() { zeto_rx_init(state); }
  void set(const zeto_rx_param& param) { zeto_rx_set_param(state, &param); }
  std::vector<int16_t> run(int32_t count) {
    std::vector<int16_t> out(static_cast<size_t>((count + 479) / 480 * 480), 77);
    zeto_rx_process(state, out.data(), count);
    return out;
  }
};

constexpr zeto_rx_param kDefault = {19600, 4000, 10, 160, 1000, 1};

TEST(Emitter, SaysItsLinesAndNothingElse) {
  std::vector<uint64_t> block(6250);
  auto* const state = reinterpret_cast<zeto_rx_state*>(block.data());
  const zeto_rx_param param = {19600, 4000, 10, 160, 2000, 1};
  int32_t words[6];
  int16_t out[480];
  CaptureStdout();
  zeto_rx_init(state);
  zeto_rx_set_param(state, &param);
  zeto_rx_reinit(state, 48000);
  zeto_rx_get_param(state, words);
  zeto_rx_process(state, out, 480);
  zeto_rx_exit(state);
  zeto_rx_init(nullptr);
  zeto_rx_reinit(nullptr, 48000);
  zeto_rx_set_param(nullptr, &param);
  zeto_rx_set_param(state, nullptr);
  zeto_rx_get_param(nullptr, words);
  zeto_rx_get_param(state, nullptr);
  zeto_rx_process(nullptr, out, 480);
  zeto_rx_process(state, nullptr, 480);
  zeto_rx_exit(nullptr);
  EXPECT_EQ(GetCapturedStdout(),
            "[ZETO_RX] Rx_Init succ,version is 2.02.02.\n"
            "[ZETO_RX]: module_param_setting: 2, 10, 4000, 19600, 1\n"
            "[ZETO_RX] Rx_ReInit succ,version is 2.02.02.\n");
  EXPECT_EQ(state->frame_count, 1u);
}

TEST(Emitter, PreparesItsOwnFieldsAndItsArenaSlot) {
  std::vector<uint64_t> block(6250, 0x0101010101010101u);
  auto* const state = reinterpret_cast<zeto_rx_state*>(block.data());
  EXPECT_EQ(cal_zeto_rx_struct_malloc_size(), 50000u);
  zeto_rx_init(state);
  const int32_t want[10] = {512, 480, 48000, 0, 19600, 4000, 10, 160, 0x01010101, 1};
  EXPECT_EQ(0, std::memcmp(state, want, sizeof want));
  EXPECT_TRUE(std::all_of(block.begin() + 5, block.end(), [](uint64_t x) { return x == 0x0101010101010101u; }));
  EXPECT_EQ(malloc_buffer(1, 50000 - sizeof *state), state + 1);
  EXPECT_EQ(block.back(), 0u);

  zeto_rx_set_param(state, &kDefault);
  state->frame_count = 9;
  state->frame_len = state->enable = 0;
  zeto_rx_reinit(state, 8000);
  const int32_t after[10] = {512, 480, 8000, 0, 19600, 4000, 10, 160, 1, 0};
  EXPECT_EQ(0, std::memcmp(state, after, sizeof after));
}

TEST(Emitter, ReturnsThePeriodInWholeSeconds) {
  for (auto [ms, s] : std::initializer_list<std::array<int32_t, 2>>{{2500, 2}, {1999, 1}, {999, 0}, {-2500, -2}}) {
    Core core;
    core.set({1, 2, 3, 4, ms, 6});
    std::array<int32_t, 6> words;
    zeto_rx_get_param(core.state, words.data());
    EXPECT_EQ(words, (std::array<int32_t, 6>{1, 2, 3, 4, s, 6}));
  }
}

TEST(Emitter, WritesWholeFrames) {
  for (auto [count, frames] : std::initializer_list<std::array<int32_t, 2>>{
           {INT32_MIN, 0}, {-1, 0}, {0, 0}, {1, 1}, {100, 1}, {480, 1}, {481, 2}, {960, 2}}) {
    Core core;
    std::vector<int16_t> out(1440, 77);  // no period yet: what is written is 0
    zeto_rx_process(core.state, out.data(), count);
    EXPECT_EQ(std::count(out.begin(), out.begin() + frames * 480, 0), frames * 480) << count;
    EXPECT_EQ(std::count(out.begin() + frames * 480, out.end(), 77), 1440 - frames * 480) << count;
    EXPECT_EQ(core.state->frame_count, static_cast<uint32_t>(frames)) << count;
  }
}

TEST(Emitter, StandsStillWhileDisabled) {
  Core core;
  core.set(kDefault);
  const auto whole = core.run(960);
  zeto_rx_reinit(core.state, 48000);
  std::vector<int16_t> parts = core.run(480);
  for (int32_t off : {0, 2, -1}) {
    core.state->enable = off;
    EXPECT_EQ(core.run(960), std::vector<int16_t>(960, 0)) << off;
    EXPECT_EQ(core.state->frame_count, 1u);
  }
  core.state->enable = 1;
  const auto rest = core.run(480);
  parts.insert(parts.end(), rest.begin(), rest.end());
  EXPECT_EQ(parts, whole);
}

// Runs the library and the plain model side by side.
void expect_as_plain(const zeto_rx_param& param, uint32_t rate, uint32_t frame_count, int32_t count) {
  SCOPED_TRACE(testing::Message() << param.start_hz << " " << param.span_hz << " " << param.amp_start_milli << " "
                                  << param.amp_end_milli << " " << param.period_ms << " rate " << rate << " frame "
                                  << frame_count);
  Core core;
  plain::Chirp model;
  core.set(param);
  model.set(param);
  zeto_rx_reinit(core.state, rate);
  model.restart(rate);
  core.state->frame_count = model.frame_count = frame_count;
  const auto got = core.run(count);
  std::vector<int16_t> want(got.size());
  model.process(want.data(), count);
  EXPECT_EQ(got, want);
  EXPECT_EQ(core.state->frame_count, model.frame_count);
}

TEST(Emitter, TakesAbsurdParametersAsThePlainModel) {
  constexpr int32_t kMin = INT32_MIN, kMax = INT32_MAX;
  const zeto_rx_param params[] = {kDefault,
                                  {19600, 4000, 10, 160, 0, 1},
                                  {19600, 4000, 10, 160, 999, 1},
                                  {19600, 4000, 10, 160, -1000, 1},
                                  {19600, 4000, 10, 160, kMax, 1},
                                  {19600, 4000, 10, 160, kMin, 1},
                                  {19600, 4000, 9000, 1600, 1000, 1},
                                  {19600, 4000, -500, -2000, 1000, 1},
                                  {-19600, -4000, 160, 10, 2000, 1},
                                  {0, 0, 1000, 1000, 1000, 1},
                                  {kMax, kMax, kMax, kMax, 1000, 1},
                                  {kMin, kMin, kMin, kMin, 3000, 1},
                                  {kMax, kMin, kMin, kMax, -5000, 1},
                                  {19600, 4000, 10, 160, 89479000, 1}};  // samples of a period: beyond 2^32
  for (const auto& param : params)
    for (uint32_t rate : {48000u, 0u, 1u, 44100u, UINT32_MAX})
      for (uint32_t frame : {0u, 98u, 99u, 8947848u, UINT32_MAX - 1}) expect_as_plain(param, rate, frame, 1440);
}

TEST(Emitter, TakesRandomParametersAsThePlainModel) {
  std::mt19937 random(3);
  const auto below = [&](uint32_t n) { return static_cast<int32_t>(random() % n); };
  for (int turn = 0; turn < 300; ++turn)
    expect_as_plain({below(24000), below(48000) - 24000, below(3000) - 500, below(3000) - 500, below(20000), 1}, 48000,
                    static_cast<uint32_t>(below(5000)), 960);
}

TEST(Emitter, IsSilentWithoutAPeriodAndClipsWhatIsTooLoud) {
  for (int32_t ms : {0, 999, -999}) {
    Core core;
    core.set({19600, 4000, 10, 160, ms, 1});
    EXPECT_EQ(core.run(960), std::vector<int16_t>(960, 0)) << ms;
    EXPECT_EQ(core.state->frame_count, 2u);
  }
  Core core;
  core.set({19600, 4000, 5000, 5000, 1000, 1});
  const auto loud = core.run(4800);
  EXPECT_EQ(*std::max_element(loud.begin(), loud.end()), 32767);
  EXPECT_EQ(*std::min_element(loud.begin(), loud.end()), -32768);
}

}  // namespace
