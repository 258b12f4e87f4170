// Handles of both sides on threads of their own, as a host runs them; under the thread sanitizer, which alone sees a
// race for sure. Inits of one side take turns, because they register with the arena; everything else runs at once.
// Every thread must hear what a lone one does.
#include <barrier>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <thread>
#include <type_traits>
#include <vector>

#include "tests/support/seeded.hpp"
#include "tests/support/uplink.hpp"

// The distribution's log is not built for the sanitizer, and nobody reads it here.
extern "C" int __android_log_print(int, const char*, const char*, ...) {
  return 1;
}

namespace {

constexpr int kLives = 8;           // handles that a thread uses, one after the other
constexpr size_t kSamples = 20000;  // through each, in buffers of an odd length: two analyses
constexpr size_t kBuffer = 333;

// A new handle each time: the initialising lock is held for the constructor alone.
template <typename Handle, typename Param>
uint64_t use(Param param, int32_t Param::*varied) {
  constexpr bool kUplink = std::is_same_v<Handle, support::Uplink>;
  static std::mutex init;
  support::Sum sum;
  for (int32_t life = 0; life < kLives; ++life) {
    const int32_t format = life % 4 + 1;
    const size_t bytes = kBuffer * support::sample_bytes(format);
    std::vector<char> buffer((kUplink ? 3 : 1) * bytes);
    init.lock();
    Handle handle(format);
    init.unlock();
    param.*varied = 10 * life;
    handle.set(param);
    for (size_t done = 0; done < kSamples; done += kBuffer) {
      for (size_t i = 0; i < buffer.size(); ++i) buffer[i] = static_cast<char>((i + done) * 37 % 251);
      char* const at = buffer.data();
      if constexpr (kUplink) {
        handle.process(at, at + bytes, at + 2 * bytes, bytes);
      } else {
        handle.process(at, bytes);
      }
      sum.add(at, buffer.size());
    }
  }
  return sum.value();
}

uint64_t use_uplinks() {
  return use<support::Uplink, zeto_tx_param>({19600, 4000, 1000, -20, 0, 0, 10, 30, 0, 0, 0},
                                             &zeto_tx_param::UltraHz_delay_ms);
}
uint64_t use_downlinks() {
  return use<support::Downlink, zeto_rx_param>({19600, 4000, 10, 160, 1000, 1}, &zeto_rx_param::amp_end_milli);
}

}  // namespace

int main() {
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;  // the cores' lines
  static constexpr uint64_t (*kUse[])() = {use_uplinks, use_downlinks, use_uplinks, use_downlinks};
  const uint64_t alone[] = {use_uplinks(), use_downlinks()};
  uint64_t sums[4];
  std::vector<std::thread> threads;
  std::barrier start(4);
  for (size_t i = 0; i < 4; ++i)
    threads.emplace_back([&sums, &start, i] {
      start.arrive_and_wait();
      sums[i] = kUse[i]();
    });
  for (std::thread& thread : threads) thread.join();
  for (size_t i = 0; i < 4; ++i) {
    if (sums[i] == alone[i % 2]) continue;
    std::fprintf(stderr, "threads: thread %zu heard something else\n", i);
    return 1;
  }
  return 0;
}
