// Echoes at whole samples, and white noise: a table of true against measured delays.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "parameters/parameters.hpp"
#include "path/scene.hpp"

namespace zeto::tool {

struct EchoOptions {
  std::vector<double> delays_ms;
  double gain = 0.5;
  std::optional<double> snr_db;
  std::vector<std::string> echoes;  ///< "D,G"
  double seconds = 10.0;
  int64_t seed = 1;
  std::optional<std::string> wav;
  bool csv = false;
  bool json = false;
  zeto_set set{};
};

/// Both throw UserError if the options are at fault.
std::vector<Way> further_echoes(const EchoOptions& options);
/// @param most    seconds.
/// @param needed  samples.
void check_seconds(const EchoOptions& options, double most, int64_t needed);

/// Simulates each delay and prints the table.
void simulate_echoes(const EchoOptions& options);

}  // namespace zeto::tool
