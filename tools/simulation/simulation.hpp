// A scene, played, captured and listened to.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "path/scene.hpp"
#include "zeto/host.h"

namespace zeto::tool {

/// Whatever listens, what it says of 200 ms.
struct Shown {
  double time_s;      ///< when they ended
  std::string state;  ///< of the host kit; of the detector alone "accepted" or "rejected"
  std::string cause;  ///< why disturbed, or ""
  std::optional<double> true_cm;
  std::optional<double> shown_cm;
};

/// Leaves out what the kit says while it learns, and a second after a target comes or goes.
struct Score {
  size_t present = 0;  ///< with a target there
  size_t shown = 0;    ///< of these, with a distance
  size_t right = 0;    ///< of these, within 2.5 cm
  size_t absent = 0;   ///< with nobody there
  size_t wrong = 0;    ///< of these, with a distance
  size_t disturbed = 0;
};
constexpr double kRightCm = 2.5;

struct Simulation {
  std::vector<Shown> shown;
  std::vector<std::optional<double>> truth;  ///< every 10 ms, from the start; empty without a target
  std::optional<zeto_host_findings> learned;
  int64_t clipped = 0;
  Score score;
};

/// Plays the set's sweeps or its chirp, and listens by the host kit if it can play the set, otherwise by the
/// uplink wrapper.
/// @param wav  file to write: reference and microphone; or null.
Simulation simulate(const zeto_set& set, const Scene& scene, double seconds, const std::string* wav);

}  // namespace zeto::tool
