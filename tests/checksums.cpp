// Prints a checksum per subject, over output that must not differ by a bit between compilers, levels and machines.
// scripts/check-sums compares the lines of several builds; the cores' own information lines are dropped there.
#include <cstdio>

#include "tests/support/subjects.hpp"

int main() {
  for (const auto& subject : support::kChirps)
    std::printf("sum %-24s %016llx\n", subject.name,
                static_cast<unsigned long long>(support::chirp_sum<support::Downlink>(subject)));
  return 0;
}
