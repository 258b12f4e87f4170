// The process calls in a child that may neither allocate nor enter the kernel: seccomp's strict mode kills it at any
// system call but reading and writing, its output is a pipe that must stay empty, and the heap is counted. Next to it,
// the call that never comes back.
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <vector>

#include "tests/support/air.hpp"
#include "tests/support/recorders.hpp"
#include "tests/support/uplink.hpp"

namespace {

enum Verdict { kClean, kRefused, kAllocated, kNothingMeasured };

// 25 blocks: the analysis comes with the twentieth, and its result one block later.
std::vector<char> tone(int32_t format, double hz) {
  const size_t bytes = support::sample_bytes(format);
  std::vector<char> audio(12000 * bytes);
  for (size_t i = 0; i < 12000; ++i) {
    const double x = 16384 * std::sin(2 * std::numbers::pi * hz / 48000 * static_cast<double>(i));
    support::store_sample(format, static_cast<int32_t>(x), &audio[i * bytes]);
  }
  return audio;
}

// What `process` does in the child; its value becomes the child's verdict, which is returned.
template <typename Process>
int verdict_of(Process process) {
  int output[2];
  if (pipe(output) != 0) return kRefused;
  std::fflush(stdout);  // what waits there is not the child's
  const pid_t child = fork();
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
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  return WEXITSTATUS(status);
}

TEST(RealTime, ProcessesWithoutHeapAndKernel) {
  for (int32_t format = 1; format <= 4; ++format)
    for (const size_t samples : {1u, 7u, 480u, 481u, 4096u, 12000u}) {
      SCOPED_TRACE(testing::Message() << "format " << format << ", slices of " << samples);
      const size_t slice = samples * support::sample_bytes(format);
      std::vector<char> in1 = tone(format, 19000), in2 = tone(format, 20000), out = in1, playback = in1;
      support::Uplink uplink(format);
      support::Downlink downlink(format);
      uplink.set({19600, 4000, 1000, -20, 100, 50, 10, 30, 0, 0, 20});
      downlink.set({19600, 4000, 100, 160, 1000, 1});
      const int verdict = verdict_of([&] {
        for (size_t at = 0; at < in1.size(); at += slice) {
          const size_t size = std::min(slice, in1.size() - at);
          uplink.process(&in1[at], &in2[at], &out[at], size);
          downlink.process(&playback[at], size);
        }
        const auto silent = [](const std::vector<char>& audio) {
          return std::all_of(audio.end() - 200, audio.end(), [](char c) { return c == 0; });
        };
        return silent(out) || silent(playback) ? kNothingMeasured : kClean;
      });
      if (verdict == kRefused) GTEST_SKIP() << "the kernel or the emulator has no strict seccomp";
      EXPECT_EQ(verdict, kClean);
    }
}

TEST(RealTime, LearnsAndWatchesWithoutHeapAndKernel) {
  support::Air air;
  support::Host host("room"), player("room");
  std::vector<int16_t> heard = air.pass(player.play(200000));
  air.way = air.way_of(100), air.hand = 0.05;
  for (const int16_t sample : air.pass(player.play(100000))) heard.push_back(sample);
  std::vector<int16_t> playback(480);
  const int verdict = verdict_of([&] {
    zeto_host_learn(host.host);
    zeto_host_reading now = {};
    for (size_t at = 0; at < heard.size(); at += 480) {
      zeto_host_play(host.host, playback.data(), 960);
      now = zeto_host_capture(host.host, &heard[at], 2 * std::min<size_t>(480, heard.size() - at));
    }
    return now.state == ZETO_HOST_TARGET ? kClean : kNothingMeasured;
  });
  if (verdict == kRefused) GTEST_SKIP() << "the kernel or the emulator has no strict seccomp";
  EXPECT_EQ(verdict, kClean);
}

// Whether a process call for the format comes back within some seconds, in a child of its own.
bool comes_back(int32_t format, int seconds) {
  const pid_t child = fork();
  if (child == 0) {
    int16_t audio[480] = {};
    zeto_rx_wrapper_process(zeto_rx_wrapper_init(48000, format), audio, sizeof audio);
    _exit(0);
  }
  for (int hundredths = 0; hundredths < 100 * seconds; ++hundredths, usleep(10000))
    if (waitpid(child, nullptr, WNOHANG) == child) return true;
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  return false;
}

TEST(Endless, AnUnknownFormatNeverReturns) {
  EXPECT_TRUE(comes_back(1, 10));
  EXPECT_FALSE(comes_back(7, 1));
  EXPECT_FALSE(comes_back(0, 1));
}

}  // namespace
