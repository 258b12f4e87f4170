#include "audio/channel_check.hpp"

#include <algorithm>
#include <cmath>

#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr double kSilent = 0x1p-16;  // half a step of 16 bits
constexpr const char* kNames[] = {"reference (channel 1)", "microphone (channel 2)"};

}  // namespace

void ChannelCheck::take(std::span<const double> values) {
  for (size_t i = 0; i + 1 < values.size(); i += 2) {
    for (size_t channel = 0; channel < 2; ++channel) {
      const double value = values[i + channel];
      if (std::isnan(value)) {
        ++not_numbers_[channel];
      } else {
        peak_[channel] = std::max(peak_[channel], std::fabs(value));
      }
    }
    same_ = same_ && values[i] == values[i + 1];
  }
  samples_ += static_cast<int64_t>(values.size() / 2);
}

std::vector<std::string> ChannelCheck::warnings() const {
  std::vector<std::string> lines;
  for (size_t channel = 0; channel < 2; ++channel) {
    if (not_numbers_[channel] > 0) {
      lines.push_back(text("%lld of %lld samples of the %s are no numbers and count as 0",
                           static_cast<long long>(not_numbers_[channel]), static_cast<long long>(samples_),
                           kNames[channel]));
    } else if (peak_[channel] < kSilent) {
      lines.push_back(text("the %s is silent", kNames[channel]));
    }
  }
  if (lines.empty() && samples_ > 0 && same_) lines.emplace_back("both channels are the same: no echo can be measured");
  return lines;
}

}  // namespace zeto::tool
