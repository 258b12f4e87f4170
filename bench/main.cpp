// Measures the library against its plain model and its peers; see rounds.hpp for how, rows.hpp for what. Takes Google
// Benchmark's options. Exit status 1 if a goal was missed.
#include <sched.h>
#include <unistd.h>

#include <cstdio>

#include "bench/rounds.hpp"
#include "bench/rows.hpp"

namespace {

// One CPU for everything: the last one that we may use.
void pin() {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) != 0) return;
  size_t last = CPU_SETSIZE - 1;
  while (last > 0 && !CPU_ISSET(last, &set)) --last;
  CPU_ZERO(&set);
  CPU_SET(last, &set);
  if (sched_setaffinity(0, sizeof set, &set) != 0) std::perror("sched_setaffinity");
}

}  // namespace

int main(int argc, char** argv) {
  pin();
  // What the cores print to standard output is not for the table. (Their log lines end in the recorder.)
  std::FILE* const table = fdopen(dup(STDOUT_FILENO), "w");
  if (table == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) {
    std::perror("stdout");
    return 2;
  }
  bench::add_steps();
  bench::add_wrappers();
  bench::add_kit();
  return bench::run_rows(argc, argv, table) ? 0 : 1;
}
