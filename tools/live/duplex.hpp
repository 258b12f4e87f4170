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
  uint64_t unstored;  ///< samples that were heard but came neither to display nor to recording
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
  /// On any thread.
  void note_xrun() noexcept { xruns_.fetch_add(1, std::memory_order_relaxed); }

  // On the thread that shows.

  /// The next result, if there is one. All frames up to its end can then be taken.
  bool take(LiveReading& sensed) noexcept { return sensed_.pop(&sensed, 1) == 1; }
  size_t take(std::span<Frame> frames) noexcept { return frames_.pop(frames.data(), frames.size()); }
  /// Has the sensor learn anew.
  void learn() noexcept { learn_.store(true, std::memory_order_relaxed); }
  /// Lets the sound fade out.
  void stop() noexcept { stopping_.store(true, std::memory_order_relaxed); }
  /// Silent, by stop() or because all was taken.
  bool is_over() const noexcept { return over_.load(std::memory_order_acquire); }
  Counts counts() const noexcept;

 private:
  void sense(float* speaker, const float* microphone, uint32_t n) noexcept;
  void fade_out(float* speaker, uint32_t n) noexcept;
  void measure(uint64_t ns, uint32_t n) noexcept;

  Sensor& sensor_;
  uint64_t left_;     // samples to take
  uint32_t due_ = 0;  // the next buffer's time
  uint32_t fading_;   // samples of the fade that are left
  bool begun_ = false;
  Ring<Frame> frames_;
  Ring<LiveReading> sensed_;
  std::atomic<bool> learn_ = false;
  std::atomic<bool> stopping_ = false;
  std::atomic<bool> over_ = false;
  // Written by the audio thread alone, but for the xruns.
  std::atomic<uint64_t> callbacks_ = 0, late_ = 0, dropped_ = 0, xruns_ = 0, unstored_ = 0, worst_ns_ = 0,
                        total_ns_ = 0;
};

}  // namespace zeto::tool
