// Prints a checksum per subject, over output that must not differ by a bit between compilers, levels and machines.
// scripts/check-sums compares the lines of several builds; the cores' own information lines are dropped there.
#include <cstdio>

#include "tests/support/kernel_subjects.hpp"
#include "tests/support/subjects.hpp"
#include "tests/support/uplink.hpp"

namespace {

void print(const char* name, uint64_t sum) {
  std::printf("sum %-24s %016llx\n", name, static_cast<unsigned long long>(sum));
}

}  // namespace

int main() {
  for (const auto& subject : support::kChirps) print(subject.name, support::chirp_sum<support::Downlink>(subject));
  support::Sum states;
  for (const auto& subject : support::kEchoes)
    print(subject.name, support::detector_sum<support::Downlink, support::Uplink>(subject, states));
  print("detector's states", states.value());
  print("fft, every length", support::fft_sum());
  print("vectors", support::vector_sum());
  print("windows", support::window_sum());
  print("frames and bands", support::frame_and_band_sum());
  print("logarithms (platform's)", support::logarithm_sum());
  return 0;
}
