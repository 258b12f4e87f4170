// What a host does to a raw recording before the detector sees it: the reference held back by the latency, the
// background taken off the microphone.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "parameters/options.hpp"
#include "sensing/sensing.hpp"

namespace CLI {
class App;
}  // namespace CLI

namespace zeto::tool {

struct HostSteps {
  std::optional<std::string> align;       ///< ms, or "auto"
  std::optional<std::string> background;  ///< "FROM-TO", s
  double spacing_cm = 5.0;                ///< loudspeaker to microphone

  bool any() const { return align || background; }
};

/// Adds --align, --background and --spacing-cm.
void add_host_steps(CLI::App& verb, HostSteps& steps);

/// A latency found in a recording.
struct Latency {
  double ms;           ///< from playback to capture, less the sound's own way
  double sureness_db;  ///< the direct sound's correlation over the median of all delays up to a second
};

/// From the first 10 s, by the correlation of both channels. Throws FileError if the file cannot be read.
Latency find_latency(const std::string& path, double spacing_cm);

/// Noise alone does not reach this.
constexpr double kLeastSurenessDb = 16.0;

/// On standard error.
void tell(const char* who, const std::string& file, const Latency& found);

/// A recording as the detector is to see it. Reads it from its start, once.
class Prepared {
 public:
  /// Throws UserError if the options are at fault, FileError if the recording does not go with them.
  /// @param frames  samples per channel.
  Prepared(const std::string& path, int64_t frames, const HostSteps& steps);

  /// Set if it was to be found, rather than given.
  const std::optional<Latency>& found() const { return found_; }

  /// By how much the reference is held back.
  double held_ms() const { return static_cast<double>(ring_.size()) * 1000.0 / kSampleRate; }

  /// Changes the next samples, reference and microphone in turns.
  void apply(std::span<double> values);

 private:
  std::optional<Latency> found_;
  std::vector<double> ring_;  // what of the reference is held back
  std::vector<double> mean_;  // of the microphone
  int64_t at_ = 0;
};

}  // namespace zeto::tool
