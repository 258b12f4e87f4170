// zeto explain: what each analysis of a recording saw, and why it was accepted or rejected.
#include <cstdio>
#include <limits>

#include "audio_file.hpp"
#include "error.hpp"
#include "json.hpp"
#include "observer.hpp"
#include "options.hpp"
#include "prepared.hpp"
#include "sense_report.hpp"
#include "sensing.hpp"
#include "text.hpp"
#include "verbs.hpp"

namespace zeto::tool {
namespace {

struct ExplainOptions {
  std::string file;
  double from = 0.0;
  double to = std::numeric_limits<double>::infinity();
  bool brief = false;
  bool json = false;
  bool spectra = false;
  zeto_set set{};
  HostSteps steps;
};

struct Explained {
  size_t index;  ///< counted from 1
  Observation seen;
};

std::vector<Explained> explain_file(const ExplainOptions& options) {
  AudioReader reader = open_recording(options.file, options.set.hear);
  warn("zeto explain", reader.warning());
  Prepared prepared(options.file, reader.frames(), options.steps);
  if (const auto& found = prepared.found()) tell("zeto explain", options.file, *found);
  std::vector<Explained> wanted;
  size_t index = 0;
  const Observing observing(options.spectra, [&](Observation&& seen) {
    ++index;
    constexpr double kHalfBlock = 0.005;
    if (seen.end_s >= options.from - kHalfBlock && seen.end_s <= options.to + kHalfBlock) {
      wanted.push_back({index, std::move(seen)});
    }
  });
  SensingOptions sensing{reader.host_format(), SensingOptions{}.buffer, options.set.hear};
  const Capture capture = [&](std::span<double> values) {
    reader.read(values);
    prepared.apply(values);
  };
  const auto sensed = sense(sensing, reader.frames(), capture, nullptr);
  if (sensed.size() != index) throw std::logic_error("analyses were missed");
  if (wanted.empty()) throw UserError("--from, --to: no analysis ends in that time");
  return wanted;
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

/// What the candidates agree on and what follows from it; null where there is no candidate.
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

/// Analyses one by one: with their spectra, all of an hour at once would take much memory.
void print_json(const ExplainOptions& options, const std::vector<Explained>& all) {
  ExplainOptions copy = options;
  const std::string parameters = text_of(json_of(parameters_of(copy.set.hear)));
  std::printf("{\"file\":%s,\n\"parameters\":%s,\n\"bin_hz\":%g,\n\"analyses\":[", text_of(options.file).c_str(),
              parameters.c_str(), static_cast<double>(kBinHz));
  const char* separator = "\n";
  for (const Explained& explained : all) {
    std::printf("%s%s", separator, text_of(json_of(explained)).c_str());
    separator = ",\n";
  }
  std::puts("\n]}");
}

void print_peaks(const Observation& seen) {
  std::printf("%10s", "peaks, Hz");
  for (const Segment& segment : seen.segments) {
    std::printf(segment.is_candidate ? "  %5.0f " : " (%5.0f)", static_cast<double>(segment.position));
  }
  std::printf("\n%10s", "dB");
  for (const Segment& segment : seen.segments) std::printf("  %5.1f ", static_cast<double>(segment.level));
  std::putchar('\n');
}

void print_table(const std::vector<Explained>& all, bool brief) {
  std::puts(
      "                 median                         median                               fold   span\n"
      "  time_s  peaks      Hz  hits  ratio (before)       dB  hits  ratio (before)  steady      Hz     Hz     value"
      "    result  verdict");
  for (const Explained& explained : all) {
    const Observation& seen = explained.seen;
    const auto number = [](float value) { return static_cast<double>(value); };
    const auto ratio = [&](const Ratio& r) { return text("%5.2f (%4.2f)  ", number(r.current), number(r.previous)); };
    std::printf("%8.1f  %5d  %6.1f  %4d  %s  %7.1f  %4d  %s", seen.end_s, seen.candidates, number(seen.position),
                seen.hits, ratio(seen.hit_ratio).c_str(), number(seen.level), seen.level_hits,
                ratio(seen.level_ratio).c_str());
    std::printf("%6.2f  %6.1f  %5.0f  %8.2f  %8.2f  %s\n", number(seen.steadiness), number(seen.folded),
                number(seen.span), number(seen.value), number(seen.result), verdict(seen).c_str());
    if (!brief) print_peaks(seen);
  }
}

void explain(const ExplainOptions& options) {
  const auto analyses = explain_file(options);
  options.json ? print_json(options, analyses) : print_table(analyses, options.brief);
}

}  // namespace

void add_explain(CLI::App& app) {
  auto* verb = app.add_subcommand("explain", "Show what each analysis of a recording saw, and why it was rejected");
  const auto options = std::make_shared<ExplainOptions>();
  verb->add_option("capture", options->file,
                   "Audio file (48000 Hz, two channels): the first the\n"
                   "reference, what was played; the second the microphone")
      ->type_name("FILE")
      ->required();
  verb->add_option("--from", options->from, "Only analyses that end at this time or later")->type_name("S");
  verb->add_option("--to", options->to, "Only analyses that end at this time or before")->type_name("S");
  verb->add_flag("--brief", options->brief, "Leave the spectra's peaks out");
  verb->add_flag("--json", options->json, "JSON, as docs/tool.md describes it")->excludes("--brief");
  verb->add_flag("--spectra", options->spectra, "With --json: all levels of all spectra too")->needs("--json");
  add_host_steps(*verb, options->steps);
  add_parameter_options(*verb, options->set, Side::kDetector);
  verb->footer(
      "One line per analysis, from inside the detector:\n"
      "  time_s     where in the recording its 200 ms end\n"
      "  peaks      of 18 spectra, those whose strongest bin is above --UltraHz-cand-dB\n"
      "  median Hz  of these peaks' frequencies; how many hit it, less than 186 Hz away;\n"
      "             ratio: 1 where all 18 do, otherwise 0; the ratio before\n"
      "  median dB  of their levels, likewise, less than 10 dB away; ratio: hits of 18\n"
      "  steady     both ratios and those before together\n"
      "  fold Hz    the median Hz, folded at half the span, which is --UltraHz-scope on the\n"
      "             detector's grid\n"
      "  value      what that measures; result: after smoothing, -1000 where rejected\n"
      "  verdict    rejected: \"position\" where its ratio is below --UltraHz-cand-ratio,\n"
      "             \"level\" where its is below --UltraHz-spread-ratio, \"steadiness\" where\n"
      "             that is below 2\n"
      "Below, each spectrum's strongest bin, in brackets where it is not above\n"
      "--UltraHz-cand-dB. An analysis without such peaks has zeros in the table.\n\n"
      "Examples:\n"
      "  zeto explain capture.wav\n"
      "  zeto explain --set hand --align auto --background 0.5-2.5 --brief hand.wav\n"
      "  zeto explain --brief --from 3 --to 5 capture.wav\n"
      "  zeto explain --json --spectra capture.wav > capture.json");
  verb->callback([options] { explain(*options); });
}

}  // namespace zeto::tool
