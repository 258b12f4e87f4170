// Handles of both sides on threads of their own, as a host runs them; meant for the thread sanitizer. Inits of one side
// take turns, because they register with the arena; everything else runs at once. Every thread must hear what a lone
// one does.
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <thread>
#include <vector>

#include "tests/support/downlink.hpp"
#include "tests/support/subjects.hpp"
#include "tests/support/uplink.hpp"

// The distribution's log is not built for the sanitizer, and nobody reads it here.
extern "C" int __android_log_print(int, const char*, const char*, ...) {
  return 1;
}

namespace {

constexpr int kLives = 8;           // handles that a thread uses, one after the other
constexpr size_t kSamples = 20000;  // through each, in buffers of an odd length: two analyses
constexpr size_t kBuffer = 333;

std::mutex uplink_init, downlink_init;

template <typename Process>
uint64_t stream(int32_t format, size_t channels, Process process) {
  const size_t bytes = support::sample_bytes(format);
  std::vector<char> buffer(channels * kBuffer * bytes);
  uint64_t sum = support::kEmptySum;
  for (size_t done = 0; done < kSamples; done += kBuffer) {
    for (size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<char>((i + done) * 37 % 251);
    process(buffer.data(), kBuffer * bytes);
    sum = support::add_to_sum(sum, buffer.data(), buffer.size());
  }
  return sum;
}

// A new handle each time: the initialising lock is held for the constructor alone.
uint64_t use_uplinks() {
  uint64_t sum = 0;
  for (int32_t life = 0; life < kLives; ++life) {
    uplink_init.lock();
    support::Uplink uplink(life % 4 + 1);
    uplink_init.unlock();
    uplink.set({19600, 4000, 1000, -20, 0, 0, 10, 30, 0, 0, 10 * life});
    sum += stream(life % 4 + 1, 3, [&](char* at, size_t n) { uplink.process(at, at + n, at + 2 * n, n); });
  }
  return sum;
}

uint64_t use_downlinks() {
  uint64_t sum = 0;
  for (int32_t life = 0; life < kLives; ++life) {
    downlink_init.lock();
    support::Downlink downlink(life % 4 + 1);
    downlink_init.unlock();
    downlink.set({19600, 4000, 10, 160 + life, 1000, 1});
    sum += stream(life % 4 + 1, 1, [&](char* at, size_t n) { downlink.process(at, n); });
  }
  return sum;
}

}  // namespace

int main() {
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;  // the cores' lines
  const uint64_t alone[2] = {use_uplinks(), use_downlinks()};
  uint64_t sums[4];
  std::thread threads[] = {
      std::thread([&] { sums[0] = use_uplinks(); }), std::thread([&] { sums[1] = use_downlinks(); }),
      std::thread([&] { sums[2] = use_uplinks(); }), std::thread([&] { sums[3] = use_downlinks(); })};
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < 4; ++i) {
    if (sums[i] == alone[i % 2]) continue;
    std::fprintf(stderr, "threads: thread %d heard something else\n", i);
    return 1;
  }
  return 0;
}
