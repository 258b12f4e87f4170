// zeto profile: which delays a recording holds, and how strongly.
#include "reports/profile.hpp"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdio>

#include "audio/audio_file.hpp"
#include "audio/channel_check.hpp"
#include "audio/file_list.hpp"
#include "batch.hpp"
#include "cli.hpp"
#include "error.hpp"
#include "parameters/options.hpp"
#include "parameters/unit.hpp"
#include "path/target.hpp"
#include "reports/parameter_warnings.hpp"
#include "reports/run_info.hpp"
#include "reports/sense_report.hpp"
#include "sensing/observer.hpp"
#include "sensing/prepared.hpp"
#include "sensing/sensing.hpp"
#include "text/json.hpp"
#include "text/library_output.hpp"
#include "text/progress.hpp"
#include "text/text.hpp"
#include "verbs/verbs.hpp"
#include "zeto/version.h"

namespace zeto::tool {
namespace {

struct ProfileOptions {
  FileList files;
  bool csv = false;
  bool no_heading = false;
  bool json = false;
  size_t peaks = 5;
  zeto_set set{};
  HostSteps steps;
};

/// What came of a recording.
struct Profiled {
  std::string fault;  ///< then nothing else is set
  std::vector<std::string> warnings;
  size_t analyses = 0;
  Profile profile{};
  std::optional<Latency> latency;
};

double ms_of(const ProfileOptions& options, double bin) {
  return 1000.0 * bin * static_cast<double>(kBinHz) / slope_hz_s(options.set);
}

double cm_of(double ms) {
  return 0.5 * kCmPerSecond * ms / 1000.0;
}

/// Where the direct sound shows.
double direct_bin(const ProfileOptions& options, const Latency& latency, const Prepared& prepared) {
  const double ms = latency.ms + 1000.0 * options.steps.spacing_cm / kCmPerSecond - prepared.held_ms();
  return folded_ms(options.set, ms) / ms_of(options, 1.0);
}

/// @param read  is moved on by the share of the recording that has been read.
Profiled profile_file(const ProfileOptions& options, const std::string& file, std::atomic<double>& read) {
  Profiled profiled;
  try {
    AudioReader reader = open_recording(file, options.set.hear);
    if (!reader.warning().empty()) profiled.warnings.push_back(reader.warning());
    Prepared prepared(file, reader.frames(), options.steps);
    const Latency latency = prepared.found() ? *prepared.found() : find_latency(file, options.steps.spacing_cm);
    if (latency.sureness_db >= kLeastSurenessDb) profiled.latency = latency;
    LevelStatistics levels;
    ChannelCheck check;
    const Observing observing(true, [&](Observation&& seen) { levels.add(seen.levels); });
    const Capture capture = [&](std::span<double> values) {
      reader.read(values);
      check.take(values);
      prepared.apply(values);
      read += 0.5 * static_cast<double>(values.size()) / static_cast<double>(reader.frames());
    };
    profiled.analyses =
        sense({reader.host_format(), SensingOptions{}.buffer, options.set.hear}, reader.frames(), capture, nullptr)
            .size();
    std::optional<double> direct;
    if (profiled.latency) direct = direct_bin(options, latency, prepared);
    profiled.profile = profile_of(levels, direct, options.peaks);
    for (const auto& warning : check.warnings()) profiled.warnings.push_back(file + ": " + warning);
  } catch (const FileError& error) {
    profiled.fault = error.what();
  }
  return profiled;
}

Json json_of(const ProfileOptions& options, const std::string& file, const Profiled& profiled) {
  Json json{{"file", file}, {"parameters", digest_of(options.set, options.steps)}, {"version", ZETO_VERSION_STRING}};
  if (!profiled.fault.empty()) {
    json["error"] = profiled.fault;
    return json;
  }
  const Profile& profile = profiled.profile;
  json["analyses"] = profiled.analyses;
  json["slope_hz_s"] = slope_hz_s(options.set);
  for (const char* name : {"delay_ms", "distance_cm", "median_db"}) json[name] = Json::array();
  for (int bin = 1; bin <= kBins; ++bin) {
    const double ms = ms_of(options, bin);
    json["delay_ms"].push_back(ms);
    json["distance_cm"].push_back(cm_of(ms));
    json["median_db"].push_back(profile.median_db[static_cast<size_t>(bin - 1)]);
  }
  json["floor_db"] = profile.floor_db;
  json["peaks"] = Json::array();
  for (const ProfilePeak& peak : profile.peaks) {
    const double ms = ms_of(options, peak.bin);
    json["peaks"].push_back({{"delay_ms", ms},
                             {"distance_cm", cm_of(ms)},
                             {"level_db", peak.level_db},
                             {"over_floor_db", peak.level_db - profile.floor_db},
                             {"direct", peak.direct}});
  }
  json["latency_ms"] = profiled.latency ? Json(profiled.latency->ms) : Json(nullptr);
  json["sureness_db"] = profiled.latency ? Json(profiled.latency->sureness_db) : Json(nullptr);
  json["threshold_db"] = profile.threshold_db ? Json(*profile.threshold_db) : Json(nullptr);
  return json;
}

constexpr const char* kCsvHeading =
    "file,peak,delay_ms,distance_cm,level_db,over_floor_db,direct,floor_db,latency_ms,threshold_db,";

std::string csv_of(const ProfileOptions& options, const std::string& file, const Profiled& profiled) {
  const std::string name = csv_cell(file);
  const std::string tail = csv_tail({unit_of(options.set), digest_of(options.set, options.steps)}, profiled.fault);
  if (!profiled.fault.empty()) return name + ",,,,,,,,,," + tail;
  const Profile& profile = profiled.profile;
  const std::string rest = text(",%.1f,", profile.floor_db) +
                           (profiled.latency ? text("%.3f", profiled.latency->ms) : "") + "," +
                           (profile.threshold_db ? std::to_string(*profile.threshold_db) : "") + "," + tail;
  std::string lines;
  for (size_t i = 0; i < profile.peaks.size(); ++i) {
    const ProfilePeak& peak = profile.peaks[i];
    const double ms = ms_of(options, peak.bin);
    lines += name +
             text(",%zu,%.3f,%.1f,%.1f,%.1f,%d", i + 1, ms, cm_of(ms), peak.level_db, peak.level_db - profile.floor_db,
                  peak.direct ? 1 : 0) +
             rest;
  }
  return lines.empty() ? name + ",,,,,," + rest : lines;
}

std::string table_of(const ProfileOptions& options, const std::string& file, const Profiled& profiled) {
  if (!profiled.fault.empty()) return "";
  const Profile& profile = profiled.profile;
  std::string lines =
      printable(file) + text(": %zu analyses, noise floor %.1f dB, a bin is %.3g ms or %.3g cm\n", profiled.analyses,
                             profile.floor_db, ms_of(options, 1.0), cm_of(ms_of(options, 1.0)));
  lines += profile.peaks.empty() ? "  nothing stands out of the floor\n"
                                 : "   delay_ms  distance_cm  level_db  over_floor_db\n";
  for (const ProfilePeak& peak : profile.peaks) {
    const double ms = ms_of(options, peak.bin);
    lines +=
        text("  %9.2f  %11.1f  %8.1f  %13.1f%s%s\n", ms, cm_of(ms), peak.level_db, peak.level_db - profile.floor_db,
             peak.bin == 1.0 ? "  1.5 bins or less" : "", peak.direct ? "  direct sound" : "");
  }
  if (profiled.latency) {
    lines += text("  latency: --align %.2f (%.0f dB over other delays)\n", profiled.latency->ms,
                  profiled.latency->sureness_db);
  } else {
    lines += "  latency: not found, no delay stands out of the others\n";
  }
  return lines + (profile.threshold_db ? text("  threshold: --UltraHz-cand-dB %d\n", *profile.threshold_db)
                                       : "  threshold: no proposal, no peak is clear of the noise\n");
}

void profile_files(const ProfileOptions& options) {
  if (slope_hz_s(options.set) <= 0.0) throw UserError("by these parameters nothing is played: see zeto params");
  warn_of("zeto profile", options.set, Side::kEmitter);
  const auto files = options.files.names();
  if (options.csv && !options.no_heading) print(std::string(kCsvHeading) + kCsvTail);
  size_t failed = 0;
  size_t done = 0;
  Progress progress;
  std::atomic<double> read = 0.0;
  const auto work = [&](size_t i) { return profile_file(options, files[i], read); };
  const auto idle = [&] { progress.show_files(read, done, files.size()); };
  const auto use = [&](size_t i, const Profiled& profiled) {
    progress.clear();
    ++done;
    for (const auto& warning : profiled.warnings) warn("zeto profile", warning);
    if (!profiled.fault.empty()) {
      ++failed;
      complain("zeto profile", profiled.fault);
    }
    print(options.json  ? text_of(json_of(options, files[i], profiled)) + "\n"
          : options.csv ? csv_of(options, files[i], profiled)
                        : table_of(options, files[i], profiled));
  };
  in_order(files.size(), jobs_of(0), work, use, idle);
  if (failed > 0) throw SomeFilesFailed();
}

}  // namespace

void add_profile(CLI::App& app) {
  auto* verb =
      app.add_subcommand("profile", "Show which delays a recording contains, and propose latency and threshold");
  const auto options = std::make_shared<ProfileOptions>();
  add_files(*verb, options->files, kRecordings);
  verb->add_option("--peaks", options->peaks, "Strongest peaks to show, at most")
      ->type_name("N")
      ->check(CLI::Range(size_t{1}, size_t{128}).description(""))
      ->capture_default_str();
  verb->add_flag("--csv", options->csv, "Comma-separated values: a line per peak");
  verb->add_flag("--no-heading", options->no_heading, "With --csv: leave the first line out");
  verb->add_flag("--json", options->json, "JSON, one object per recording, with the median of every bin")
      ->excludes("--csv");
  add_host_steps(*verb, options->steps);
  add_parameter_options(*verb, options->set, Side::kBoth);
  verb->footer(
      "The median, bin by bin, of all 18 spectra of all analyses, as the detector computes\n"
      "them. Its peaks are the paths of the sound, whether the detector accepts them or\n"
      "not: zeto sense measures only the strongest.\n"
      "  delay_ms       between bins, from the levels of two of them. Delays below 1.5 bins\n"
      "                 show at 1 bin; beyond half a sweep they fold (600 ms of 1000 at 400)\n"
      "  distance_cm    half of the sound's way in that time, at 343 m/s\n"
      "  over_floor_db  level above the floor, which is the median of all bins\n"
      "  direct sound   the peak at which both channels correlate most: the loudspeaker\n"
      "                 itself, or the strongest echo if the microphone does not hear it\n"
      "  latency        of the device, as --align auto finds it\n"
      "  threshold      halfway between the noise's strongest bins and the level that the\n"
      "                 strongest peak exceeds in three quarters of the spectra in which no\n"
      "                 other is stronger\n"
      "Emitter parameters say what was played. With --align, delays are counted from the\n"
      "latency, and the direct sound is in bin 0, which the detector ignores; with\n"
      "--UltraHz-delay-ms 10 or more, they are counted from 200 ms. Sound that --background\n"
      "subtracts does not show.\n\n"
      "Examples:\n"
      "  zeto profile capture.wav\n"
      "  zeto profile --set hand --align auto --background 0.5-2.5 hand.wav\n"
      "  zeto profile --csv *.wav > peaks.csv\n"
      "  zeto profile --json capture.wav > profile.json");
  verb->callback([options] { profile_files(*options); });
}

}  // namespace zeto::tool
