// zeto tune: which parameters measure recordings of known truth best.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "batch.hpp"
#include "error.hpp"
#include "library_output.hpp"
#include "new_file.hpp"
#include "prepared.hpp"
#include "progress.hpp"
#include "reports/tune_report.hpp"
#include "text.hpp"
#include "tuning/tuned.hpp"
#include "verbs.hpp"

namespace zeto::tool {
namespace {

struct TuneOptions {
  std::string truth;
  std::vector<std::string> sets;
  std::vector<std::string> grids;
  Scoring scoring;
  HostSteps steps;
  size_t top = 10;
  int jobs = 0;
  bool csv = false;
  bool no_heading = false;
  bool json = false;
  std::optional<std::string> html;
  std::optional<std::string> best;
};

void write_text(const std::string& path, const std::string& text) {
  NewFile file(path);
  for (size_t at = 0; at < text.size();) {
    const ssize_t written = ::write(file.descriptor(), text.data() + at, text.size() - at);
    if (written < 0) throw UserError("cannot write " + path + ": " + std::strerror(errno));
    at += static_cast<size_t>(written);
  }
  file.commit();
}

void tune(const TuneOptions& options) {
  Tuned tuned;
  remember_input(options.truth);
  tuned.truth = read_truth(options.truth);
  tuned.candidates = candidates_of(options.sets, options.grids, tuned.axes);
  tuned.scoring = options.scoring;
  tuned.steps = options.steps;
  tuned.prepare();
  const size_t n = tuned.truth.files.size();
  std::vector<std::vector<Stretch>> stretches(n);
  for (const Stretch& stretch : tuned.truth.stretches) stretches[stretch.file].push_back(stretch);

  Progress progress;
  std::atomic<double> read = 0.0;
  size_t done = 0;
  size_t failed = 0;
  const auto work = [&](size_t i) {
    return count_file(tuned.truth.paths[i], stretches[i], tuned.candidates, options.steps, options.scoring, read);
  };
  const auto idle = [&] { progress.show_files(read, done, n); };
  const auto use = [&](size_t i, const FileCounts& counts) {
    progress.clear();
    ++done;
    warn("zeto tune", counts.warning);
    if (!counts.fault.empty()) {
      complain("zeto tune", counts.fault);
      ++failed;
    }
    tuned.add(i, stretches[i], counts);
    idle();
  };
  in_order(n, jobs_of(options.jobs), work, use, idle);
  progress.clear();
  if (failed == n) throw SomeFilesFailed();
  tuned.rank();
  if (options.html) write_text(*options.html, tune_page(tuned));
  if (options.best) write_text(*options.best, parameters_json(tuned.candidates[tuned.ranking.front()]));
  print(options.json  ? tune_json(tuned)
        : options.csv ? tune_csv(tuned, !options.no_heading)
                      : tune_table(tuned, options.top));
  if (failed > 0) throw SomeFilesFailed();
}

}  // namespace

void add_tune(CLI::App& app) {
  auto* verb = app.add_subcommand("tune", "Compare parameters over recordings whose truth is known");
  const auto options = std::make_shared<TuneOptions>();
  verb->add_option("truth", options->truth,
                   "CSV table with a heading: file; truth, a number in the\n"
                   "measurement's unit, nobody, or any; optional: label,\n"
                   "from_s, to_s. Relative names start at the table's folder")
      ->type_name("TRUTH.csv")
      ->required();
  verb->add_option("--set", options->sets, "A named set or a file of parameters; several. Default: default")
      ->type_name("NAME|FILE");
  verb->add_option("--grid", options->grids,
                   "Values of a parameter of the detector, from, to and step\n"
                   "or a list; several give all combinations, over each set")
      ->type_name("NAME=A:B:S");
  verb->add_option("--tolerance", options->scoring.tolerance,
                   "A measurement is right if it is off by no more, in its\n"
                   "unit. Default: a step of the detector; by the kit 2.5 cm")
      ->type_name("N")
      ->check(CLI::Range(0.0, 1e6).description(""));
  verb->add_option("--cost", options->scoring.cost, "What each wrong or false one costs in the score")
      ->type_name("N")
      ->check(CLI::Range(0.0, 1e6).description(""))
      ->capture_default_str();
  verb->add_flag("--two-of-five", options->scoring.two_of_five,
                 "Score what a host shows if it waits until two of the last\n"
                 "five agree, to twice the tolerance");
  verb->add_option("--top", options->top, "Sets to list")->type_name("N")->capture_default_str();
  verb->add_option("-j,--jobs", options->jobs, "Recordings to work on at a time. Default: one per processor")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  verb->add_flag("--csv", options->csv, "Comma-separated values: a line per set and label");
  verb->add_flag("--no-heading", options->no_heading, "With --csv: leave the first line out");
  verb->add_flag("--json", options->json, "JSON, one object")->excludes("--csv");
  verb->add_option("--html", options->html, "Page to write, with tables and curves; needs nothing else")
      ->type_name("FILE");
  verb->add_option("--best", options->best, "Parameter file to write: the best set's, for --params")->type_name("FILE");
  add_host_steps(*verb, options->steps);
  verb->footer(
      "The truth table has a line per stretch of a recording:\n"
      "  file,truth,label,from_s,to_s\n"
      "  desk.wav,58,quiet,1,\n"
      "  desk2.wav,58,music,1,9.5\n"
      "  empty.wav,nobody,music,1,\n"
      "Every set measures every recording; each file is read once. An analysis counts if\n"
      "its 200 ms lie within a stretch:\n"
      "  right, wrong  with somebody there: shown and off by no more than the tolerance, or\n"
      "                by more; if the truth is any, all that is shown is right\n"
      "  missed        with somebody there, nothing is shown\n"
      "  false         with nobody there, something is shown\n"
      "A set of sweeps (--set hand) is measured by the host kit, in cm, as in zeto sense;\n"
      "with --align or --background by the detector alone.\n"
      "A recording tells nothing about sweeps other than the one that was played.\n\n"
      "Examples:\n"
      "  zeto tune truth.csv\n"
      "  zeto tune truth.csv --grid UltraHz_cand_dB=-60:0:10 --best tuned.json\n"
      "  zeto tune truth.csv --set default --set tuned.json --html report.html\n"
      "  zeto tune truth.csv --set hand");
  verb->callback([options] { tune(*options); });
}

}  // namespace zeto::tool
