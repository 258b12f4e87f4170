#include "sense_report.hpp"

#include <algorithm>

#include "json.hpp"
#include "text.hpp"

namespace zeto::tool {

SenseReport::SenseReport(ReportStyle style, bool summary, const std::vector<std::string>& files)
    : style_(style), summary_(summary), named_(summary || files.size() > 1), name_width_(4) {
  for (const auto& file : files) name_width_ = std::max(name_width_, static_cast<int>(printable(file).size()));
}

std::string SenseReport::heading() const {
  if (style_ == ReportStyle::kJson) return "";
  if (style_ == ReportStyle::kCsv) {
    if (summary_) return "file,seconds,analyses,accepted,median,min,max\n";
    return named_ ? "file,time_s,status,measurement\n" : "time_s,status,measurement\n";
  }
  const std::string name = named_ ? text("%-*s", name_width_, "file") : "";
  if (summary_) return name + "   seconds  analyses  accepted    median       min       max\n";
  return name + "  time_s  measurement\n";
}

std::string SenseReport::of(const std::string& file, const std::vector<Analysis>& analyses) const {
  if (style_ == ReportStyle::kJson) return json_of(file, analyses);
  if (summary_) return summary_of(file, analyses);
  const bool csv = style_ == ReportStyle::kCsv;
  std::string name;
  if (named_) name = csv ? csv_cell(file) + "," : text("%-*s", name_width_, printable(file).c_str());
  std::string lines;
  for (const Analysis& analysis : analyses) {
    lines += name;
    if (analysis.accepted()) {
      lines += csv ? text("%.1f,accepted,%d\n", analysis.end_s, analysis.value)
                   : text("%8.1f  %11d\n", analysis.end_s, analysis.value);
    } else {
      lines += text(csv ? "%.1f,rejected,\n" : "%8.1f     rejected\n", analysis.end_s);
    }
  }
  return lines;
}

std::string SenseReport::of_failure(const std::string& file, const std::string& message) const {
  if (style_ != ReportStyle::kJson) return "";
  return text_of({{"file", file}, {"error", message}}) + "\n";
}

std::string SenseReport::summary_of(const std::string& file, const std::vector<Analysis>& analyses) const {
  const bool csv = style_ == ReportStyle::kCsv;
  const Summary summary = summary_of_accepted(analyses);
  std::string line =
      csv ? csv_cell(file) + text(",%.1f,%zu,%zu", analyses.back().end_s, analyses.size(), summary.accepted)
          : text("%-*s  %8.1f  %8zu  %8zu", name_width_, printable(file).c_str(), analyses.back().end_s,
                 analyses.size(), summary.accepted);
  for (const double value : {summary.median, summary.least, summary.greatest}) {
    const std::string number = summary.accepted > 0 ? text("%.7g", value) : csv ? "" : "-";
    line += csv ? "," + number : text("  %8s", number.c_str());
  }
  return line + "\n";
}

std::string SenseReport::json_of(const std::string& file, const std::vector<Analysis>& analyses) const {
  Json json{{"file", file}};
  if (summary_) {
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
    for (const Analysis& analysis : analyses) {
      json["analyses"].push_back({{"time_s", analysis.end_s},
                                  {"accepted", analysis.accepted()},
                                  {"measurement", analysis.accepted() ? Json(analysis.value) : Json(nullptr)}});
    }
  }
  return text_of(json) + "\n";
}

}  // namespace zeto::tool
