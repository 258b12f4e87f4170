// Comparisons. The subjects of a row take turns, A B C A B C ..., each for a short round, and every subject's best
// round counts: whatever else the machine does, it seldom disturbs all rounds of one subject, and a slow stretch slows
// all alike. Google Benchmark decides how many turns there are, selects rows and writes JSON; its own rows, measured
// one after the other, would put the machine's mood of two moments into one ratio.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

// Which of the laps' best times is quoted.
enum class Quote { kAverage, kWorst };

struct Subject {
  std::string name;
  std::function<void(size_t)> call;       // the calls of a round count from 0
  std::function<void()> prepare = [] {};  // before each round, not timed
  double goal = 0;                        // the time must be at least this multiple of the first subject's
  Quote quote = Quote::kAverage;
  double per_call = 1;  // how many of what is quoted a call counts as
};

struct Row {
  size_t laps;                    // in a round; each is timed for itself, and the best of each over all rounds counts
  size_t calls;                   // in a lap: enough that reading the clock, some 30 ns, costs nothing
  std::vector<Subject> subjects;  // the library's first
  size_t parts = 1;               // of a call; times are quoted per part
};

// Registers a row; `make` is called when its turn comes, many times.
void add_row(const std::string& name, std::function<Row()> make);
// Registers a row that measures by itself: the library's time first.
struct Measured {
  std::string name;
  double ns, goal;
};
void add_measured(const std::string& name, std::function<std::vector<Measured>()> make);
// Registers a row that is a figure.
void add_figure(const std::string& name, std::function<double()> make);

// Runs the rows that the command line selects and prints a table of them to the given stream, by lines as they are
// done. False if a goal was missed.
bool run_rows(int argc, char** argv, std::FILE* to);

}  // namespace bench
