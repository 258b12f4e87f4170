#include "zeto/host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <complex>
#include <cstring>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

#include "tests/support/air.hpp"
#include "tests/support/downlink.hpp"

namespace {

using support::Air;
using support::Host;
using Readings = std::vector<zeto_host_reading>;

std::vector<int16_t> table_of(const zeto_sweep& sweep) {
  std::vector<int16_t> table(zeto_sweep_len(&sweep));
  std::vector<char> scratch(cal_zeto_rx_struct_malloc_size());
  zeto_sweep_make(&sweep, scratch.data(), table.data());
  return table;
}

TEST(HostSweep, IsTheEmittersStartedOverAndFaded) {
  const zeto_sweep sweep = {18000, -50000, 160, 1000, {70, 30}};
  const std::vector<int16_t> table = table_of(sweep);
  ASSERT_EQ(table.size(), 4800u);
  std::vector<char> state(cal_zeto_rx_struct_malloc_size());
  auto* const emitter = reinterpret_cast<zeto_rx_state*>(state.data());
  const zeto_rx_param param = {18000, -50000, 160, 160, 1000, 1};
  std::vector<int16_t> chirp(3360);
  zeto_rx_init(emitter);
  zeto_rx_set_param(emitter, &param);
  zeto_rx_process(emitter, chirp.data(), 3360);
  const auto same = [&](size_t at, size_t n) {  // but for the fades of 48 samples and the emitter's own of 99
    EXPECT_EQ(table[at], 0);
    EXPECT_EQ(table[at + n - 1], 0);
    for (size_t i = 48; i < n - 48; ++i) ASSERT_EQ(table[at + i], chirp[i]) << i;
    for (size_t i = 0; i < 48; ++i) EXPECT_LE(std::abs(table[at + i]), std::abs(chirp[i]));
  };
  same(0, 3360);
  same(3360, 1440);
}

TEST(HostSweep, LoopsThroughBuffersOfAnyLengthAndFormat) {
  const std::vector<int16_t> table = {1, -2, 32767, -32768, 5};
  for (int32_t format = 1; format <= 4; ++format) {
    uint32_t position = 7;  // wraps to 2
    size_t at = 2;
    for (const size_t n : {0u, 1u, 3u, 13u, 480u}) {
      std::vector<uint32_t> buffer(n + 1, 0xABABABABu);
      zeto_sweep_play(table.data(), 5, &position, format, buffer.data(), n * support::sample_bytes(format) + 1);
      for (size_t i = 0; i < n; ++i, ++at) {
        uint32_t got = 0, want = support::host_sample(format, table[at % 5]);
        std::memcpy(&got, reinterpret_cast<char*>(buffer.data()) + i * support::sample_bytes(format),
                    support::sample_bytes(format));
        EXPECT_EQ(got, format == 1 ? want & 0xFFFFu : want);
      }
      EXPECT_EQ(reinterpret_cast<unsigned char*>(buffer.data())[n * support::sample_bytes(format)], 0xAB);
    }
  }
  EXPECT_EQ(table.size(), 5u);
}

TEST(HostSweep, IsInaudible) {
  for (uint32_t number = 0; const zeto_set* set = zeto_get_set(number); ++number) {
    if (set->detectors == 0) continue;
    const std::vector<int16_t> table = table_of(set->sweep);
    const auto power_at = [&](size_t bin) {  // of the loop; 5 Hz apart
      std::complex<double> sum = 0, turn = std::polar(1.0, -2 * std::numbers::pi * double(bin) / double(table.size()));
      std::complex<double> phase = 1;
      for (const int16_t x : table) sum += double(x) * phase, phase *= turn;
      return std::norm(sum);
    };
    double below = 0, above = 0;
    for (size_t bin = 0; bin < 3200; ++bin) below += power_at(bin);
    for (size_t bin = 3500; bin < 4800; ++bin) above += power_at(bin);
    EXPECT_LT(10 * std::log10(below / above), -65.0) << set->name;
  }
}

// A second is 100 blocks. Learning ends after 2.6 s; what happens, happens at 4 s.
struct Scene {
  const char* name;
  const char* set;
  std::function<void(Air&)> from_start;
  std::function<void(Air&)> from_4_s;
  int32_t state;  // of all readings from 4.9 s on
  int32_t cause = 0;
  double cm = 0.0;
  double within = 0.0;
  double amplitude = 0.0;
};
void PrintTo(const Scene& scene, std::ostream* out) {
  *out << scene.name;
}

void nothing(Air&) {}
std::function<void(Air&)> target(double cm, double amplitude) {
  return [=](Air& air) { air.way = Air::way_of(cm), air.hand = amplitude; };
}

Readings run(const Scene& scene, Host& host, double seconds) {
  Air air;
  Readings readings;
  scene.from_start(air);
  zeto_host_learn(host.host);
  for (int block = 0; block < 100 * seconds; ++block) {
    if (block == 400) scene.from_4_s(air);
    host.capture(air.pass(host.play(480)), readings);
  }
  return readings;
}

class HostScene : public testing::TestWithParam<Scene> {};
TEST_P(HostScene, IsSeen) {
  const Scene& scene = GetParam();
  Host host(scene.set);
  const Readings readings = run(scene, host, 8);
  for (const zeto_host_reading& now : readings) {
    const double t = double(now.end) / 48000;
    if (t < 2.4 || now.state == ZETO_HOST_LEARNING) {
      EXPECT_LT(t, 2.7);
      EXPECT_EQ(now.state, ZETO_HOST_LEARNING) << t;
    } else if (t < 4.0 || scene.state == ZETO_HOST_NOBODY) {
      EXPECT_EQ(now.state, ZETO_HOST_NOBODY) << t;
    } else if (t >= 4.9) {
      EXPECT_EQ(now.state, scene.state) << t;
      EXPECT_EQ(now.cause, scene.cause) << t;
      EXPECT_NEAR(now.distance_cm, scene.cm, scene.within) << t;
      EXPECT_NEAR(now.speed_cm_s, 0, 6) << t;
      EXPECT_EQ(now.age_s, 0) << t;
      EXPECT_NEAR(now.level_db, scene.amplitude > 0 ? 20 * std::log10(scene.amplitude) : 0, 1.0) << t;
    } else {
      EXPECT_TRUE(scene.state == ZETO_HOST_TARGET || now.state != ZETO_HOST_TARGET) << t;
    }
  }
}
double cm(double about) {
  return Air::cm_of(Air::way_of(about));
}
INSTANTIATE_TEST_SUITE_P(
    Air, HostScene,
    testing::Values(Scene{"nobody", "hand", nothing, nothing, ZETO_HOST_NOBODY},
                    Scene{"nobody_in_the_room", "room", nothing, nothing, ZETO_HOST_NOBODY},
                    Scene{"touching", "hand", nothing, target(2, 0.5), ZETO_HOST_TARGET, 0, cm(2), 1.0, 0.5},
                    Scene{"near", "hand", nothing, target(8, 0.2), ZETO_HOST_TARGET, 0, cm(8), 0.5, 0.2},
                    Scene{"far", "hand", nothing, target(50, 0.03), ZETO_HOST_TARGET, 0, cm(50), 0.5, 0.03},
                    Scene{"beyond_reach", "hand", nothing, target(150, 0.02), ZETO_HOST_NOBODY},
                    Scene{"person", "room", nothing, target(150, 0.02), ZETO_HOST_TARGET, 0, cm(150), 1.0, 0.02},
                    Scene{"latency_of_a_sample", "hand", [](Air& air) { air.latency = 1; }, target(20, 0.1),
                          ZETO_HOST_TARGET, 0, cm(20), 0.5, 0.1},
                    Scene{"latency_of_almost_200_ms", "hand", [](Air& air) { air.latency = 9590; }, target(20, 0.1),
                          ZETO_HOST_TARGET, 0, cm(20), 0.5, 0.1},
                    Scene{"clipping_hiss", "hand", [](Air& air) { air.direct = 1.0, air.hiss = 300; }, target(20, 0.1),
                          ZETO_HOST_TARGET, 0, cm(20), 0.7, 0.1},
                    Scene{"lost_buffer", "hand", nothing, [](Air& air) { air.latency -= 480; }, ZETO_HOST_DISTURBED,
                          ZETO_HOST_ALIGNMENT},
                    Scene{"repeated_sample", "hand", nothing, [](Air& air) { air.latency += 1; }, ZETO_HOST_DISTURBED,
                          ZETO_HOST_ALIGNMENT},
                    Scene{"moved_phone", "hand", nothing, [](Air& air) { air.wall = -0.02; }, ZETO_HOST_DISTURBED,
                          ZETO_HOST_ALIGNMENT},
                    Scene{"turned_down", "hand", nothing, [](Air& air) { air.direct = 0.1; }, ZETO_HOST_DISTURBED,
                          ZETO_HOST_ALIGNMENT},
                    Scene{"second_phone", "hand", nothing, [](Air& air) { air.foreign = 0.1; }, ZETO_HOST_DISTURBED,
                          ZETO_HOST_FOREIGN},
                    Scene{"loud_echo", "hand", nothing, target(60, 0.6), ZETO_HOST_DISTURBED, ZETO_HOST_FOREIGN},
                    Scene{"roar", "hand", nothing, [](Air& air) { air.hiss = 30000; }, ZETO_HOST_DISTURBED,
                          ZETO_HOST_NOISE}),
    [](const auto& scene) { return std::string(scene.param.name); });

// Learning that fails is said and begins anew; what it finds then is right.
struct Lesson {
  const char* name;
  int refused;  // block by which that is said
  std::function<void(Air&, int block)> happens;
};
TEST(Host, RefusesToLearnWhatDoesNotLast) {
  const Lesson lessons[] = {
      {"a silent loudspeaker", 245, [](Air& air, int block) { air.direct = block < 200 ? 0.0 : 0.3; }},
      {"noise", 245,
       [](Air& air, int block) { air.direct = block < 200 ? 0.0 : 0.3, air.hiss = block < 200 ? 9000 : 4; }},
      {"a hand that leaves soon", 245, [](Air& air, int block) { target(10, block < 100 ? 0.15 : 0)(air); }},
      {"a hand that leaves late", 310, [](Air& air, int block) { target(10, block < 222 ? 0.15 : 0)(air); }},
      {"a sample lost", 245, [](Air& air, int block) { air.latency = block < 130 ? 1900 : 1899; }},
  };
  for (const Lesson& lesson : lessons) {
    Host host;
    Air air;
    Readings readings;
    zeto_host_learn(host.host);
    for (int block = 0; block < 900; ++block) {
      lesson.happens(air, block);
      host.capture(air.pass(host.play(480)), readings);
      if (block == lesson.refused) {
        EXPECT_EQ(readings.back().cause, ZETO_HOST_UNHEARD) << lesson.name;
      }
    }
    EXPECT_EQ(readings.back().state, ZETO_HOST_NOBODY) << lesson.name;
    EXPECT_NEAR(zeto_host_learned(host.host).latency_ms, air.latency / 48.0, 0.02) << lesson.name;
    EXPECT_GT(zeto_host_learned(host.host).sureness_db, 15.0f);
  }
}

// After another lesson everything is as in a new object that hears the same.
TEST(Host, LearnsAgainWhenAsked) {
  Host used("room"), fresh("room");
  Readings lost, again, first;
  EXPECT_EQ(zeto_host_capture(used.host, &used, 0).state, ZETO_HOST_LEARNING);
  lost = run({"", "room", nothing, [](Air& air) { air.latency -= 5000; }, 0}, used, 6);
  EXPECT_EQ(lost.back().state, ZETO_HOST_DISTURBED);
  Air air;
  zeto_host_learn(used.host);
  zeto_host_learn(fresh.host);
  again = lost;
  for (int block = 0; block < 900; ++block) {
    target(200, block >= 300 && block < 600 ? 0.004 : 0)(air);
    const std::vector<int16_t> heard = air.pass(used.play(480));
    used.capture(heard, again);
    fresh.capture(heard, first);
  }
  ASSERT_EQ(again.size() - lost.size(), first.size());
  for (size_t i = 0; i < first.size(); ++i) {
    zeto_host_reading now = again[lost.size() + i];
    now.end = first[i].end;
    now.number = first[i].number;
    EXPECT_EQ(0, std::memcmp(&now, &first[i], sizeof now)) << i;
  }
  EXPECT_EQ(first[28].state, ZETO_HOST_TARGET);
  EXPECT_NEAR(first[28].distance_cm, cm(200), 1.0);
  EXPECT_EQ(first.back().state, ZETO_HOST_NOBODY);
  const auto learned = zeto_host_learned(used.host), same = zeto_host_learned(fresh.host);
  EXPECT_EQ(0, std::memcmp(&learned, &same, sizeof same));
}

// Two readings of the last five; noise hides a target for a moment, trouble is over after two quiet seconds.
TEST(Host, ShowsWhatTwoReadingsAgreeOn) {
  Host host;
  Air air;
  Readings readings;
  zeto_host_learn(host.host);
  std::string seen;
  const auto is_within = [](int block, int from, int to) { return block >= from && block < to; };
  for (int block = 0; block < 1700; ++block) {
    const double at = block < 700 ? 20 : 38;
    target(at, is_within(block, 400, 418) || is_within(block, 500, 840) ? 0.1 : 0)(air);
    air.hiss = is_within(block, 560, 575) ? 3000 : is_within(block, 600, 620) || is_within(block, 900, 920) ? 2000 : 4;
    air.foreign = is_within(block, 960, 1040) || is_within(block, 1340, 1380) ? 0.1 : 0;
    const size_t before = readings.size();
    host.capture(air.pass(host.play(480)), readings);
    if (readings.size() == before || block < 300) continue;
    const zeto_host_reading& now = readings.back();
    seen += "?LNTD"[now.state];
    if (now.age_s > 0) seen += 'a';
    if (now.state == ZETO_HOST_TARGET && !is_within(block, 700, 740)) {
      EXPECT_NEAR(now.distance_cm, cm(at), 0.5) << block;
    }
    EXPECT_EQ(now.end - readings[before - 1].end, 9600u);
  }
  EXPECT_EQ(seen, "NNNNNNNNNNNNTTTaTTaTTTTNTTTTTTNNNNNNNDDDDDDDDDDDDDNNNNNNDDDDDDDDDDDNNNNN");
}

TEST(Host, FollowsAHandThatMoves) {
  for (const double speed : {5.0, 10.0, 20.0}) {
    Host host;
    Air air;
    Readings readings;
    zeto_host_learn(host.host);
    for (int block = 0; block < 540; ++block) {
      const double true_cm = 60 - speed * std::max(0, block - 300) / 100.0;
      if (block >= 300) target(true_cm, 0.1)(air);
      host.capture(air.pass(host.play(480)), readings);
      const zeto_host_reading& now = readings.empty() ? zeto_host_reading{} : readings.back();
      if (block < 400 || now.end < uint64_t(block) * 480) continue;
      EXPECT_EQ(now.state, ZETO_HOST_TARGET) << true_cm;
      EXPECT_NEAR(now.distance_cm, true_cm, 1.5);
      EXPECT_NEAR(now.speed_cm_s, -speed, 3);
    }
  }
}

TEST(Host, ReadsTheSameInAllFormatsAndBuffers) {
  const Scene scene = {"", "hand", nothing, target(20, 0.1), 0};
  Host first;
  const Readings want = run(scene, first, 6);
  for (int32_t format = 1; format <= 4; ++format) {
    Host host("hand", format);
    Air air;
    Readings got;
    zeto_host_learn(host.host);
    std::vector<uint32_t> heard, played(480);
    for (int block = 0; block < 600; ++block) {
      if (block == 400) scene.from_4_s(air);
      zeto_host_play(host.host, played.data(), 480 * support::sample_bytes(format));
      std::vector<int16_t> speaker(480);
      for (size_t i = 0; i < 480; ++i)
        speaker[i] =
            support::sample_16(format, reinterpret_cast<char*>(played.data()) + i * support::sample_bytes(format));
      for (const int16_t sample : air.pass(speaker))
        heard.push_back(format == 4 && sample == 0 ? 0x7FC00000u
                                                   : support::host_sample(format, sample));  // NaN counts as 0
    }
    std::vector<char> bytes(heard.size() * support::sample_bytes(format));
    for (size_t i = 0; i < heard.size(); ++i)
      std::memcpy(&bytes[i * support::sample_bytes(format)], &heard[i], support::sample_bytes(format));
    size_t at = 0;
    for (size_t n = 1; at < heard.size(); at += n, n = n * 7 % 1009 + 1) {
      const size_t part = std::min(n, heard.size() - at) * support::sample_bytes(format);
      const auto now = zeto_host_capture(host.host, &bytes[at * support::sample_bytes(format)], part);
      if (now.number != (got.empty() ? 0 : got.back().number)) got.push_back(now);
    }
    ASSERT_EQ(got.size(), want.size());
    for (size_t i = 0; i < got.size(); ++i) EXPECT_EQ(0, std::memcmp(&got[i], &want[i], sizeof got[i])) << i;
  }
}

// Whatever becomes of the caller's set afterwards.
TEST(Host, PlaysASetOfTheCallersOwn) {
  zeto_set own = *zeto_find_set("hand");
  own.sweep = {18000, 60000, 100, 1000, {100}};
  own.detectors = 3;
  Host host(&own);
  own = {};
  Air air;
  Readings readings;
  zeto_host_learn(host.host);
  for (int block = 0; block < 450; ++block) {
    if (block == 350) target(30, 0.1)(air);
    host.capture(air.pass(host.play(480)), readings);
  }
  EXPECT_EQ(readings.back().state, ZETO_HOST_TARGET);
  EXPECT_NEAR(readings.back().distance_cm, cm(30), 1.0);
}

TEST(Host, RefusesWhatItCannotDo) {
  EXPECT_EQ(zeto_find_set("hnad"), nullptr);
  EXPECT_EQ(zeto_find_set(nullptr), nullptr);
  const zeto_set* hand = zeto_find_set("hand");
  std::vector<zeto_host_param> params = {
      {nullptr, 1, 5}, {zeto_find_set("default"), 1, 5}, {hand, 0, 5}, {hand, 5, 5}, {hand, 1, -1}, {hand, 1, 101},
      {hand, 1, NAN}};
  constexpr int32_t kMost = std::numeric_limits<int32_t>::max(), kLeast = std::numeric_limits<int32_t>::min();
  std::vector<zeto_set> sets;
  const auto add = [&](auto change) { sets.push_back(*hand), change(sets.back()); };
  for (const auto& [first, second] : {std::pair{71, 65}, {172, 64}, {0, 64}, {-72, 208}, {kMost, 64}, {72, 0}})
    add([one = first, two = second](zeto_set& set) { set.sweep.restart_ms[0] = one, set.sweep.restart_ms[1] = two; });
  for (const int32_t slope : {0, 4999, -93750}) add([=](zeto_set& set) { set.sweep.slope_hz_s = slope; });
  for (const int32_t n : {0, 17, -1, kMost, kLeast}) add([=](zeto_set& set) { set.detectors = n; });
  for (const int32_t n : {13, -1, kMost, kLeast}) add([=](zeto_set& set) { set.slow = n, set.slow_frames = 5; });
  for (const int32_t n : {0, ZETO_SLOW_MAX + 1, kLeast}) add([=](zeto_set& set) { set.slow = 4, set.slow_frames = n; });
  add([](zeto_set& set) { set.sweep.fade_us = -1; });
  for (const zeto_set& set : sets) params.push_back({&set, 1, 5});
  alignas(16) char memory[16];
  for (const zeto_host_param& param : params) {
    EXPECT_EQ(zeto_host_bytes(&param), 0u);
    EXPECT_EQ(zeto_host_init(memory, &param), nullptr);
  }
  EXPECT_EQ(zeto_host_bytes(nullptr), 0u);
  Host host;
  int16_t audio[480] = {5};
  zeto_host_play(nullptr, audio, sizeof audio);
  zeto_host_play(host.host, nullptr, sizeof audio);
  EXPECT_EQ(audio[0], 5);
  EXPECT_EQ(zeto_host_capture(nullptr, audio, sizeof audio).number, 0u);
  EXPECT_EQ(zeto_host_capture(host.host, nullptr, 1 << 20).number, 0u);
  zeto_host_learn(nullptr);
  EXPECT_EQ(zeto_host_learned(nullptr).latency_ms, 0.0f);
  for (const zeto_sweep& bad :
       {zeto_sweep{0, 0, 0, -1, {72}}, zeto_sweep{0, 0, 0, 0, {-2}}, zeto_sweep{0, 0, 0, 0, {1001}}, zeto_sweep{}})
    EXPECT_EQ(zeto_sweep_len(&bad), 0u);
  EXPECT_EQ(zeto_sweep_len(nullptr), 0u);
  const zeto_host_param good_param = {hand, 1, 5};
  EXPECT_EQ(zeto_host_init(nullptr, &good_param), nullptr);
  const zeto_sweep good = {
      18000, 93750, 160, 90000, {25, 25, 25, 25, 25, 25, 25, 25}};  // a fade is half a sweep at most
  const std::vector<int16_t> table = table_of(good);
  std::vector<char> scratch(cal_zeto_rx_struct_malloc_size());
  zeto_sweep_make(nullptr, scratch.data(), audio);
  zeto_sweep_make(&good, nullptr, audio);
  zeto_sweep_make(&good, scratch.data(), nullptr);
  uint32_t at = 0;
  for (const int32_t format : {0, 5}) zeto_sweep_play(table.data(), 9600, &at, format, audio, sizeof audio);
  zeto_sweep_play(nullptr, 9600, &at, 1, audio, sizeof audio);
  zeto_sweep_play(table.data(), 0, &at, 1, audio, sizeof audio);
  zeto_sweep_play(table.data(), 9600, nullptr, 1, audio, sizeof audio);
  zeto_sweep_play(table.data(), 9600, &at, 1, nullptr, sizeof audio);
  EXPECT_EQ(audio[0], 5);
  EXPECT_EQ(at, 0u);
  EXPECT_LT(std::abs(*std::max_element(&table[1190], &table[1210])), 16);
  EXPECT_GT(*std::max_element(&table[550], &table[650]), 4000);
}

}  // namespace
