// The kit's clockwork: blocks of 10 ms, frames of 200 ms, which are what a detector analyses.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "zeto/cores.h"

namespace zeto::host {

constexpr int kBlock = ZETO_BLOCK_LEN;  // samples
constexpr int kFrameBlocks = 20;        // what a detector analyses at a time
constexpr int kFrame = kFrameBlocks * kBlock;
constexpr int kSamplesPerMs = ZETO_SAMPLE_RATE / 1000;
constexpr double kSampleRate = ZETO_SAMPLE_RATE;
constexpr double kCmPerSample = 34300.0 / kSampleRate;  // of the sound's way
constexpr double kMeanHz = 19500.0;                     // of what is heard: phones play less and less above
constexpr double kPi = 3.14159265358979323846;
constexpr size_t kAlignment = 16;  // of an object and its parts, bytes

constexpr size_t aligned(size_t bytes) noexcept {
  return (bytes + kAlignment - 1) / kAlignment * kAlignment;
}

// `n` wrapped into 0 .. kFrame - 1, from at most a frame outside.
constexpr int wrapped(int n) noexcept {
  return n < 0 ? n + kFrame : n >= kFrame ? n - kFrame : n;
}

}  // namespace zeto::host
