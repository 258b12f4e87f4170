// zeto tune: which parameters measure recordings of known truth best.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "audio/new_file.hpp"
#include "batch.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "parameters/unit.hpp"
#include "reports/tune_report.hpp"
#include "sensing/prepared.hpp"
#include "text/library_output.hpp"
#include "text/progress.hpp"
#include "text/text.hpp"
#include "tuning/tuned.hpp"
#include "verbs/verbs.hpp"

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

void write_text(NewFile& file, const std::string& text) {
  for (size_t at = 0; at < text.size();) {
    const ssize_t written = ::write(file.descriptor(), text.data() + at, text.size() - at);
    if (written < 0) throw UserError("cannot write " + file.path() + ": " + std::strerror(errno));
    at += static_cast<size_t>(written);
  }
  file.commit();
}

/// Before the recordings are read, which may take hours. All that is read is known by then.
void open_output(const char* option, const std::optional<std::string>& path, std::optional<NewFile>& file) {
  if (!path) return;
  if (*path == "-") throw UserError(std::string(option) + ": the ranking goes to standard output");
  file.emplace(*path);
}

std::filesystem::path place_of(const NewFile& file) {
  return std::filesystem::weakly_canonical(std::filesystem::absolute(file.path()));
}

void check_sets(const Tuned& tuned) {
  std::string units;
  for (const Candidate& candidate : tuned.candidates) {
    const bool by_kit = is_by_kit(candidate, tuned.steps);
    if (by_kit && tuned.scoring.two_of_five) {
      throw UserError("--two-of-five: not with " + candidate.name +
                      ", which the host kit measures: it waits by itself");
    }
    const std::string unit = by_kit ? "cm" : unit_of(candidate.set);
    if (units.empty()) units = unit;
    if (units == unit) continue;
    complain("zeto tune", candidate.name + " measures in " + (unit.empty() ? "no common unit" : unit) + ", others in " +
                              units + ": one truth does not fit both");
    return;
  }
}

std::string seconds_of(const Stretch& stretch) {
  return text("%g s to ", stretch.from_s) + (std::isinf(stretch.to_s) ? "the end" : text("%g s", stretch.to_s));
}

/// Rows of the table in which no set has an analysis.
void warn_of_empty(const Tuned& tuned, const std::vector<Stretch>& stretches, const FileCounts& counts) {
  for (size_t s = 0; s < stretches.size(); ++s) {
    if (std::any_of(counts.of.begin(), counts.of.end(), [s](const auto& of) { return of[s].all() > 0; })) continue;
    complain("zeto tune",
             tuned.truth.paths[stretches[s].file] + ": no whole analysis from " + seconds_of(stretches[s]));
  }
}

void tune(const TuneOptions& options) {
  Tuned tuned;
  remember_input(options.truth);
  tuned.truth = read_truth(options.truth);
  for (const auto& path : tuned.truth.paths) remember_input(path);
  tuned.candidates = candidates_of(options.sets, options.grids, tuned.axes);
  tuned.scoring = options.scoring;
  tuned.steps = options.steps;
  tuned.prepare();
  check_sets(tuned);
  std::optional<NewFile> page;
  std::optional<NewFile> best;
  open_output("--html", options.html, page);
  open_output("--best", options.best, best);
  if (page && best && place_of(*page) == place_of(*best)) {
    throw UserError("--html, --best: both are " + page->path());
  }
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
    for (const auto& warning : counts.warnings) warn("zeto tune", warning);
    if (!counts.fault.empty()) {
      complain("zeto tune", counts.fault);
      ++failed;
    } else {
      warn_of_empty(tuned, stretches[i], counts);
    }
    tuned.add(i, stretches[i], counts);
    idle();
  };
  in_order(n, jobs_of(options.jobs), work, use, idle);
  progress.clear();
  if (failed == n) throw SomeFilesFailed();
  tuned.rank();
  print(options.json  ? tune_json(tuned)
        : options.csv ? tune_csv(tuned, !options.no_heading)
                      : tune_table(tuned, options.top));
  if (page) write_text(*page, tune_page(tuned));
  if (best) write_text(*best, parameters_json(tuned.candidates[tuned.ranking.front()]));
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
  verb->add_option("--set", options->sets, "A named set or a parameter file; may be repeated. Default: default")
      ->type_name("NAME|FILE");
  verb->add_option("--grid", options->grids,
                   "Values of a detector parameter: from, to and step, or a\n"
                   "list. May be repeated: all combinations, on each set")
      ->type_name("NAME=A:B:S");
  verb->add_option("--tolerance", options->scoring.tolerance,
                   "A measurement is right if it is off by at most N, in its\n"
                   "unit. Default: a step of the detector; by the kit 2.5 cm")
      ->type_name("N")
      ->check(CLI::Range(0.0, 1e6).description(""));
  verb->add_option("--cost", options->scoring.cost, "What each wrong or false analysis costs in the score")
      ->type_name("N")
      ->check(CLI::Range(0.0, 1e6).description(""))
      ->capture_default_str();
  verb->add_flag("--two-of-five", options->scoring.two_of_five,
                 "Score what a host shows if it waits until two of the last\n"
                 "five agree, to twice the tolerance; the host kit waits by\n"
                 "itself");
  verb->add_option("--top", options->top, "Sets to list")->type_name("N")->capture_default_str();
  verb->add_option("-j,--jobs", options->jobs, "Recordings to work on at a time. Default: one per processor")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  verb->add_flag("--csv", options->csv, "Comma-separated values: a line per set and label");
  verb->add_flag("--no-heading", options->no_heading, "With --csv: leave the first line out");
  verb->add_flag("--json", options->json, "JSON, one object")->excludes("--csv");
  verb->add_option("--html", options->html, "Web page to write, with tables and curves, in one file")
      ->type_name("FILE");
  verb->add_option("--best", options->best, "Parameter file to write: the best set's, for --params")->type_name("FILE");
  add_host_steps(*verb, options->steps);
  verb->footer(
      "The truth table has a line per stretch of a recording:\n"
      "  file,truth,label,from_s,to_s\n"
      "  desk.wav,58,quiet,1,\n"
      "  desk2.wav,58,music,1,9.5\n"
      "  empty.wav,nobody,music,1,\n"
      "Every set measures every recording; a file is read once per 256 sets. An analysis\n"
      "counts if its 200 ms lie within a stretch:\n"
      "  right, wrong  somebody is there, and the number shown is off by at most the\n"
      "                tolerance, or by more; if the truth is any, every number is right\n"
      "  missed        somebody is there, but nothing is shown\n"
      "  false         nobody is there, but something is shown\n"
      "A set of sweeps (--set hand) is measured by the host kit, in cm, as in zeto sense;\n"
      "with --align or --background by the detector alone.\n"
      "A recording can tell nothing about other sweeps than the one that was played.\n\n"
      "Examples:\n"
      "  zeto tune truth.csv\n"
      "  zeto tune truth.csv --grid UltraHz_cand_dB=-60:0:10 --best tuned.json\n"
      "  zeto tune truth.csv --set default --set tuned.json --html report.html\n"
      "  zeto tune truth.csv --set hand");
  verb->callback([options] { tune(*options); });
}

}  // namespace zeto::tool
