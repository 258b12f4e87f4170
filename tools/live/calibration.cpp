#include "live/calibration.hpp"

#include "audio/audio_file.hpp"
#include "error.hpp"
#include "live/recorder.hpp"
#include "parameters/parameters.hpp"
#include "sensing/sweep_table.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kKept = 20 * kFrame;  // learning takes three seconds of these four
constexpr int kCalm = 8;               // results: then all that is kept is from after learning began
constexpr size_t kMost = 60 * 48000;   // samples of a file that is read

/// Whether this is the set's sweep table from its start on, without a gap.
bool is_table(const std::vector<float>& reference, const zeto_set& set) {
  std::vector<float> played(reference.size());
  SweepTable(sweep_of(set)).play(HostFormat::kFloat, std::span(played));
  return played == reference;
}

}  // namespace

void Calibration::take(std::span<const Frame> frames) {
  frames_.insert(frames_.end(), frames.begin(), frames.end());
  if (frames_.size() >= kKept + kFrame) {
    frames_.erase(frames_.begin(), frames_.end() - static_cast<std::ptrdiff_t>(kKept + frames_.size() % kFrame));
  }
}

void Calibration::take(const LiveReading& sensed) {
  calm_ = sensed.reading.state == ZETO_HOST_NOBODY ? calm_ + 1 : 0;
}

bool Calibration::is_complete() const {
  return calm_ >= kCalm && frames_.size() >= kKept;
}

std::string Calibration::save(const std::string& path, const zeto_set& set, double spacing_cm) const {
  const auto kept = std::span(frames_).first(kKept);
  std::vector<float> reference;
  std::vector<float> microphone;
  for (const Frame& frame : kept) {
    reference.push_back(frame.reference);
    microphone.push_back(frame.microphone);
  }
  if (!is_table(reference, set))
    throw UserError(std::string(kCalibrate) + ": the set's sweeps were not played without a gap");
  if (!sensor_of(set, spacing_cm)->learn_from(microphone)) {
    throw UserError(std::string(kCalibrate) + ": it was not still for four seconds; try again");
  }
  Recorder recorder(kCalibrate, path);
  recorder.write(kept);
  return recorder.keep();
}

std::vector<float> read_calibration(const std::string& path, const zeto_set& set) {
  const auto fail = [&](const std::string& why) { throw FileError("cannot learn from " + path + ": " + why); };
  AudioReader reader(path, 2);
  const auto n = static_cast<size_t>(reader.frames());
  if (n > kMost) fail("longer than a minute; made by --calibrate?");
  std::vector<double> values(2 * n);
  reader.read(values);
  std::vector<float> reference(n);
  std::vector<float> microphone(n);
  for (size_t i = 0; i < n; ++i) {
    reference[i] = to_float(values[2 * i]);
    microphone[i] = to_float(values[2 * i + 1]);
  }
  if (!is_table(reference, set)) fail("something else was played; the same sweeps and amplitude are needed");
  warn("zeto live", reader.warning());
  return microphone;
}

}  // namespace zeto::tool
