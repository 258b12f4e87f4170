// Channels in which nothing can be measured, noticed while they are read.
#pragma once
#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zeto::tool {

class ChannelCheck {
 public:
  /// The next samples: reference and microphone in turns.
  void take(std::span<const double> values);

  /// A line each; usually none.
  std::vector<std::string> warnings() const;

 private:
  std::array<double, 2> peak_{};
  std::array<int64_t, 2> not_numbers_{};
  int64_t samples_ = 0;
  bool same_ = true;
};

}  // namespace zeto::tool
