// Runs audio through both wrappers as fast as they go: the chirp through an acoustic path into the uplink, disturbed in
// every way that a host and a room can think of. Four phones, one for each sample format, take turns; they keep their
// handles to the end. Fails where latency drifts, a measurement stays untrue, silence is slow or memory grows.
// usage: soak SECONDS, of simulated audio
#include <malloc.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "tests/support/downlink.hpp"
#include "tests/support/seeded.hpp"
#include "tests/support/uplink.hpp"

// Nobody reads the log of a week.
extern "C" int __android_log_print(int, const char*, const char*, ...) {
  return 0;
}

namespace {

constexpr size_t kSecond = 48000;   // samples
constexpr size_t kLate = 479;       // samples that both wrappers hold back
constexpr size_t kWindow = 9600;    // samples of an analysis
constexpr double kTolerance = 3.5;  // ms: half a bin is 2 ms, and rounding down thrice takes up to 1.3
constexpr zeto_rx_param kChirp = {19605, 4000, 10, 160, 1000, 1};
constexpr zeto_tx_param kListen = {19605, 4000, 1000, -40, 100, 50, 10, 0, 0, 0, 0};

using Samples = std::vector<int16_t>;

struct Random : support::Seeded {
  Random() : Seeded(1) {}
  uint32_t below(uint32_t n) { return bits() % n; }
};

// Everything that could go wrong, over all phones.
struct Findings {
  long measurements = 0, untrue = 0, late = 0, unsteady = 0;
  double worst_ms = 0;
  bool any() const { return untrue + late + unsteady > 0; }
};

// One second of a stream in a host's format.
class HostBuffer {
 public:
  explicit HostBuffer(int32_t format)
      : format_(format), bytes_(support::sample_bytes(format)), data_(kSecond * bytes_) {}

  char* at(size_t n) { return &data_[n * bytes_]; }
  void put(const Samples& from) {
    for (size_t n = 0; n < kSecond; ++n) support::store_sample(format_, from[n], at(n));
  }
  int16_t get(size_t n) {
    uint32_t word = 0;
    std::memcpy(&word, at(n), bytes_);
    if (format_ == 4) return static_cast<int16_t>(std::bit_cast<float>(word) * 32768.0f);
    return static_cast<int16_t>(word >> (format_ == 1 ? 0 : format_ == 2 ? 8 : 16));
  }

 private:
  int32_t format_;
  size_t bytes_;
  std::vector<char> data_;
};

// Processor time of a second of uplink: the least that each second of a scene ever took, ns.
constexpr int kStay = 5;
struct BestTimes {
  double best[kStay] = {1e18, 1e18, 1e18, 1e18, 1e18};
  double most() const { return *std::max_element(best, best + kStay); }
  double mean() const { return std::accumulate(best, best + kStay, 0.0) / kStay; }
};

double now_ns(clockid_t clock) {
  timespec t;
  clock_gettime(clock, &t);
  return static_cast<double>(t.tv_sec) * 1e9 + static_cast<double>(t.tv_nsec);
}

enum class Room { kEcho, kSilent, kFullNoise, kGaps };

class Phone {
 public:
  Phone(int32_t format, Random& random, Findings& findings)
      : format_(format), random_(random), findings_(findings), downlink_(format), uplink_(format) {}

  BestTimes signal, silence;

  // A minute in this phone's life; returns its seconds.
  long live() {
    delay_ = 960 + random_.below(6240);
    gain_ = 0.1f + 0.8f * static_cast<float>(random_.below(1000)) / 1000.0f;
    noise_ = static_cast<int32_t>(random_.below(20));
    restart();
    listen(&signal);
    stay(Room::kSilent, &silence);
    listen(&signal);
    stay(Room::kFullNoise);
    listen();
    stay(Room::kGaps);
    listen();
    knobs_ = true;
    stay(Room::kEcho);
    knobs_ = false;
    restart();
    listen();
    switch_off_and_on();
    listen();
    return std::exchange(seconds_, 0);
  }

 private:
  void restart() {
    downlink_.set(kChirp);
    uplink_.set(kListen);
    steady_ = 0;
  }

  void stay(Room room, BestTimes* times = nullptr, bool check = false) {
    for (int s = 0; s < kStay; ++s) {
      const double ns = second(room);
      if (times != nullptr) times->best[s] = std::min(times->best[s], ns);
      if (check && s > 0) check_measurements();
    }
  }
  // The first second may still hold what was before; from then on all must be true.
  void listen(BestTimes* times = nullptr) { stay(Room::kEcho, times, true); }

  void switch_off_and_on() {
    zeto_rx_param off = kChirp;
    off.enable = 0;
    downlink_.set(off);
    steady_ = 0;
    stay(Room::kEcho);
    for (size_t n = kSecond; n < 2 * kSecond; ++n) findings_.late += played_[n] != 0;
    downlink_.set(kChirp);
    steady_ = 0;
  }

  // Sets either side at random: mostly near what is usual, now and then any words at all.
  template <typename Handle, typename Param>
  void turn_a_knob(Handle& handle, const Param& usual) {
    auto words = std::bit_cast<std::array<uint32_t, sizeof usual / 4>>(usual);
    for (uint32_t& word : words)
      if (random_.below(4) == 0)
        word = random_.below(2) == 0 ? random_.bits() << 16 ^ random_.bits() : random_.below(400);
    handle.set(std::bit_cast<Param>(words));
    steady_ = 0;
  }

  // Calls `process` with buffers that make up a second: 10 ms each, or of any length.
  template <typename Process>
  void slice(bool any_length, Process process) {
    for (size_t at = 0; at < kSecond;) {
      const size_t length = std::min(kSecond - at, any_length ? 1 + random_.below(2000) : size_t{480});
      if (knobs_ && random_.below(20) == 0)
        random_.below(2) == 0 ? turn_a_knob(downlink_, kChirp) : turn_a_knob(uplink_, kListen);
      process(at, length * support::sample_bytes(format_));
      at += length;
    }
  }

  // Returns the processor time of the uplink, ns.
  double second(Room room) {
    const bool any_length = knobs_ || random_.below(2) == 0;
    ++seconds_;
    std::copy(played_.begin() + kSecond, played_.end(), played_.begin());
    slice(any_length, [this](size_t at, size_t bytes) { downlink_.process(speaker_.at(at), bytes); });
    for (size_t n = 0; n < kSecond; ++n) played_[kSecond + n] = speaker_.get(n);
    if (++steady_ > 2) findings_.unsteady += !std::equal(&played_[0], &played_[kSecond], &played_[kSecond]);

    fill(room);
    reference_.put(a_);
    mic_.put(b_);
    const double start = now_ns(CLOCK_THREAD_CPUTIME_ID);
    slice(knobs_,
          [this](size_t at, size_t bytes) { uplink_.process(reference_.at(at), mic_.at(at), out_.at(at), bytes); });
    const double ns = now_ns(CLOCK_THREAD_CPUTIME_ID) - start;
    check_return(reference_, a_, late_a_);
    check_return(mic_, b_, late_b_);
    return ns;
  }

  void fill(Room room) {
    bool gap = false;
    for (size_t n = 0; n < kSecond; ++n) {
      const int16_t* const now = &played_[kSecond + n];
      const int32_t hiss =
          noise_ == 0 ? 0 : static_cast<int32_t>(random_.below(2 * static_cast<uint32_t>(noise_) + 1)) - noise_;
      a_[n] = now[0];
      b_[n] = static_cast<int16_t>(static_cast<int32_t>(gain_ * static_cast<float>(*(now - delay_))) + hiss);
      if (room == Room::kGaps && random_.below(5000) == 0) gap = !gap;
      if (room == Room::kSilent || gap) b_[n] = 0;
      if (room == Room::kSilent || (gap && n % 2000 < 1000)) a_[n] = 0;
      if (room == Room::kFullNoise) {
        a_[n] = static_cast<int16_t>(random_.sample16());
        b_[n] = random_.below(2) == 0 ? INT16_MAX : INT16_MIN;
      }
    }
  }

  // What the host gets back is what it gave, kLate samples ago, after a trip through 16 bits.
  void check_return(HostBuffer& got, const Samples& given, Samples& late) {
    for (size_t n = 0; n < kSecond; ++n) {
      const int16_t v = n < kLate ? late[n] : given[n - kLate];
      const int truncated = format_ == 4 ? (v > 0) - (v < 0) : 0;
      findings_.late += got.get(n) != v - truncated;
    }
    late.assign(given.end() - kLate, given.end());
  }

  // A sweep begins 479 samples into each second, so the first of five analyses sees two sweeps; the others one.
  void check_measurements() {
    const double truth = static_cast<double>(delay_) / 48.0;
    for (const size_t window : {0u, 2u, 3u, 4u}) {
      const double off = std::fabs(out_.get(window * kWindow + kLate) - truth);
      ++findings_.measurements;
      findings_.untrue += off > kTolerance;
      findings_.worst_ms = std::max(findings_.worst_ms, off);
    }
  }

  const int32_t format_;
  Random& random_;
  Findings& findings_;
  support::Downlink downlink_;
  support::Uplink uplink_;
  HostBuffer speaker_{format_}, reference_{format_}, mic_{format_}, out_{format_};
  Samples played_ = Samples(2 * kSecond), a_ = Samples(kSecond), b_ = a_;
  Samples late_a_ = Samples(kLate), late_b_ = late_a_;
  size_t delay_ = 0;  // samples
  float gain_ = 0;
  int32_t noise_ = 0;  // largest sample
  bool knobs_ = false;
  long seconds_ = 0;
  int steady_ = 0;  // seconds since the chirp was last touched
};

struct Memory {
  size_t heap = mallinfo2().uordblks;  // bytes in use
  long resident = 0;                   // pages
  Memory() {
    long size;
    FILE* const statm = std::fopen("/proc/self/statm", "r");
    if (statm == nullptr || std::fscanf(statm, "%ld %ld", &size, &resident) != 2) std::abort();
    std::fclose(statm);
  }
};

}  // namespace

int main(int argc, char** argv) {
  const long seconds = argc == 2 ? std::atol(argv[1]) : 0;
  if (seconds < 1) return std::fputs("usage: soak SECONDS\n", stderr), 2;
  FILE* const report = fdopen(dup(STDOUT_FILENO), "w");
  if (report == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) return 2;  // the cores talk
  std::setvbuf(report, nullptr, _IONBF, 0);                                              // a buffer would count as heap

  const double start = now_ns(CLOCK_MONOTONIC);
  Random random;
  Findings findings;
  std::vector<std::unique_ptr<Phone>> phones;
  for (int32_t format = 1; format <= 4; ++format) phones.push_back(std::make_unique<Phone>(format, random, findings));

  long lived = 0;
  for (auto& phone : phones) lived += phone->live();
  (void)Memory();  // what looking itself takes
  const Memory before;
  for (long day = 1; lived < seconds;) {
    for (auto& phone : phones) lived += phone->live();
    if (lived < day * 86400) continue;
    std::fprintf(report, "day %ld: %s\n", day++, findings.any() ? "something is wrong" : "well so far");
  }
  const Memory after;

  std::fprintf(report, "%ld s of audio in %.0f s\n", lived, (now_ns(CLOCK_MONOTONIC) - start) / 1e9);
  std::fprintf(report, "%ld measurements, %ld untrue; the worst is %.2f ms off\n", findings.measurements,
               findings.untrue, findings.worst_ms);
  std::fprintf(report, "%ld samples out of place, %ld unsteady sweeps\n", findings.late, findings.unsteady);
  bool slow = false;
  for (int32_t format = 1; format <= 4; ++format) {
    const Phone& phone = *phones[static_cast<size_t>(format - 1)];
    const double ratio = phone.silence.mean() / phone.signal.mean();
    slow |= ratio > 1.2;
    std::fprintf(report,
                 "format %d: %.2f us a block of uplink, in silence %.2f us (%.2f times), its worst second %.2f us\n",
                 format, phone.signal.mean() / 1e5, phone.silence.mean() / 1e5, ratio, phone.silence.most() / 1e5);
  }
  const long more_pages = after.resident - before.resident;
  std::fprintf(report, "heap %zu bytes, then %zu; resident %ld pages, then %ld\n", before.heap, after.heap,
               before.resident, after.resident);
  const bool grown = after.heap != before.heap || more_pages > 16;
  const bool failed = findings.any() || slow || grown;
  std::fputs(failed ? "FAILED\n" : "passed\n", report);
  return failed;
}
