// zeto emit: playback in, chirp out.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <optional>

#include "audio/audio_file.hpp"
#include "audio/host_sample.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "parameters/options.hpp"
#include "reports/parameter_warnings.hpp"
#include "sensing/sweep_table.hpp"
#include "sensing/wrappers.hpp"
#include "text/progress.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"

namespace zeto::tool {
namespace {

struct EmitOptions {
  std::optional<std::string> in;
  std::string out;
  std::optional<double> seconds;
  int32_t format = 1;
  int64_t buffer = 480;
  zeto_set set{};
};

constexpr double kSilenceSeconds = 3.0;

/// Playback of a given length: a file, cut or continued by silence; all silence without a file.
class Playback {
 public:
  explicit Playback(const EmitOptions& options) {
    if (options.in) file_.emplace(*options.in, 1);
    if (file_) warn("zeto emit", file_->warning());
    const double seconds = options.seconds.value_or(kSilenceSeconds);
    samples_ = file_ && !options.seconds ? file_->frames() : std::llround(seconds * kSampleRate);
    if (samples_ < 1) throw UserError("--seconds: less than one sample");
    if (static_cast<double>(samples_) > kMaxSeconds * kSampleRate) {
      throw FileError("cannot read " + options.in.value_or("") + ": longer than six hours; cut it with --seconds");
    }
  }

  int64_t samples() const { return samples_; }

  void read(std::span<double> out) {
    const size_t got = file_ ? file_->read(out) : 0;
    std::fill(out.begin() + static_cast<std::ptrdiff_t>(got), out.end(), 0.0);
  }

 private:
  std::optional<AudioReader> file_;
  int64_t samples_ = 0;
};

/// What makes the chirp: the downlink wrapper, or a table in a loop.
class Source {
 public:
  explicit Source(const EmitOptions& options) : format_{options.format} {
    if (has_sweeps(options.set)) {
      table_.emplace(sweep_of(options.set));
    } else {
      downlink_.emplace(format_, options.set.chirp);
    }
  }

  /// One host buffer, in place.
  template <class Sample>
  void process(std::span<Sample> buffer) {
    table_ ? table_->play(format_, buffer) : downlink_->process(buffer);
  }

 private:
  HostFormat format_;
  std::optional<SweepTable> table_;
  std::optional<Downlink> downlink_;
};

/// Runs everything through the source and returns the peak, full scale 1.0.
template <class Sample>
double run(const EmitOptions& options, Playback& playback, AudioWriter& writer, double full_scale) {
  Source source(options);
  const int64_t piece = piece_of(options.buffer);
  std::vector<double> values;
  std::vector<Sample> samples;
  double peak = 0.0;
  Progress progress;
  for (int64_t left = playback.samples(); left > 0; left -= std::min(left, piece)) {
    values.resize(static_cast<size_t>(std::min(left, piece)));
    samples.resize(values.size());
    playback.read(values);
    std::transform(values.begin(), values.end(), samples.begin(),
                   [&](double value) { return host_sample<Sample>(value, full_scale); });
    const auto buffer = static_cast<size_t>(options.buffer);
    for (size_t at = 0; at < samples.size(); at += buffer) {
      source.process(std::span(samples).subspan(at, std::min(buffer, samples.size() - at)));
    }
    for (const Sample sample : samples) peak = std::max(peak, std::fabs(static_cast<double>(sample)) / full_scale);
    writer.write(std::span<const Sample>(samples));
    progress.show_share(playback.samples() - left, playback.samples());
  }
  return peak;
}

void emit(const EmitOptions& options) {
  if (options.seconds && !(*options.seconds > 0.0 && *options.seconds <= kMaxSeconds)) {
    throw UserError("--seconds: must be above 0 and at most 21600 (six hours)");
  }
  warn_of("zeto emit", options.set, Side::kEmitter);
  Playback playback(options);
  AudioWriter writer(options.out, HostFormat{options.format});
  const double peak = with_samples_of(HostFormat{options.format}, [&](auto sample, double full_scale) {
    return run<decltype(sample)>(options, playback, writer, full_scale);
  });
  writer.commit();
  std::fprintf(options.out == "-" ? stderr : stdout, "%s: %s, %lld samples (%.3f s), peak %.4f%s\n",
               printable(options.out).c_str(), name_of(HostFormat{options.format}),
               static_cast<long long>(playback.samples()), static_cast<double>(playback.samples()) / kSampleRate, peak,
               peak > 0.0 ? "" : " (silent)");
}

}  // namespace

void add_emit(CLI::App& app) {
  auto* verb = app.add_subcommand("emit", "Make the chirp: pass playback through the downlink wrapper");
  const auto options = std::make_shared<EmitOptions>();
  verb->add_option("-o,--out", options->out,
                   "File to write (48000 Hz, mono): .wav, .flac, or .raw for\n"
                   "samples without a header; - for WAV on standard output")
      ->type_name("FILE")
      ->required();
  verb->add_option("-i,--in", options->in,
                   "Audio file to play (48000 Hz, mono); without it, silence.\n"
                   "The chirp replaces the playback, it is not mixed in")
      ->type_name("FILE");
  verb->add_option("-s,--seconds", options->seconds,
                   "Length; cuts the playback, or adds silence behind it.\n"
                   "Default: the file's length; 3 without a file")
      ->type_name("S");
  verb->add_option("-f,--format", options->format,
                   "The host's sample format, and the written file's:\n"
                   "1 16-bit, 2 24-bit, 3 32-bit, 4 float")
      ->type_name("1..4")
      ->check(CLI::Range(1, 4).description(""))
      ->capture_default_str();
  verb->add_option("-b,--buffer", options->buffer,
                   "Samples per call of the wrapper; makes no difference\n"
                   "to what is written")
      ->type_name("N")
      ->check(CLI::Range(int64_t{1}, kMaxBuffer).description(""))
      ->capture_default_str();
  add_parameter_options(*verb, options->set, Side::kEmitter);
  verb->footer(
      "The chirp comes back 479 samples late: the file starts with as many zeros. A table\n"
      "of sweeps (--set hand, --restart-ms) comes from the host kit, without that delay and\n"
      "repeated.\n\n"
      "Examples:\n"
      "  zeto emit -o chirp.wav                      3 s of chirp, 16-bit\n"
      "  zeto emit -i music.wav -f 4 -o chirp.wav    as long as the music, float\n"
      "  zeto emit -s 10 --start-hz 20000 --span-hz 2000 --period-ms 2000 -o slow.wav\n"
      "  zeto emit --set hand -o hand.wav            what the host kit plays\n"
      "  zeto emit --restart-ms 70,70,60 --span-hz 85714 --start-hz 18000 -o fast.wav\n"
      "  zeto inspect chirp.wav                      measure what was written");
  verb->callback([options] { emit(*options); });
}

}  // namespace zeto::tool
