// What a sound file's header promises beyond what the file holds.
#pragma once
#include <cstdint>
#include <string>

namespace zeto::tool {

struct Missing {
  uint64_t bytes = 0;   ///< of samples
  bool is_wav = false;  ///< plain WAV: at most 4 GiB
};

/// Nothing is missing from a file that does not say how long it is (written to a pipe), nor from one of another format
/// than WAV, RF64, W64, AIFF and AU.
Missing missing_from(const std::string& path);

}  // namespace zeto::tool
