// The sweep table: the library's emitter, started over, faded, and looped into playback buffers.
#include <math.h>
#include <string.h>

#include "host/frame.hpp"
#include "host/reference.hpp"
#include "zeto/host.h"

namespace {

using namespace zeto::host;

constexpr int kLongestMs = 1000;  // the emitter's own period

// Half a period of a cosine up and down, in place.
void fade(int16_t* samples, int n, int ramp) noexcept {
  if (ramp > n / 2) ramp = n / 2;
  for (int i = 0; i < ramp; ++i) {
    const double gain = 0.5 - 0.5 * cos(kPi * (i + 0.5) / ramp);
    samples[i] = static_cast<int16_t>(lrint(gain * samples[i]));
    samples[n - 1 - i] = static_cast<int16_t>(lrint(gain * samples[n - 1 - i]));
  }
}

void make_sweep(const zeto_sweep& sweep, zeto_rx_state* emitter, int n, int16_t* to) noexcept {
  const zeto_rx_param param = {sweep.start_hz, sweep.slope_hz_s, sweep.amp_milli, sweep.amp_milli, kLongestMs, 1};
  zeto_rx_set_param(emitter, &param);
  zeto_rx_reinit(emitter, ZETO_SAMPLE_RATE);
  for (int at = 0; at < n; at += kBlock) {
    int16_t block[kBlock];
    zeto_rx_process(emitter, block, kBlock);
    const int part = n - at < kBlock ? n - at : kBlock;
    memcpy(to + at, block, static_cast<size_t>(part) * sizeof *to);
  }
  fade(to, n, static_cast<int>(int64_t{sweep.fade_us} * kSamplesPerMs / 1000));
}

template <typename Sample, typename Convert>
void loop(const int16_t* table, uint32_t len, uint32_t& position, void* buffer, uint64_t byte_count, Convert convert) {
  Sample* const to = static_cast<Sample*>(buffer);
  for (uint64_t i = 0; i < byte_count / sizeof(Sample); ++i) {
    to[i] = convert(table[position]);
    position = position + 1 < len ? position + 1 : 0;
  }
}

}  // namespace

uint32_t zeto_sweep_len(const zeto_sweep* sweep) {
  if (sweep == nullptr || sweep->fade_us < 0) return 0;
  int total = 0;
  for (const int32_t ms : sweep->restart_ms) {
    if (ms == 0) break;
    if (ms < 0 || ms > kLongestMs) return 0;
    total += ms;
  }
  return static_cast<uint32_t>(total * kSamplesPerMs);
}

void zeto_sweep_make(const zeto_sweep* sweep, void* scratch, int16_t* table) {
  if (scratch == nullptr || table == nullptr || zeto_sweep_len(sweep) == 0) return;
  memset(scratch, 0, cal_zeto_rx_struct_malloc_size());
  auto* const emitter = static_cast<zeto_rx_state*>(scratch);
  zeto_rx_init(emitter);
  for (int i = 0; i < sweeps_of(*sweep); ++i) {
    const int n = sweep->restart_ms[i] * kSamplesPerMs;
    make_sweep(*sweep, emitter, n, table);
    table += n;
  }
  zeto_rx_exit(emitter);
}

void zeto_sweep_play(const int16_t* table, uint32_t len, uint32_t* position, int32_t format_type, void* buffer,
                     uint64_t byte_count) {
  if (table == nullptr || position == nullptr || buffer == nullptr || len == 0) return;
  uint32_t& at = *position;
  at %= len;
  switch (format_type) {
    case ZETO_FORMAT_PCM16:
      return loop<int16_t>(table, len, at, buffer, byte_count, [](int16_t x) { return x; });
    case ZETO_FORMAT_PCM24_IN32:
      return loop<int32_t>(table, len, at, buffer, byte_count, [](int16_t x) { return int32_t{x} * 256; });
    case ZETO_FORMAT_PCM32:
      return loop<int32_t>(table, len, at, buffer, byte_count, [](int16_t x) { return int32_t{x} * 65536; });
    case ZETO_FORMAT_FLOAT:
      return loop<float>(table, len, at, buffer, byte_count,
                         [](int16_t x) { return static_cast<float>(x) / 32768.0f; });
    default:
      return;
  }
}
