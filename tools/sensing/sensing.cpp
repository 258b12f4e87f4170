#include "sensing/sensing.hpp"

#include <algorithm>
#include <cmath>

#include "audio/host_sample.hpp"
#include "error.hpp"
#include "sensing/wrappers.hpp"

namespace zeto::tool {
namespace {

constexpr int64_t kBlockLen = ZETO_BLOCK_LEN;
constexpr int64_t kRingBlocks = 20;
constexpr int64_t kAnalysisLen = kRingBlocks * kBlockLen;  // 200 ms
constexpr int64_t kLatency = ZETO_LATENCY;

/// Analyses are counted from 1; analysis k comes with block 20 k, unless the start-up delay still lasts then.
int64_t first_analysis(const zeto_tx_param& param) {
  constexpr int32_t kBlockMs = 10;
  return param.UltraHz_delay_ms < kBlockMs ? 1 : param.UltraHz_delay_ms / kBlockMs / kRingBlocks + 1;
}

/// Where the output channel first shows analysis k: the block that ends it, blocks counted from 1, is block 20 k. Its
/// output starts with sample 9600 k - 480 and the wrapper hands it back 479 samples later, so with sample 9600 k - 1:
/// exactly when the last sample of the 200 ms goes in. A recording of 9600 k samples shows k analyses, with nothing
/// appended.
int64_t shown_at(int64_t k) {
  return k * kAnalysisLen - kBlockLen + kLatency;
}

/// A level v is v, 256 v, 65536 v or v / 32768 in the host's samples: exact in all of them.
template <class Sample>
int32_t level(Sample sample, double full_scale) {
  return static_cast<int32_t>(static_cast<double>(sample) * (0x1p15 / full_scale));
}

template <class Sample>
class Run final : public Sensing::Taking {
 public:
  Run(const SensingOptions& options, AudioWriter* returned, double full_scale)
      : uplink_(options.format, options.param),
        buffer_(static_cast<size_t>(options.buffer)),
        returned_(returned),
        full_scale_(full_scale),
        next_(first_analysis(options.param)) {}

  void take(std::span<const double> values, std::vector<Analysis>& analyses) override {
    const size_t n = values.size() / 2;
    in1_.resize(n);
    in2_.resize(n);
    out_.resize(n);
    for (size_t i = 0; i < n; ++i) {
      in1_[i] = host_sample<Sample>(values[2 * i], full_scale_);
      in2_[i] = host_sample<Sample>(values[2 * i + 1], full_scale_);
    }
    for (size_t at = 0; at < n; at += buffer_) {
      const auto part = [&](std::vector<Sample>& all) { return std::span(all).subspan(at, std::min(buffer_, n - at)); };
      uplink_.process(part(in1_), part(in2_), part(out_));
    }
    for (; shown_at(next_) - done_ < static_cast<int64_t>(n); ++next_) {
      analyses.push_back({static_cast<double>(next_ * kAnalysisLen) / kSampleRate,
                          level(out_[static_cast<size_t>(shown_at(next_) - done_)], full_scale_)});
    }
    done_ += static_cast<int64_t>(n);
    if (returned_ != nullptr) returned_->write(std::span<const Sample>(out_));
  }

 private:
  Uplink uplink_;
  size_t buffer_;
  AudioWriter* returned_;
  double full_scale_;
  int64_t next_;  // analysis
  int64_t done_ = 0;
  std::vector<Sample> in1_;
  std::vector<Sample> in2_;
  std::vector<Sample> out_;
};

}  // namespace

int64_t shortest_sensed(const zeto_tx_param& param) {
  return first_analysis(param) * kAnalysisLen;
}

Summary summary_of_accepted(const std::vector<Analysis>& analyses) {
  std::vector<double> values;
  for (const Analysis& analysis : analyses) {
    if (analysis.accepted()) values.push_back(analysis.value);
  }
  if (values.empty()) return {};
  std::sort(values.begin(), values.end());
  const double median = 0.5 * (values[(values.size() - 1) / 2] + values[values.size() / 2]);
  return {values.size(), median, values.front(), values.back()};
}

AudioReader open_recording(const std::string& path, const zeto_tx_param& param) {
  AudioReader reader(path, 2);
  if (const int64_t needed = shortest_sensed(param); reader.frames() < needed) {
    throw FileError("cannot sense " + path + ": the first analysis takes " + std::to_string(needed) +
                    " samples, it has " + std::to_string(reader.frames()));
  }
  return reader;
}

Sensing::Sensing(const SensingOptions& options, AudioWriter* returned)
    : taking_(with_samples_of(options.format, [&](auto sample, double full_scale) -> std::unique_ptr<Taking> {
        return std::make_unique<Run<decltype(sample)>>(options, returned, full_scale);
      })) {}

std::vector<Analysis> sense(const SensingOptions& options, int64_t frames, const Capture& capture,
                            AudioWriter* returned) {
  Sensing sensing(options, returned);
  const int64_t piece = piece_of(options.buffer);
  std::vector<double> values;
  for (int64_t done = 0; done < frames; done += piece) {
    values.resize(static_cast<size_t>(2 * std::min(frames - done, piece)));
    capture(values);
    sensing.take(values);
  }
  return sensing.analyses();
}

}  // namespace zeto::tool
