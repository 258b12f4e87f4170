#include <vector>

#include "audio/channel_check.hpp"
#include "audio_file.hpp"
#include "live/source.hpp"
#include "sensing.hpp"

namespace zeto::tool {
namespace {

class FileSource : public Source {
 public:
  explicit FileSource(const std::string& path) : path_(path), reader_(open_recording(path, {})), values_(2 * kTable) {}

  void start(Duplex& duplex) override { duplex_ = &duplex; }

  bool wait() override {
    const auto values = std::span(values_).first(reader_.read(values_));
    check_.take(values);
    std::vector<float> reference;
    std::vector<float> microphone;
    for (size_t i = 0; i < values.size(); i += 2) {
      reference.push_back(to_float(values[i]));
      microphone.push_back(to_float(values[i + 1]));
    }
    duplex_->hear(reference.data(), microphone.data(), static_cast<uint32_t>(reference.size()));
    return values.size() == values_.size();
  }

  std::string about() const override { return "listens to " + path_; }
  uint32_t buffer() const override { return 0; }

  std::vector<std::string> warnings() const override {
    std::vector<std::string> lines;
    if (!reader_.warning().empty()) lines.push_back(reader_.warning());
    for (const auto& warning : check_.warnings()) lines.push_back(path_ + ": " + warning);
    return lines;
  }

 private:
  std::string path_;
  AudioReader reader_;
  ChannelCheck check_;
  std::vector<double> values_;
  Duplex* duplex_ = nullptr;
};

}  // namespace

std::unique_ptr<Source> file_source(const std::string& path) {
  return std::make_unique<FileSource>(path);
}

}  // namespace zeto::tool
