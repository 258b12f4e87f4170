#include "simulation/scene_options.hpp"

#include <algorithm>
#include <cmath>
#include <limits>

#include "audio/audio_file.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "path/filters.hpp"
#include "path/random.hpp"
#include "text/numbers.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr double kTargetComesS = 3.5;  // the host kit has learned then
constexpr double kMostNoiseS = 600.0;
constexpr double kMostResponseS = 10.0;

void expect(bool met, const std::string& what) {
  if (!met) throw UserError(what);
}

double within(const char* option, double value, double least, double greatest) {
  expect(value >= least && value <= greatest, text("%s: must be a number from %g to %g", option, least, greatest));
  return value;
}

std::optional<double> within(const char* option, std::optional<double> value, double least, double greatest) {
  if (value) within(option, *value, least, greatest);
  return value;
}

std::vector<float> read_mono(const std::string& path, double most_s) {
  AudioReader reader(path, 1);
  warn("zeto simulate", reader.warning());
  const auto fail = [&](const std::string& why) { throw FileError("cannot use " + path + ": " + why); };
  if (reader.frames() == 0) fail("empty");
  if (static_cast<double>(reader.frames()) > most_s * kSampleRate) fail(text("longer than %g s", most_s));
  std::vector<double> values(static_cast<size_t>(reader.frames()));
  reader.read(values);
  std::vector<float> samples(values.size());
  std::transform(values.begin(), values.end(), samples.begin(), to_float);
  if (!std::all_of(samples.begin(), samples.end(), [](float x) { return std::isfinite(x); }))
    fail("not all are numbers");
  return samples;
}

Filter response_of(const std::string& name) {
  if (name == "flat") return {{1.0}, 0};
  if (name == "phone") return phone_response();
  const auto samples = read_mono(name, kMostResponseS);
  return {{samples.begin(), samples.end()}, 0};
}

TargetParam target_of(const SceneOptions& options, double whole_s) {
  constexpr double kMostCm = 10000.0;
  TargetParam target;
  target.distance_cm = within("--target-cm", *options.target_cm, 0.0, kMostCm);
  target.level_db = within("--target-db", options.target_db, -200.0, 60.0);
  target.stop_cm = within("--stop-cm", options.stop_cm, 0.0, kMostCm);
  target.tremor_mm = within("--tremor-mm", options.tremor_mm, 0.0, 100.0);
  for (const auto& present : options.present) {
    const Seconds seconds = seconds_of("--present", present);
    within("--present, second", seconds.from, 0.0, whole_s);
    target.present.push_back({seconds.from, seconds.to});
  }
  if (target.present.empty()) target.present.push_back({kTargetComesS, std::numeric_limits<double>::infinity()});
  target.moves_s = std::min_element(target.present.begin(), target.present.end(), [](auto& a, auto& b) {
                     return a.from_s < b.from_s;
                   })->from_s;
  if (options.speed_cm_s) {
    const auto speed = numbers_of("--speed-cm-s", *options.speed_cm_s, 1, 2, "a speed, or a speed and a second: -10,4");
    target.speed_cm_s = within("--speed-cm-s", speed[0], -1000.0, 1000.0);
    if (speed.size() > 1) target.moves_s = within("--speed-cm-s, second", speed[1], 0.0, whole_s);
  }
  if (target.stop_cm) {
    expect(target.speed_cm_s != 0.0, "--stop-cm: needs --speed-cm-s");
    expect((*target.stop_cm - target.distance_cm) * target.speed_cm_s >= 0.0,
           "--stop-cm: the target moves away from there");
  }
  return target;
}

void add_cuts(const char* option, const std::vector<std::string>& texts, double sign, double seconds, Scene& scene) {
  for (const auto& text : texts) {
    const auto cut = numbers_of(option, text, 2, 2, "a second and a length in ms, as in 5,10");
    within((std::string(option) + ", second").c_str(), cut[0], 0.0, seconds);
    within((std::string(option) + ", ms").c_str(), cut[1], 0.0, 1000.0 * (sign < 0.0 ? cut[0] : seconds));
    scene.cuts.push_back({cut[0], sign * cut[1]});
  }
}

/// What a phone is, if nothing else is said.
void add_phone(uint64_t seed, Scene& scene) {
  Random random(seed, Purpose::kPhone);
  scene.latency_ms = random.between(20.0, 110.0);
  scene.direct = random.between(0.15, 0.6);
  scene.room = seed;
  scene.response = phone_response();
  scene.pink_dbfs = -52.0;
  scene.white_dbfs = -80.0;
}

}  // namespace

Scene scene_of(const SceneOptions& options, const Common& common) {
  Scene scene;
  scene.seed = common.seed;
  scene.echoes = common.echoes;
  scene.snr_db = common.snr_db;
  if (options.phone) add_phone(common.seed, scene);
  if (options.latency_ms) scene.latency_ms = within("--latency-ms", *options.latency_ms, 0.0, 1000.0);
  scene.spacing_cm = within("--spacing-cm", options.spacing_cm, 0.0, 100.0);
  if (options.direct) scene.direct = within("--direct", *options.direct, -1000.0, 1000.0);
  if (options.reflections) scene.room = static_cast<uint64_t>(*options.reflections);
  if (options.response) scene.response = response_of(*options.response);

  if (options.target_cm) scene.target = target_of(options, common.seconds);
  if (options.pink_dbfs) scene.pink_dbfs = within("--pink-dbfs", *options.pink_dbfs, -200.0, 20.0);
  if (options.white_dbfs) scene.white_dbfs = within("--white-dbfs", *options.white_dbfs, -200.0, 20.0);
  if (options.noise) scene.noise = read_mono(*options.noise, kMostNoiseS);
  scene.noise_gain = within("--noise-gain", options.noise_gain, -1e6, 1e6);

  if (options.drift_ppm) {
    const auto drift =
        numbers_of("--drift-ppm", *options.drift_ppm, 1, 2, "a number of ppm, or that and a second: 20,5");
    scene.drift.ppm = within("--drift-ppm", drift[0], -10000.0, 10000.0);
    if (drift.size() > 1) scene.drift.from_s = within("--drift-ppm, second", drift[1], 0.0, common.seconds);
  }
  add_cuts("--drop", options.drop, 1.0, common.seconds, scene);
  add_cuts("--repeat", options.repeat, -1.0, common.seconds, scene);
  if (options.foreign) {
    const auto foreign = numbers_of("--foreign", *options.foreign, 2, 2, "a level in dB and a second, as in -6,5");
    scene.foreign = Foreign{within("--foreign, dB", foreign[0], -200.0, 60.0),
                            within("--foreign, second", foreign[1], 0.0, common.seconds)};
  }
  const bool compares = scene.target || scene.foreign || scene.snr_db || scene.room;
  expect(scene.direct != 0.0 || !compares,
         "--direct: with 0 there is nothing to compare target, reflections, --foreign and --snr-db with");
  return scene;
}

std::vector<CLI::Option*> add_scene_options(CLI::App& verb, SceneOptions& options) {
  std::vector<CLI::Option*> all;
  const auto add = [&](const char* group, const char* type, CLI::Option* option) {
    if (*type != '\0') option->type_name(type);
    option->group(group);
    all.push_back(option);
    return option;
  };
  constexpr const char* kPath = "Path";
  add(kPath, "",
      verb.add_flag("--phone", options.phone,
                    "As in a phone: the seed chooses latency (20 to 110 ms),\n"
                    "direct sound (0.15 to 0.6) and reflections; --response\n"
                    "phone, --pink-dbfs -52, --white-dbfs -80. Options\n"
                    "override these"));
  add(kPath, "MS",
      verb.add_option("--latency-ms", options.latency_ms,
                      "From playback to capture, without the sound's way;\n"
                      "any fraction of a sample. Default: 0"));
  add(kPath, "CM", verb.add_option("--spacing-cm", options.spacing_cm, "Distance from loudspeaker to microphone"))
      ->capture_default_str();
  add(kPath, "G",
      verb.add_option("--direct", options.direct,
                      "Gain of the direct sound: the loudspeaker heard by the\n"
                      "microphone, linear. Default: 0.3"));
  add(kPath, "SEED",
      verb.add_option("--reflections", options.reflections,
                      "Chooses reflections: 3 of the case, 0.05 to 0.6 ms behind\n"
                      "the direct sound and 8 to 18 dB under it; 25 of the room,\n"
                      "1.5 to 40 ms and 22 to 55 dB. Default: none"))
      ->check(CLI::Range(int64_t{0}, INT64_MAX).description(""));
  add(kPath, "FILE",
      verb.add_option("--response", options.response,
                      "Response of loudspeaker and microphone together: an\n"
                      "audio file (48000 Hz, mono) of the impulse response,\n"
                      "whose delay counts; or phone: -1 dB at 18 kHz, -6 at 20,\n"
                      "-15 at 22, -40 at 24, without delay; or flat, the default"));
  constexpr const char* kTarget = "Target";
  auto* target = add(kTarget, "CM",
                     verb.add_option("--target-cm", options.target_cm,
                                     "A target's distance, straight ahead of the middle\n"
                                     "between loudspeaker and microphone"));
  const auto add_of_target = [&](const char* type, CLI::Option* option) {
    return add(kTarget, type, option)->needs(target);
  };
  add_of_target("DB", verb.add_option("--target-db", options.target_db,
                                      "Its echo against the direct sound. Default: a hand's,\n"
                                      "-6 at 2 cm, -15 at 10, -22 at 20, -31 at 50"));
  add_of_target("V[,S]", verb.add_option("--speed-cm-s", options.speed_cm_s,
                                         "It moves from second S on; V above 0: away from the phone.\n"
                                         "Default of S: when it first comes"));
  add_of_target(
      "CM", verb.add_option("--stop-cm", options.stop_cm, "Distance at which it stops. Default: 0 if it comes nearer"));
  add_of_target("MM",
                verb.add_option("--tremor-mm", options.tremor_mm, "It trembles: amplitude at 3 Hz; half of it at 7 Hz"))
      ->capture_default_str();
  add_of_target("FROM-TO", verb.add_option("--present", options.present,
                                           "When it is there, seconds; without TO, to the end. May be\n"
                                           "repeated, for one that comes and goes. Default: 3.5-"));
  constexpr const char* kNoise = "Noise";
  add(kNoise, "DB",
      verb.add_option("--pink-dbfs", options.pink_dbfs,
                      "Pink noise from 20 Hz on: root mean square, dB of full\n"
                      "scale"));
  add(kNoise, "DB", verb.add_option("--white-dbfs", options.white_dbfs, "White noise, such as the microphone's own"));
  auto* noise = add(kNoise, "FILE",
                    verb.add_option("--noise", options.noise,
                                    "Audio file (48000 Hz, mono) of noise as the microphone\n"
                                    "records it; it is repeated"));
  add(kNoise, "G", verb.add_option("--noise-gain", options.noise_gain, "Its gain, linear"))
      ->capture_default_str()
      ->needs(noise);
  constexpr const char* kFaults = "Faults";
  add(kFaults, "P[,S]",
      verb.add_option("--drift-ppm", options.drift_ppm,
                      "The capture clock is slower by P parts per million, from\n"
                      "second S on; below 0: faster"));
  add(kFaults, "S,MS", verb.add_option("--drop", options.drop, "The capture loses MS ms at second S; may be repeated"));
  add(kFaults, "S,MS",
      verb.add_option("--repeat", options.repeat, "It repeats the last MS ms at second S; may be repeated"));
  add(kFaults, "DB,S",
      verb.add_option("--foreign", options.foreign,
                      "Another phone plays the same from second S on, DB against\n"
                      "the direct sound, with a clock that is off by up to 30 ppm"));
  return all;
}

}  // namespace zeto::tool
