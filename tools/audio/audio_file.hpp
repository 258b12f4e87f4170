// Audio files at the one rate that the library knows, 48000 Hz.
#pragma once
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "audio/new_file.hpp"
#include "zeto/wrappers.h"

struct sf_private_tag;

namespace zeto::tool {

constexpr int kSampleRate = ZETO_SAMPLE_RATE;

/// The longest file that a WAV header can describe in every host format, in seconds: six hours.
constexpr double kMaxSeconds = 21600.0;

/// The host sample formats of the wrappers, by their number there.
enum class HostFormat : int32_t {
  kPcm16 = ZETO_FORMAT_PCM16,
  kPcm24 = ZETO_FORMAT_PCM24_IN32,
  kPcm32 = ZETO_FORMAT_PCM32,
  kFloat = ZETO_FORMAT_FLOAT
};
const char* name_of(HostFormat format);

/// Nearest float; values beyond its range, which files of doubles may hold, become the largest.
float to_float(double value);

using SoundFile = std::unique_ptr<sf_private_tag, int (*)(sf_private_tag*)>;

/// Reads a file from its start; "-" is standard input. Every fault is a FileError that names the file: missing, no
/// audio, another rate, another number of channels, cut short. RF64, W64, AIFF and AU that are cut short are read as
/// far as they go: recordings beyond 4 GiB are worth it.
class AudioReader {
 public:
  AudioReader(std::string path, int channels);

  static constexpr int kAnyChannels = 0;
  int channels() const { return channels_; }

  /// Samples per channel.
  int64_t frames() const { return frames_; }
  /// A line for the user if samples are missing at the end, or a lossy codec stored them; empty otherwise.
  const std::string& warning() const { return warning_; }
  /// What the samples are stored as, "16-bit PCM" for example.
  const std::string& encoding() const { return encoding_; }
  /// The host format of the same sample type; 16 bits if there is none.
  HostFormat host_format() const { return host_format_; }

  /// Fills `out` with the next samples, full scale 1.0, channels interleaved. Returns how many there were; fewer than
  /// asked for at the end of the file only.
  size_t read(std::span<double> out);

 private:
  std::string path_;
  SoundFile file_;
  int channels_;
  int64_t frames_ = 0;
  int64_t position_ = 0;
  std::string warning_;
  std::string encoding_;
  HostFormat host_format_ = HostFormat::kPcm16;
};

/// Writes a file of host samples, channels interleaved, in the matching sample type, bit for bit: WAV, FLAC or without
/// a header (.raw), by its name's ending; "-" is WAV on standard output. The file appears on commit().
class AudioWriter {
 public:
  AudioWriter(std::string path, HostFormat format, int channels = 1);

  /// From now on the header tells after each write() how long the file is: a process that is killed leaves a temporary
  /// file that can be read.
  void keep_header_true();
  void write(std::span<const int16_t> samples);  ///< format 1
  void write(std::span<const int32_t> samples);  ///< formats 2 (right-justified, as a wrapper takes them) and 3
  void write(std::span<const float> samples);    ///< format 4
  void commit();

 private:
  void check(int64_t written, size_t wanted) const;

  NewFile target_;
  HostFormat format_;
  SoundFile file_;
  std::vector<int32_t> shifted_;
};

}  // namespace zeto::tool
