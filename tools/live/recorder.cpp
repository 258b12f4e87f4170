#include "live/recorder.hpp"

#include "error.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

const std::string& wav_file(const std::string& option, const std::string& path) {
  if (!path.ends_with(".wav")) throw UserError(option + ": " + path + " does not end in .wav");
  return path;
}

}  // namespace

Recorder::Recorder(const std::string& option, const std::string& path)
    : path_(wav_file(option, path)), writer_(path, HostFormat::kFloat, 2) {
  writer_.keep_header_true();
}

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
  if (frames_ == 0) return "nothing was recorded";
  writer_.commit();
  return path_ + " holds " + text("%.1f s", static_cast<double>(frames_) / kSampleRate);
}

}  // namespace zeto::tool
