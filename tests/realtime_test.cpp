// The process calls in a child that may neither allocate nor enter the kernel: seccomp's strict mode kills it at any
// system call but reading and writing, its output is a pipe that must stay empty, and the heap is counted.
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <tuple>
#include <vector>

#include "tests/support/downlink.hpp"
#include "tests/support/recorders.hpp"
#include "tests/support/uplink.hpp"

namespace {

enum Verdict { kClean, kRefused, kAllocated, kNothingMeasured };

class RealTime : public testing::TestWithParam<std::tuple<int32_t, size_t>> {
 protected:
  const int32_t format = std::get<0>(GetParam());
  const size_t bytes = support::sample_bytes(format);
  std::vector<char> in1 = tones(19000), in2 = tones(20000), out = tones(50), playback = tones(60);

  // 25 blocks: the analysis comes with the twentieth, and its result one block later.
  std::vector<char> tones(double hz) const {
    constexpr size_t kSamples = 12000;
    std::vector<char> audio(kSamples * bytes);
    for (size_t i = 0; i < kSamples; ++i) {
      const double x = 0.5 * std::sin(2 * std::numbers::pi * hz / 48000 * static_cast<double>(i));
      const uint32_t sample = format == 4
                                  ? std::bit_cast<uint32_t>(static_cast<float>(x))
                                  : static_cast<uint32_t>(static_cast<int32_t>(x * (format == 1   ? 32767
                                                                                    : format == 2 ? 8388607
                                                                                                  : 2147483647)));
      std::memcpy(&audio[i * bytes], &sample, bytes);
    }
    return audio;
  }
};

// What a test body does in the child; its value becomes the child's verdict.
template <typename Process>
void expect_no_system_call(Process process) {
  int output[2];
  ASSERT_EQ(pipe(output), 0);
  std::fflush(stdout);  // what waits there is not the child's
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    dup2(output[1], STDOUT_FILENO);
    dup2(output[1], STDERR_FILENO);
    setvbuf(stdout, nullptr, _IONBF, 0);
    int verdict = kRefused;
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) == 0) {
      const support::HeapRecorder heap;
      verdict = process();
      if (!heap.sizes().empty() || !heap.freed().empty()) verdict = kAllocated;
    }
    syscall(SYS_exit, verdict);
  }
  close(output[1]);
  char said[256] = {};
  EXPECT_EQ(read(output[0], said, sizeof said - 1), 0) << said;
  close(output[0]);
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  if (WEXITSTATUS(status) == kRefused) GTEST_SKIP() << "the kernel or the emulator has no strict seccomp";
  EXPECT_EQ(WEXITSTATUS(status), kClean);
}

TEST_P(RealTime, ProcessesWithoutHeapAndKernel) {
  support::Uplink uplink(format);
  support::Downlink downlink(format);
  uplink.set({19600, 4000, 1000, -20, 100, 50, 10, 30, 0, 0, 20});
  downlink.set({19600, 4000, 100, 160, 1000, 1});
  expect_no_system_call([&] {
    const size_t slice = std::get<1>(GetParam()) * bytes;
    for (size_t at = 0; at < in1.size(); at += slice) {
      const size_t size = std::min(slice, in1.size() - at);
      uplink.process(&in1[at], &in2[at], &out[at], size);
      downlink.process(&playback[at], size);
    }
    const auto silent = [&](const std::vector<char>& audio) {
      return std::all_of(audio.end() - ptrdiff_t(bytes * 100), audio.end(), [](char c) { return c == 0; });
    };
    return silent(out) || silent(playback) ? kNothingMeasured : kClean;
  });
}
INSTANTIATE_TEST_SUITE_P(FormatsAndSlices, RealTime,
                         testing::Combine(testing::Range(1, 5), testing::Values(1, 7, 480, 481, 4096, 12000)),
                         [](const auto& test) {
                           return "format" + std::to_string(std::get<0>(test.param)) + "_slices_of_" +
                                  std::to_string(std::get<1>(test.param));
                         });

}  // namespace
