// The outcome of the rows as a table, a row as soon as it is done.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace bench {

struct Outcome {
  std::string subject;
  double ns;
  double ratio;  // to the row's first subject
  double goal;   // least ratio; 0: none
  bool met() const { return ratio >= goal; }
};

class Table : public benchmark::BenchmarkReporter {
 public:
  void print_to(std::FILE* file) { file_ = file; }
  void put(const std::string& row, const std::vector<Outcome>& outcomes) { rows_[row] = outcomes; }
  bool all_met() const;

  bool ReportContext(const Context& context) override;
  void ReportRuns(const std::vector<Run>& runs) override;

 private:
  std::FILE* file_ = nullptr;
  std::map<std::string, std::vector<Outcome>> rows_;
};

}  // namespace bench
