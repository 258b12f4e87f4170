// What plays and listens: the host kit for sets of sweeps that start over, the two wrappers for the others.
#pragma once
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "zeto/host.h"

namespace zeto::tool {

/// Samples of 200 ms: of a reading, of the kit's sweep table, and the most that a sensor takes at a time.
constexpr uint32_t kFrame = 9600;

/// What is known every 200 ms.
struct LiveReading {
  uint64_t end;                ///< samples captured when the 200 ms ended
  zeto_host_reading reading;   ///< by the kit; else zeros
  zeto_host_findings learned;  ///< by the kit; zeros until it has learned
  int32_t measurement;         ///< by the wrappers: in the unit of UltraHz_period, or ZETO_REJECTED
};

class Sensor {
 public:
  Sensor() = default;
  Sensor(const Sensor&) = delete;
  Sensor& operator=(const Sensor&) = delete;
  virtual ~Sensor() = default;

  // On the audio thread: no allocation, lock, output or system call. Samples are floats of full scale 1.0.

  virtual void play(float* speaker, uint32_t n) noexcept = 0;
  /// @param reference  what was played meanwhile.
  /// @return whether `sensed` has been filled in anew.
  virtual bool capture(const float* reference, const float* microphone, uint32_t n, LiveReading& sensed) noexcept = 0;
  /// Forgets what it has learned and learns anew.
  virtual void learn() noexcept = 0;

  // On any thread before.

  /// Learns from a recording with nobody there, at most once. Returns whether that went well.
  virtual bool learn_from(std::span<const float> microphone) = 0;
};

/// Throws UserError if the kit cannot play the set's sweeps.
std::unique_ptr<Sensor> sensor_of(const zeto_set& set, double spacing_cm);

}  // namespace zeto::tool
