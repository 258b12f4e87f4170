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

// A subject's best time for each lap.
using Laps = std::vector<double>;

void run_round(const Subject& subject, size_t calls, Laps& best) {
  subject.prepare();
  size_t call = 0;
  for (double& lap : best) {
    const auto start = Clock::now();
    for (const size_t end = call + calls; call < end; ++call) subject.call(call);
    lap = std::min(lap, ns_since(start));
  }
}

double quoted(const Laps& best, Quote quote) {
  if (quote == Quote::kWorst) return *std::max_element(best.begin(), best.end());
  return std::accumulate(best.begin(), best.end(), 0.0) / double(best.size());
}

Table table;

// Google Benchmark's iteration: the subjects made anew, and rounds for a tenth of a second. Where data happens to lie
// can cost a subject half of its speed (stores and loads that meet across a cache line or 4 KiB apart), so each
// iteration puts them elsewhere.
void run_row(benchmark::State& state, const std::string& name, const std::function<Row()>& make) {
  constexpr double kIterationNs = 1e8;
  Row row;
  std::vector<Laps> best;
  size_t iteration = 0;
  for (auto _ : state) {
    const std::vector<char> shift(1 + 16 * (iteration++ * 7 % 64));
    benchmark::DoNotOptimize(shift.data());
    row = make();
    best.resize(row.subjects.size(), Laps(row.laps, std::numeric_limits<double>::infinity()));
    const auto start = Clock::now();
    do {
      for (size_t i = 0; i < best.size(); ++i) run_round(row.subjects[i], row.calls, best[i]);
    } while (ns_since(start) < kIterationNs);
    state.SetIterationTime(ns_since(start) * 1e-9);
  }

  std::vector<Outcome> outcomes;
  for (size_t i = 0; i < best.size(); ++i) {
    const Subject& subject = row.subjects[i];
    const double ns = quoted(best[i], subject.quote) / double(row.calls * row.parts) / subject.per_call;
    const double ratio = i == 0 ? 1 : ns / outcomes[0].ns;
    outcomes.push_back({subject.name, ns, ratio, subject.goal});
    state.counters[subject.name + " ns"] = ns;
    if (i > 0) state.counters[subject.name + " ratio"] = ratio;
    if (subject.goal > 0) state.counters[subject.name + " goal"] = subject.goal;
  }
  table.put(name, outcomes);
}

}  // namespace

void add_row(const std::string& name, std::function<Row()> make) {
  const auto run = [name, make = std::move(make)](benchmark::State& state) { run_row(state, name, make); };
  benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime();
}

void add_measured(const std::string& name, std::function<std::vector<Measured>()> make) {
  const auto run = [name, make = std::move(make)](benchmark::State& state) {
    const std::vector<Measured> measured = make();
    for (auto _ : state) state.SetIterationTime(1);
    std::vector<Outcome> outcomes;
    for (const Measured& m : measured) {
      outcomes.push_back({m.name, m.ns, m.ns / measured[0].ns, m.goal});
      state.counters[m.name + " ns"] = m.ns;
    }
    table.put(name, outcomes);
  };
  benchmark::RegisterBenchmark(name.c_str(), run)->UseManualTime()->Iterations(1);
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
