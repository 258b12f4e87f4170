// The object that does all of it: buffers of any length and format in, readings out.
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "host/decision.hpp"
#include "zeto/kernels.h"

using namespace zeto::host;

struct zeto_host {
  int32_t format_type;

  // Of the playing side alone.
  uint32_t play_position;

  BandFilter filter;
  Reference reference;
  Learner learner;
  Watch watch;
  Decision decision;
  Vernier vernier;

  enum { kIdle, kLearning, kWaiting, kWatching } phase;
  uint64_t captured;  // samples
  uint64_t since;     // samples since learning began, or since the object was made
  bool unheard;       // learning has failed and started over
  int filled;         // samples of the block
  float block[kBlock];
  int block_of_frame;
  int frames;  // watched since it was learned, as far as it matters
  zeto_host_reading reading;
  zeto_host_findings findings;
};

namespace {

constexpr float kMostSpacing = 100.0f;  // cm
constexpr size_t kObjectBytes = aligned(sizeof(zeto_host));
constexpr int kLeastSlope = 5000;  // Hz/s: a step of 150 samples, so that 256 steps of a spectrum are about a frame

size_t sample_bytes(int32_t format_type) noexcept {
  return format_type == ZETO_FORMAT_PCM16 ? sizeof(int16_t) : sizeof(int32_t);
}

bool is_within(int32_t n, int32_t least, int32_t greatest) noexcept {
  return n >= least && n <= greatest;
}

bool is_playable(const zeto_set& set) noexcept {
  return fits_frame(set.sweep) && set.sweep.slope_hz_s >= kLeastSlope && is_within(set.detectors, 1, kMostDetectors) &&
         is_within(set.slow, 0, kMostDetectors - set.detectors) &&
         is_within(set.slow_frames, set.slow > 0 ? 1 : 0, ZETO_SLOW_MAX);
}

bool is_possible(const zeto_host_param* param) noexcept {
  return param != nullptr && param->set != nullptr && is_playable(*param->set) &&
         is_within(param->format_type, ZETO_FORMAT_PCM16, ZETO_FORMAT_FLOAT) && param->spacing_cm >= 0.0f &&
         param->spacing_cm <= kMostSpacing;
}

// To units of 16-bit samples.
void convert(const void* from, uint64_t first, int32_t format_type, int n, float* to) noexcept {
  if (format_type == ZETO_FORMAT_PCM16) {
    const auto* const x = static_cast<const int16_t*>(from) + first;
    for (int i = 0; i < n; ++i) to[i] = x[i];
  } else if (format_type == ZETO_FORMAT_FLOAT) {
    const auto* const x = static_cast<const float*>(from) + first;
    for (int i = 0; i < n; ++i) {
      const float within = x[i] < -1.0f ? -1.0f : x[i] > 1.0f ? 1.0f : x[i];
      to[i] = x[i] == x[i] ? within * 32768.0f : 0.0f;
    }
  } else {
    const float unit = format_type == ZETO_FORMAT_PCM32 ? 1.0f / 65536.0f : 1.0f / 256.0f;
    const auto* const x = static_cast<const int32_t*>(from) + first;
    for (int i = 0; i < n; ++i) to[i] = static_cast<float>(x[i]) * unit;
  }
}

void start_learning(zeto_host& host) noexcept {
  host.phase = zeto_host::kLearning;
  host.since = 0;
  host.filled = 0;
  host.filter.restart();
  host.learner.restart();
}

void publish(zeto_host& host, const zeto_host_reading& reading) noexcept {
  const uint32_t number = host.reading.number + 1;
  host.reading = reading;
  host.reading.end = host.captured;
  host.reading.number = number;
}

// While there is nothing to watch there is a reading every 200 ms all the same.
void say_learning(zeto_host& host) noexcept {
  zeto_host_reading reading = {};
  reading.state = host.unheard ? ZETO_HOST_DISTURBED : ZETO_HOST_LEARNING;
  reading.cause = host.unheard ? ZETO_HOST_UNHEARD : ZETO_HOST_NO_CAUSE;
  publish(host, reading);
}

// The learner counts from where learning began, so its delay is that of the table and not yet of the sound.
void keep_findings(zeto_host& host) noexcept {
  constexpr float kFrameMs = 1.0f * kFrame / kSamplesPerMs;
  const uint64_t begun = host.captured - host.since;
  host.findings = host.learner.findings();
  float& latency_ms = host.findings.latency_ms;
  latency_ms += static_cast<float>(begun % kFrame) / kSamplesPerMs;
  if (latency_ms >= kFrameMs) latency_ms -= kFrameMs;
  if (latency_ms < 0.0f) latency_ms += kFrameMs;
}

void learn_from_block(zeto_host& host) noexcept {
  host.vernier.drain(host.reference);
  const auto band = host.filter.run(host.block);
  const auto outcome = host.learner.take(host.block, band.from(0));
  if (outcome == Learner::Outcome::kBusy) return;
  keep_findings(host);
  host.unheard = outcome == Learner::Outcome::kFailed;
  if (host.unheard) {
    start_learning(host);
  } else {
    host.phase = zeto_host::kWaiting;
  }
}

void start_watching(zeto_host& host) noexcept {
  host.phase = zeto_host::kWatching;
  host.filter.restart();
  host.watch.start(host.learner.learned());
  host.decision.start(host.learner.learned());
  host.vernier.restart();
  host.block_of_frame = 0;
  host.frames = 0;
}

void watch_block(zeto_host& host) noexcept {
  const Learned& learned = host.learner.learned();
  const float* const mean = learned.mean + (host.block_of_frame * kBlock + learned.hold) % kFrame;
  float rest[kBlock];
  zeto_vf_sub_vf(host.block, mean, kBlock, rest);
  int16_t heard[kBlock];
  const zeto_frame from = {{rest}, 1, kBlock};
  const zeto_frame to = {{heard}, 1, kBlock};
  zeto_frame_float_convert_to_short(&from, &to);
  host.watch.take(host.filter.run(rest).from(0));
  host.vernier.feed(host.reference, heard);
  if (++host.block_of_frame < kFrameBlocks) return;

  host.block_of_frame = 0;
  const Delay delay = host.vernier.read();
  host.vernier.next_frame();
  const Sight sight = host.watch.finish(delay.valid, static_cast<int>(lrint(delay.samples)));
  zeto_host_reading reading = {};
  host.decision.take(delay, sight, reading);
  // A target from the first frame on is in the background: what was there left while it was learned.
  const bool first_shown = host.frames < kLeastAgreeing && ++host.frames == kLeastAgreeing;
  if (!first_shown || reading.state != ZETO_HOST_TARGET) return publish(host, reading);
  host.unheard = true;
  start_learning(host);
  say_learning(host);
}

bool takes_blocks(const zeto_host& host) noexcept {
  return host.phase == zeto_host::kLearning || host.phase == zeto_host::kWatching;
}

// Samples until something is to be done: a block is complete, watching begins, or 200 ms of learning are over.
uint64_t until_due(const zeto_host& host) noexcept {
  const uint64_t at = host.since % kFrame;
  uint64_t n = kFrame - at;
  if (takes_blocks(host)) {
    const auto missing = static_cast<uint64_t>(kBlock - host.filled);
    n = n < missing ? n : missing;
  } else if (host.phase == zeto_host::kWaiting) {
    const auto hold = static_cast<uint64_t>(host.learner.learned().hold);
    const uint64_t wait = hold > at ? hold - at : kFrame - at + hold;
    n = n < wait ? n : wait;
  }
  return n;
}

// Takes so many, at most until_due().
void take(zeto_host& host, const void* samples, uint64_t first, uint64_t n) noexcept {
  host.captured += n;
  host.since += n;
  if (takes_blocks(host)) {
    convert(samples, first, host.format_type, static_cast<int>(n), host.block + host.filled);
    host.filled += static_cast<int>(n);
  }
  const bool frame_over = host.since % kFrame == 0;
  const bool watched = host.phase == zeto_host::kWatching;
  if (host.filled == kBlock) {
    host.filled = 0;
    watched ? watch_block(host) : learn_from_block(host);
  }
  if (host.phase == zeto_host::kWaiting && host.since % kFrame == static_cast<uint64_t>(host.learner.learned().hold)) {
    start_watching(host);
  }
  if (!watched && frame_over) say_learning(host);
}

}  // namespace

size_t zeto_host_bytes(const zeto_host_param* param) {
  return is_possible(param) ? kObjectBytes + Vernier::bytes(*param->set) : 0;
}

zeto_host* zeto_host_init(void* memory, const zeto_host_param* param) {
  if (memory == nullptr || !is_possible(param)) return nullptr;
  memset(memory, 0, kObjectBytes);
  auto& host = *static_cast<zeto_host*>(memory);
  void* const detectors = static_cast<char*>(memory) + kObjectBytes;
  host.format_type = param->format_type;
  host.filter.init();
  host.reference.init(param->set->sweep, host.filter, detectors);  // their memory is the emitter's scratch before
  host.learner.init(host.reference, static_cast<double>(param->spacing_cm) / kCmPerSample);
  host.watch.init(host.reference);
  host.decision.init(*param->set, static_cast<double>(param->spacing_cm));
  host.vernier.init(*param->set, detectors);
  host.phase = zeto_host::kIdle;
  host.reading.state = ZETO_HOST_LEARNING;
  return &host;
}

void zeto_host_play(zeto_host* host, void* buffer, uint64_t byte_count) {
  if (host == nullptr) return;
  zeto_sweep_play(host->reference.table(), kFrame, &host->play_position, host->format_type, buffer, byte_count);
}

void zeto_host_learn(zeto_host* host) {
  if (host == nullptr) return;
  host->unheard = false;
  const zeto_host_reading before = host->reading;
  host->reading = {};
  host->reading.end = before.end;
  host->reading.number = before.number;
  host->reading.state = ZETO_HOST_LEARNING;
  start_learning(*host);
}

zeto_host_reading zeto_host_capture(zeto_host* host, const void* microphone, uint64_t byte_count) {
  if (host == nullptr || microphone == nullptr) return {};
  const uint64_t n = byte_count / sample_bytes(host->format_type);
  for (uint64_t done = 0; done < n;) {
    const uint64_t due = until_due(*host);
    const uint64_t run = due < n - done ? due : n - done;
    take(*host, microphone, done, run);
    done += run;
  }
  return host->reading;
}

zeto_host_findings zeto_host_learned(const zeto_host* host) {
  if (host == nullptr) return {};
  return host->findings;
}
