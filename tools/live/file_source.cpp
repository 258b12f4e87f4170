#include <algorithm>
#include <vector>

#include "audio/audio_file.hpp"
#include "audio/channel_check.hpp"
#include "live/source.hpp"
#include "sensing/sensing.hpp"

namespace zeto::tool {
namespace {

class FileSource : public Source {
 public:
  FileSource(const std::string& path, bool is_table)
      : path_(path), reader_(open_recording(path, {})), is_table_(is_table), values_(2 * kFrame) {}

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
    compare(reference);
    duplex_->hear(reference.data(), microphone.data(), static_cast<uint32_t>(reference.size()));
    return values.size() == values_.size();
  }

  std::string about() const override { return "listens to " + path_; }
  uint32_t buffer() const override { return 0; }

  std::vector<std::string> warnings() const override {
    std::vector<std::string> lines;
    if (!reader_.warning().empty()) lines.push_back(reader_.warning());
    for (const auto& warning : check_.warnings()) lines.push_back(path_ + ": " + warning);
    if (is_table_ && change_ > kSameShare * power_) {
      lines.push_back(path_ + ": the reference does not repeat every 200 ms as this set's sweeps do; see --set");
    }
    return lines;
  }

 private:
  /// With the 200 ms before.
  void compare(const std::vector<float>& reference) {
    for (size_t i = 0; i < std::min(reference.size(), before_.size()); ++i) {
      const auto now = static_cast<double>(reference[i]);
      const double change = now - static_cast<double>(before_[i]);
      power_ += now * now;
      change_ += change * change;
    }
    before_ = reference;
  }

  static constexpr double kSameShare = 0.1;  // of the power; what does not repeat changes by twice of it

  std::string path_;
  AudioReader reader_;
  ChannelCheck check_;
  bool is_table_;
  std::vector<float> before_;
  double power_ = 0.0;
  double change_ = 0.0;
  std::vector<double> values_;
  Duplex* duplex_ = nullptr;
};

}  // namespace

std::unique_ptr<Source> file_source(const std::string& path, bool is_table) {
  return std::make_unique<FileSource>(path, is_table);
}

}  // namespace zeto::tool
