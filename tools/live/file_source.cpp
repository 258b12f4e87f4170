#include <algorithm>
#include <vector>

#include "audio_file.hpp"
#include "live/source.hpp"
#include "sensing.hpp"

namespace zeto::tool {
namespace {

constexpr uint32_t kBuffer = 480;

class FileSource : public Source {
 public:
  explicit FileSource(const std::string& path)
      : path_(path), reader_(open_recording(path, {})), values_(2 * kMostSamples) {}

  void start(Duplex& duplex) override { duplex_ = &duplex; }

  bool wait() override {
    const size_t got = reader_.read(values_) / 2;
    std::vector<float> microphone(got);
    std::vector<float> speaker(kBuffer);
    for (size_t i = 0; i < got; ++i) microphone[i] = to_float(values_[2 * i + 1]);
    for (size_t at = 0; at < got; at += kBuffer) {
      const auto n = static_cast<uint32_t>(std::min<size_t>(kBuffer, got - at));
      duplex_->process(speaker.data(), &microphone[at], n, time_);
      time_ += n;
    }
    return got == kMostSamples;
  }

  std::string about() const override { return "listens to " + path_; }
  uint32_t buffer() const override { return kBuffer; }

 private:
  std::string path_;
  AudioReader reader_;
  std::vector<double> values_;
  Duplex* duplex_ = nullptr;
  uint32_t time_ = 0;
};

}  // namespace

std::unique_ptr<Source> file_source(const std::string& path) {
  return std::make_unique<FileSource>(path);
}

}  // namespace zeto::tool
