// The host kit over a recording.
#pragma once
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "zeto/host.h"

namespace zeto::tool {

/// What the kit makes of 200 ms.
using Reading = zeto_host_reading;

/// "learning", "nobody", "target" or "disturbed".
const char* state_name(const Reading& reading);
/// "alignment", "foreign", "noise" or "unheard"; "" if the reading is not disturbed.
const char* cause_name(const Reading& reading);
/// When its 200 ms ended, in seconds captured.
double end_s(const Reading& reading);

/// Plays nothing: it expects that the recording was captured while the set's table was played in a loop. It learns from
/// the start, in the first three seconds.
class Kit {
 public:
  /// Throws UserError if the kit cannot play the set.
  Kit(const zeto_set& set, double spacing_cm);

  /// Takes the next samples of the microphone, full scale 1.0, and adds the readings that fall due.
  void take(std::span<const float> microphone, std::vector<Reading>& readings);

  /// For who plays and captures by itself.
  zeto_host* host() { return host_; }
  zeto_host_findings findings() const { return zeto_host_learned(host_); }

 private:
  struct Free {
    void operator()(void* memory) const;
  };

  zeto_set set_;
  std::unique_ptr<void, Free> memory_;
  zeto_host* host_ = nullptr;
  uint32_t number_ = 0;
};

/// A recording's way through the kit.
struct KitRun {
  std::vector<Reading> readings;
  zeto_host_findings findings{};
  double seconds = 0.0;
};

}  // namespace zeto::tool
