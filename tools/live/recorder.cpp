#include "live/recorder.hpp"

#include "error.hpp"
#include "text.hpp"

namespace zeto::tool {

void Recorder::write(std::span<const Frame> frames) {
  if (failed_) return;
  samples_.clear();
  for (const Frame& frame : frames) {
    samples_.push_back(frame.reference);
    samples_.push_back(frame.microphone);
  }
  try {
    writer_.write(std::span<const float>(samples_));
  } catch (const UserError&) {
    failed_ = true;
    throw;
  }
  frames_ += frames.size();
}

std::string Recorder::keep() {
  writer_.commit();
  return path_ + " holds " + text("%.1f s", static_cast<double>(frames_) / kSampleRate);
}

}  // namespace zeto::tool
