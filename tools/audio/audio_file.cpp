#include "audio/audio_file.hpp"

#include <sndfile.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <mutex>
#include <optional>

#include "audio/cut_short.hpp"
#include "audio/standard_input.hpp"
#include "error.hpp"

namespace zeto::tool {
namespace {

std::optional<HostFormat> host_format_of(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_16:
      return HostFormat::kPcm16;
    case SF_FORMAT_PCM_24:
      return HostFormat::kPcm24;
    case SF_FORMAT_PCM_32:
      return HostFormat::kPcm32;
    case SF_FORMAT_FLOAT:
      return HostFormat::kFloat;
    default:
      return std::nullopt;
  }
}

std::string encoding_name(int format) {
  if (const auto same = host_format_of(format)) return name_of(*same);
  SF_FORMAT_INFO info{};
  info.format = format & SF_FORMAT_SUBMASK;
  if (sf_command(nullptr, SFC_GET_FORMAT_INFO, &info, sizeof info) != 0 || info.name == nullptr) return "unknown";
  return info.name;
}

bool is_lossy(int format) {
  switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_ALAC_16:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_ALAC_32:
      return false;
    default:
      return true;
  }
}

/// Of standard input without a header.
int raw_format() {
  const int subtype = raw_encoding == "s16"   ? SF_FORMAT_PCM_16
                      : raw_encoding == "s24" ? SF_FORMAT_PCM_24
                      : raw_encoding == "s32" ? SF_FORMAT_PCM_32
                                              : SF_FORMAT_FLOAT;
  return SF_FORMAT_RAW | SF_ENDIAN_LITTLE | subtype;
}

/// What a file's name asks for, in the host's samples.
int container_of(const std::string& path, HostFormat format) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
  if (ending.empty() || ending == ".wav" || ending == ".wave") return SF_FORMAT_WAV;
  if (ending == ".raw" || ending == ".pcm") return SF_FORMAT_RAW | SF_ENDIAN_LITTLE;
  if (ending != ".flac") throw UserError("cannot write " + path + ": written are .wav, .flac and .raw files");
  if (format != HostFormat::kPcm16 && format != HostFormat::kPcm24) {
    throw UserError("cannot write " + path + ": FLAC takes 16 or 24 bits, --format 1 or 2");
  }
  return SF_FORMAT_FLAC;
}

int subtype_of(HostFormat format) {
  switch (format) {
    case HostFormat::kPcm16:
      return SF_FORMAT_PCM_16;
    case HostFormat::kPcm24:
      return SF_FORMAT_PCM_24;
    case HostFormat::kPcm32:
      return SF_FORMAT_PCM_32;
    case HostFormat::kFloat:
      break;
  }
  return SF_FORMAT_FLOAT;
}

/// libsndfile keeps one error of opening for all threads: nobody else may open between opening and asking why it failed.
template <class Open>
SNDFILE* opened(const Open& open, std::string& why) {
  static std::mutex guard;
  const std::lock_guard alone(guard);
  SNDFILE* const file = open();
  if (file == nullptr) why = sf_strerror(nullptr);
  return file;
}

std::string channels_text(int channels) {
  return channels == 1 ? "1 channel" : std::to_string(channels) + " channels";
}

}  // namespace

const char* name_of(HostFormat format) {
  switch (format) {
    case HostFormat::kPcm16:
      return "16-bit PCM";
    case HostFormat::kPcm24:
      return "24-bit PCM";
    case HostFormat::kPcm32:
      return "32-bit PCM";
    case HostFormat::kFloat:
      break;
  }
  return "32-bit float";
}

float to_float(double value) {
  constexpr auto kLargest = static_cast<double>(std::numeric_limits<float>::max());
  return static_cast<float>(std::clamp(value, -kLargest, kLargest));
}

AudioReader::AudioReader(std::string path, int channels)
    : path_(std::move(path)), file_(nullptr, sf_close), channels_(channels) {
  const auto fail = [&](const std::string& why) { throw FileError("cannot read " + path_ + ": " + why); };
  const std::string file = path_ == "-" ? standard_input() : path_;
  std::error_code ignored;
  if (const auto status = std::filesystem::status(file, ignored); std::filesystem::exists(status)) {
    if (!std::filesystem::is_regular_file(status)) fail("not a regular file; - is standard input");
  }
  if (!std::ifstream(file)) fail(std::strerror(errno));
  remember_input(file);
  SF_INFO info{};
  if (path_ == "-" && !raw_encoding.empty()) {
    info.samplerate = kSampleRate;
    info.channels = std::max(1, channels_);
    info.format = raw_format();
  }
  std::string reason;
  file_.reset(opened([&] { return sf_open(file.c_str(), SFM_READ, &info); }, reason));
  if (!file_) {
    fail("not an audio file (" + reason + ")" + (path_ == "-" ? "; samples without a header need --raw" : ""));
  }
  if (info.samplerate != kSampleRate) {
    fail("its rate is " + std::to_string(info.samplerate) + " Hz, must be 48000 Hz; convert it: sox " +
         (path_ == "-" ? "in.wav" : path_) + " -r 48000 converted.wav");
  }
  if (channels_ == kAnyChannels) channels_ = info.channels;
  if (info.channels != channels_)
    fail("it has " + channels_text(info.channels) + ", must have " + std::to_string(channels_));
  if (const Missing missing = missing_from(file); missing.bytes > 0) {  // libsndfile reads them as if they were shorter
    const std::string how = "cut short, " + std::to_string(missing.bytes) + " bytes of samples are missing";
    if (missing.is_wav) fail(how);
    warning_ = path_ + ": " + how + "; the others count";
  }
  if (is_lossy(info.format) && warning_.empty()) {
    warning_ = path_ + ": stored by a lossy codec, which may have dropped what is above 18 kHz";
  }
  if (info.frames < 1) fail("it holds no samples");
  if (info.frames == SF_COUNT_MAX) fail("its length cannot be told; damaged or cut short");
  frames_ = info.frames;
  encoding_ = encoding_name(info.format);
  host_format_ = host_format_of(info.format).value_or(HostFormat::kPcm16);
}

size_t AudioReader::read(std::span<double> out) {
  const auto wanted = static_cast<sf_count_t>(out.size()) / channels_;
  const sf_count_t got = sf_readf_double(file_.get(), out.data(), wanted);
  position_ += got;
  if (got < wanted && position_ < frames_) {
    throw FileError("cannot read " + path_ + ": damaged or cut short after sample " + std::to_string(position_) +
                    " of " + std::to_string(frames_));
  }
  return static_cast<size_t>(got * channels_);
}

AudioWriter::AudioWriter(std::string path, HostFormat format, int channels)
    : target_(std::move(path)), format_(format), file_(nullptr, sf_close) {
  SF_INFO info{};
  info.samplerate = kSampleRate;
  info.channels = channels;
  info.format = container_of(target_.path(), format) | subtype_of(format);
  std::string reason;
  file_.reset(opened([&] { return sf_open_fd(target_.descriptor(), SFM_WRITE, &info, SF_FALSE); }, reason));
  if (!file_) throw UserError("cannot write " + target_.path() + ": " + reason);
  sf_command(file_.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);  // it holds a time: same samples, same file
}

void AudioWriter::keep_header_true() {
  sf_command(file_.get(), SFC_SET_UPDATE_HEADER_AUTO, nullptr, SF_TRUE);
}

void AudioWriter::write(std::span<const int16_t> samples) {
  check(sf_write_short(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size())), samples.size());
}

void AudioWriter::write(std::span<const int32_t> samples) {
  if (format_ == HostFormat::kPcm24) {  // libsndfile takes the upper 24 bits
    shifted_.assign(samples.begin(), samples.end());
    for (int32_t& sample : shifted_) sample *= 256;
    samples = shifted_;
  }
  check(sf_write_int(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size())), samples.size());
}

void AudioWriter::write(std::span<const float> samples) {
  check(sf_write_float(file_.get(), samples.data(), static_cast<sf_count_t>(samples.size())), samples.size());
}

void AudioWriter::commit() {
  if (const int error = sf_close(file_.release()); error != 0) {
    throw UserError("cannot write " + target_.path() + ": " + sf_error_number(error));
  }
  target_.commit();
}

void AudioWriter::check(int64_t written, size_t wanted) const {
  if (written == static_cast<int64_t>(wanted) && sf_error(file_.get()) == SF_ERR_NO_ERROR) return;
  const char* why = errno != 0 ? std::strerror(errno) : sf_strerror(file_.get());
  throw UserError("cannot write " + target_.path() + ": " + why);
}

}  // namespace zeto::tool
