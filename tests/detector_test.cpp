// The detector core: what its output shows of every decision, and its life. Its steps are in analysis_test.cpp; the
// fuzz target compares it with the plain model.
#include "tests/plain/detector.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <numbers>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "detector/state.hpp"
#include "zeto/arena.h"
#include "zeto/cores.h"

namespace {

constexpr size_t kBlock = 480;
constexpr int kWindow = 9600;
constexpr int32_t kMax = std::numeric_limits<int32_t>::max();
constexpr zeto_tx_param kUsual = {19605, 4000, 1000, -20, 100, 50, 10, 0, 0, 0, 0};

zeto_tx_param lenient() {
  zeto_tx_param p = kUsual;
  p.UltraHz_cand_ratio = p.UltraHz_spread_ratio = 0;
  return p;
}

using Audio = std::vector<int16_t>;

// A tone of 20000 Hz and half of full scale: the reference that every beat is measured against.
Audio reference() {
  Audio audio(kWindow);
  for (size_t n = 0; n < audio.size(); ++n) {
    audio[n] = static_cast<int16_t>(std::lround(16384 * std::cos(2 * std::numbers::pi * 20000.0 / 48000 * double(n))));
  }
  return audio;
}

// A part of an analysis' 200 ms that beats against the reference: `bin` times 15.625 Hz, half of full scale at 0 dB.
struct Piece {
  int from, to, bin;
  double db = 0;
};
using Window = std::vector<Piece>;

Audio beating(const Window& window) {
  Audio audio(kWindow);
  for (const Piece& piece : window) {
    const double hz = 20000 + 15.625 * piece.bin;
    for (int n = piece.from; n < piece.to; ++n) {
      audio[size_t(n)] = static_cast<int16_t>(
          std::lround(16384 * std::pow(10, piece.db / 20) * std::cos(2 * std::numbers::pi * hz / 48000 * n)));
    }
  }
  return audio;
}

// The analysed stretches start at 384, 3456 and 6528. A pause before each boundary lets the filters ring out.
Window stretches(Piece first, Piece second, Piece third) {
  first.from = 384, first.to = 3000, second.from = 3456, second.to = 6100, third.from = 6528, third.to = 9200;
  return {first, second, third};
}
Piece beat(int bin, double db = 0) {
  return {0, 0, bin, db};
}

const Window kTone = {{0, kWindow, 32}};  // 500 Hz
const Window kSilence = {};
using Shown = std::vector<int>;

// A detector core in memory of its own.
class Core {
 public:
  explicit Core(const zeto_tx_param& param = kUsual) {
    zeto_tx_init(state());
    set(param);
  }
  zeto_tx_state* state() { return reinterpret_cast<zeto_tx_state*>(memory_.data()); }
  void set(const zeto_tx_param& param) { zeto_tx_set_param(state(), &param); }

  // Feeds blocks first .. last - 1 of a window and returns what the last one shows.
  int feed(const Audio& a, const Audio& b, size_t first = 0, size_t last = 20) {
    out.assign((last - first) * kBlock, 77);
    zeto_tx_process(state(), &a[first * kBlock], &b[first * kBlock], out.data(), uint32_t(out.size()));
    return out.back();
  }
  int feed(const Window& window) { return feed(reference(), beating(window)); }

  Audio out;

 private:
  std::vector<uint64_t> memory_ = std::vector<uint64_t>(cal_zeto_tx_struct_malloc_size() / 8);
};

TEST(Detector, ShowsItsDecisions) {
  constexpr auto db = &zeto_tx_param::UltraHz_cand_dB, ratio = &zeto_tx_param::UltraHz_cand_ratio,
                 spread = &zeto_tx_param::UltraHz_spread_ratio, gain = &zeto_tx_param::UltraHz_mix_gain,
                 scope = &zeto_tx_param::UltraHz_scope, period = &zeto_tx_param::UltraHz_period,
                 smooth = &zeto_tx_param::UltraHz_smooth, low = &zeto_tx_param::UltraHz_floor;
  using Change = std::pair<int32_t zeto_tx_param::*, int32_t>;
  struct Case {
    const char* what;
    bool easy;  // both ratios 0
    std::vector<Change> changes;
    std::vector<Window> windows;
    Shown shown;
  };
  // 12 of 18 levels and no agreement in position; 6 of 18 levels and all positions.
  const Window twelve = stretches(beat(32), beat(32), beat(64, -30));
  const Window six = stretches(beat(32), beat(32, -15), beat(32, -30));
  const Window third_43 = stretches(beat(32), beat(32), beat(43)), third_44 = stretches(beat(32), beat(32), beat(44));
  const Window at_1500 = {{0, kWindow, 96}}, start = {{0, 200, 32}}, end_of_start = {{400, 1400, 32}};
  const Window to_9000 = {{0, 9000, 32}}, gap = {{384, 3000, 20}, {6528, 9200, 32}};  // 312 and 500 Hz
  const std::vector<Change> deep = {{gain, kMax}, {db, -150}};  // what the filters still ring with becomes visible
  const Case cases[] = {
      // 500 Hz x 1000 / 3993 Hz
      {"rejected, accepted", false, {}, {kSilence, kTone, kSilence, kTone}, {-1000, 125, -1000, 125}},
      {"blended with the rejection", false, {{smooth, 50}}, {kSilence, kTone, kTone}, {-1000, -437, -156}},
      // The beat's level is 20 log10(0.5 * 0.5 / 2 * 6 * 256) = 45.7 dB, and 20 dB more at tenfold gain.
      {"level above", false, {{db, 45}}, {kTone}, {125}},
      {"level below", false, {{db, 46}}, {kTone}, {-1000}},
      {"gain above", false, {{gain, 100}, {db, 65}}, {kTone}, {125}},
      {"gain below", false, {{gain, -100}, {db, 66}}, {kTone}, {-1000}},
      // Silence is -150 dB in every bin; the first one wins: 15 Hz.
      {"silence above", false, {{db, -151}}, {kSilence}, {3}},
      {"silence at threshold", false, {{db, -150}}, {kSilence}, {-1000}},
      {"no gain is silence", false, {{gain, 0}, {db, -151}}, {kTone}, {3}},
      {"ratios at threshold", false, {{spread, 100}}, {kTone}, {125}},
      {"candidate ratio above one", false, {{ratio, 101}}, {kTone}, {-1000}},
      {"spread ratio above one", false, {{spread, 101}}, {kTone}, {-1000}},
      {"nothing at all is accepted once", true, {}, {kTone, kSilence, kSilence}, {125, 0, -1000}},
      {"nothing at all is rejected", true, {{ratio, 1}}, {kTone, kSilence}, {125, -1000}},
      {"even median, at 406 Hz", true, {}, {kTone, gap}, {125, 101}},
      {"hit ratio is all or nothing", true, {{ratio, 1}}, {kTone, gap}, {125, -1000}},
      {"within tolerance", false, {}, {third_43}, {125}},
      {"beyond tolerance", false, {}, {third_44}, {-1000}},
      {"rejected ratios count next time", true, {}, {twelve, six}, {-1000, 125}},
      {"but only next time", true, {}, {twelve, kSilence, six}, {-1000, -1000, -1000}},
      {"two full hit ratios", true, {}, {six, six}, {-1000, 125}},
      {"folded", false, {{scope, 2000}}, {at_1500}, {246}},  // (1991 - 1500) Hz of 1991 Hz
      {"not folded", false, {{scope, 2000}}, {kTone}, {251}},
      {"negative span", false, {{scope, -4000}}, {kTone}, {1125}},
      {"floor rounds the span", false, {{low, kMax}}, {kTone}, {122}},  // 4096 Hz
      // Plus infinity shows as the low half of 2^31 - 1; times a weight of 0 it is undefined until the next rejection.
      {"no span", false, {{scope, 10}, {period, -1000}}, {kTone, kTone, kSilence, kTone}, {-1, 0, -1000, -1}},
      {"no span downward", false, {{scope, -10}}, {kTone}, {0}},
      {"low 16 bits", false, {{period, 2000000}}, {kTone}, {250438 - 4 * 65536}},
      {"the start is not analysed", true, {}, {kTone, start}, {125, 0}},
      {"the end of the start is", true, {}, {kTone, end_of_start}, {125, 125}},
      // The low-pass rings at 4000 Hz, which folds to -7 Hz of 3993 Hz.
      {"filters ring on", true, deep, {kTone, kSilence}, {125, -1}},
      {"filters have rung out", true, deep, {to_9000, kSilence, kSilence}, {125, 0, -1000}},
  };
  for (const Case& c : cases) {
    zeto_tx_param param = c.easy ? lenient() : kUsual;
    for (const auto& [field, value] : c.changes) param.*field = value;
    Core core(param);
    Shown shown;
    for (const Window& window : c.windows) shown.push_back(core.feed(window));
    EXPECT_EQ(shown, c.shown) << c.what;
  }
}

// Noise in one call, against the plain model block by block: the output holds between analyses.
TEST(Detector, TakesManyBlocksAtOnce) {
  zeto_tx_param param = lenient();
  param.UltraHz_smooth = 30;
  Core core(param);
  plain::Detector model;
  model.set(&param.UltraHz_floor);
  std::mt19937 random(5);
  Audio a(6 * kWindow), b(a.size()), want(a.size());
  for (Audio* audio : {&a, &b})
    for (int16_t& x : *audio) x = int16_t(random() % 65536 - 32768);
  for (size_t at = 0; at < a.size(); at += kBlock) model.block(&a[at], &b[at], &want[at]);
  core.feed(a, b, 0, a.size() / kBlock);
  EXPECT_EQ(core.out, want);
  EXPECT_EQ(core.state()->result_value, model.result);
  EXPECT_EQ(core.state()->analysis_count, 6);
}

// The reference plays during the first 20 blocks only, its beat in all later ones: they meet where the first input is
// 20 blocks late.
TEST(Detector, HoldsTheFirstInputBack) {
  const std::pair<int32_t, Shown> cases[] = {{INT32_MIN, {-1000, -1000, -1000}},
                                             {9, {-1000, -1000, -1000}},
                                             {10, {-1000, 125, -1000}},
                                             {199, {-1000, 125, -1000}},
                                             {200, {0, 125, -1000}},
                                             {210, {0, 125, -1000}},
                                             {1199, {0, 0, 0, 0, 0, -1000, 125, -1000}},
                                             {kMax, {0, 0, 0}}};
  const Audio silence = beating(kSilence);
  for (const auto& [delay_ms, want] : cases) {
    zeto_tx_param param = kUsual;
    param.UltraHz_delay_ms = delay_ms;
    Core core(param);
    Shown shown = {core.feed(reference(), silence)};  // after 20, 40, ... blocks
    while (shown.size() < want.size()) shown.push_back(core.feed(silence, beating(kTone)));
    EXPECT_EQ(shown, want) << delay_ms;
  }
}

// Blocks that the start-up delay drops leave the histories as the last analysis filtered them: they beat once more.
TEST(Detector, DelaySwitchedOnLateLeavesOldSlots) {
  zeto_tx_param param = lenient();
  Core core(param);
  EXPECT_EQ(core.feed(kTone), 125);
  param.UltraHz_delay_ms = 50;
  param.UltraHz_period = 2000;
  core.set(param);
  const Audio silence = beating(kSilence);
  EXPECT_EQ(core.feed(reference(), silence, 0, 5), 125);
  EXPECT_EQ(core.state()->warmup_index, 6);
  EXPECT_EQ(core.feed(reference(), silence, 5, 20), 250);
  EXPECT_EQ(core.feed(silence, beating(kTone)), 250);

  param.UltraHz_delay_ms = 90;  // four more blocks into the delay line, from where the delay stopped
  core.set(param);
  core.feed(silence, silence, 0, 4);
  EXPECT_EQ(core.state()->warmup_index, 10);
  EXPECT_EQ(core.state()->analysis_count, 1);
}

TEST(Detector, RestartKeepsParametersDelayLineAndRhythm) {
  zeto_tx_param param = lenient();
  param.UltraHz_delay_ms = 200;
  Core core(param);
  const Audio silence = beating(kSilence), a = reference(), b = beating(kTone);
  EXPECT_EQ(core.feed(a, silence), 0);
  zeto_tx_reinit(core.state(), 16000);
  EXPECT_EQ(core.feed(a, b), 125);

  EXPECT_EQ(core.feed(a, b, 0, 5), 125);
  zeto_tx_reinit(core.state(), 48000);
  EXPECT_EQ(core.feed(a, b, 5, 19), 0);
  EXPECT_EQ(core.feed(silence, b, 19, 20), 125);  // fifteen blocks are enough
  EXPECT_EQ(core.feed(silence, silence), 0);      // nothing found, forgiven for what the analysis before had found
  core.feed(silence, b);
  zeto_tx_reinit(core.state(), 48000);
  EXPECT_EQ(core.feed(silence, silence), -1000);  // which a restart forgets
}

std::string shown_as(const void* address) {
  char text[40];
  std::snprintf(text, sizeof text, "(0x%p)", address);
  return text;
}

TEST(DetectorLife, SaysWhatItDoes) {
  std::vector<uint64_t> memory(cal_zeto_tx_struct_malloc_size() / 8);
  auto* state = reinterpret_cast<zeto_tx_state*>(memory.data());
  const auto said = [](auto call) {
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
  };
  EXPECT_EQ(said([&] { zeto_tx_init(state); }),
            "zeto_tx_init, version" + shown_as(state) + " zeto v1.0.1 build 20221213\n");
  EXPECT_EQ(said([&] { zeto_tx_reinit(state, 16000); }), "zeto_tx_reinit" + shown_as(state) + " sample_rate 16000\n");
  EXPECT_EQ(said([&] { zeto_tx_reinit(state, -1); }), "zeto_tx_reinit" + shown_as(state) + " sample_rate -1\n");
  const zeto_tx_param param = {-1, 4000, 0, -20, 50, 0, 0, 0, 0, 0, 0};
  EXPECT_EQ(said([&] { zeto_tx_set_param(state, &param); }),
            "UltraHz_floor(4294967295) UltraHz_scope(4000) UltraHz_period(0) UltraHz_cand_dB(4294967276) "
            "UltraHz_cand_ratio<0.500000>.\n");
  EXPECT_EQ(said([&] { zeto_tx_destroy(state); }), "zeto_tx_destroy" + shown_as(state) + " \n");
  int16_t block[kBlock] = {};
  uint32_t words[11];
  float floats[kBlock] = {};
  EXPECT_EQ(said([&] {
              zeto_tx_init(nullptr), zeto_tx_reinit(nullptr, 1), zeto_tx_destroy(nullptr);
              zeto_tx_set_param(nullptr, &param), zeto_tx_set_param(state, nullptr);
              zeto_tx_get_param(nullptr, words), zeto_tx_get_param(state, nullptr);
              zeto_tx_process(nullptr, block, block, block, kBlock), zeto_tx_process(state, nullptr, block, block, 480);
              zeto_tx_process(state, block, nullptr, block, 480), zeto_tx_process(state, block, block, nullptr, 480);
              zeto_tx_process(state, block, block, block, 0), zeto_tx_main_process(nullptr, floats, block, floats);
              zeto_tx_main_process(state, nullptr, block, floats), zeto_tx_main_process(state, floats, nullptr, floats);
              zeto_tx_main_process(state, floats, block, nullptr);
            }),
            "");
  EXPECT_EQ(state->frame_count, 0);
}

bool all(const void* from, const void* to, unsigned char value) {
  return std::all_of(static_cast<const unsigned char*>(from), static_cast<const unsigned char*>(to),
                     [value](unsigned char byte) { return byte == value; });
}

// What init and reinit clear, set and leave alone, in memory that holds something else.
TEST(DetectorLife, InitAndReinitTouchTheirOwnFieldsOnly) {
  constexpr unsigned char kOld = 0x5a;
  std::vector<uint64_t> memory(cal_zeto_tx_struct_malloc_size() / 8);
  const auto* end = memory.data() + memory.size();
  auto& state = *reinterpret_cast<zeto_tx_state*>(memory.data());
  for (const bool again : {false, true}) {
    SCOPED_TRACE(again);
    std::memset(memory.data(), kOld, memory.size() * 8);
    again ? zeto_tx_reinit(&state, 16000) : zeto_tx_init(&state);

    EXPECT_TRUE(all(&state.params, &state.sample_rate, kOld));
    EXPECT_EQ(std::vector<uint32_t>({state.sample_rate, state.fft_len, state.block_len, state.num_bins}),
              std::vector<uint32_t>({48000, 512, 480, 257}));
    EXPECT_EQ(state.fft.n, 512);
    EXPECT_EQ(state.result_value, 0.0f);
    EXPECT_TRUE(all(&state.floor_hz, &state.delay_ms, kOld));
    if (again) {
      EXPECT_TRUE(all(&state.delay_ms, &state.high_pass_a, kOld));
      EXPECT_TRUE(all(&state.frame_count, end, kOld));
    } else {
      EXPECT_EQ(state.delay_ms, 0);
      EXPECT_EQ(state.warmup_index, 1);
      EXPECT_TRUE(all(&state.delay_line, &state.high_pass_a, 0));
      EXPECT_EQ(state.frame_count, 0);
      EXPECT_EQ(state.frame_tag, 160);
      EXPECT_TRUE(all(&state + 1, end, kOld));
    }
    EXPECT_TRUE(all(&state.high_pass_a, &state.analysis_tag, 0));
    EXPECT_EQ(state.analysis_tag, 17);
    EXPECT_TRUE(all(&state.cand_freq, &state.reinit_status, 0));
    EXPECT_EQ(state.reinit_status, again ? -1.0f : 0.0f);
  }
}

// A block that was never initialised counts what it is given and touches nothing else.
TEST(DetectorLife, UninitialisedCountsBlocks) {
  std::vector<uint64_t> memory(cal_zeto_tx_struct_malloc_size() / 8);
  auto* state = reinterpret_cast<zeto_tx_state*>(memory.data());
  int16_t in[1] = {}, out[1] = {123};
  int32_t want = 0;
  for (const auto& [samples, blocks] : {std::pair{1000u, 3}, {1u, 1}, {480u, 1}, {481u, 2}, {4294967295u, 8947849}}) {
    zeto_tx_process(state, in, in, out, samples);
    want += blocks;
    EXPECT_EQ(state->frame_count, want) << samples;
  }
  EXPECT_EQ(out[0], 123);
  zeto_tx_process(state, in, in, out, 0);
  EXPECT_EQ(state->frame_count, want);

  const float block[kBlock] = {};  // must come back, whatever it shows
  int16_t shown[kBlock];
  for (int k = 0; k < 41; ++k, ++state->frame_count) zeto_tx_main_process(state, block, shown, block);
}

// After 2^31 blocks the count turns negative; where blocks go then is nobody's promise, but they stay in the histories.
TEST(DetectorLife, CountMayWrap) {
  Core core;
  core.state()->frame_count = kMax - 5;
  for (int i = 0; i < 3; ++i) core.feed(kTone);
  EXPECT_EQ(std::memcmp(&core.state()->params, &kUsual, sizeof kUsual), 0);
  EXPECT_EQ(core.state()->frame_tag, 160);
}

TEST(DetectorLife, ArenaGetsTheEndOfTheBlock) {
  Core core;
  char* block = reinterpret_cast<char*>(core.state());
  EXPECT_EQ(cal_zeto_tx_struct_malloc_size(), 130000u);
  testing::internal::CaptureStderr();
  EXPECT_EQ(malloc_buffer(0, 6993), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "[QANT_TX] memory not enough.\n");
  EXPECT_EQ(malloc_buffer(0, 6992), block + 123008);
  zeto_tx_reinit(core.state(), 48000);
  EXPECT_EQ(malloc_buffer(0, 0), block + 130000);
}

}  // namespace
