// zeto params: the parameters, what they mean and what they are.
#include <algorithm>
#include <cstdio>

#include "json.hpp"
#include "options.hpp"
#include "verbs.hpp"

namespace zeto::tool {
namespace {

struct ParamsOptions {
  bool json = false;
  zeto_rx_param emitter = kEmitterDefaults;
  zeto_tx_param detector = kDetectorDefaults;
};

std::string on_one_line(std::string text) {
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

void print_table(const char* heading, const std::vector<Parameter>& parameters) {
  std::printf("%-20s  %6s  %-6s  meaning\n", heading, "value", "unit");
  for (const Parameter& parameter : parameters) {
    std::printf("%-20s  %6d  %-6s  %s\n", parameter.name, *parameter.value, parameter.unit,
                on_one_line(parameter.meaning).c_str());
  }
}

/// A file for --params, with the unit and the meaning beside each value.
void print_json(std::vector<Parameter> parameters, const std::vector<Parameter>& more) {
  parameters.insert(parameters.end(), more.begin(), more.end());
  const char* separator = "{\n";
  for (const Parameter& parameter : parameters) {
    const Json json{{"value", *parameter.value}, {"unit", parameter.unit}, {"meaning", on_one_line(parameter.meaning)}};
    std::printf("%s  \"%s\": %s", separator, parameter.name, text_of(json).c_str());
    separator = ",\n";
  }
  std::puts("\n}");
}

}  // namespace

void add_params(CLI::App& app) {
  auto* verb = app.add_subcommand("params", "List the parameters of emitter and detector with units and meaning");
  const auto options = std::make_shared<ParamsOptions>();
  verb->add_flag("--json", options->json, "As a file for --params");
  add_parameter_options(*verb, options->emitter, options->detector);
  verb->footer(
      "The values are the defaults, or what --params and the options make of them.\n"
      "A file for --params is a JSON object, {\"UltraHz_cand_dB\": -30, \"period_ms\": 2000}\n"
      "for example; for a number may stand an object with the number as its \"value\".\n\n"
      "Examples:\n"
      "  zeto params\n"
      "  zeto params --json > tuning.json    to be edited\n"
      "  zeto params --params tuning.json    check it\n"
      "  zeto sense --params tuning.json capture.wav");
  verb->callback([options] {
    const auto emitter = parameters_of(options->emitter);
    const auto detector = parameters_of(options->detector);
    if (options->json) {
      print_json(emitter, detector);
      return;
    }
    print_table("emitter", emitter);
    std::putchar('\n');
    print_table("detector", detector);
  });
}

}  // namespace zeto::tool
