// Several detectors on references staggered by a part of a step, read together: steps finer than a spectrum's bin.
#pragma once

#include "host/reference.hpp"

namespace zeto::host {

constexpr int kMostDetectors = 16;

// What the detectors agreed on at the end of a frame.
struct Delay {
  bool valid;
  double samples;  // against the reference
};

class Vernier {
 public:
  static size_t bytes(const zeto_set& set) noexcept;

  // Not for the audio thread: detectors print. @param memory  bytes() bytes, aligned to 16.
  void init(const zeto_set& set, void* memory) noexcept;

  // Feeds a block of silence if the detectors are within a frame, so that watching begins with a frame's first block.
  // False if they are at its start. At most once a block of audio: a call costs as much as feed().
  bool drain(const Reference& reference) noexcept;

  // Before the first frame.
  void restart() noexcept { shift_ = 0; }

  // The frame's next block.
  void feed(const Reference& reference, const int16_t* heard) noexcept;

  // After a frame's last block; and then, before the next frame.
  Delay read() const noexcept;
  void next_frame() noexcept;

 private:
  void process(const Reference& reference, const int16_t* heard, const int16_t* summed) noexcept;
  Delay read(int first, int count) const noexcept;
  int stagger(int detector) const noexcept;

  int fast_;
  int slow_;
  int slow_frames_;
  double step_;  // samples of delay per bin
  int shift_;    // of all references, samples; another for each frame
  int most_shift_;
  int block_;   // of the frame
  int frame_;   // of the ring
  int summed_;  // frames since the last silence
  zeto_tx_state* detectors_[kMostDetectors];
  int16_t results_[kMostDetectors];
  int16_t* ring_;  // slow_frames_ frames
  int32_t* sum_;   // of them
};

}  // namespace zeto::host
