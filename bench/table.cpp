#include "bench/table.hpp"

#include <algorithm>

namespace bench {
namespace {

constexpr int kNameWidth = 46;
constexpr const char* kLine = "| %-*s | %10s | %-32s | %10s | %7s | %6s | %6s |\n";

std::string number(int decimals, double x) {
  char text[32];
  std::snprintf(text, sizeof text, "%.*f", decimals, x);
  return text;
}

std::string time(double ns) {
  return number(ns < 1000 ? 1 : 0, ns);
}

}  // namespace

bool Table::all_met() const {
  return std::all_of(rows_.begin(), rows_.end(), [](const auto& row) {
    return std::all_of(row.second.begin(), row.second.end(), [](const Outcome& outcome) { return outcome.met(); });
  });
}

bool Table::ReportContext(const Context&) {
  std::fprintf(file_, kLine, kNameWidth, "row", "library", "against", "ns", "ratio", "goal", "");
  std::fprintf(file_,
               "|-%.*s-|-----------:|----------------------------------|-----------:|--------:|-------:|--------|\n",
               kNameWidth, std::string(kNameWidth, '-').c_str());
  std::fflush(file_);
  return true;
}

void Table::ReportRuns(const std::vector<Run>& runs) {
  const std::string name = runs[0].run_name.function_name;
  const auto& outcomes = rows_[name];
  for (size_t i = std::min<size_t>(1, outcomes.size() - 1); i < outcomes.size(); ++i) {
    const Outcome& other = outcomes[i];
    const bool first = i < 2;
    const bool alone = i == 0;
    const bool aimed = other.goal > 0;
    std::fprintf(file_, kLine, kNameWidth, first ? name.c_str() : "", first ? time(outcomes[0].ns).c_str() : "",
                 other.subject.c_str(), alone ? "" : time(other.ns).c_str(),
                 alone ? "" : number(2, other.ratio).c_str(), aimed ? number(2, other.goal).c_str() : "",
                 !aimed        ? ""
                 : other.met() ? "met"
                               : "missed");
  }
  std::fflush(file_);
}

}  // namespace bench
