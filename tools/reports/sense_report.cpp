#include "reports/sense_report.hpp"

#include <algorithm>

#include "text/json.hpp"
#include "text/text.hpp"
#include "zeto/version.h"

namespace zeto::tool {
namespace {

double number(float value) {
  return static_cast<double>(value);
}

constexpr const char* kDetail = "candidates,hits,beat_hz,level_db,reason,";

std::string cells_of(const Observation& seen) {
  const bool any = seen.candidates > 0;
  return text("%d,%d,", seen.candidates, seen.hits) +
         (any ? text("%g,%.1f,", number(seen.position), number(seen.level)) : ",,") + csv_cell(reason(seen)) + ",";
}

}  // namespace

void ReportOptions::fit(const std::vector<std::string>& files) {
  named = summary || files.size() > 1;
  if (style != ReportStyle::kTable) return;
  for (const auto& file : files) name_width = std::max(name_width, static_cast<int>(printable(file).size()));
}

std::string reason(const Observation& seen) {
  std::string why;
  const auto add = [&](bool met, const char* what) {
    if (!met) why.append(why.empty() ? "" : ", ").append(what);
  };
  add(seen.has_hits, "position");
  add(seen.has_levels, "level");
  add(seen.is_steady, "steadiness");
  return why;
}

std::string csv_tail(const RunInfo& info, const std::string& error) {
  return csv_cell(error) + "," + info.parameters + "," ZETO_VERSION_STRING "\n";
}

std::string SenseReport::heading() const {
  if (options_.style == ReportStyle::kJson) return "";
  if (options_.style == ReportStyle::kCsv) {
    if (options_.summary) return std::string("file,seconds,analyses,accepted,median,min,max,unit,") + kCsvTail;
    return std::string("file,time_s,status,measurement,unit,") + (options_.detail ? kDetail : "") + kCsvTail;
  }
  const std::string name = options_.named ? text("%-*s", options_.name_width, "file") : "";
  if (options_.summary) return name + "   seconds  analyses  accepted    median       min       max\n";
  return name + (options_.detail ? "  time_s  measurement  peaks  hits  beat_hz  level_db  reason\n"
                                 : "  time_s  measurement\n");
}

std::string SenseReport::line(const std::string& file, const Analysis& analysis, const Observation* seen) const {
  const bool accepted = analysis.accepted();
  if (options_.style == ReportStyle::kCsv) {
    return csv_cell(file) + text(",%.1f,", analysis.end_s) +
           (accepted ? text("accepted,%d,", analysis.value) : "rejected,,") + options_.info.unit + "," +
           (seen != nullptr ? cells_of(*seen) : "") + csv_tail(options_.info);
  }
  std::string line = options_.named ? text("%-*s", options_.name_width, printable(file).c_str()) : "";
  line += accepted ? text("%8.1f  %11d", analysis.end_s, analysis.value) : text("%8.1f     rejected", analysis.end_s);
  if (seen != nullptr) {
    line += seen->candidates > 0 ? text("  %5d  %4d  %7.1f  %8.1f  ", seen->candidates, seen->hits,
                                        number(seen->position), number(seen->level))
                                 : "      0     0        -         -  ";
    line += reason(*seen);
  }
  return line + "\n";
}

std::string SenseReport::of(const std::string& file, const Sensed& sensed) const {
  if (options_.style == ReportStyle::kJson) return json_of(file, sensed);
  if (options_.summary) return summary_of(file, sensed);
  std::string lines;
  for (size_t i = 0; i < sensed.analyses.size(); ++i) {
    lines += line(file, sensed.analyses[i], options_.detail ? &sensed.seen[i] : nullptr);
  }
  return lines;
}

std::string SenseReport::of_failure(const std::string& file, const std::string& message) const {
  if (options_.style == ReportStyle::kJson) {
    return text_of({{"file", file},
                    {"error", message},
                    {"parameters", options_.info.parameters},
                    {"version", ZETO_VERSION_STRING}}) +
           "\n";
  }
  if (options_.style != ReportStyle::kCsv) return "";
  const char* const between = options_.summary ? ",,,,,,,," : options_.detail ? ",,error,,,,,,,," : ",,error,,,";
  return csv_cell(file) + between + csv_tail(options_.info, message);
}

std::string SenseReport::summary_of(const std::string& file, const Sensed& sensed) const {
  const auto& analyses = sensed.analyses;
  const bool csv = options_.style == ReportStyle::kCsv;
  const Summary summary = summary_of_accepted(analyses);
  std::string line =
      csv ? csv_cell(file) + text(",%.1f,%zu,%zu", analyses.back().end_s, analyses.size(), summary.accepted)
          : text("%-*s  %8.1f  %8zu  %8zu", options_.name_width, printable(file).c_str(), analyses.back().end_s,
                 analyses.size(), summary.accepted);
  for (const double value : {summary.median, summary.least, summary.greatest}) {
    const std::string number = summary.accepted > 0 ? text("%.7g", value) : csv ? "" : "-";
    line += csv ? "," + number : text("  %8s", number.c_str());
  }
  return line + (csv ? "," + options_.info.unit + "," + csv_tail(options_.info) : "\n");
}

std::string SenseReport::json_of(const std::string& file, const Sensed& sensed) const {
  const auto& analyses = sensed.analyses;
  Json json{{"file", file}};
  if (options_.summary) {
    const Summary summary = summary_of_accepted(analyses);
    const auto number = [&](double value) { return summary.accepted > 0 ? Json(value) : Json(nullptr); };
    json["seconds"] = analyses.back().end_s;
    json["analyses"] = analyses.size();
    json["accepted"] = summary.accepted;
    json["median"] = number(summary.median);
    json["min"] = number(summary.least);
    json["max"] = number(summary.greatest);
  } else {
    json["analyses"] = Json::array();
    for (size_t i = 0; i < analyses.size(); ++i) {
      const Analysis& analysis = analyses[i];
      Json one{{"time_s", analysis.end_s},
               {"accepted", analysis.accepted()},
               {"measurement", analysis.accepted() ? Json(analysis.value) : Json(nullptr)}};
      if (options_.detail) {
        const Observation& seen = sensed.seen[i];
        const bool any = seen.candidates > 0;
        one["candidates"] = seen.candidates;
        one["hits"] = seen.hits;
        one["beat_hz"] = any ? Json(seen.position) : Json(nullptr);
        one["level_db"] = any ? Json(seen.level) : Json(nullptr);
        one["reason"] = seen.accepted ? Json(nullptr) : Json(reason(seen));
      }
      json["analyses"].push_back(std::move(one));
    }
  }
  json["unit"] = options_.info.unit;
  json["parameters"] = options_.info.parameters;
  json["version"] = ZETO_VERSION_STRING;
  return text_of(json) + "\n";
}

}  // namespace zeto::tool
