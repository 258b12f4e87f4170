// How zeto sense tells what the host kit makes of recordings.
#pragma once
#include <string>
#include <vector>

#include "kit.hpp"
#include "sense_report.hpp"

namespace zeto::tool {

/// "disturbed (alignment)"
std::string state_text(const Reading& reading);

/// One text per recording, the heading before the first.
class KitReport {
 public:
  /// @param files    of which there are to be reports; where there are several, or summaries, lines carry their names.
  /// @param summary  one line per recording rather than one per reading.
  KitReport(ReportStyle style, bool summary, const std::vector<std::string>& files);

  std::string heading() const;
  std::string of(const std::string& file, const KitRun& run) const;

 private:
  std::string summary_of(const std::string& file, const KitRun& run) const;
  std::string json_of(const std::string& file, const KitRun& run) const;

  ReportStyle style_;
  bool summary_;
  bool named_;
  int name_width_;
};

}  // namespace zeto::tool
