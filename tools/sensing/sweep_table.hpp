// Sweeps that start over, as a table that is played in a loop.
#pragma once
#include <cstdint>
#include <span>
#include <vector>

#include "audio/audio_file.hpp"
#include "zeto/host.h"

namespace zeto::tool {

class SweepTable {
 public:
  explicit SweepTable(const zeto_sweep& sweep);

  /// The next samples to play. `Sample` is the format's own.
  template <class Sample>
  void play(HostFormat format, std::span<Sample> buffer) {
    zeto_sweep_play(table_.data(), static_cast<uint32_t>(table_.size()), &position_, static_cast<int32_t>(format),
                    buffer.data(), buffer.size_bytes());
  }

 private:
  std::vector<int16_t> table_;
  uint32_t position_ = 0;
};

}  // namespace zeto::tool
