#include "reports/kit_report.hpp"

#include <algorithm>
#include <cmath>

#include "text/json.hpp"
#include "text/text.hpp"
#include "zeto/version.h"

namespace zeto::tool {
namespace {

double number(float value) {
  return static_cast<double>(value);
}

std::string one_decimal(float value) {
  return text("%.1f", number(value));
}

bool is_target(const Reading& reading) {
  return reading.state == ZETO_HOST_TARGET;
}

Json of_target(const Reading& reading, float value) {
  return is_target(reading) ? Json(value) : Json(nullptr);
}

Json members_of(const Reading& reading) {
  const char* const cause = cause_name(reading);
  return {{"time_s", end_s(reading)},
          {"state", state_name(reading)},
          {"cause", *cause != '\0' ? Json(cause) : Json(nullptr)},
          {"distance_cm", of_target(reading, reading.distance_cm)},
          {"speed_cm_s", of_target(reading, reading.speed_cm_s)},
          {"age_s", of_target(reading, reading.age_s)},
          {"level_db", of_target(reading, reading.level_db)}};
}

/// In the order of a summary.
struct Summed {
  size_t counts[4] = {};         // learning, nobody, target, disturbed
  std::vector<float> distances;  // sorted

  explicit Summed(const KitRun& run) {
    for (const Reading& reading : run.readings) {
      ++counts[reading.state - ZETO_HOST_LEARNING];
      if (is_target(reading)) distances.push_back(reading.distance_cm);
    }
    std::sort(distances.begin(), distances.end());
  }
  float median() const { return 0.5F * (distances[(distances.size() - 1) / 2] + distances[distances.size() / 2]); }
};

}  // namespace

std::string state_text(const Reading& reading) {
  const std::string cause = cause_name(reading);
  return state_name(reading) + (cause.empty() ? "" : " (" + cause + ")");
}

std::string KitReport::heading() const {
  if (options_.style == ReportStyle::kJson) return "";
  if (options_.style == ReportStyle::kCsv) {
    return std::string(options_.summary
                           ? "file,seconds,readings,learning,nobody,target,disturbed,median_cm,min_cm,max_cm,"
                           : "file,time_s,state,cause,distance_cm,speed_cm_s,level_db,") +
           kCsvTail;
  }
  const std::string name = options_.named ? text("%-*s", options_.name_width, "file") : "";
  if (options_.summary) {
    return name + "   seconds  readings  learning    nobody    target  disturbed  median_cm    min_cm    max_cm\n";
  }
  return name + "   time_s  distance_cm  speed_cm_s  level_db  state\n";
}

std::string KitReport::of_failure(const std::string& file, const std::string& message) const {
  if (options_.style != ReportStyle::kCsv) return SenseReport(options_).of_failure(file, message);
  return csv_cell(file) + (options_.summary ? ",,,,,,,,,," : ",,error,,,,,") + csv_tail(options_.info, message);
}

std::string KitReport::of(const std::string& file, const KitRun& run) const {
  if (options_.style == ReportStyle::kJson) return json_of(file, run);
  if (options_.summary) return summary_of(file, run);
  std::string lines;
  for (const Reading& reading : run.readings) {
    const bool there = is_target(reading);
    const std::string distance = one_decimal(reading.distance_cm);
    const std::string speed = text("%.0f", std::round(number(reading.speed_cm_s)) + 0.0);  // -0 becomes 0
    const std::string level = one_decimal(reading.level_db);
    std::string line;
    if (options_.style == ReportStyle::kCsv) {
      line = csv_cell(file) + text(",%.3f,", end_s(reading)) + state_name(reading) + "," + cause_name(reading) +
             (there ? "," + distance + "," + speed + "," + level : ",,,") + "," + csv_tail(options_.info);
    } else {
      line = (options_.named ? text("%-*s", options_.name_width, printable(file).c_str()) : "") +
             text("%9.2f  %11s  %10s  %8s  ", end_s(reading), there ? distance.c_str() : "-",
                  there ? speed.c_str() : "-", there ? level.c_str() : "-") +
             state_text(reading) + "\n";
    }
    lines += line;
  }
  return lines;
}

std::string KitReport::summary_of(const std::string& file, const KitRun& run) const {
  const bool csv = options_.style == ReportStyle::kCsv;
  const Summed summed(run);
  std::string line = csv ? csv_cell(file) : text("%-*s", options_.name_width, printable(file).c_str());
  const auto add = [&](int width, const std::string& cell) {
    line += csv ? "," + cell : text("  %*s", width, cell.c_str());
  };
  add(8, text("%.1f", run.seconds));
  add(8, std::to_string(run.readings.size()));
  for (const int state : {0, 1, 2, 3}) add(state < 3 ? 8 : 9, std::to_string(summed.counts[state]));
  if (summed.distances.empty()) {
    for (const int width : {9, 8, 8}) add(width, csv ? "" : "-");
  } else {
    add(9, one_decimal(summed.median()));
    add(8, one_decimal(summed.distances.front()));
    add(8, one_decimal(summed.distances.back()));
  }
  return line + (csv ? ',' + csv_tail(options_.info) : "\n");
}

std::string KitReport::json_of(const std::string& file, const KitRun& run) const {
  Json json{{"file", file}};
  json["learned"] = {{"latency_ms", run.findings.latency_ms},
                     {"sureness_db", run.findings.sureness_db},
                     {"background_db", run.findings.background_db},
                     {"drift_ppm", run.findings.drift_ppm}};
  if (options_.summary) {
    const Summed summed(run);
    const bool any = !summed.distances.empty();
    json["seconds"] = run.seconds;
    json["readings"] = run.readings.size();
    constexpr const char* kNames[] = {"learning", "nobody", "target", "disturbed"};
    for (int i = 0; i < 4; ++i) json[kNames[i]] = summed.counts[i];
    json["median_cm"] = any ? Json(summed.median()) : Json(nullptr);
    json["min_cm"] = any ? Json(summed.distances.front()) : Json(nullptr);
    json["max_cm"] = any ? Json(summed.distances.back()) : Json(nullptr);
  } else {
    json["readings"] = Json::array();
    for (const Reading& reading : run.readings) json["readings"].push_back(members_of(reading));
  }
  json["parameters"] = options_.info.parameters;
  json["version"] = ZETO_VERSION_STRING;
  return text_of(json) + "\n";
}

}  // namespace zeto::tool
