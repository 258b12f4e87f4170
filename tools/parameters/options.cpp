#include "parameters/options.hpp"

#include <algorithm>
#include <cctype>
#include <string>

#include "cli.hpp"
#include "error.hpp"
#include "parameters/parameter_file.hpp"

namespace zeto::tool {
namespace {

std::string placeholder(const Parameter& parameter) {
  const std::string name = parameter.name;
  if (name == "enable") return "0|1";
  std::string text = *parameter.unit != '\0' ? parameter.unit : "N";
  std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return std::toupper(c); });
  return text;
}

void add_words(CLI::App& verb, const char* group, const std::vector<Parameter>& parameters) {
  for (const Parameter& parameter : parameters) {
    std::string names = std::string("--") + parameter.name;
    std::replace(names.begin(), names.end(), '_', '-');
    const std::string as_in_interface = std::string("--") + parameter.name;
    if (as_in_interface != names) names.append(",").append(as_in_interface);
    verb.add_option(names, *parameter.value, parameter.meaning)
        ->type_name(placeholder(parameter))
        ->group(group)
        ->capture_default_str();
  }
}

constexpr const char* kEmitterGroup = "Emitter parameters";

void add_sweeps(CLI::App& verb, zeto_set& set) {
  verb.add_option_function<std::vector<int32_t>>(
          "--restart-ms,--restart",
          [&set](const std::vector<int32_t>& restart_ms) { set_restarts(set, "--restart-ms", restart_ms); },
          "Play sweeps that start over, as a table in a loop: the\n"
          "length of each, as in 70,70,60. --span-hz is then the\n"
          "slope per second and --amp-end-milli the amplitude;\n"
          "above 24000 Hz a sweep folds back")
      ->type_name("MS,...")
      ->delimiter(',')
      ->group(kEmitterGroup);
  verb.add_option_function<double>(
          "--fade-ms",
          [&set](double ms) {
            if (!has_sweeps(set)) throw UserError("--fade-ms: needs --restart-ms, or a set of sweeps");
            set_fade(set, "--fade-ms", ms);
          },
          "With --restart-ms: time for each sweep to fade in and out.\n"
          "Default: 2, or the set's")
      ->type_name("MS")
      ->group(kEmitterGroup);
}

}  // namespace

/// CLI11 takes options over in the order in which they were added: the set first, then the file, then single
/// options.
void add_parameter_options(CLI::App& verb, zeto_set& set, Side side) {
  set = set_of("default");
  const auto emitter = parameters_of(set.chirp);
  const auto detector = parameters_of(set.hear);
  verb.add_option_function<std::string>(
          "--set", [&set](const std::string& name) { set = set_of(name); },
          "All parameters of a named set; see zeto sets")
      ->type_name("NAME");
  verb.add_option_function<std::string>(
          "--params", [&set, side](const std::string& path) { read_parameters(path, set, side); },
          "JSON file of parameters, by their names; see zeto params.\n"
          "Options override the file, and the file the set")
      ->type_name("FILE");
  if (side != Side::kDetector) {
    add_words(verb, kEmitterGroup, emitter);
    add_sweeps(verb, set);
  }
  if (side != Side::kEmitter) add_words(verb, "Detector parameters", detector);
}

}  // namespace zeto::tool
