// zeto sense: recordings in, measurements out.
#include <algorithm>
#include <atomic>
#include <cstdio>
#include <optional>
#include <utility>

#include "audio/audio_file.hpp"
#include "audio/channel_check.hpp"
#include "audio/file_list.hpp"
#include "audio/host_sample.hpp"
#include "batch.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "parameters/options.hpp"
#include "parameters/unit.hpp"
#include "reports/kit_report.hpp"
#include "reports/parameter_warnings.hpp"
#include "reports/run_info.hpp"
#include "reports/sense_report.hpp"
#include "sensing/kit.hpp"
#include "sensing/observer.hpp"
#include "sensing/prepared.hpp"
#include "sensing/sensing.hpp"
#include "text/library_output.hpp"
#include "text/progress.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"

namespace zeto::tool {
namespace {

struct SenseOptions {
  FileList files;
  std::optional<std::string> out;
  std::optional<int32_t> format;
  int64_t buffer = SensingOptions{}.buffer;
  int jobs = 0;
  bool summary = false;
  bool detail = false;
  bool csv = false;
  bool no_heading = false;
  bool json = false;
  zeto_set set{};
  HostSteps steps;

  /// With a set that the host kit plays the kit listens, unless single steps of a host are asked for.
  bool by_kit() const { return is_for_kit(set) && !steps.any(); }
};

ReportOptions report_options(const SenseOptions& options, const std::vector<std::string>& files) {
  ReportOptions report;
  report.style = options.json ? ReportStyle::kJson : options.csv ? ReportStyle::kCsv : ReportStyle::kTable;
  report.summary = options.summary;
  report.detail = options.detail;
  const std::string format = options.format ? text("format %d", *options.format) : "";
  report.info = {unit_of(options.set), digest_of(options.set, options.steps, format)};
  report.fit(files);
  return report;
}

/// What came of a recording; one that is at fault does not stop the others.
struct Outcome {
  std::string report;
  std::string fault;
  std::vector<std::string> warnings;
  std::optional<Latency> found;
  bool nothing = false;  ///< was accepted, and no warning tells why
};

/// @param read  is moved on by the share of the recording that has been read.
Sensed sense_file(const SenseOptions& options, const std::string& file, std::atomic<double>& read, Outcome& outcome) {
  const zeto_tx_param& param = options.set.hear;
  AudioReader reader = open_recording(file, param);
  if (!reader.warning().empty()) outcome.warnings.push_back(reader.warning());
  const HostFormat format = options.format ? HostFormat{*options.format} : reader.host_format();
  Prepared prepared(file, reader.frames(), options.steps);
  outcome.found = prepared.found();
  std::optional<AudioWriter> writer;
  if (options.out) {
    if (static_cast<double>(reader.frames()) > kMaxSeconds * kSampleRate) {
      throw UserError("cannot write " + *options.out + ": longer than six hours");
    }
    writer.emplace(*options.out, format);
  }
  ChannelCheck check;
  const Capture capture = [&](std::span<double> values) {
    reader.read(values);
    check.take(values);
    prepared.apply(values);
    read += 0.5 * static_cast<double>(values.size()) / static_cast<double>(reader.frames());
  };
  Sensed sensed;
  std::optional<Observing> observing;
  if (options.detail) observing.emplace(false, [&](Observation&& seen) { sensed.seen.push_back(std::move(seen)); });
  sensed.analyses = sense({format, options.buffer, param}, reader.frames(), capture, writer ? &*writer : nullptr);
  if (writer) writer->commit();
  for (const auto& warning : check.warnings()) outcome.warnings.push_back(file + ": " + warning);
  outcome.nothing = outcome.warnings.empty() &&
                    std::none_of(sensed.analyses.begin(), sensed.analyses.end(), [](auto& a) { return a.accepted(); });
  return sensed;
}

KitRun watch_file(const SenseOptions& options, const std::string& file, std::atomic<double>& read, Outcome& outcome) {
  AudioReader reader = open_recording(file, {});
  if (!reader.warning().empty()) outcome.warnings.push_back(reader.warning());
  Kit kit(options.set, options.steps.spacing_cm);
  KitRun run;
  ChannelCheck check;
  std::vector<double> values(2 * 65536);
  std::vector<float> microphone;
  for (size_t got = values.size(); got == values.size();) {
    got = reader.read(values);
    check.take(std::span(values).first(got));
    microphone.clear();
    for (size_t i = 1; i < got; i += 2) microphone.push_back(to_float(values[i]));
    kit.take(microphone, run.readings);
    read += 0.5 * static_cast<double>(got) / static_cast<double>(reader.frames());
  }
  for (const auto& warning : check.warnings()) outcome.warnings.push_back(file + ": " + warning);
  run.seconds = static_cast<double>(reader.frames()) / kSampleRate;
  run.findings = kit.findings();
  return run;
}

void sense_files(const SenseOptions& options) {
  const auto files = options.files.names();
  if (options.out && files.size() > 1) throw UserError("--out: takes one recording only");
  if (options.out && options.by_kit()) throw UserError("--out: the host kit, which plays this set, returns no channel");
  if (options.out && *options.out == "-") throw UserError("--out: the measurements go to standard output");
  if (options.detail && options.summary) throw UserError("--detail: not with --summary");
  if (options.detail && options.by_kit()) throw UserError("--detail: the host kit, which plays this set, has none");
  const SenseReport report(report_options(options, files));
  const KitReport kit_report(report_options(options, files));
  std::string heading = options.by_kit() ? kit_report.heading() : report.heading();
  if (options.no_heading) heading.clear();
  if (!options.by_kit()) warn_of("zeto sense", options.set, Side::kDetector);
  std::atomic<double> read = 0.0;
  size_t done = 0;
  size_t failed = 0;
  size_t nothing = 0;
  std::string first_nothing;
  Progress progress;
  const auto work = [&](size_t i) {
    Outcome outcome;
    try {
      outcome.report = options.by_kit() ? kit_report.of(files[i], watch_file(options, files[i], read, outcome))
                                        : report.of(files[i], sense_file(options, files[i], read, outcome));
    } catch (const FileError& error) {
      outcome.fault = error.what();
      outcome.report =
          options.by_kit() ? kit_report.of_failure(files[i], error.what()) : report.of_failure(files[i], error.what());
    }
    return outcome;
  };
  const auto show_progress = [&] {
    progress.show_files(read, done, files.size(), failed > 0 ? text(", %zu failed", failed) : "");
  };
  const auto use = [&](size_t i, const Outcome& outcome) {
    progress.clear();
    ++done;
    for (const auto& warning : outcome.warnings) warn("zeto sense", warning);
    if (outcome.found) tell("zeto sense", files[i], *outcome.found);
    if (!outcome.fault.empty()) {
      ++failed;
      complain("zeto sense", outcome.fault);
    }
    if (outcome.nothing && nothing++ == 0) first_nothing = files[i];
    if (!outcome.report.empty()) print(std::exchange(heading, "") + outcome.report);
    show_progress();  // short recordings leave no time for it between them
  };
  in_order(files.size(), jobs_of(options.jobs), work, use, show_progress);
  progress.clear();
  if (nothing > 0) {
    const std::string where = files.size() == 1 ? "" : text(" in %zu of %zu recordings", nothing, files.size());
    complain("zeto sense", "nothing was accepted" + where + "; zeto profile " + first_nothing +
                               " shows what is there, and proposes a threshold");
  }
  if (failed > 0) throw SomeFilesFailed();
}

}  // namespace

void add_sense(CLI::App& app) {
  auto* verb = app.add_subcommand("sense", "Measure the echo in recordings: pass them through the uplink wrapper");
  const auto options = std::make_shared<SenseOptions>();
  add_files(*verb, options->files, kRecordings);
  verb->add_flag("--summary", options->summary, "One line per recording rather than per analysis");
  verb->add_flag("--detail", options->detail,
                 "What the detector saw: peaks that count, how many agree,\n"
                 "their median frequency and level, why it was rejected");
  verb->add_flag("--csv", options->csv, "Comma-separated values");
  verb->add_flag("--no-heading", options->no_heading, "Leave the first line out");
  verb->add_flag("--json", options->json, "JSON, one object per recording, each on a line")->excludes("--csv");
  verb->add_option("-j,--jobs", options->jobs, "Recordings to work on at a time. Default: one per processor")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  verb->add_option("-o,--out", options->out,
                   "File to write: the output channel that the wrapper\n"
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
      "  time_s       end of the 200 ms, from the start of the recording\n"
      "  measurement  a whole number in the unit of --UltraHz-period; or \"rejected\". With\n"
      "               the defaults it is the echo's delay in ms, folded at 500 (600 ms\n"
      "               reads 400), in steps of 3.91 ms\n"
      "Recordings come in the order given. The columns of --csv are the same for any number\n"
      "of them. The first is the name; status is accepted or rejected, or error if the\n"
      "recording cannot be sensed; the last two are a digest of all parameters and the\n"
      "tool's version. --summary shows for each recording the seconds analysed, the number\n"
      "of analyses, how many were accepted, and the median, least and greatest measurement\n"
      "of these.\n\n"
      "With a set of sweeps that start over (--set hand; zeto sets lists them) the host\n"
      "kit listens to the microphone. It learns in the first three seconds, with nobody\n"
      "there, and writes a line every 200 ms: time_s, state (learning, nobody, target,\n"
      "disturbed and why), distance_cm and level_db of a target. With --align or\n"
      "--background the detector alone listens, with the set's parameters.\n\n"
      "A recording that cannot be sensed is reported on standard error, the others are\n"
      "sensed all the same, and the exit status is 1.\n\n"
      "Examples:\n"
      "  zeto simulate --delay-ms 50 --wav capture.wav    make a recording\n"
      "  zeto sense capture.wav\n"
      "  zeto sense --csv capture.wav > capture.csv\n"
      "  zeto sense --detail capture.wav\n"
      "  zeto sense --summary *.wav\n"
      "  find . -name '*.wav' -print0 | zeto sense --summary --csv --files-from -\n"
      "  arecord -d 5 -t raw -f S16_LE -r 48000 -c 2 | zeto sense --raw s16 -\n"
      "  zeto sense --set hand hand.wav\n"
      "  zeto sense --align auto --background 0.5-2.5 capture.wav\n"
      "  zeto sense -f 4 -b 1000 -o levels.wav capture.wav");
  verb->callback([options] { sense_files(*options); });
}

}  // namespace zeto::tool
