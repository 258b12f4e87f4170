// A recording's way through the uplink wrapper, and what the detector made of it.
#pragma once
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "audio/audio_file.hpp"
#include "zeto/cores.h"

namespace zeto::tool {

/// What the detector made of 200 ms.
struct Analysis {
  double end_s;   ///< end of the 200 ms in the recording
  int32_t value;  ///< in the unit of UltraHz_period

  bool accepted() const { return value != ZETO_REJECTED; }
};

/// Of the accepted analyses; all 0 if there are none.
struct Summary {
  size_t accepted;
  double median;
  double least;
  double greatest;
};
Summary summary_of_accepted(const std::vector<Analysis>& analyses);

struct SensingOptions {
  HostFormat format = HostFormat::kPcm16;
  int64_t buffer = 480;  ///< samples per call of the wrapper
  zeto_tx_param param{};
};

/// Samples per input that the first analysis needs; the start-up delay, if it is on, comes before.
int64_t shortest_sensed(const zeto_tx_param& param);

/// A file of reference and microphone that is long enough for an analysis; otherwise a FileError.
AudioReader open_recording(const std::string& path, const zeto_tx_param& param);

/// The uplink wrapper over a recording that comes in pieces.
class Sensing {
 public:
  /// @param returned  receives the wrapper's output channel, as many host samples; or null. Must outlive this.
  explicit Sensing(const SensingOptions& options, AudioWriter* returned = nullptr);

  /// The next samples, full scale 1.0: reference and microphone in turns.
  void take(std::span<const double> values) { taking_->take(values, analyses_); }
  /// So far.
  const std::vector<Analysis>& analyses() const { return analyses_; }

  /// In the host's sample format.
  struct Taking {
    virtual ~Taking() = default;
    virtual void take(std::span<const double> values, std::vector<Analysis>& analyses) = 0;
  };

 private:
  std::unique_ptr<Taking> taking_;
  std::vector<Analysis> analyses_;
};

/// Fills in the next samples, full scale 1.0: reference and microphone in turns.
using Capture = std::function<void(std::span<double>)>;

/// Senses `frames` samples of each input. `returned`, if there is one, receives the wrapper's output channel, as
/// many host samples.
std::vector<Analysis> sense(const SensingOptions& options, int64_t frames, const Capture& capture,
                            AudioWriter* returned);

}  // namespace zeto::tool
