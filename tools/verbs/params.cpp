// zeto params: the parameters, what they mean and what they are.
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "cli.hpp"
#include "parameters/options.hpp"
#include "parameters/unit.hpp"
#include "reports/parameter_warnings.hpp"
#include "reports/run_info.hpp"
#include "text/json.hpp"
#include "text/terminal.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kMeaning = 38;  // where it starts

struct ParamsOptions {
  bool json = false;
  zeto_set set{};
};

std::string on_one_line(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

/// "72,64,64"
std::string words_of(const Json& value) {
  if (!value.is_array()) return text_of(value);
  const std::string array = text_of(value);
  return array.substr(1, array.size() - 2);
}

void print_table(const char* heading, const std::vector<Parameter>& parameters) {
  std::printf("%-20s  %6s  %-6s  meaning\n", heading, "value", "unit");
  for (const Parameter& parameter : parameters) {
    const std::string line = text("%-20s  %6d  %-6s  %s", parameter.name, *parameter.value, parameter.unit,
                                  on_one_line(parameter.meaning).c_str());
    std::puts(wrapped(line, columns_of(STDOUT_FILENO), kMeaning).c_str());
  }
}

struct Line {
  const char* name;
  Json value;
  const char* unit;
  std::string meaning;
};

std::vector<Line> lines_of(const std::vector<Parameter>& parameters) {
  std::vector<Line> lines;
  for (const Parameter& parameter : parameters) {
    lines.push_back({parameter.name, *parameter.value, parameter.unit, on_one_line(parameter.meaning)});
  }
  return lines;
}

/// Of a set with sweeps: what is no word of a block.
std::vector<Line> sweep_lines(const zeto_set& set) {
  if (!has_sweeps(set)) return {};
  return {{"restart_ms", restarts_of(set), "ms",
           "Lengths of the sweeps, each of which starts over; span_hz is their slope per second, amp_end_milli their "
           "amplitude"},
          {"fade_ms", static_cast<float>(set.sweep.fade_us) / 1000.0F, "ms", "Each sweep rises and falls that long"}};
}

/// A file for --params, with the unit and the meaning beside each value.
void print_json(const std::vector<Line>& lines) {
  const char* separator = "{\n";
  for (const Line& line : lines) {
    const Json json{{"value", line.value}, {"unit", line.unit}, {"meaning", line.meaning}};
    std::printf("%s  \"%s\": %s", separator, line.name, text_of(json).c_str());
    separator = ",\n";
  }
  std::puts("\n}");
}

void print_params(ParamsOptions& options) {
  warn_of("zeto params", options.set, Side::kBoth);
  const auto emitter = parameters_of(options.set.chirp);
  const auto detector = parameters_of(options.set.hear);
  const auto sweeps = sweep_lines(options.set);
  if (options.json) {
    std::vector<Line> lines;
    if (is_for_kit(options.set)) lines.push_back({"set", options.set.name, "", "The set that the rest changes"});
    const auto chirp = lines_of(emitter);
    lines.insert(lines.end(), chirp.begin(), chirp.end());
    const auto more = lines_of(detector);
    lines.insert(lines.end(), sweeps.begin(), sweeps.end());
    lines.insert(lines.end(), more.begin(), more.end());
    print_json(lines);
    return;
  }
  print_table("emitter", emitter);
  for (const Line& line : sweeps) {
    std::printf("%-20s  %6s  %-6s  %s\n", line.name, words_of(line.value).c_str(), line.unit, line.meaning.c_str());
  }
  std::putchar('\n');
  print_table("detector", detector);
  const std::string unit = unit_of(options.set);
  std::printf("\nmeasurements are in %s; digest %s\n", unit.empty() ? "no common unit" : unit.c_str(),
              digest_of(options.set, {}).c_str());
}

}  // namespace

void add_params(CLI::App& app) {
  auto* verb = app.add_subcommand("params", "List the parameters of emitter and detector with units and meaning");
  const auto options = std::make_shared<ParamsOptions>();
  verb->add_flag("--json", options->json, "JSON, as a file for --params");
  add_parameter_options(*verb, options->set, Side::kBoth);
  verb->footer(
      "The values are the default set's, as changed by --set, --params and the options. A set\n"
      "with sweeps that start over shows these too; span_hz is then their slope per second.\n"
      "A file for --params is a JSON object, {\"UltraHz_cand_dB\": -30, \"period_ms\": 2000}\n"
      "for example; a value may also be an object with the number as its \"value\".\n"
      "The digest identifies all parameters; the CSV and JSON of other verbs have it too.\n\n"
      "Examples:\n"
      "  zeto params\n"
      "  zeto params --set hand\n"
      "  zeto params --json > tuning.json    then edit it\n"
      "  zeto params --params tuning.json    check it\n"
      "  zeto sense --params tuning.json capture.wav");
  verb->callback([options] { print_params(*options); });
}

}  // namespace zeto::tool
