// The host kit, twice: one object gets its buffers whole and finds its memory cleared, the other gets them in pieces,
// and its memory full of what was there before. What the microphone hears is what was played, late, in pieces lost and
// repeated, with noise of any bits. Both must read the same, and nothing that a host could not show.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "tests/support/air.hpp"
#include "tests/support/downlink.hpp"
#include "tests/support/fuzz_input.hpp"

namespace {

using support::FuzzInput;
using support::require;

struct Object {
  std::vector<char> room;
  zeto_host* host;

  Object(const zeto_host_param& param, char fill) : room(zeto_host_bytes(&param) + 16, fill) {
    char* const aligned = room.data() + (16 - reinterpret_cast<uintptr_t>(room.data()) % 16) % 16;
    host = zeto_host_init(aligned, &param);
  }
};

// One of the kit's; or its own, table, detectors and parameters, which not always can be played.
zeto_set any_set(FuzzInput& input, bool own) {
  zeto_set set = *zeto_find_set(input.one_in(4) ? "room" : "hand");
  if (input.one_in(8)) input.take(&set.hear, sizeof set.hear);
  if (!own) return set;
  const int32_t start = 16000 + static_cast<int32_t>(input.below(8000));
  const int32_t slope = 4900 + static_cast<int32_t>(input.below(200000));
  set.sweep = {start, slope, input.pick({0, 160, 1000}), input.pick({0, 1000, 90000}), {}};
  int32_t left = input.pick({200, 200, 100, 40, 202});
  for (int32_t& ms : set.sweep.restart_ms) {
    ms = &ms == &set.sweep.restart_ms[ZETO_SWEEP_MAX - 1]
             ? left
             : std::min(left, 2 + 2 * static_cast<int32_t>(input.below(60)));
    left -= ms;
  }
  set.detectors = static_cast<int32_t>(input.below(6));
  set.slow = static_cast<int32_t>(input.below(4));
  set.slow_frames = static_cast<int32_t>(input.below(ZETO_SLOW_MAX + 1));
  return set;
}

bool seen[ZETO_HOST_DISTURBED + 1];

void check(const zeto_host_reading& now, const zeto_set& set) {
  seen[now.state] = true;
  require(now.state >= (now.number == 0 ? 0 : 1) && now.state <= ZETO_HOST_DISTURBED, "a state that there is not");
  require((now.state == ZETO_HOST_DISTURBED) == (now.cause != ZETO_HOST_NO_CAUSE),
          "a cause where nothing is disturbed");
  require(now.distance_cm >= 0 && now.distance_cm < set.greatest_cm + 30, "a distance out of reach");
  require(now.distance_cm == 0 || now.state == ZETO_HOST_TARGET, "a distance of nothing");
  require(std::isfinite(now.speed_cm_s) && std::isfinite(now.level_db) && now.age_s >= 0, "no number");
}

// Samples of the format from 16-bit ones, some of them any bits.
std::vector<char> spoilt(FuzzInput& input, int32_t format, const std::vector<int16_t>& samples) {
  const size_t bytes = support::sample_bytes(format);
  std::vector<char> out(samples.size() * bytes);
  for (size_t i = 0; i < samples.size(); ++i) support::store_sample(format, samples[i], &out[i * bytes]);
  for (uint32_t n = input.one_in(8) ? input.below(4) : 0; n > 0 && !samples.empty(); --n)
    input.take(&out[input.below(static_cast<uint32_t>(samples.size())) * bytes], bytes);
  return out;
}

template <typename Take>
void in_pieces(FuzzInput& input, size_t n, Take take) {
  for (size_t at = 0; at < n;) {
    const size_t part = std::min<size_t>(n - at, 1 + input.below(24000));
    take(at, part);
    at += part;
  }
}

}  // namespace

void look_back() {
  for (const bool state : seen) require(state, "a state that the corpus does not reach");
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput input(data, size);
  const zeto_set set = any_set(input, size % 8 == 0);
  const zeto_host_param param = {&set, static_cast<int32_t>(1 + input.below(4)), static_cast<float>(input.below(101))};
  Object whole(param, 0), pieces(param, '\xA5');
  require((whole.host == nullptr) == (zeto_host_bytes(&param) == 0), "an object of no size");
  if (whole.host == nullptr) return 0;
  const size_t bytes = support::sample_bytes(param.format_type);
  support::Air air;
  air.latency = static_cast<int>(input.below(10000));
  if (!input.one_in(8)) zeto_host_learn(whole.host), zeto_host_learn(pieces.host);

  const auto listen = [&](size_t n) {
    std::vector<char> played(n * bytes + 1), again(played);
    zeto_host_play(whole.host, played.data(), n * bytes);
    in_pieces(input, n, [&](size_t at, size_t part) { zeto_host_play(pieces.host, &again[at * bytes], part * bytes); });
    require(played == again, "what is played depends on the buffers");
    std::vector<int16_t> table(n);
    for (size_t i = 0; i < n; ++i) table[i] = support::sample_16(param.format_type, &played[i * bytes]);
    const std::vector<char> heard = spoilt(input, param.format_type, air.pass(table));
    const auto one = zeto_host_capture(whole.host, heard.data(), heard.size());
    zeto_host_reading other = zeto_host_capture(pieces.host, heard.data(), 0);
    in_pieces(input, n, [&](size_t at, size_t part) {
      other = zeto_host_capture(pieces.host, &heard[at * bytes], part * bytes);
      check(other, set);
    });
    check(one, set);
    require(std::memcmp(&one, &other, sizeof one) == 0, "what is read depends on the buffers");
    const auto found = zeto_host_learned(whole.host), also = zeto_host_learned(pieces.host);
    require(std::memcmp(&found, &also, sizeof found) == 0, "what is learned depends on the buffers");
    require(std::isfinite(found.latency_ms) && std::isfinite(found.drift_ppm), "a finding that is no number");
  };
  if (input.one_in(2)) listen(3 * ZETO_SAMPLE_RATE);  // learns, before anything happens
  for (uint32_t turn = 0; turn < 60 && !input.empty(); ++turn) {
    switch (input.below(48)) {
      case 0:
        air.latency = static_cast<int>(input.below(10000));
        break;
      case 1:
        air.latency += static_cast<int>(input.below(1000)) - std::min(500, air.latency);
        break;
      case 2:
        air.direct = input.pick({0.0, 0.01, 0.3, 1.0, 100.0});
        break;
      case 3:
        air.hand = input.pick({0.0, 0.02, 0.1, 0.5, 5.0});
        air.way = static_cast<int>(input.below(2000));
        break;
      case 4:
        air.hand = 0.1;
        air.way = 20 + static_cast<int>(input.below(200));
        break;
      case 5:
        air.foreign = input.pick({0.0, 0.1, 1.0});
        break;
      case 6:
        air.hiss = input.pick({0.0, 4.0, 1000.0, 40000.0});
        break;
      case 7:
        if (input.one_in(4)) zeto_host_learn(whole.host), zeto_host_learn(pieces.host);
        break;
      default:
        break;
    }
    listen(input.below(24000));
  }
  return 0;
}
