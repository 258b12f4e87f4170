// Between the audio thread and the one that shows: what happens in a callback, and what comes of it.
#pragma once
#include <atomic>
#include <cstdint>
#include <span>

#include "live/ring.hpp"
#include "live/sensor.hpp"

namespace zeto::tool {

/// A sample of both channels.
struct Frame {
  float reference;   ///< as played
  float microphone;  ///< as heard
};

/// Counted since the start.
struct Counts {
  uint64_t callbacks;
  uint64_t late;      ///< callbacks that took longer than their buffer lasts
  uint64_t dropped;   ///< samples that the server did not ask for or bring in time
  uint64_t xruns;     ///< as the server counts them
  uint64_t unstored;  ///< samples that were heard but came neither to display nor to recording: silence there
  uint64_t unshown;   ///< readings for which there was no room
  uint64_t worst_ns;  ///< longest callback
  uint64_t total_ns;
};

class Duplex {
 public:
  /// @param most  samples to take; then it falls silent.
  Duplex(Sensor& sensor, uint64_t most);

  // On the audio thread: no allocation, lock, output or system call.

  /// @param time  the buffer's first sample by the server's count, which wraps.
  void process(float* speaker, const float* microphone, uint32_t n, uint32_t time) noexcept;
  /// In its place for a recording: what was played and heard at that time. Up to kFrame samples.
  void hear(const float* reference, const float* microphone, uint32_t n) noexcept;
  /// On any thread.
  void note_xrun() noexcept { xruns_.fetch_add(1, std::memory_order_relaxed); }

  // On the thread that shows.

  /// The next result, if there is one. All frames up to its end can then be taken.
  bool take(LiveReading& sensed) noexcept { return sensed_.pop(&sensed, 1) == 1; }
  /// The next samples, none left out: silence is in place of those for which there was no room.
  size_t take(std::span<Frame> frames) noexcept;
  /// Has the sensor learn anew.
  void learn() noexcept { learn_.store(true, std::memory_order_relaxed); }
  /// Lets the sound fade out.
  void stop() noexcept { stopping_.store(true, std::memory_order_relaxed); }
  /// Silent, by stop() or because all was taken.
  bool is_over() const noexcept { return over_.load(std::memory_order_acquire); }
  Counts counts() const noexcept;

 private:
  /// Samples not taken because there was no room.
  struct Gap {
    uint64_t begin;  // of all samples taken
    uint64_t length;
  };

  uint32_t to_take(uint32_t n) noexcept;
  void sense(const float* reference, const float* microphone, uint32_t n) noexcept;
  bool store(const float* reference, const float* microphone, uint32_t n) noexcept;
  void fade_out(float* speaker, uint32_t n) noexcept;
  void measure(uint64_t ns, uint32_t n) noexcept;

  Sensor& sensor_;
  uint64_t left_;     // samples to take
  uint32_t due_ = 0;  // the next buffer's time
  uint32_t fading_;   // samples of the fade that are left
  bool begun_ = false;
  Gap gap_{};  // since the last sample that was stored; it begins behind it
  Ring<Frame> frames_;
  Ring<Gap> gaps_;  // each is pushed before the frames behind it
  Ring<LiveReading> sensed_;
  std::atomic<bool> learn_ = false;
  std::atomic<bool> stopping_ = false;
  std::atomic<bool> over_ = false;
  // Written by the audio thread alone, but for the xruns.
  std::atomic<uint64_t> callbacks_ = 0, late_ = 0, dropped_ = 0, xruns_ = 0, unstored_ = 0, unshown_ = 0, worst_ns_ = 0,
                        total_ns_ = 0;
  // Of the thread that shows.
  Gap silence_{};       // the next one that is known; none if it has no length
  uint64_t given_ = 0;  // samples
};

}  // namespace zeto::tool
