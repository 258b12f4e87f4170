#include "live/duplex.hpp"

#include <algorithm>
#include <chrono>

#include "audio/audio_file.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kRoomFrames = 1 << 18;  // 5.4 s, should the disk be slow
constexpr size_t kRoomSensed = 64;       // readings
constexpr size_t kRoomGaps = 64;
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
    : sensor_(sensor), left_(most), fading_(kFade), frames_(kRoomFrames), gaps_(kRoomGaps), sensed_(kRoomSensed) {}

void Duplex::process(float* speaker, const float* microphone, uint32_t n, uint32_t time) noexcept {
  using Clock = std::chrono::steady_clock;
  const auto begin = Clock::now();
  if (const uint32_t gap = time - due_; begun_ && gap < kMostGap) add(dropped_, gap);
  begun_ = true;
  due_ = time + n;

  const uint32_t taken = to_take(n);
  for (uint32_t at = 0; at < taken;) {
    const uint32_t part = std::min(kFrame, taken - at);
    sensor_.play(speaker + at, part);
    sense(speaker + at, microphone + at, part);
    at += part;
  }
  if (taken < n) fade_out(speaker + taken, n - taken);

  measure(static_cast<uint64_t>(std::chrono::nanoseconds(Clock::now() - begin).count()), n);
}

void Duplex::hear(const float* reference, const float* microphone, uint32_t n) noexcept {
  const uint32_t taken = to_take(n);
  if (taken > 0) sense(reference, microphone, taken);
  if (taken < n) over_.store(true, std::memory_order_release);
}

uint32_t Duplex::to_take(uint32_t n) noexcept {
  if (learn_.exchange(false, std::memory_order_relaxed)) sensor_.learn();
  if (stopping_.load(std::memory_order_relaxed)) left_ = 0;
  const auto taken = static_cast<uint32_t>(std::min<uint64_t>(n, left_));
  left_ -= taken;
  return taken;
}

void Duplex::sense(const float* reference, const float* microphone, uint32_t n) noexcept {
  LiveReading sensed{};
  const bool is_new = sensor_.capture(reference, microphone, n, sensed);
  if (!store(reference, microphone, n)) add(unstored_, n);
  if (is_new && !sensed_.push(1, [&](size_t) { return sensed; })) add(unshown_, 1);
}

bool Duplex::store(const float* reference, const float* microphone, uint32_t n) noexcept {
  const bool has_room = frames_.has_room(n) && (gap_.length == 0 || gaps_.push(1, [&](size_t) { return gap_; }));
  if (!has_room) {
    gap_.length += n;
    return false;
  }
  frames_.push(n, [&](size_t i) { return Frame{reference[i], microphone[i]}; });
  gap_ = {gap_.begin + gap_.length + n, 0};
  return true;
}

size_t Duplex::take(std::span<Frame> frames) noexcept {
  size_t n = std::min(frames.size(), frames_.size());  // a gap before these is known by now
  if (silence_.length == 0) gaps_.pop(&silence_, 1);
  if (silence_.length > 0 && silence_.begin == given_) {
    n = std::min<uint64_t>(frames.size(), silence_.length);
    std::fill_n(frames.begin(), n, Frame{});
    silence_ = {silence_.begin + n, silence_.length - n};
  } else {
    if (silence_.length > 0) n = std::min<uint64_t>(n, silence_.begin - given_);
    frames_.pop(frames.data(), n);
  }
  given_ += n;
  return n;
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
  return {of(callbacks_), of(late_),    of(dropped_),  of(xruns_),
          of(unstored_),  of(unshown_), of(worst_ns_), of(total_ns_)};
}

}  // namespace zeto::tool
