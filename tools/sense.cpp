// zeto sense: a recording in, measurements out.
#include <cstdio>
#include <optional>

#include "audio_file.hpp"
#include "error.hpp"
#include "host_sample.hpp"
#include "options.hpp"
#include "sensing.hpp"
#include "verbs.hpp"

namespace zeto::tool {
namespace {

struct SenseOptions {
  std::string file;
  std::optional<std::string> out;
  std::optional<int32_t> format;
  int64_t buffer = SensingOptions{}.buffer;
  bool csv = false;
  zeto_tx_param param = kDetectorDefaults;
};

std::vector<Analysis> sense_file(const SenseOptions& options) {
  AudioReader reader(options.file, 2);
  if (const int64_t needed = shortest_sensed(options.param); reader.frames() < needed) {
    throw UserError("cannot sense " + options.file + ": the first analysis takes " + std::to_string(needed) +
                    " samples, it has " + std::to_string(reader.frames()));
  }
  const HostFormat format = options.format ? HostFormat{*options.format} : reader.host_format();
  std::optional<AudioWriter> writer;
  if (options.out) {
    if (static_cast<double>(reader.frames()) > kMaxSeconds * kSampleRate) {
      throw UserError("cannot write " + *options.out + ": longer than six hours");
    }
    writer.emplace(*options.out, format);
  }
  const Capture capture = [&](std::span<double> values) { reader.read(values); };
  auto analyses = sense({format, options.buffer, options.param}, reader.frames(), capture, writer ? &*writer : nullptr);
  if (writer) writer->commit();
  return analyses;
}

void print(const std::vector<Analysis>& analyses, bool csv) {
  std::puts(csv ? "time_s,status,measurement" : "  time_s  measurement");
  for (const Analysis& analysis : analyses) {
    if (analysis.accepted()) {
      std::printf(csv ? "%.1f,accepted,%d\n" : "%8.1f  %11d\n", analysis.end_s, analysis.value);
    } else {
      std::printf(csv ? "%.1f,rejected,\n" : "%8.1f     rejected\n", analysis.end_s);
    }
  }
}

}  // namespace

void add_sense(CLI::App& app) {
  auto* verb = app.add_subcommand("sense", "Measure the echo in a recording: pass it through the uplink wrapper");
  const auto options = std::make_shared<SenseOptions>();
  verb->add_option("capture", options->file,
                   "Audio file (48000 Hz, two channels): the first the\n"
                   "reference, what was played; the second the microphone")
      ->type_name("FILE")
      ->required();
  verb->add_flag("--csv", options->csv, "Comma-separated values");
  verb->add_option("-o,--out", options->out,
                   "WAV file to write: the output channel that the wrapper\n"
                   "returns, mono, in the host's format")
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
  add_detector_options(*verb, options->param);
  verb->footer(
      "One line per analysis, which covers 200 ms:\n"
      "  time_s       where in the recording the 200 ms end\n"
      "  measurement  whole, in the unit of --UltraHz-period; or \"rejected\". With the\n"
      "               defaults the echo's delay in ms, folded at 500 (600 ms reads\n"
      "               400), in steps of 3.91 ms\n"
      "With --csv a column says accepted or rejected, and a rejected one's measurement\n"
      "is empty.\n\n"
      "Examples:\n"
      "  zeto simulate --delay-ms 50 --wav capture.wav    make a recording\n"
      "  zeto sense capture.wav\n"
      "  zeto sense --csv capture.wav > capture.csv\n"
      "  zeto sense -f 4 -b 1000 -o levels.wav capture.wav");
  verb->callback([options] { print(sense_file(*options), options->csv); });
}

}  // namespace zeto::tool
