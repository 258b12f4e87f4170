#include "sensing.hpp"

#include <algorithm>
#include <cmath>

#include "error.hpp"
#include "host_sample.hpp"
#include "wrappers.hpp"

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
/// exactly where the last of the 200 ms goes in. A recording of 9600 k samples shows k analyses, with nothing appended.
int64_t shown_at(int64_t k) {
  return k * kAnalysisLen - kBlockLen + kLatency;
}

/// A level v is v, 256 v, 65536 v or v / 32768 in the host's samples: exact in all of them.
template <class Sample>
int32_t level(Sample sample, double full_scale) {
  return static_cast<int32_t>(static_cast<double>(sample) * (0x1p15 / full_scale));
}

template <class Sample>
std::vector<Analysis> run(const SensingOptions& options, int64_t frames, const Capture& capture, AudioWriter* returned,
                          double full_scale) {
  Uplink uplink(options.format, options.param);
  std::vector<Analysis> analyses;
  int64_t k = first_analysis(options.param);
  const int64_t piece = piece_of(options.buffer);
  const auto buffer = static_cast<size_t>(options.buffer);
  std::vector<double> values;
  std::vector<Sample> in1;
  std::vector<Sample> in2;
  std::vector<Sample> out;
  for (int64_t done = 0; done < frames; done += piece) {
    const auto n = static_cast<size_t>(std::min(frames - done, piece));
    values.resize(2 * n);
    in1.resize(n);
    in2.resize(n);
    out.resize(n);
    capture(values);
    for (size_t i = 0; i < n; ++i) {
      in1[i] = host_sample<Sample>(values[2 * i], full_scale);
      in2[i] = host_sample<Sample>(values[2 * i + 1], full_scale);
    }
    for (size_t at = 0; at < n; at += buffer) {
      const auto part = [&](std::vector<Sample>& all) { return std::span(all).subspan(at, std::min(buffer, n - at)); };
      uplink.process(part(in1), part(in2), part(out));
    }
    for (; shown_at(k) - done < static_cast<int64_t>(n); ++k) {
      analyses.push_back({static_cast<double>(k * kAnalysisLen) / kSampleRate,
                          level(out[static_cast<size_t>(shown_at(k) - done)], full_scale)});
    }
    if (returned != nullptr) returned->write(std::span<const Sample>(out));
  }
  return analyses;
}

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

std::vector<Analysis> sense(const SensingOptions& options, int64_t frames, const Capture& capture,
                            AudioWriter* returned) {
  return with_samples_of(options.format, [&](auto sample, double full_scale) {
    return run<decltype(sample)>(options, frames, capture, returned, full_scale);
  });
}

}  // namespace zeto::tool
