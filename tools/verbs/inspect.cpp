// zeto inspect: what is in files of chirp, measured from their samples.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <new>

#include "audio/audio_file.hpp"
#include "audio/file_list.hpp"
#include "audio/measured_chirp.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "text/progress.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"
#include "zeto/version.h"

namespace zeto::tool {
namespace {

struct InspectOptions {
  FileList files;
  int channel = 0;
  bool no_heading = false;
  bool csv = false;
};

using Row = std::array<std::string, 10>;
const Row kHeading{"file",   "encoding", "samples",         "peak",  "start_hz",
                   "end_hz", "sweep_s",  "latency_samples", "error", "version"};

/// A number, or nothing if it could not be measured.
std::string cell(double value, int digits) {
  return std::isfinite(value) ? text("%.*f", digits, value) : "";
}

using OnRead = std::function<void(double share)>;

std::vector<float> read_all(AudioReader& reader, const std::string& path, int channel, const OnRead& on_read) {
  std::vector<float> samples;
  constexpr int64_t kBelieved = int64_t{1} << 24;  // a header may promise anything
  samples.reserve(static_cast<size_t>(std::min(reader.frames(), kBelieved)));
  const auto channels = static_cast<size_t>(reader.channels());
  std::vector<double> piece(16384 * channels);
  size_t not_numbers = 0;
  for (size_t got = piece.size(); got == piece.size();) {
    got = reader.read(piece);
    for (size_t i = static_cast<size_t>(channel); i < got; i += channels) {
      const bool is_number = !std::isnan(piece[i]);
      not_numbers += is_number ? 0 : 1;
      samples.push_back(is_number ? to_float(piece[i]) : 0.0F);
    }
    on_read(static_cast<double>(samples.size()) / static_cast<double>(reader.frames()));
  }
  if (not_numbers > 0) {
    warn("zeto inspect",
         text("%s: %zu of %zu samples are no numbers and count as 0", path.c_str(), not_numbers, samples.size()));
  }
  return samples;
}

/// @param channel  from 1; 0: the only one.
Row measure(const std::string& path, int channel, const OnRead& on_read) {
  AudioReader reader(path, AudioReader::kAnyChannels);
  const int channels = reader.channels();
  if (channel > channels || (channel == 0 && channels > 1)) {
    throw FileError("cannot read " + path + ": it has " + std::to_string(channels) +
                    (channels == 1 ? " channel" : " channels") +
                    (channel == 0 ? "; --channel chooses one" : ", no channel " + std::to_string(channel)));
  }
  warn("zeto inspect", reader.warning());
  const std::vector<float> samples = read_all(reader, path, std::max(0, channel - 1), on_read);
  const MeasuredChirp sweep = measure_chirp(samples, kSampleRate);
  return {path,
          reader.encoding(),
          std::to_string(samples.size()),
          cell(sweep.peak, 4),
          cell(sweep.start_hz, 1),
          cell(sweep.end_hz, 1),
          sweep.period ? cell(static_cast<double>(*sweep.period) / kSampleRate, 3) : "",
          sweep.latency ? std::to_string(*sweep.latency) : "",
          "",
          ZETO_VERSION_STRING};
}

void print_csv(const Row& row) {
  for (size_t i = 0; i < row.size(); ++i) std::printf("%s%s", i == 0 ? "" : ",", csv_cell(row[i]).c_str());
  std::putchar('\n');
}

void print_columns(const Row& row, int file_width) {
  constexpr std::array<int, 8> kWidths{0, -12, 9, 7, 9, 9, 8, 16};
  std::printf("%-*s", file_width, printable(row[0]).c_str());
  for (size_t i = 1; i < kWidths.size(); ++i) std::printf(" %*s", kWidths[i], row[i].empty() ? "-" : row[i].c_str());
  std::putchar('\n');
}

void inspect(const InspectOptions& options) {
  const auto files = options.files.names();
  size_t width = kHeading[0].size();
  for (const auto& path : files) width = std::max(width, printable(path).size());
  const auto print = [&](const Row& row) {
    options.csv ? print_csv(row) : print_columns(row, static_cast<int>(width));
  };
  bool failed = false;
  bool heading = options.no_heading;
  Progress progress;
  size_t done = 0;
  for (const auto& path : files) {
    const auto on_read = [&](double share) {
      progress.show_files(static_cast<double>(done) + share, done, files.size());
    };
    std::string fault;
    try {
      const Row row = measure(path, options.channel, on_read);
      progress.clear();
      if (!heading) print(kHeading);
      heading = true;
      print(row);
    } catch (const FileError& error) {  // the others still count
      fault = error.what();
    } catch (const std::bad_alloc&) {
      fault = "cannot read " + path + ": too long for this machine's memory";
    }
    if (!fault.empty()) {
      failed = true;
      progress.clear();
      complain("zeto inspect", fault);
      if (options.csv) {
        if (!heading) print(kHeading);
        heading = true;
        print({path, "", "", "", "", "", "", "", fault, ZETO_VERSION_STRING});
      }
    }
    ++done;
  }
  if (failed) throw SomeFilesFailed();
}

}  // namespace

void add_inspect(CLI::App& app) {
  auto* verb = app.add_subcommand("inspect", "Measure a file of chirp: peak, start and end frequency, latency");
  const auto options = std::make_shared<InspectOptions>();
  add_files(*verb, options->files, "Audio files (48000 Hz, mono, or see --channel)");
  verb->add_option("--channel", options->channel, "Which channel, from 1, of files with several")
      ->type_name("N")
      ->check(CLI::Range(1, 1024).description(""));
  verb->add_flag("--csv", options->csv, "Comma-separated values");
  verb->add_flag("--no-heading", options->no_heading, "Leave the first line out");
  verb->footer(
      "One line per file, measured from its samples alone:\n"
      "  samples          length\n"
      "  peak             largest absolute sample, full scale 1\n"
      "  start_hz         frequency at the first sample of the first sweep, fitted over 20 ms\n"
      "  end_hz           frequency at its last sample, fitted over 20 ms; the file's last\n"
      "                   sample if the sweep does not start again within the file\n"
      "  sweep_s          seconds until the sweep starts again\n"
      "  latency_samples  zeros at the start; 479 for what a fresh wrapper returns\n"
      "Missing values are a dash (empty with --csv).\n\n"
      "Examples:\n"
      "  zeto inspect chirp.wav\n"
      "  zeto inspect --csv *.wav > chirps.csv");
  verb->callback([options] { inspect(*options); });
}

}  // namespace zeto::tool
