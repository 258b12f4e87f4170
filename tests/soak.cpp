// Days of audio through both wrappers, as fast as they go: the chirp through an acoustic path into the uplink. Four
// phones, one for each sample format, take turns and keep their handles to the end. Fails if latency drifts, a
// measurement is untrue or memory grows. usage: soak SECONDS, of simulated audio
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
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
constexpr size_t kBuffer = 480;     // samples that a host gives at a time
constexpr size_t kLate = 479;       // samples that both wrappers hold back
constexpr size_t kWindow = 9600;    // samples of an analysis
constexpr double kTolerance = 3.5;  // ms: half a bin is 2 ms, and rounding down thrice takes up to 1.3
constexpr zeto_rx_param kChirp = {19605, 4000, 10, 160, 1000, 1};
constexpr zeto_tx_param kListen = {19605, 4000, 1000, -40, 100, 50, 10, 0, 0, 0, 0};

using Samples = std::vector<int16_t>;

// Over all phones.
struct Findings {
  long measurements = 0, untrue = 0, late = 0, unsteady = 0;
  double sum_ms = 0, worst_ms = 0;
  bool any() const { return untrue + late + unsteady > 0; }
};

class Phone {
 public:
  Phone(int32_t format, support::Seeded& random, Findings& findings)
      : format_(format), random_(random), findings_(findings), downlink_(format), uplink_(format) {}

  // Half a minute in this phone's life; returns its seconds.
  long live() {
    delay_ = 960 + random_.bits() % 6240;
    gain_ = 0.1f + 0.8f * static_cast<float>(random_.bits() % 1000) / 1000.0f;
    noise_ = static_cast<int32_t>(random_.bits() % 20);
    downlink_.set(kChirp);
    uplink_.set(kListen);
    steady_ = 0;
    for (const bool echo : {true, false, true}) stay(echo);
    return std::exchange(seconds_, 0);
  }

 private:
  // The first second may still hold what was before; from then on all must be true.
  void stay(bool echo) {
    for (int s = 0; s < 10; ++s) {
      second(echo);
      if (echo && s > 0) check_measurements();
    }
  }

  char* at(std::vector<char>& stream, size_t n) { return &stream[n * bytes_]; }

  void second(bool echo) {
    ++seconds_;
    std::copy(played_.begin() + kSecond, played_.end(), played_.begin());
    for (size_t n = 0; n < kSecond; n += kBuffer) downlink_.process(at(out_, n), kBuffer * bytes_);
    for (size_t n = 0; n < kSecond; ++n) played_[kSecond + n] = support::sample_16(format_, at(out_, n));
    if (++steady_ > 2) findings_.unsteady += !std::equal(&played_[0], &played_[kSecond], &played_[kSecond]);

    for (size_t n = 0; n < kSecond; ++n) {
      const int16_t* const now = &played_[kSecond + n];
      const int32_t hiss = static_cast<int32_t>(random_.bits() % (2 * static_cast<uint32_t>(noise_) + 1)) - noise_;
      a_[n] = echo ? now[0] : int16_t{0};
      b_[n] = echo ? static_cast<int16_t>(static_cast<int32_t>(gain_ * static_cast<float>(*(now - delay_))) + hiss)
                   : int16_t{0};
      support::store_sample(format_, a_[n], at(reference_, n));
      support::store_sample(format_, b_[n], at(mic_, n));
    }
    for (size_t n = 0; n < kSecond; n += kBuffer)
      uplink_.process(at(reference_, n), at(mic_, n), at(out_, n), kBuffer * bytes_);
    check_return(reference_, a_, late_a_);
    check_return(mic_, b_, late_b_);
  }

  // What the host gets back is what it gave, kLate samples ago, after a trip through 16 bits.
  void check_return(std::vector<char>& got, const Samples& given, Samples& late) {
    for (size_t n = 0; n < kSecond; ++n) {
      const int16_t v = n < kLate ? late[n] : given[n - kLate];
      const int truncated = format_ == 4 ? (v > 0) - (v < 0) : 0;
      findings_.late += support::sample_16(format_, at(got, n)) != v - truncated;
    }
    late.assign(given.end() - kLate, given.end());
  }

  // A sweep begins 479 samples into each second, so the first of five analyses sees two sweeps; the others one.
  void check_measurements() {
    for (const size_t window : {0u, 2u, 3u, 4u}) {
      const double ms = support::sample_16(format_, at(out_, window * kWindow + kLate));
      const double off = std::fabs(ms - static_cast<double>(delay_) / 48.0);
      ++findings_.measurements;
      findings_.untrue += off > kTolerance;
      findings_.sum_ms += ms;
      findings_.worst_ms = std::max(findings_.worst_ms, off);
    }
  }

  const int32_t format_;
  const size_t bytes_ = support::sample_bytes(format_);
  support::Seeded& random_;
  Findings& findings_;
  support::Downlink downlink_;
  support::Uplink uplink_;
  std::vector<char> reference_ = std::vector<char>(kSecond * bytes_), mic_ = reference_, out_ = reference_;
  Samples played_ = Samples(2 * kSecond), a_ = Samples(kSecond), b_ = a_;
  Samples late_a_ = Samples(kLate), late_b_ = late_a_;
  size_t delay_ = 0;  // samples
  float gain_ = 0;
  int32_t noise_ = 0;  // largest sample
  long seconds_ = 0;
  int steady_ = 0;  // seconds since the chirp began
};

struct Memory {
#ifdef __GLIBC__
  size_t heap = mallinfo2().uordblks;  // bytes in use
#else
  size_t heap = 0;  // not told
#endif
  long resident = 0;  // pages
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

  support::Seeded random(1);
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

  std::fprintf(report, "%ld s of audio: %ld measurements of %.6f ms on average, %ld untrue; the worst is %.2f ms off\n",
               lived, findings.measurements, findings.sum_ms / static_cast<double>(findings.measurements),
               findings.untrue, findings.worst_ms);
  std::fprintf(report, "%ld samples out of place, %ld unsteady sweeps\n", findings.late, findings.unsteady);
  std::fprintf(report, "heap %zu bytes, then %zu; resident %ld pages, then %ld\n", before.heap, after.heap,
               before.resident, after.resident);
  const bool failed = findings.any() || after.heap != before.heap || after.resident - before.resident > 16;
  std::fputs(failed ? "FAILED\n" : "passed\n", report);
  return failed;
}
