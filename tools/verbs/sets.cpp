// zeto sets: the named sets, what each tells and what it does not.
#include <cstdio>
#include <memory>

#include "cli.hpp"
#include "parameters/parameters.hpp"
#include "text/json.hpp"
#include "verbs/verbs.hpp"

namespace zeto::tool {
namespace {

Json json_of(const zeto_set& set) {
  return {{"name", set.name},
          {"tells", set.tells},
          {"fails", set.fails},
          {"step_cm", set.step_cm},
          {"least_cm", set.least_cm},
          {"greatest_cm", set.greatest_cm},
          {"restart_ms", restarts_of(set)},
          {"kit", is_for_kit(set)}};
}

void print_sets(bool json) {
  for (uint32_t i = 0; zeto_get_set(i) != nullptr; ++i) {
    const zeto_set& set = *zeto_get_set(i);
    if (json) {
      std::puts(text_of(json_of(set)).c_str());
      continue;
    }
    const auto cm = [](float value) { return static_cast<double>(value); };
    std::printf("%-8s  tells  %s\n%10sfails  %s\n%10s%.3g cm to %g m in steps of %.3g cm; %s\n", set.name, set.tells,
                "", set.fails, "", cm(set.least_cm), cm(set.greatest_cm) / 100.0, cm(set.step_cm),
                is_for_kit(set) ? "by the host kit" : "by the wrappers alone");
  }
}

}  // namespace

void add_sets(CLI::App& app) {
  auto* verb = app.add_subcommand("sets", "List the named sets: what each can tell and what it cannot");
  const auto json = std::make_shared<bool>(false);
  verb->add_flag("--json", *json, "JSON, one object per set, each on a line");
  verb->footer(
      "A set is everything that must fit together: what the emitter plays, how the\n"
      "detector hears it, and what the host does around them. zeto params --set NAME\n"
      "shows its parameters; all verbs that take parameters take it by --set NAME.\n"
      "A step is one bin of the detector's spectrum; the host kit reads finer than that.\n\n"
      "Examples:\n"
      "  zeto sets\n"
      "  zeto params --set hand\n"
      "  zeto simulate --set hand --phone --target-cm 20");
  verb->callback([json] { print_sets(*json); });
}

}  // namespace zeto::tool
