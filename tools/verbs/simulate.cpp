// zeto simulate: what is played, an acoustic path and what is measured, true against measured.
#include <algorithm>
#include <cstdio>
#include <memory>

#include "cli.hpp"
#include "error.hpp"
#include "parameters/options.hpp"
#include "reports/parameter_warnings.hpp"
#include "reports/simulation_report.hpp"
#include "sensing/sensing.hpp"
#include "simulation/echo_table.hpp"
#include "simulation/scene_options.hpp"
#include "simulation/simulation.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"

namespace zeto::tool {
namespace {

constexpr double kMaxScene = 600.0;  // seconds; all of it is kept in memory

struct SimulateOptions : EchoOptions {
  SceneOptions scene;
};

void simulate_scene(const SimulateOptions& options) {
  check_seconds(options, kMaxScene, shortest_sensed(is_for_kit(options.set) ? zeto_tx_param{} : options.set.hear));
  const auto seed = static_cast<uint64_t>(options.seed);
  const Scene scene = scene_of(options.scene, {further_echoes(options), options.snr_db, options.seconds, seed});
  const Simulation simulation = simulate(options.set, scene, options.seconds, options.wav ? &*options.wav : nullptr);
  if (simulation.clipped > 0) {
    complain("zeto simulate",
             text("%lld samples of the microphone clipped", static_cast<long long>(simulation.clipped)));
  }
  const std::string report = options.json  ? json_of(simulation, options.set, scene)
                             : options.csv ? csv_of(simulation)
                                           : table_of(simulation);
  if (options.wav != "-") std::fputs(report.c_str(), stdout);  // else the recording has taken it
}

}  // namespace

void add_simulate(CLI::App& app) {
  auto* verb = app.add_subcommand("simulate", "Simulate an acoustic path and measure it: true against measured");
  const auto options = std::make_shared<SimulateOptions>();
  auto* delay = verb->add_option("-d,--delay-ms", options->delays_ms,
                                 "The echo's delay, rounded to a sample; several give a\n"
                                 "table: 5,20,50 or 5 20 50")
                    ->type_name("D")
                    ->delimiter(',');
  verb->add_option("-g,--gain", options->gain, "With --delay-ms: the echo's gain, linear")
      ->type_name("G")
      ->capture_default_str()
      ->needs(delay);
  verb->add_option("--snr-db", options->snr_db,
                   "Adds white noise, 0 to 24 kHz: ratio of the echo's mean\n"
                   "power (without --delay-ms, the direct sound's) to the\n"
                   "noise's; below 0 the noise is stronger")
      ->type_name("DB");
  verb->add_option("-e,--echo", options->echoes,
                   "A further echo: its own delay in ms and its gain; may be\n"
                   "repeated")
      ->type_name("D,G");
  verb->add_option("-s,--seconds", options->seconds,
                   "Length of the simulation, at most 3600;\n"
                   "without --delay-ms 600")
      ->type_name("S")
      ->capture_default_str();
  verb->add_option("--seed", options->seed,
                   "Chooses everything random; the same seed gives the same\n"
                   "simulation")
      ->type_name("N")
      ->check(CLI::Range(int64_t{0}, INT64_MAX).description(""))
      ->capture_default_str();
  verb->add_option("-w,--wav", options->wav,
                   "File to write: the recording, for zeto sense; - for\n"
                   "standard output, in place of the table")
      ->type_name("FILE");
  verb->add_flag("--csv", options->csv, "Comma-separated values");
  verb->add_flag("--json", options->json, "JSON, as docs/tool.md describes it")->excludes("--csv");
  const auto scene = add_scene_options(*verb, options->scene);
  add_parameter_options(*verb, options->set, Side::kBoth);
  verb->footer(
      "With --delay-ms: the downlink wrapper's chirp is delayed and scaled, noise is added,\n"
      "and the sum is rounded to 16 bits. That is the uplink wrapper's microphone; the\n"
      "chirp itself is the reference. One line per delay:\n"
      "  true_ms   the echo's delay\n"
      "  expected  the same, folded at half a sweep: 600 ms reads 400 with the defaults\n"
      "  measured  median of the accepted analyses; each is truncated to a whole number\n"
      "  error     measured less expected; one step of the detector is 3.91 ms with the\n"
      "            defaults\n"
      "  accepted  accepted analyses of all\n"
      "expected and measured are in the unit of --UltraHz-period; they can be compared if\n"
      "--UltraHz-scope is the width of the sweep.\n\n"
      "Without --delay-ms: a phone's path, with delays of any fraction of a sample. A set\n"
      "of sweeps (--set hand; zeto sets lists them) is played and heard by the host kit,\n"
      "which learns in the first three seconds; other sets are played and heard by the\n"
      "wrappers alone. One line per 200 ms:\n"
      "  time_s    end of the 200 ms\n"
      "  state     learning, nobody, target or disturbed, and why; by the wrappers alone\n"
      "            accepted or rejected\n"
      "  true_cm   the target's distance\n"
      "  shown_cm  the distance that is shown; error_cm: shown less true\n"
      "The last line counts these lines, except while the kit learns and for a second after\n"
      "a target comes or goes. Missing values are a dash (empty with --csv).\n\n"
      "Examples:\n"
      "  zeto simulate --delay-ms 5,20,50,100,200,300,400,495,600 --snr-db -10\n"
      "  zeto simulate --delay-ms 50 --echo 120,0.2 --echo 300,0.1 --wav capture.wav\n"
      "  zeto simulate --delay-ms 700 --period-ms 2000 --UltraHz-period 2000\n"
      "  zeto simulate --set hand --phone --target-cm 20 --wav hand.wav\n"
      "  zeto simulate --set hand --phone --target-cm 60 --speed-cm-s -10 --stop-cm 10\n"
      "  zeto simulate --set hand --phone --drop 5,10\n"
      "  zeto simulate --set room --phone --target-cm 200 --target-db -38 --seed 7");
  verb->callback([options, scene] {
    const auto given = std::find_if(scene.begin(), scene.end(), [](const auto* option) { return option->count() > 0; });
    const bool has_path = given != scene.end();
    if (has_path && !options->delays_ms.empty()) throw UserError((*given)->get_name() + ": not with --delay-ms");
    if (options->delays_ms.empty() && (has_path || has_sweeps(options->set))) {
      simulate_scene(*options);
    } else {
      simulate_echoes(*options);
    }
    warn_of("zeto simulate", options->set, Side::kBoth);  // behind errors, each of which is alone
  });
}

}  // namespace zeto::tool
