// zeto live: plays, listens and shows, on real sound.
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <functional>
#include <optional>
#include <utility>

#include "cli.hpp"
#include "error.hpp"
#include "live/calibration.hpp"
#include "live/live_report.hpp"
#include "live/printer.hpp"
#include "live/range_profile.hpp"
#include "live/recorder.hpp"
#include "live/source.hpp"
#include "parameters/parameters.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"

namespace zeto::tool {
namespace {

struct LiveOptions {
  std::string set_name = "hand";
  std::optional<int32_t> amp_milli;
  double spacing_cm = 5.0;
  std::optional<double> seconds;
  std::vector<std::string> ports;
  bool no_connect = false;
  std::optional<std::string> from;
  std::optional<std::string> record;
  std::optional<std::string> calibrate;
  std::optional<std::string> learned;
  bool json = false;
  bool profile = false;
};

zeto_set set_for(const LiveOptions& options) {
  zeto_set set = set_of(options.set_name);
  if (options.amp_milli) set.chirp.amp_start_milli = set.chirp.amp_end_milli = *options.amp_milli;
  const auto needs_kit = [&](bool asked, const std::string& option) {
    if (asked && !is_for_kit(set)) throw UserError(option + ": needs a set of sweeps that start over, as hand or room");
  };
  needs_kit(options.calibrate.has_value(), "--calibrate");
  needs_kit(options.learned.has_value(), "--learned");
  needs_kit(options.profile, "--profile");
  return set;
}

uint64_t most_samples(const LiveOptions& options) {
  double seconds = options.seconds.value_or(1e9);
  if (options.record) seconds = std::min(seconds, kMostRecordedSeconds);
  return static_cast<uint64_t>(seconds * kSampleRate);
}

std::unique_ptr<Source> source_for(const LiveOptions& options, const zeto_set& set) {
  if (options.from) return file_source(*options.from, is_for_kit(set));
  Connections connections;
  connections.any = !options.no_connect;
  if (!options.ports.empty()) connections.ports = {options.ports.at(0), options.ports.at(1)};
  return jack_source(connections);
}

static_assert(std::atomic<bool>::is_always_lock_free);
std::atomic<bool> interrupted = false;
void (*end_at_once)(int) = SIG_DFL;  // what signals did before: they remove what is unfinished

/// The first ends the session in good order, another one ends the process.
extern "C" void interrupt(int signal_number) {
  interrupted = true;
  std::signal(signal_number, end_at_once);
}

void end_on_signals() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
    const auto before = std::signal(number, interrupt);
    if (before == SIG_IGN) {
      std::signal(number, SIG_IGN);
    } else {
      end_at_once = before;
    }
  }
  std::signal(SIGPIPE, SIG_IGN);  // who reads along has gone: the recording is still kept
}

/// A background job would be stopped if it read.
bool enter_was_pressed() {
  if (isatty(STDIN_FILENO) == 0 || tcgetpgrp(STDIN_FILENO) != getpgrp()) return false;
  pollfd keyboard{STDIN_FILENO, POLLIN, 0};
  char line[256];
  return poll(&keyboard, 1, 0) == 1 && read(STDIN_FILENO, line, sizeof line) > 0;
}

bool are_same(const std::string& one, const std::string& other) {
  return std::filesystem::weakly_canonical(one) == std::filesystem::weakly_canonical(other);
}

class Live {
 public:
  explicit Live(const LiveOptions& options)
      : options_(options),
        set_(set_for(options)),
        report_(set_, options.spacing_cm, options.json),
        sensor_(sensor_of(set_, options.spacing_cm)),
        duplex_(*sensor_, most_samples(options)) {
    if (options.profile) profile_.emplace(set_, options.spacing_cm);
    if (options.learned) learn_from(*options.learned);
    if (options.record) recorder_.emplace("--record", *options.record);
    source_ = source_for(options, set_);
    if (!options.calibrate) return;
    if (options.record && are_same(*options.record, *options.calibrate)) {
      throw UserError("--calibrate: is also the file to --record");
    }
    const Recorder can_be_written(kCalibrate, *options.calibrate);
  }

  void run() {
    end_on_signals();
    source_->start(duplex_);  // if that fails no recording is kept
    printer_.print(report_.heading(source_->about(), source_->buffer()));
    std::optional<std::string> fault;
    const auto attempt = [&](const std::function<void()>& step) {
      try {
        step();
      } catch (const FileError&) {
        throw;  // it was a recording that could not be read
      } catch (const UserError& error) {
        if (!fault) fault = error.what();
      }
    };
    attempt([this] { listen(); });
    const uint32_t buffer = source_->buffer();
    const std::vector<std::string> warnings = source_->warnings();
    source_.reset();
    attempt([this] {
      show();
      while (take_frames(pieces_.size()) > 0) {
      }
    });
    std::string kept;
    if (recorder_) attempt([&] { kept = recorder_->keep(); });
    printer_.print(report_.summary(static_cast<double>(taken_) / kSampleRate, duplex_.counts(), clipped_, buffer));
    for (const auto& warning : warnings) warn("zeto live", warning);
    if (fault) throw UserError(*fault + (kept.empty() ? "" : "; " + kept));
    if (recorder_) tell_kept(kept);
    if (options_.calibrate) finish_calibration();
  }

 private:
  void learn_from(const std::string& path) {
    const std::vector<float> quiet = read_calibration(path, set_);
    if (!sensor_->learn_from(quiet)) throw FileError("cannot learn from " + path + ": it is not still in it");
    if (profile_) profile_->learn_from(quiet);
  }

  void listen() {
    for (bool more = true; more && !duplex_.is_over();) {
      more = source_->wait();
      show();
      const bool is_done = options_.calibrate && calibration_.is_complete();
      if (is_done || interrupted || printer_.has_failed()) duplex_.stop();
      if (enter_was_pressed()) duplex_.learn();
    }
  }

  void show() {
    for (LiveReading sensed; duplex_.take(sensed);) {
      while (taken_ < sensed.end) {
        if (take_frames(std::min<uint64_t>(pieces_.size(), sensed.end - taken_)) == 0) break;
      }
      calibration_.take(sensed);
      const uint64_t dropped = duplex_.counts().dropped;
      Happened happened{listener_.heard(), dropped - std::exchange(dropped_, dropped), {}};
      clipped_ += happened.heard.clipped;
      if (profile_) happened.levels = profile_->of(sensed);
      tell_learned(sensed);
      printer_.print(report_.row(sensed, happened));
    }
  }

  size_t take_frames(size_t most) {
    const size_t n = duplex_.take(std::span(pieces_).first(most));
    const auto frames = std::span<const Frame>(pieces_).first(n);
    taken_ += n;
    listener_.take(frames);
    if (profile_) profile_->take(frames);
    if (options_.calibrate) calibration_.take(frames);
    if (recorder_) recorder_->write(frames);
    return n;
  }

  void tell_learned(const LiveReading& sensed) {
    const bool knows = sensed.reading.state == ZETO_HOST_NOBODY || sensed.reading.state == ZETO_HOST_TARGET;
    if (sensed.reading.state == ZETO_HOST_LEARNING) told_ = false;
    if (!knows || told_) return;
    printer_.print(report_.learned(sensed.learned));
    told_ = true;
  }

  void tell_kept(const std::string& kept) {
    if (!options_.json) printer_.print(printable(kept) + "\n");
    if (static_cast<double>(taken_) >= kMostRecordedSeconds * kSampleRate)
      warn("zeto live", "a recording ends after three hours");
  }

  void finish_calibration() {
    if (!calibration_.is_complete()) {
      constexpr uint64_t kEnough = 6 * kSampleRate;
      throw UserError(std::string(kCalibrate) + ": nothing is kept: " +
                      (taken_ < kEnough ? "learning takes up to six seconds"
                                        : "the loudspeaker was not heard, or it was not still"));
    }
    tell_kept(calibration_.save(*options_.calibrate, set_, options_.spacing_cm));
  }

  const LiveOptions& options_;
  const zeto_set set_;
  LiveReport report_;
  Printer printer_;
  std::unique_ptr<Sensor> sensor_;
  Duplex duplex_;
  Listener listener_;
  Calibration calibration_;
  std::optional<RangeProfile> profile_;
  std::optional<Recorder> recorder_;
  std::vector<Frame> pieces_ = std::vector<Frame>(kFrame);
  uint64_t taken_ = 0;    // samples
  uint64_t dropped_ = 0;  // of the counts, told
  uint64_t clipped_ = 0;
  bool told_ = false;               // what was learned
  std::unique_ptr<Source> source_;  // last: the audio thread ends before what it uses
};

}  // namespace

void add_live(CLI::App& app) {
  auto* verb = app.add_subcommand("live", "Play and listen over JACK, and show what is there now");
  const auto options = std::make_shared<LiveOptions>();
  verb->add_option("--set", options->set_name, "What to play and how to listen; see zeto sets")
      ->type_name("NAME")
      ->capture_default_str();
  verb->add_option("--amp-milli", options->amp_milli, "Amplitude, 1/1000 of full scale. Default: the set's, 160")
      ->type_name("N")
      ->check(CLI::Range(1, 1000).description(""));
  verb->add_option("--spacing-cm", options->spacing_cm, "Distance from loudspeaker to microphone")
      ->type_name("CM")
      ->check(CLI::Range(0.0, 100.0).description(""))
      ->capture_default_str();
  verb->add_option("-s,--seconds", options->seconds, "End after this time. Default: Ctrl-C ends it")
      ->type_name("S")
      ->check(CLI::Range(0.01, 1e6).description(""));
  auto* connect = verb->add_option("--connect", options->ports,
                                   "JACK ports to play to and to listen to. Default: the sound\n"
                                   "card's first")
                      ->type_name("SPEAKER MICROPHONE")
                      ->expected(2);
  auto* no_connect = verb->add_flag("--no-connect", options->no_connect, "You connect zeto:speaker and zeto:microphone")
                         ->excludes(connect);
  auto* from = verb->add_option("--from", options->from, "Take a recording's two channels in place of JACK's sound")
                   ->type_name("FILE")
                   ->excludes(connect)
                   ->excludes(no_connect);
  verb->add_option("-r,--record", options->record,
                   "WAV file to write: reference and microphone, as every\n"
                   "other verb takes them; three hours at most")
      ->type_name("FILE")
      ->excludes(from);
  auto* calibrate = verb->add_option("--calibrate", options->calibrate,
                                     "Learn latency and background, with nobody there, store\n"
                                     "them in this WAV file, and end")
                        ->type_name("FILE");
  verb->add_option("--learned", options->learned, "A file written by --calibrate, instead of learning now")
      ->type_name("FILE")
      ->excludes(calibrate);
  verb->add_flag("--json", options->json, "JSON, one object per line");
  verb->add_flag("--profile", options->profile, "With --json: the echoes' levels, one for each cm")->needs("--json");
  verb->footer(
      "A line every 200 ms:\n"
      "  time_s     sound captured so far\n"
      "  ms, cm     the sound's way to the target and back; its distance\n"
      "  >18kHz_dB  microphone above 18 kHz, root mean square against full scale\n"
      "  state      learning, nobody, target, disturbed and why (the bar shows the\n"
      "             distance); with sets that the host kit does not play (default,\n"
      "             finer) accepted or rejected, and the delay of the strongest sound\n"
      "and how many samples were dropped or clipped, if any.\n\n"
      "Keep away for the first three seconds: it learns how the room sounds. If the input\n"
      "is a terminal, Enter makes it learn again. The server must run at 48000 Hz;\n"
      "JACK_DEFAULT_SERVER names a server other than \"default\".\n\n"
      "Examples:\n"
      "  zeto live\n"
      "  zeto live --set room --seconds 60 --record capture.wav\n"
      "  zeto live --calibrate quiet.wav && zeto live --learned quiet.wav\n"
      "  zeto live --connect system:playback_2 system:capture_1 --json\n"
      "  zeto live --from capture.wav");
  verb->callback([options] { Live(*options).run(); });
}

}  // namespace zeto::tool
