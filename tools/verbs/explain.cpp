// zeto explain: what each analysis of a recording saw, and why it was accepted or rejected.
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <utility>

#include "audio/audio_file.hpp"
#include "audio/channel_check.hpp"
#include "audio/file_list.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "parameters/json.hpp"
#include "parameters/options.hpp"
#include "parameters/unit.hpp"
#include "reports/parameter_warnings.hpp"
#include "reports/run_info.hpp"
#include "reports/sense_report.hpp"
#include "sensing/observer.hpp"
#include "sensing/prepared.hpp"
#include "sensing/sensing.hpp"
#include "text/json.hpp"
#include "text/library_output.hpp"
#include "text/progress.hpp"
#include "text/terminal.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"
#include "zeto/version.h"

namespace zeto::tool {
namespace {

struct ExplainOptions {
  FileList files;
  double from = 0.0;
  double to = std::numeric_limits<double>::infinity();
  size_t most = std::numeric_limits<size_t>::max();
  bool brief = false;
  bool csv = false;
  bool no_heading = false;
  bool json = false;
  bool spectra = false;
  zeto_set set{};
  HostSteps steps;
};

struct Explained {
  size_t index;  ///< counted from 1
  Observation seen;
};

using Use = std::function<void(const Explained&)>;
using OnRead = std::function<void(double share)>;

/// Gives the analyses asked for one by one, and reads no farther than the last of them. Returns warnings.
std::vector<std::string> explain_file(const ExplainOptions& options, const std::string& file, const OnRead& on_read,
                                      const Use& use) {
  constexpr double kHalfBlock = 0.005;
  constexpr int64_t kPiece = 9600;  // 200 ms: an analysis at most
  AudioReader reader = open_recording(file, options.set.hear);
  warn("zeto explain", reader.warning());
  Prepared prepared(file, reader.frames(), options.steps);
  if (const auto& found = prepared.found()) tell("zeto explain", file, *found);
  size_t index = 0;
  size_t used = 0;
  bool is_over = false;
  const Observing observing(options.spectra, [&](Observation&& seen) {
    ++index;
    is_over = is_over || seen.end_s > options.to + kHalfBlock;
    if (is_over || seen.end_s < options.from - kHalfBlock) return;
    use({index, std::move(seen)});
    is_over = ++used == options.most;
  });
  Sensing sensing({reader.host_format(), SensingOptions{}.buffer, options.set.hear});
  ChannelCheck check;
  std::vector<double> values;
  const int64_t frames = reader.frames();
  for (int64_t done = 0; done < frames && !is_over; done += kPiece) {
    values.resize(static_cast<size_t>(2 * std::min(frames - done, kPiece)));
    reader.read(values);
    check.take(values);
    prepared.apply(values);
    sensing.take(values);
    on_read(static_cast<double>(done) / static_cast<double>(frames));
  }
  if (sensing.analyses().size() != index) throw std::logic_error("analyses were missed");
  if (used == 0) throw FileError(file + ": --from, --to: no analysis ends in that time");
  return check.warnings();
}

Json segments_of(const Observation& seen) {
  Json segments = Json::array();
  for (int i = 0; i < kSegments; ++i) {
    const Segment& segment = seen.segments[i];
    Json json{{"segment", i},
              {"bin", segment.bin},
              {"position_hz", segment.position},
              {"level_db", segment.level},
              {"candidate", segment.is_candidate}};
    if (!seen.levels.empty()) {
      const auto first = seen.levels.begin() + i * kBins;
      json["levels_db"] = std::vector<float>(first, first + kBins);
    }
    segments.push_back(std::move(json));
  }
  return segments;
}

/// What the candidates agree on and what follows from it; null if there is no candidate.
Json of_candidates(const Observation& seen, Json value) {
  return seen.candidates > 0 ? std::move(value) : Json(nullptr);
}

Json json_of(const Explained& explained) {
  const Observation& seen = explained.seen;
  return {{"index", explained.index},
          {"time_s", seen.end_s},
          {"candidates", seen.candidates},
          {"position_hz", of_candidates(seen, seen.position)},
          {"hits", seen.hits},
          {"hit_ratio", seen.hit_ratio.current},
          {"previous_hit_ratio", seen.hit_ratio.previous},
          {"level_db", of_candidates(seen, seen.level)},
          {"level_hits", seen.level_hits},
          {"level_ratio", seen.level_ratio.current},
          {"previous_level_ratio", seen.level_ratio.previous},
          {"steadiness", seen.steadiness},
          {"conditions", {{"position", seen.has_hits}, {"level", seen.has_levels}, {"steadiness", seen.is_steady}}},
          {"accepted", seen.accepted},
          {"folded", seen.candidates > 0 && seen.folded != seen.position},
          {"folded_hz", of_candidates(seen, seen.folded)},
          {"span_hz", seen.span},
          {"value", of_candidates(seen, seen.value)},
          {"result", seen.result},
          {"segments", segments_of(seen)}};
}

/// A recording as an object on a line.
class JsonOutput {
 public:
  JsonOutput(const ExplainOptions& options, const std::string& file) {
    ExplainOptions copy = options;
    head_ = "{\"file\":" + text_of(file) + ",\"parameters\":" + text_of(json_of(parameters_of(copy.set.hear))) +
            text(",\"digest\":\"%s\",\"version\":\"%s\",\"unit\":\"%s\",\"bin_hz\":%g",
                 digest_of(options.set, options.steps).c_str(), ZETO_VERSION_STRING, unit_of(options.set).c_str(),
                 static_cast<double>(kBinHz));
  }

  void add(const Explained& explained) {
    print((any_ ? "," : head_ + ",\"analyses\":[") + text_of(json_of(explained)));
    any_ = true;
  }
  /// @param error  "" if there was none.
  void end(const std::string& error) {
    print((any_ ? "]" : head_) + (error.empty() ? "" : ",\"error\":" + text_of(error)) + "}\n");
  }

 private:
  std::string head_;
  bool any_ = false;
};

double number(float value) {
  return static_cast<double>(value);
}

constexpr const char* kCsvHeading =
    "file,index,time_s,candidates,beat_hz,hits,hit_ratio,level_db,level_hits,level_ratio,steadiness,folded_hz,span_hz,"
    "value,result,unit,accepted,reason,";

std::string csv_of(const std::string& file, const Explained& explained, const std::string& unit) {
  const Observation& seen = explained.seen;
  const auto any = [&](float value) { return seen.candidates > 0 ? text("%.9g", number(value)) : std::string(); };
  return csv_cell(file) + text(",%zu,%.1f,%d,", explained.index, seen.end_s, seen.candidates) + any(seen.position) +
         text(",%d,%g,", seen.hits, number(seen.hit_ratio.current)) + any(seen.level) +
         text(",%d,%g,%g,", seen.level_hits, number(seen.level_ratio.current), number(seen.steadiness)) +
         any(seen.folded) + text(",%g,", number(seen.span)) + any(seen.value) +
         text(",%.9g,%s,%d,", number(seen.result), unit.c_str(), seen.accepted ? 1 : 0) + csv_cell(reason(seen)) + ",";
}

/// The peaks of the 18 spectra, nine in a line.
std::string peaks_of(const Observation& seen) {
  std::string lines;
  for (int first = 0; first < kSegments; first += kSegments / 2) {
    lines += "    Hz";
    for (int i = first; i < first + kSegments / 2; ++i) {
      const Segment& segment = seen.segments[i];
      lines += text(segment.is_candidate ? "  %5.0f " : " (%5.0f)", number(segment.position));
    }
    lines += "\n    dB";
    for (int i = first; i < first + kSegments / 2; ++i) lines += text("  %5.1f ", number(seen.segments[i].level));
    lines += "\n";
  }
  return lines;
}

constexpr const char* kTableHeading =
    "                median        median\n"
    "  time_s peaks  beat_hz hits      dB hits steady    value   result  verdict\n";

/// @param columns  of the terminal; 0: any number.
std::string table_of(const Explained& explained, bool brief, size_t columns) {
  const Observation& seen = explained.seen;
  const std::string numbers = text("%8.1f %5d %8.1f %4d %7.1f %4d %6.2f %8.2f %8.2f  ", seen.end_s, seen.candidates,
                                   number(seen.position), seen.hits, number(seen.level), seen.level_hits,
                                   number(seen.steadiness), number(seen.value), number(seen.result));
  const std::string verdict = seen.accepted ? "accepted" : "rejected: " + reason(seen);
  return wrapped(numbers + verdict, columns, numbers.size()) + "\n" + (brief ? "" : peaks_of(seen));
}

void explain(const ExplainOptions& options) {
  if (!(options.from <= options.to)) throw UserError("--from: must not be later than --to");
  const auto files = options.files.names();
  const RunInfo info{unit_of(options.set), digest_of(options.set, options.steps)};
  warn_of("zeto explain", options.set, Side::kDetector);
  const size_t columns = columns_of(STDOUT_FILENO);
  Progress progress;
  size_t done = 0;
  size_t failed = 0;
  bool headed = options.no_heading;
  const auto heading = [&] {
    if (!std::exchange(headed, true)) print(options.csv ? std::string(kCsvHeading) + kCsvTail : kTableHeading);
  };
  for (const auto& file : files) {
    JsonOutput json(options, file);
    bool any = false;
    std::string fault;
    try {
      const auto on_read = [&](double share) {
        progress.show_files(static_cast<double>(done) + share, done, files.size());
      };
      const auto warnings = explain_file(options, file, on_read, [&](const Explained& explained) {
        progress.clear();
        if (options.json) return json.add(explained);
        heading();
        if (!options.csv && !any && files.size() > 1) print(printable(file) + "\n");
        any = true;
        print(options.csv ? csv_of(file, explained, info.unit) + csv_tail(info)
                          : table_of(explained, options.brief, columns));
      });
      progress.clear();
      for (const auto& warning : warnings) warn("zeto explain", file + ": " + warning);
    } catch (const FileError& error) {
      fault = error.what();
      ++failed;
      progress.clear();
      complain("zeto explain", fault);
      if (options.csv) {
        heading();
        print(csv_cell(file) + std::string(18, ',') + csv_tail(info, fault));
      }
    }
    if (options.json) json.end(fault);
    ++done;
  }
  if (failed > 0) throw SomeFilesFailed();
}

}  // namespace

void add_explain(CLI::App& app) {
  auto* verb = app.add_subcommand("explain", "Show what each analysis of a recording saw, and why it was rejected");
  const auto options = std::make_shared<ExplainOptions>();
  add_files(*verb, options->files, kRecordings);
  verb->add_option("--from", options->from, "Only analyses that end at this time or later")->type_name("S");
  verb->add_option("--to", options->to, "Only analyses that end at this time or before;\nwhat comes later is not read")
      ->type_name("S");
  verb->add_option("--most", options->most, "At most this many analyses of each recording")
      ->type_name("N")
      ->check(CLI::PositiveNumber.description(""));
  verb->add_flag("--brief", options->brief, "Leave the spectra's peaks out");
  auto* csv = verb->add_flag("--csv", options->csv, "Comma-separated values: a line per analysis");
  verb->add_flag("--no-heading", options->no_heading, "Leave the heading out");
  verb->add_flag("--json", options->json, "JSON, one object per recording, as docs/tool.md describes it")
      ->excludes("--brief")
      ->excludes(csv);
  verb->add_flag("--spectra", options->spectra, "With --json: all levels of all spectra too")->needs("--json");
  add_host_steps(*verb, options->steps);
  add_parameter_options(*verb, options->set, Side::kDetector);
  verb->footer(
      "One line per analysis, from inside the detector:\n"
      "  time_s   end of its 200 ms, from the start of the recording\n"
      "  peaks    how many of the 18 spectra have a bin above --UltraHz-cand-dB\n"
      "  beat_hz  median frequency of these spectra's strongest bins; hits: how many of them\n"
      "           are less than 186 Hz away from it\n"
      "  dB       median of their levels; hits: how many are less than 10 dB away from it\n"
      "  steady   sum of four ratios: hits in frequency (1 if all 18, otherwise 0) and hits\n"
      "           in level / 18, of this analysis and of the one before\n"
      "  value    what beat_hz measures, folded at half of --UltraHz-scope; result: after\n"
      "           smoothing, -1000 if rejected\n"
      "  verdict  accepted, or why it was rejected: \"position\" if the ratio of hits in\n"
      "           frequency is below --UltraHz-cand-ratio, \"level\" if that of hits in level is\n"
      "           below --UltraHz-spread-ratio, \"steadiness\" if steady is below 2\n"
      "Then follows each spectrum's strongest bin, in brackets if it is not above\n"
      "--UltraHz-cand-dB. An analysis without such peaks has zeros in the table.\n\n"
      "Examples:\n"
      "  zeto explain capture.wav\n"
      "  zeto explain --set hand --align auto --background 0.5-2.5 --brief hand.wav\n"
      "  zeto explain --brief --from 3 --to 5 capture.wav\n"
      "  zeto explain --csv *.wav > explained.csv\n"
      "  zeto explain --json --spectra capture.wav > capture.json");
  verb->callback([options] { explain(*options); });
}

}  // namespace zeto::tool
