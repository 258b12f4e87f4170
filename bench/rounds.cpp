#include "bench/rounds.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <limits>
#include <numeric>
#include <utility>

#include "bench/table.hpp"

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

double ns_since(Clock::time_point start) {
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

// A subject and its best times: one per call, or one of the whole round.
struct Contest {
  const Subject& subject;
  std::vector<double> best;

  void round(size_t calls) {
    subject.prepare();
    if (subject.quote == Quote::kAverage) {
      const auto start = Clock::now();
      for (size_t i = 0; i < calls; ++i) subject.call(i);
      best[0] = std::min(best[0], ns_since(start) / double(calls));
      return;
    }
    for (size_t i = 0; i < calls; ++i) {
      const auto start = Clock::now();
      subject.call(i);
      best[i] = std::min(best[i], ns_since(start));
    }
  }
};

Table table;

void run_row(benchmark::State& state, const std::string& name, const std::function<Row()>& make) {
  const Row row = make();
  std::vector<Contest> contests;
  for (const Subject& subject : row.subjects) {
    const size_t times = subject.quote == Quote::kWorst ? row.calls : 1;
    contests.push_back({subject, std::vector<double>(times, std::numeric_limits<double>::infinity())});
  }
  for (auto _ : state) {
    const auto start = Clock::now();
    for (Contest& contest : contests) contest.round(row.calls);
    state.SetIterationTime(ns_since(start) * 1e-9);
  }

  std::vector<Outcome> outcomes;
  for (const Contest& contest : contests) {
    const double ns = *std::max_element(contest.best.begin(), contest.best.end()) / row.units;
    const Subject& subject = contest.subject;
    const double first = outcomes.empty() ? ns : outcomes[0].ns;
    outcomes.push_back({subject.name, ns, ns / first, subject.goal});
    state.counters[subject.name + " ns"] = ns;
    if (outcomes.size() > 1) state.counters[subject.name + " ratio"] = ns / first;
    if (subject.goal > 0) state.counters[subject.name + " goal"] = subject.goal;
  }
  table.put(name, outcomes);
}

}  // namespace

void add_row(const std::string& name, std::function<Row()> make) {
  const auto run = [name, make = std::move(make)](benchmark::State& state) { run_row(state, name, make); };
  benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime();
}

void add_figure(const std::string& name, std::function<double()> make) {
  const auto run = [name, make = std::move(make)](benchmark::State& state) {
    const double figure = make();
    for (auto _ : state) state.SetIterationTime(1);
    state.counters["figure"] = figure;
    table.put(name, {{"", figure, 1, 0}});
  };
  benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Iterations(1);
}

bool run_rows(int argc, char** argv, std::FILE* to) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return false;
  table.print_to(to);
  benchmark::RunSpecifiedBenchmarks(&table);
  return table.all_met();
}

}  // namespace bench
