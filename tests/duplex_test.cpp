// What the audio thread of zeto live hands on if nobody takes it for a while.
#include "live/duplex.hpp"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace {

using namespace zeto::tool;

/// Gives a reading every 200 ms.
class Ticks : public Sensor {
 public:
  void play(float*, uint32_t) noexcept override {}
  bool capture(const float*, const float*, uint32_t n, LiveReading& sensed) noexcept override {
    captured_ += n;
    sensed.end = captured_ / kFrame * kFrame;
    return captured_ % kFrame < n;
  }
  void learn() noexcept override {}
  bool learn_from(std::span<const float>) override { return false; }

 private:
  uint64_t captured_ = 0;
};

TEST(Duplex, SoundWithoutRoomIsSilenceOfItsLength) {
  constexpr uint32_t kBuffer = 500;
  constexpr uint32_t kRoom = 1 << 18;
  constexpr uint32_t kStall = 1500 * kBuffer;  // longer than all 64 readings
  constexpr uint32_t kTaken = 3 * kFrame + 7;
  constexpr uint32_t kGapFrom = kRoom / kBuffer * kBuffer;
  Ticks ticks;
  Duplex duplex(ticks, 1U << 24);
  uint32_t played = 0;
  const auto play = [&](uint32_t samples) {
    std::array<float, kBuffer> speaker{};
    std::array<float, kBuffer> microphone;
    for (const uint32_t end = played + samples; played < end; played += kBuffer) {
      for (uint32_t i = 0; i < kBuffer; ++i) microphone[i] = static_cast<float>(1 + played + i);
      duplex.process(speaker.data(), microphone.data(), kBuffer, played);
    }
  };
  uint32_t taken = 0;
  const auto take = [&](uint32_t most) {
    std::vector<Frame> frames(most);
    frames.resize(duplex.take(frames));
    for (const Frame& frame : frames) {
      const bool is_lost = taken >= kGapFrom && taken < kStall;
      ASSERT_EQ(frame.microphone, is_lost ? 0.0F : static_cast<float>(1 + taken)) << taken;
      ++taken;
    }
  };
  play(kStall);
  EXPECT_EQ(duplex.counts().unstored, kStall - kGapFrom);
  EXPECT_EQ(duplex.counts().unshown, kStall / kFrame - 64);
  take(kTaken);
  play(20 * kBuffer);
  for (uint32_t before = taken + 1; before != taken;) {
    before = taken;
    take(kFrame);
  }
  EXPECT_EQ(taken, played);
}

}  // namespace
