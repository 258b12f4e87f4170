// What a sensor has learned, kept as the recording that it learned from: two channels, as any other.
#pragma once
#include <span>
#include <string>
#include <vector>

#include "live/duplex.hpp"
#include "live/sensor.hpp"

namespace zeto::tool {

constexpr const char* kCalibrate = "--calibrate";

/// Collects sound while a sensor learns, and tells when there is enough.
class Calibration {
 public:
  void take(std::span<const Frame> frames);
  /// After each result.
  void take(const LiveReading& sensed);
  bool is_complete() const;

  /// Writes the last seconds. Throws UserError if a new sensor of that set does not learn from them, or they cannot be
  /// written. Returns what the file holds, a text.
  std::string save(const std::string& path, const zeto_set& set, double spacing_cm) const;

 private:
  std::vector<Frame> frames_;  // the last, from a start of the sweep table on
  int calm_ = 0;               // results in a row with nobody there
};

/// The microphone of such a file. Throws FileError if something else was played.
std::vector<float> read_calibration(const std::string& path, const zeto_set& set);

}  // namespace zeto::tool
