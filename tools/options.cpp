#include "options.hpp"

#include <algorithm>
#include <cctype>
#include <string>

#include "parameter_file.hpp"

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

/// CLI11 takes options over in the order in which they were added: the file first, what stands beside it after.
void add_file(CLI::App& verb, std::vector<Parameter> parameters) {
  verb.add_option_function<std::string>(
          "--params",
          [parameters = std::move(parameters)](const std::string& path) { read_parameters(path, parameters); },
          "JSON file of parameters, by their names; see zeto params.\n"
          "Options stand above it, defaults below")
      ->type_name("FILE");
}

}  // namespace

void add_parameter_options(CLI::App& verb, zeto_rx_param& emitter) {
  add_file(verb, parameters_of(emitter));
  add_words(verb, "Emitter parameters", parameters_of(emitter));
}

void add_parameter_options(CLI::App& verb, zeto_tx_param& detector) {
  add_file(verb, parameters_of(detector));
  add_words(verb, "Detector parameters", parameters_of(detector));
}

void add_parameter_options(CLI::App& verb, zeto_rx_param& emitter, zeto_tx_param& detector) {
  auto all = parameters_of(emitter);
  const auto more = parameters_of(detector);
  all.insert(all.end(), more.begin(), more.end());
  add_file(verb, all);
  add_words(verb, "Emitter parameters", parameters_of(emitter));
  add_words(verb, "Detector parameters", more);
}

}  // namespace zeto::tool
