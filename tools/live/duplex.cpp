#include "live/duplex.hpp"

#include <algorithm>
#include <chrono>

#include "audio_file.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kRoomFrames = 1 << 18;  // 5.4 s, should the disk be slow
constexpr size_t kRoomSensed = 64;       // 12.8 s
constexpr uint32_t kFade = 480;          // samples: a sweep that is cut off clicks
constexpr uint32_t kMostGap = 1U << 31;  // beyond, the server's count has gone back

/// Of a counter that one thread alone writes.
void add(std::atomic<uint64_t>& counter, uint64_t n) noexcept {
  counter.store(counter.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
}

uint64_t of(const std::atomic<uint64_t>& counter) noexcept {
  return counter.load(std::memory_order_relaxed);
}

}  // namespace

Duplex::Duplex(Sensor& sensor, uint64_t most)
    : sensor_(sensor), left_(most), fading_(kFade), frames_(kRoomFrames), sensed_(kRoomSensed) {}

void Duplex::process(float* speaker, const float* microphone, uint32_t n, uint32_t time) noexcept {
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  if (const uint32_t gap = time - due_; begun_ && gap < kMostGap) add(dropped_, gap);
  begun_ = true;
  due_ = time + n;

  if (learn_.exchange(false, std::memory_order_relaxed)) sensor_.learn();
  if (stopping_.load(std::memory_order_relaxed)) left_ = 0;
  const auto taken = static_cast<uint32_t>(std::min<uint64_t>(n, left_));
  left_ -= taken;
  for (uint32_t at = 0; at < taken;) {
    const uint32_t part = std::min(kTable, taken - at);
    sense(speaker + at, microphone + at, part);
    at += part;
  }
  if (taken < n) fade_out(speaker + taken, n - taken);

  measure(static_cast<uint64_t>(std::chrono::nanoseconds(Clock::now() - begin).count()), n);
}

void Duplex::sense(float* speaker, const float* microphone, uint32_t n) noexcept {
  sensor_.play(speaker, n);
  LiveReading sensed{};
  const bool is_new = sensor_.capture(speaker, microphone, n, sensed);
  const bool stored = frames_.push(n, [&](size_t i) { return Frame{speaker[i], microphone[i]}; });
  if (!stored) add(unstored_, n);
  if (is_new) sensed_.push(1, [&](size_t) { return sensed; });
}

void Duplex::fade_out(float* speaker, uint32_t n) noexcept {
  const uint32_t fading = std::min(n, fading_);
  if (fading > 0) sensor_.play(speaker, fading);
  for (uint32_t i = 0; i < fading; ++i) speaker[i] *= static_cast<float>(--fading_) / kFade;
  std::fill_n(speaker + fading, n - fading, 0.0F);
  if (fading_ == 0) over_.store(true, std::memory_order_release);
}

void Duplex::measure(uint64_t ns, uint32_t n) noexcept {
  constexpr uint64_t kNsPerSecond = 1'000'000'000;
  add(callbacks_, 1);
  add(total_ns_, ns);
  if (ns > of(worst_ns_)) worst_ns_.store(ns, std::memory_order_relaxed);
  if (ns * kSampleRate > n * kNsPerSecond) add(late_, 1);
}

Counts Duplex::counts() const noexcept {
  return {of(callbacks_), of(late_), of(dropped_), of(xruns_), of(unstored_), of(worst_ns_), of(total_ns_)};
}

}  // namespace zeto::tool
