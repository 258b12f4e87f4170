#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/downlink.hpp"

namespace {

// Whether a process call for the format still runs after a second, in a child of its own.
bool still_running(int32_t format_type) {
  const pid_t child = fork();
  if (child == 0) {
    int16_t audio[480] = {};
    zeto_rx_wrapper_process(zeto_rx_wrapper_init(48000, format_type), audio, sizeof audio);
    _exit(0);
  }
  sleep(1);
  int status = 0;
  const bool running = waitpid(child, &status, WNOHANG) == 0;
  if (running) {
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
  }
  return running;
}

TEST(Endless, AnUnknownFormatNeverReturns) {
  EXPECT_FALSE(still_running(1));
  EXPECT_TRUE(still_running(7));
  EXPECT_TRUE(still_running(0));
}

}  // namespace
