// How zeto live tells its results: rows with a bar, or a JSON object a line.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "live/listener.hpp"
#include "zeto/host.h"

namespace zeto::tool {

/// What has happened since the row before.
struct Happened {
  Heard heard;
  uint64_t dropped;           ///< samples
  std::vector<float> levels;  ///< a range profile; empty unless wanted and known
};

class LiveReport {
 public:
  LiveReport(const zeto_set& set, double spacing_cm, bool json);

  std::string heading(const std::string& source, uint32_t buffer) const;
  std::string row(const LiveReading& sensed, const Happened& happened) const;
  std::string learned(const zeto_host_findings& findings) const;
  /// @param seconds  of sound.
  /// @param buffer   samples; 0 if it was a recording, which has no callbacks.
  std::string summary(double seconds, const Counts& counts, uint64_t clipped, uint32_t buffer) const;

 private:
  struct Shown;
  Shown shown(const LiveReading& sensed) const;
  std::string bar(const Shown& shown) const;

  zeto_set set_;
  double spacing_cm_;
  bool by_kit_;
  bool json_;
};

}  // namespace zeto::tool
