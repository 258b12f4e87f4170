// The recording of a live session: reference and microphone, for every verb that takes one.
#pragma once
#include <string>
#include <vector>

#include "audio/audio_file.hpp"
#include "live/duplex.hpp"

namespace zeto::tool {

/// As long as a WAV file of two channels of floats can be.
constexpr double kMostRecordedSeconds = 10800.0;

class Recorder {
 public:
  /// Throws UserError if the path, the value of this option, is not that of a WAV file that can be written.
  Recorder(const std::string& option, const std::string& path);

  /// Throws UserError if the disk is full; what was written before is kept all the same.
  void write(std::span<const Frame> frames);

  /// Puts the file in place, unless nothing was written. Returns what it holds, a text.
  std::string keep();

 private:
  std::string path_;
  AudioWriter writer_;
  std::vector<float> samples_;
  bool failed_ = false;
  uint64_t frames_ = 0;
};

}  // namespace zeto::tool
