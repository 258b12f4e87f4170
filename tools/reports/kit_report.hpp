// How zeto sense tells what the host kit makes of recordings.
#pragma once
#include <string>
#include <vector>

#include "reports/sense_report.hpp"
#include "sensing/kit.hpp"

namespace zeto::tool {

/// "disturbed (alignment)"
std::string state_text(const Reading& reading);

/// One text per recording, the heading before the first.
class KitReport {
 public:
  explicit KitReport(ReportOptions options) : options_(std::move(options)) {}

  std::string heading() const;
  std::string of(const std::string& file, const KitRun& run) const;
  std::string of_failure(const std::string& file, const std::string& message) const;

 private:
  std::string summary_of(const std::string& file, const KitRun& run) const;
  std::string json_of(const std::string& file, const KitRun& run) const;

  ReportOptions options_;
};

}  // namespace zeto::tool
