#include "live/live_report.hpp"

#include <algorithm>
#include <cmath>

#include "audio/audio_file.hpp"
#include "parameters/parameters.hpp"
#include "path/target.hpp"
#include "reports/kit_report.hpp"
#include "text/json.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr double kCmPerMs = kCmPerSecond / 1000.0;
constexpr int kBar = 20;  // characters: a row is not longer than a terminal's

double seconds_of(uint64_t samples) {
  return static_cast<double>(samples) / kSampleRate;
}

std::string decimals(bool there, int places, double value) {
  return there ? text("%.*f", places, value) : "-";
}

Json if_there(bool there, double value) {
  return there ? Json(value) : Json(nullptr);
}

double mean_us(const Counts& counts) {
  return counts.callbacks > 0 ? static_cast<double>(counts.total_ns) / static_cast<double>(counts.callbacks) / 1e3 : 0;
}

}  // namespace

struct LiveReport::Shown {
  std::string state;
  bool there;
  double ms;  // the sound's way to the target and back
  double cm;
};

LiveReport::LiveReport(const zeto_set& set, double spacing_cm, bool json)
    : set_(set), spacing_cm_(spacing_cm), by_kit_(is_for_kit(set)), json_(json) {}

LiveReport::Shown LiveReport::shown(const LiveReading& sensed) const {
  if (by_kit_) {
    const double cm = static_cast<double>(sensed.reading.distance_cm);
    return {state_text(sensed.reading), sensed.reading.state == ZETO_HOST_TARGET,
            2.0 * std::hypot(cm, 0.5 * spacing_cm_) / kCmPerMs, cm};
  }
  const bool accepted = sensed.measurement != ZETO_REJECTED;
  const double ms = static_cast<double>(sensed.measurement) * set_.chirp.period_ms / set_.hear.UltraHz_period;
  return {accepted ? "accepted" : "rejected", accepted, ms, 0.5 * ms * kCmPerMs};
}

std::string LiveReport::heading(const std::string& source, uint32_t buffer) const {
  if (json_) {
    Json json{{"set", set_.name}, {"rate", kSampleRate}, {"source", source}};
    if (buffer > 0) json["buffer"] = buffer;
    return text_of(json) + "\n";
  }
  return text("zeto live, set %s: %s\n time_s      ms      cm  >18kHz_dB  state\n", set_.name,
              printable(source).c_str());
}

std::string LiveReport::row(const LiveReading& sensed, const Happened& happened) const {
  const Shown now = shown(sensed);
  if (!json_) {
    std::string line =
        text("%7.1f  %6s  %6s  %9.1f  %-21s%s", seconds_of(sensed.end), decimals(now.there, 2, now.ms).c_str(),
             decimals(now.there, 1, now.cm).c_str(), happened.heard.ultrasound_db, now.state.c_str(), bar(now).c_str());
    if (happened.dropped > 0) line += text("  %llu dropped", static_cast<unsigned long long>(happened.dropped));
    if (happened.heard.clipped > 0) {
      line += text("  %llu clipped", static_cast<unsigned long long>(happened.heard.clipped));
    }
    return line + "\n";
  }
  const std::string cause = cause_name(sensed.reading);
  Json json{{"time_s", seconds_of(sensed.end)},
            {"state", by_kit_ ? state_name(sensed.reading) : now.state},
            {"cause", cause.empty() ? Json(nullptr) : Json(cause)},
            {"delay_ms", if_there(now.there, now.ms)},
            {"distance_cm", if_there(now.there, now.cm)},
            {"speed_cm_s", if_there(now.there && by_kit_, static_cast<double>(sensed.reading.speed_cm_s))},
            {"level_db", if_there(now.there && by_kit_, static_cast<double>(sensed.reading.level_db))},
            {"ultrasound_db", happened.heard.ultrasound_db},
            {"dropped", happened.dropped},
            {"clipped", happened.heard.clipped}};
  if (!happened.levels.empty()) {
    json["profile_db"] = Json::array();
    for (const float level : happened.levels) json["profile_db"].push_back(std::lrint(level));
  }
  return text_of(json) + "\n";
}

std::string LiveReport::bar(const Shown& shown) const {
  const double share = shown.there ? shown.cm / static_cast<double>(set_.greatest_cm) : 0.0;
  const auto full = static_cast<size_t>(std::lrint(std::clamp(share, 0.0, 1.0) * kBar));
  std::string line = "|";
  line.append(full, '=').append(1, shown.there ? '#' : ' ').append(kBar - full, ' ');
  return line.append("|");
}

std::string LiveReport::learned(const zeto_host_findings& findings) const {
  if (json_) {
    return text_of({{"learned",
                     {{"latency_ms", findings.latency_ms},
                      {"sureness_db", findings.sureness_db},
                      {"background_db", findings.background_db},
                      {"drift_ppm", findings.drift_ppm}}}}) +
           "\n";
  }
  return text("learned: latency %.2f ms (modulo 200), sureness %.0f dB, background %.0f dB over the noise\n",
              static_cast<double>(findings.latency_ms), static_cast<double>(findings.sureness_db),
              static_cast<double>(findings.background_db));
}

std::string LiveReport::summary(double seconds, const Counts& counts, uint64_t clipped, uint32_t buffer) const {
  const double worst_us = static_cast<double>(counts.worst_ns) / 1e3;
  const double deadline_us = 1e6 * buffer / kSampleRate;
  const bool is_timed = buffer > 0;
  if (json_) {
    Json json{{"seconds", seconds}, {"clipped", clipped}};
    if (is_timed) {
      json.update({{"callbacks", counts.callbacks},
                   {"mean_us", mean_us(counts)},
                   {"worst_us", worst_us},
                   {"deadline_us", deadline_us},
                   {"late", counts.late},
                   {"xruns", counts.xruns},
                   {"dropped", counts.dropped},
                   {"unstored", counts.unstored},
                   {"unshown", counts.unshown}});
    }
    return text_of({{"summary", json}}) + "\n";
  }
  const auto n = [](uint64_t count) { return static_cast<unsigned long long>(count); };
  std::string line = text("%.1f s; samples clipped %llu", seconds, n(clipped));
  if (is_timed) {
    line += text(", dropped %llu, not stored %llu; readings not shown %llu; xruns %llu\n", n(counts.dropped),
                 n(counts.unstored), n(counts.unshown), n(counts.xruns));
    line += text("a callback took %.0f us, at worst %.0f of %.0f; late %llu", mean_us(counts), worst_us, deadline_us,
                 n(counts.late));
  }
  return line + "\n";
}

}  // namespace zeto::tool
