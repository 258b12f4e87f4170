#include "host/vernier.hpp"

#include <math.h>
#include <string.h>

namespace zeto::host {
namespace {

// Takes so many bytes off the front.
void* take(char*& memory, size_t bytes) noexcept {
  char* const taken = memory;
  memory += aligned(bytes);
  return taken;
}

int16_t saturated(int32_t x) noexcept {
  return static_cast<int16_t>(x > INT16_MAX ? INT16_MAX : x < INT16_MIN ? INT16_MIN : x);
}

constexpr double kBinHz = 1000.0 / 64.0;

// A set's detectors measure in whole Hz: the median of 18 bins, which may lie between two.
double bins_of(int hz) noexcept {
  return 0.5 * round(hz / (0.5 * kBinHz));
}

}  // namespace

size_t Vernier::bytes(const zeto_set& set) noexcept {
  const auto detectors = static_cast<size_t>(set.detectors) + static_cast<size_t>(set.slow);
  const auto frames = static_cast<size_t>(set.slow > 0 ? set.slow_frames : 0);
  return detectors * aligned(cal_zeto_tx_struct_malloc_size()) + aligned(frames * kFrame * sizeof(int16_t)) +
         aligned((frames > 0 ? kFrame : 0) * sizeof(int32_t));
}

void Vernier::init(const zeto_set& set, void* memory) noexcept {
  memset(memory, 0, bytes(set));
  char* rest = static_cast<char*>(memory);
  fast_ = set.detectors;
  slow_ = set.slow;
  slow_frames_ = set.slow > 0 ? set.slow_frames : 0;
  step_ = kSampleRate * kBinHz / set.sweep.slope_hz_s;
  block_ = 0;
  frame_ = 0;
  shift_ = 0;
  most_shift_ = static_cast<int>(lrint(step_ / set.detectors));
  summed_ = 0;
  for (int i = 0; i < fast_ + slow_; ++i) {
    detectors_[i] = static_cast<zeto_tx_state*>(take(rest, cal_zeto_tx_struct_malloc_size()));
    zeto_tx_init(detectors_[i]);
    zeto_tx_set_param(detectors_[i], &set.hear);
    results_[i] = ZETO_REJECTED;
  }
  ring_ = static_cast<int16_t*>(take(rest, static_cast<size_t>(slow_frames_) * kFrame * sizeof(int16_t)));
  sum_ = static_cast<int32_t*>(take(rest, 0));
}

// Spread evenly over a step, and from frame to frame over what lies between.
int Vernier::stagger(int detector) const noexcept {
  const int among = detector < fast_ ? fast_ : slow_;
  const int number = detector < fast_ ? detector : detector - fast_;
  return static_cast<int>(lrint(step_ * number / among)) + shift_;
}

void Vernier::process(const Reference& reference, const int16_t* heard, const int16_t* summed) noexcept {
  for (int i = 0; i < fast_ + slow_; ++i) {
    int16_t out[kBlock];
    zeto_tx_process(detectors_[i], reference.block(block_ * kBlock, stagger(i)), i < fast_ ? heard : summed, out,
                    kBlock);
    results_[i] = out[0];
  }
  block_ = block_ + 1 < kFrameBlocks ? block_ + 1 : 0;
}

void Vernier::next_frame() noexcept {
  shift_ = shift_ + 1 < most_shift_ ? shift_ + 1 : 0;
}

bool Vernier::drain(const Reference& reference) noexcept {
  summed_ = 0;
  if (block_ == 0) return false;
  static constexpr int16_t kSilence[kBlock] = {};
  process(reference, kSilence, kSilence);
  return true;
}

void Vernier::feed(const Reference& reference, const int16_t* heard) noexcept {
  int16_t summed[kBlock];
  if (slow_ > 0) {
    int16_t* const oldest = ring_ + (frame_ * kFrameBlocks + block_) * kBlock;
    int32_t* const sum = sum_ + block_ * kBlock;
    for (int i = 0; i < kBlock; ++i) {
      sum[i] += heard[i] - oldest[i];
      oldest[i] = heard[i];
      summed[i] = saturated(sum[i]);
    }
    if (block_ + 1 == kFrameBlocks) {
      frame_ = frame_ + 1 < slow_frames_ ? frame_ + 1 : 0;
      if (summed_ < slow_frames_) ++summed_;
    }
  }
  process(reference, heard, summed);
}

Delay Vernier::read() const noexcept {
  const Delay fast = read(0, fast_);
  if (fast.valid || slow_ == 0 || summed_ < slow_frames_) return fast;
  return read(fast_, slow_);
}

// Half of them must have accepted the frame, within two steps. A caller's own set may make detectors say anything.
Delay Vernier::read(int first, int count) const noexcept {
  int accepted = 0;
  double sum = 0.0;
  double least = 0.0;
  double greatest = 0.0;
  for (int i = first; i < first + count; ++i) {
    if (results_[i] == ZETO_REJECTED) continue;
    const double delay = bins_of(results_[i]) * step_ + stagger(i);
    if (accepted == 0 || delay < least) least = delay;
    if (accepted == 0 || delay > greatest) greatest = delay;
    sum += delay;
    ++accepted;
  }
  const bool agree = 2 * accepted >= count && accepted > 0 && greatest - least <= 2.0 * step_;
  if (!agree || least < 0.0 || greatest >= kFrame) return {false, 0.0};
  return {true, sum / accepted};
}

}  // namespace zeto::host
