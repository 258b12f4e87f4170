// zeto sense: recordings in, measurements out.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <optional>
#include <thread>

#include "audio_file.hpp"
#include "batch.hpp"
#include "error.hpp"
#include "host_sample.hpp"
#include "kit.hpp"
#include "kit_report.hpp"
#include "library_output.hpp"
#include "options.hpp"
#include "prepared.hpp"
#include "progress.hpp"
#include "sense_report.hpp"
#include "sensing.hpp"
#include "text.hpp"
#include "verbs.hpp"

namespace zeto::tool {
namespace {

struct SenseOptions {
  std::vector<std::string> files;
  std::optional<std::string> out;
  std::optional<int32_t> format;
  int64_t buffer = SensingOptions{}.buffer;
  int jobs = 0;
  bool summary = false;
  bool csv = false;
  bool json = false;
  zeto_set set{};
  HostSteps steps;

  /// With a set that the host kit plays the kit listens, unless single steps of a host are asked for.
  bool by_kit() const { return is_for_kit(set) && !steps.any(); }
};

ReportStyle style_of(const SenseOptions& options) {
  return options.json ? ReportStyle::kJson : options.csv ? ReportStyle::kCsv : ReportStyle::kTable;
}

/// What is told about a recording on standard error.
struct Told {
  std::string warning;
  std::optional<Latency> found;
};

/// @param sensed  is moved on by the samples that have been read.
std::vector<Analysis> sense_file(const SenseOptions& options, const std::string& file, std::atomic<int64_t>& sensed,
                                 Told& told) {
  const zeto_tx_param& param = options.set.hear;
  AudioReader reader = open_recording(file, param);
  told.warning = reader.warning();
  const HostFormat format = options.format ? HostFormat{*options.format} : reader.host_format();
  Prepared prepared(file, reader.frames(), options.steps);
  told.found = prepared.found();
  std::optional<AudioWriter> writer;
  if (options.out) {
    if (static_cast<double>(reader.frames()) > kMaxSeconds * kSampleRate) {
      throw UserError("cannot write " + *options.out + ": longer than six hours");
    }
    writer.emplace(*options.out, format);
  }
  const Capture capture = [&](std::span<double> values) {
    reader.read(values);
    prepared.apply(values);
    sensed += static_cast<int64_t>(values.size() / 2);
  };
  auto analyses = sense({format, options.buffer, param}, reader.frames(), capture, writer ? &*writer : nullptr);
  if (writer) writer->commit();
  return analyses;
}

KitRun watch_file(const SenseOptions& options, const std::string& file, std::atomic<int64_t>& sensed, Told& told) {
  AudioReader reader = open_recording(file, {});
  told.warning = reader.warning();
  Kit kit(options.set, options.steps.spacing_cm);
  KitRun run;
  std::vector<double> values(2 * 65536);
  std::vector<float> microphone;
  for (size_t got = values.size(); got == values.size();) {
    got = reader.read(values);
    microphone.clear();
    for (size_t i = 1; i < got; i += 2) microphone.push_back(to_float(values[i]));
    kit.take(microphone, run.readings);
    sensed += static_cast<int64_t>(got / 2);
  }
  run.seconds = static_cast<double>(reader.frames()) / kSampleRate;
  run.findings = kit.findings();
  return run;
}

/// What came of a recording; one that is at fault does not stop the others.
struct Outcome {
  std::string report;
  std::optional<std::string> fault;
  Told told;
};

Outcome outcome_of(const SenseOptions& options, const std::string& file, std::atomic<int64_t>& sensed) {
  Outcome outcome;
  try {
    if (options.by_kit()) {
      outcome.report = KitReport(style_of(options), options.summary, options.files)
                           .of(file, watch_file(options, file, sensed, outcome.told));
    } else {
      outcome.report = SenseReport(style_of(options), options.summary, options.files)
                           .of(file, sense_file(options, file, sensed, outcome.told));
    }
  } catch (const FileError& error) {
    outcome.fault = error.what();
  }
  return outcome;
}

size_t jobs_of(const SenseOptions& options) {
  return options.jobs > 0 ? static_cast<size_t>(options.jobs) : std::max(1u, std::thread::hardware_concurrency());
}

void sense_files(const SenseOptions& options) {
  if (options.out && options.files.size() > 1) throw UserError("--out: takes one recording only");
  if (options.out && options.by_kit()) throw UserError("--out: the host kit, which plays this set, returns no channel");
  const SenseReport report(style_of(options), options.summary, options.files);
  const std::string heading =
      options.by_kit() ? KitReport(style_of(options), options.summary, options.files).heading() : report.heading();
  std::atomic<int64_t> sensed = 0;
  size_t done = 0;
  size_t failed = 0;
  bool headed = false;
  Progress progress;
  const auto work = [&](size_t i) { return outcome_of(options, options.files[i], sensed); };
  const auto show_progress = [&] {
    const auto minutes = static_cast<double>(sensed) / kSampleRate / 60.0;
    progress.show(
        text("%zu of %zu recordings, %zu failed; %.1f min of audio", done, options.files.size(), failed, minutes));
  };
  const auto use = [&](size_t i, const Outcome& outcome) {
    progress.clear();
    ++done;
    warn("zeto sense", outcome.told.warning);
    if (outcome.told.found) tell("zeto sense", options.files[i], *outcome.told.found);
    if (outcome.fault) {
      ++failed;
      complain("zeto sense", *outcome.fault);
      print(report.of_failure(options.files[i], *outcome.fault));
    } else {
      print((headed ? "" : heading) + outcome.report);
      headed = true;
    }
    show_progress();  // short recordings leave no time for it between them
  };
  in_order(options.files.size(), jobs_of(options), work, use, show_progress);
  if (failed > 0) throw SomeFilesFailed();
}

}  // namespace

void add_sense(CLI::App& app) {
  auto* verb = app.add_subcommand("sense", "Measure the echo in recordings: pass them through the uplink wrapper");
  const auto options = std::make_shared<SenseOptions>();
  verb->add_option("captures", options->files,
                   "Audio files (48000 Hz, two channels): the first the\n"
                   "reference, what was played; the second the microphone")
      ->type_name("FILE")
      ->required();
  verb->add_flag("--summary", options->summary, "One line per recording rather than per analysis");
  verb->add_flag("--csv", options->csv, "Comma-separated values");
  verb->add_flag("--json", options->json, "JSON, one object per recording, each on a line")->excludes("--csv");
  verb->add_option("-j,--jobs", options->jobs, "Recordings to work on at a time. Default: one per processor")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  verb->add_option("-o,--out", options->out,
                   "WAV file to write: the output channel that the wrapper\n"
                   "returns, mono, in the host's format; one recording only")
      ->type_name("FILE");
  verb->add_option("-f,--format", options->format,
                   "The host's sample format: 1 16-bit, 2 24-bit, 3 32-bit,\n"
                   "4 float. Default: as in the file, otherwise 1")
      ->type_name("1..4")
      ->check(CLI::Range(1, 4).description(""));
  verb->add_option("-b,--buffer", options->buffer,
                   "Samples per call of the wrapper; makes no difference to\n"
                   "the results")
      ->type_name("N")
      ->check(CLI::Range(int64_t{1}, kMaxBuffer).description(""))
      ->capture_default_str();
  add_host_steps(*verb, options->steps);
  add_parameter_options(*verb, options->set, Side::kDetector);
  verb->footer(
      "One line per analysis, which covers 200 ms:\n"
      "  time_s       where in the recording the 200 ms end\n"
      "  measurement  whole, in the unit of --UltraHz-period; or \"rejected\". With the\n"
      "               defaults the echo's delay in ms, folded at 500 (600 ms reads\n"
      "               400), in steps of 3.91 ms\n"
      "With --csv a column says accepted or rejected, and a rejected one's measurement\n"
      "is empty. Several recordings are told apart by a first column, their name, and\n"
      "come in the order given. --summary gives for each how many seconds were analysed,\n"
      "in how many analyses, how many of these were accepted, and of those the median,\n"
      "least and greatest measurement.\n"
      "With a set of sweeps that start over (--set hand; zeto sets lists them) the host\n"
      "kit listens to the microphone: it learns in the first three seconds, with nobody\n"
      "there, and gives a line every 200 ms: time_s, state (learning, nobody, target,\n"
      "disturbed and why), distance_cm and level_db of a target. With --align or\n"
      "--background the detector alone listens, by the set's parameters.\n\n"
      "A recording that cannot be sensed is reported on standard error, the others are\n"
      "sensed all the same, and the exit status is 1.\n\n"
      "Examples:\n"
      "  zeto simulate --delay-ms 50 --wav capture.wav    make a recording\n"
      "  zeto sense capture.wav\n"
      "  zeto sense --csv capture.wav > capture.csv\n"
      "  zeto sense --summary *.wav\n"
      "  zeto sense --set hand hand.wav\n"
      "  zeto sense --align auto --background 0.5-2.5 capture.wav\n"
      "  zeto sense -f 4 -b 1000 -o levels.wav capture.wav");
  verb->callback([options] { sense_files(*options); });
}

}  // namespace zeto::tool
