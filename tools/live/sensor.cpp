#include "live/sensor.hpp"

#include <algorithm>
#include <cmath>

#include "error.hpp"
#include "parameters/parameters.hpp"
#include "sensing/kit.hpp"
#include "sensing/wrappers.hpp"
#include "zeto/wrappers.h"

namespace zeto::tool {
namespace {

class KitSensor : public Sensor {
 public:
  KitSensor(const zeto_set& set, double spacing_cm) : kit_(set, spacing_cm) {}

  void play(float* speaker, uint32_t n) noexcept override { zeto_host_play(kit_.host(), speaker, n * sizeof *speaker); }

  bool capture(const float*, const float* microphone, uint32_t n, LiveReading& sensed) noexcept override {
    const auto skipped = static_cast<uint32_t>(std::min<uint64_t>(n, settling_));
    settling_ -= skipped;
    const auto reading = zeto_host_capture(kit_.host(), microphone + skipped, (n - skipped) * sizeof *microphone);
    if (reading.number == number_) return false;
    number_ = reading.number;
    sensed.reading = reading;
    sensed.learned = zeto_host_learned(kit_.host());
    sensed.end = reading.end - before_;
    return true;
  }

  void learn() noexcept override { zeto_host_learn(kit_.host()); }

  // The table goes on where it was, so the recording ends with a whole frame, and so does what is skipped of the
  // capture: the room is still silent when playing begins.
  bool learn_from(std::span<const float> microphone) override {
    microphone = microphone.first(microphone.size() / kFrame * kFrame);
    std::vector<Reading> readings;
    kit_.take(microphone, readings);
    if (readings.empty() || readings.back().state != ZETO_HOST_NOBODY) return false;
    number_ = readings.back().number;
    settling_ = 2 * kFrame;
    before_ = microphone.size() - settling_;
    return true;
  }

 private:
  Kit kit_;
  uint32_t number_ = 0;
  uint64_t settling_ = 0;  // samples that the kit is not to hear
  uint64_t before_ = 0;    // samples that it has heard and that do not count
};

class WrapperSensor : public Sensor {
 public:
  explicit WrapperSensor(const zeto_set& set)
      : downlink_(HostFormat::kFloat, set.chirp), uplink_(HostFormat::kFloat, set.hear), samples_(3 * kFrame) {}

  void play(float* speaker, uint32_t n) noexcept override {
    std::fill_n(speaker, n, 0.0F);
    downlink_.process(std::span(speaker, n));
  }

  // Analysis k shows from the returned sample kFrame k - 1 on.
  bool capture(const float* reference, const float* microphone, uint32_t n, LiveReading& sensed) noexcept override {
    const std::span all(samples_);
    const auto in1 = all.first(n), in2 = all.subspan(kFrame, n), out = all.subspan(2 * kFrame, n);
    std::copy_n(reference, n, in1.begin());
    std::copy_n(microphone, n, in2.begin());
    uplink_.process(in1, in2, out);
    const uint64_t before = captured_;
    captured_ += n;
    if (captured_ / kFrame == before / kFrame) return false;
    sensed = {};
    sensed.end = captured_ / kFrame * kFrame;
    sensed.measurement = static_cast<int32_t>(std::lrint(out[sensed.end - 1 - before] * 32768.0F));
    return true;
  }

  void learn() noexcept override {}

  bool learn_from(std::span<const float>) override { throw UserError("--learned: only the host kit learns"); }

 private:
  Downlink downlink_;
  Uplink uplink_;
  std::vector<float> samples_;
  uint64_t captured_ = 0;
};

}  // namespace

std::unique_ptr<Sensor> sensor_of(const zeto_set& set, double spacing_cm) {
  if (is_for_kit(set)) return std::make_unique<KitSensor>(set, spacing_cm);
  return std::make_unique<WrapperSensor>(set);
}

}  // namespace zeto::tool
