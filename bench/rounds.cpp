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

// A subject and its best time for each lap.
class Contest {
 public:
  Contest(const Subject& subject, const Row& row)
      : subject_(subject), calls_(row.calls), best_(row.laps, std::numeric_limits<double>::infinity()) {}

  void round() {
    subject_.prepare();
    size_t call = 0;
    for (double& best : best_) {
      const auto start = Clock::now();
      for (const size_t end = call + calls_; call < end; ++call) subject_.call(call);
      best = std::min(best, ns_since(start));
    }
  }

  double ns_per_call() const {
    const double lap = subject_.quote == Quote::kWorst
                           ? *std::max_element(best_.begin(), best_.end())
                           : std::accumulate(best_.begin(), best_.end(), 0.0) / double(best_.size());
    return lap / double(calls_);
  }

 private:
  const Subject& subject_;
  size_t calls_;
  std::vector<double> best_;
};

Table table;

void run_row(benchmark::State& state, const std::string& name, const std::function<Row()>& make) {
  const Row row = make();
  std::vector<Contest> contests;
  for (const Subject& subject : row.subjects) contests.emplace_back(subject, row);
  for (auto _ : state) {
    const auto start = Clock::now();
    for (Contest& contest : contests) contest.round();
    state.SetIterationTime(ns_since(start) * 1e-9);
  }

  std::vector<Outcome> outcomes;
  for (size_t i = 0; i < contests.size(); ++i) {
    const Subject& subject = row.subjects[i];
    const double ns = contests[i].ns_per_call() / double(row.parts);
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
