// Prints a checksum per subject, over output that must not differ by a bit between compilers, levels and machines.
// scripts/check-sums compares the lines of several builds; the cores' own information lines are dropped there. No NaN
// comes up: its sign and payload are the machine's own.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "detector/ahead.hpp"
#include "tests/support/air.hpp"
#include "tests/support/downlink.hpp"
#include "tests/support/seeded.hpp"
#include "tests/support/uplink.hpp"
#include "zeto/fft.h"

namespace {

using Bytes = std::vector<unsigned char>;
using support::Seeded;
using support::Sum;

constexpr size_t kBuffer = 1001;  // samples, of what a host gives at a time

void print(const char* name, const Sum& sum) {
  std::printf("sum %-24s %016llx\n", name, static_cast<unsigned long long>(sum.value()));
}

// Ten seconds of chirp in each format.
void chirp(const char* name, const zeto_rx_param& param) {
  Sum sum;
  for (int32_t format = 1; format <= 4; ++format) {
    const size_t bytes = support::sample_bytes(format);
    Bytes audio(480000 * bytes);
    support::Downlink downlink(format);
    downlink.set(param);
    for (size_t at = 0; at < audio.size(); at += kBuffer * bytes)
      downlink.process(&audio[at], std::min(audio.size() - at, kBuffer * bytes));
    sum.add(audio.data(), audio.size());
  }
  print(name, sum);
}

// Five seconds of chirp and of what a microphone would record of it: the direct path, an echo, noise. Sums all three
// streams in each format; and in `states` the state blocks, whose filter memories and levels show differences that the
// measurement rounds away.
void echo(const char* name, size_t delay, int32_t noise, const zeto_tx_param& param, Sum& states) {
  constexpr size_t kSamples = 240000, kEcho = 331;
  std::vector<int16_t> played(kSamples);
  support::Downlink downlink(1);
  downlink.set({19600, 4000, 10, 160, 1000, 1});
  downlink.process(played.data(), kSamples * sizeof played[0]);
  const auto past = [&](size_t n, size_t by) { return n < by ? 0 : int32_t{played[n - by]}; };
  Sum sum;
  for (int32_t format = 1; format <= 4; ++format) {
    const size_t bytes = support::sample_bytes(format);
    Bytes in1(kSamples * bytes), in2 = in1, out = in1;
    Seeded seeded(static_cast<uint32_t>(format));
    for (size_t n = 0; n < kSamples; ++n) {
      const int32_t hiss = seeded.sample16() * noise / 32768;
      support::store_sample(format, played[n], &in1[n * bytes]);
      support::store_sample(format, past(n, delay) / 2 + past(n, delay + kEcho) / 9 + hiss, &in2[n * bytes]);
    }
    support::Uplink uplink(format);
    uplink.set(param);
    for (size_t at = 0; at < out.size(); at += kBuffer * bytes)
      uplink.process(&in1[at], &in2[at], &out[at], std::min(out.size() - at, kBuffer * bytes));
    for (const Bytes& stream : {in1, in2, out}) sum.add(stream.data(), stream.size());
    zeto::detector::fall_back(*uplink.handle->core);  // packed slots say the same in other bytes
    states.add(uplink.handle->core, cal_zeto_tx_struct_malloc_size());
  }
  print(name, sum);
}

// All lengths, forward and back.
void transforms() {
  Sum sum;
  Seeded seeded(1);
  for (int32_t n = 1; n <= ZETO_FFT_LEN_MAX; ++n) {
    zeto_drft_lookup lookup = {};
    zeto_fft_init(&lookup, n);
    std::vector<float> data(static_cast<size_t>(n));
    for (float& x : data) x = seeded.unit();
    for (const auto transform : {zeto_drft_forward, zeto_drft_backward}) {
      transform(&lookup, data.data());
      sum.add(data.data(), data.size() * sizeof(float));
    }
  }
  print("fft, every length", sum);
}

// All that a host reads and finds, while a hand comes and goes and a buffer is lost.
void host_kit() {
  Sum sum;
  for (const char* name : {"hand", "room"}) {
    support::Host host(name);
    support::Air air;
    std::vector<zeto_host_reading> readings;
    zeto_host_learn(host.host);
    for (int block = 0; block < 900; ++block) {
      air.way = air.way_of(80 - 0.1 * block);
      air.hand = block > 300 ? 0.1 : 0.0;
      if (block == 800) air.latency -= 480;
      host.capture(air.pass(host.play(480)), readings);
    }
    sum.add(readings.data(), readings.size() * sizeof readings[0]);
    const zeto_host_findings found = zeto_host_learned(host.host);
    sum.add(&found, sizeof found);
  }
  print("host kit", sum);
}

}  // namespace

int main() {
  chirp("chirp default", {19600, 4000, 10, 160, 1000, 1});
  chirp("chirp wide loud", {17000, 6500, 1500, 900, 3000, 1});
  chirp("chirp downward", {21000, -3000, 300, 40, 2000, 1});
  Sum states;
  echo("detector 100 ms", 4800, 60, {19600, 4000, 1000, -20, 0, 50, 10, 30, 0, 0, 0}, states);
  echo("detector 40 ms, noisy", 1920, 2000, {19600, 4000, 1000, -20, 0, 30, 10, 0, 0, 0, 0}, states);
  echo("detector held back", 12000, 60, {19600, 4000, 1000, -20, 1, 50, 25, 90, 0, 0, 210}, states);
  print("detector's states", states);
  transforms();
  host_kit();
  return 0;
}
