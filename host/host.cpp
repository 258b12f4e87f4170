// The object that does all of it: buffers of any length and format in, readings out.
#include <math.h>
#include <stdint.h>
#include <string.h>

#include "host/decision.hpp"
#include "zeto/kernels.h"

using namespace zeto::host;

struct zeto_host {
  const zeto_set* set;
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
  int32_t unheard;    // learning has failed and started over
  int filled;         // samples of the block
  float block[kBlock];
  int block_of_frame;
  zeto_host_reading reading;
};

namespace {

constexpr size_t kAlignment = 16;
constexpr float kMostSpacing = 100.0f;  // cm
constexpr size_t kObjectBytes = (sizeof(zeto_host) + kAlignment - 1) / kAlignment * kAlignment;

size_t sample_bytes(int32_t format_type) noexcept {
  return format_type == ZETO_FORMAT_PCM16 ? sizeof(int16_t) : sizeof(int32_t);
}

bool is_possible(const zeto_host_param* param) noexcept {
  if (param == nullptr || param->set == nullptr) return false;
  const zeto_set& set = *param->set;
  return param->format_type >= ZETO_FORMAT_PCM16 && param->format_type <= ZETO_FORMAT_FLOAT &&
         param->spacing_cm >= 0.0f && param->spacing_cm <= kMostSpacing && fits_frame(set.sweep) &&
         set.sweep.slope_hz_s > 0 && set.detectors > 0 && set.slow >= 0 && set.detectors + set.slow <= kMostDetectors &&
         (set.slow == 0 || (set.slow_frames > 0 && set.slow_frames <= ZETO_SLOW_MAX));
}

// In units of 16-bit samples.
float sample_at(const void* samples, uint64_t i, int32_t format_type) noexcept {
  switch (format_type) {
    case ZETO_FORMAT_PCM16:
      return static_cast<const int16_t*>(samples)[i];
    case ZETO_FORMAT_PCM24_IN32:
      return static_cast<float>(static_cast<const int32_t*>(samples)[i]) * (1.0f / 256.0f);
    case ZETO_FORMAT_PCM32:
      return static_cast<float>(static_cast<const int32_t*>(samples)[i]) * (1.0f / 65536.0f);
    default: {
      const float x = static_cast<const float*>(samples)[i];
      return x == x ? fmaxf(-1.0f, fminf(x, 1.0f)) * 32768.0f : 0.0f;
    }
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
  reading.state = host.unheard != 0 ? ZETO_HOST_DISTURBED : ZETO_HOST_LEARNING;
  reading.cause = host.unheard != 0 ? ZETO_HOST_UNHEARD : ZETO_HOST_NO_CAUSE;
  publish(host, reading);
}

void learn_from_block(zeto_host& host) noexcept {
  host.vernier.drain(host.reference);
  const auto band = host.filter.run(host.block);
  switch (host.learner.take(host.block, band.from(0))) {
    case Learner::Outcome::kBusy:
      break;
    case Learner::Outcome::kFailed:
      host.unheard = 1;
      start_learning(host);
      break;
    case Learner::Outcome::kLearned:
      host.unheard = 0;
      host.phase = zeto_host::kWaiting;
      break;
  }
}

void start_watching(zeto_host& host) noexcept {
  host.phase = zeto_host::kWatching;
  host.filter.restart();
  host.watch.start(host.learner.learned());
  host.decision.start(host.learner.learned());
  host.block_of_frame = 0;
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
  const float explained = delay.valid ? host.watch.explained(static_cast<int>(lrint(delay.samples))) : 0.0f;
  zeto_host_reading reading = {};
  host.decision.take(delay, explained, host.watch.finish(), reading);
  publish(host, reading);
}

void take_sample(zeto_host& host, float sample) noexcept {
  ++host.captured;
  const uint64_t at = host.since++;
  if (host.phase == zeto_host::kWaiting && at % kFrame == static_cast<uint64_t>(host.learner.learned().hold)) {
    start_watching(host);
  }
  if (host.phase == zeto_host::kLearning || host.phase == zeto_host::kWatching) {
    host.block[host.filled++] = sample;
    if (host.filled == kBlock) {
      host.filled = 0;
      host.phase == zeto_host::kLearning ? learn_from_block(host) : watch_block(host);
    }
  }
  if (host.phase != zeto_host::kWatching && (at + 1) % kFrame == 0) say_learning(host);
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
  host.set = param->set;
  host.format_type = param->format_type;
  host.filter.init();
  host.reference.init(param->set->sweep, host.filter, detectors);  // their memory is the emitter's scratch before
  host.learner.init(host.reference, static_cast<double>(param->spacing_cm) / kCmPerSample);
  host.watch.init(host.reference);
  host.decision.init(*param->set, static_cast<double>(param->spacing_cm));
  host.vernier.init(*param->set, detectors);
  host.phase = zeto_host::kIdle;
  return &host;
}

void zeto_host_play(zeto_host* host, void* buffer, uint64_t byte_count) {
  if (host == nullptr) return;
  zeto_sweep_play(host->reference.table(), kFrame, &host->play_position, host->format_type, buffer, byte_count);
}

void zeto_host_learn(zeto_host* host) {
  if (host == nullptr) return;
  host->unheard = 0;
  start_learning(*host);
}

zeto_host_reading zeto_host_capture(zeto_host* host, const void* microphone, uint64_t byte_count) {
  if (host == nullptr || microphone == nullptr) return {};
  const uint64_t n = byte_count / sample_bytes(host->format_type);
  for (uint64_t i = 0; i < n; ++i) take_sample(*host, sample_at(microphone, i, host->format_type));
  return host->reading;
}

zeto_host_findings zeto_host_learned(const zeto_host* host) {
  return host == nullptr ? zeto_host_findings{} : host->learner.findings();
}
