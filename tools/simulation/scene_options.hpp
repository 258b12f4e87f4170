// The options of zeto simulate that describe the way from the loudspeaker to the microphone.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "path/scene.hpp"

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace zeto::tool {

struct SceneOptions {
  bool phone = false;
  std::optional<double> latency_ms;
  double spacing_cm = 5.0;
  std::optional<double> direct;
  std::optional<int64_t> reflections;
  std::optional<std::string> response;

  std::optional<double> target_cm;
  std::optional<double> target_db;
  std::optional<std::string> speed_cm_s;  ///< "V" or "V,S"
  std::optional<double> stop_cm;
  double tremor_mm = 0.5;
  std::vector<std::string> present;  ///< "FROM-TO"

  std::optional<double> pink_dbfs;
  std::optional<double> white_dbfs;
  std::optional<std::string> noise;
  double noise_gain = 1.0;

  std::optional<std::string> drift_ppm;  ///< "P" or "P,S"
  std::vector<std::string> drop;         ///< "S,MS"
  std::vector<std::string> repeat;       ///< "S,MS"
  std::optional<std::string> foreign;    ///< "DB,S"
};

/// What a scene shares with a simulation of echoes alone.
struct Common {
  std::vector<Way> echoes;
  std::optional<double> snr_db;
  double seconds;
  uint64_t seed;
};

/// Adds them, and returns them.
std::vector<CLI::Option*> add_scene_options(CLI::App& verb, SceneOptions& options);

/// Throws UserError, or FileError for a file, if they are at fault.
Scene scene_of(const SceneOptions& options, const Common& common);

}  // namespace zeto::tool
