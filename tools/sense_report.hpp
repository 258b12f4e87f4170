// How zeto sense tells its results.
#pragma once
#include <string>
#include <vector>

#include "sensing.hpp"

namespace zeto::tool {

enum class ReportStyle { kTable, kCsv, kJson };

/// One text per recording, the heading before the first.
class SenseReport {
 public:
  /// @param files    of which there are to be reports; where there are several, or summaries, lines carry their names.
  /// @param summary  one line per recording rather than one per analysis.
  SenseReport(ReportStyle style, bool summary, const std::vector<std::string>& files);

  std::string heading() const;
  std::string of(const std::string& file, const std::vector<Analysis>& analyses) const;
  /// Of a recording that could not be sensed: nothing but in JSON, where it has its object.
  std::string of_failure(const std::string& file, const std::string& message) const;

 private:
  std::string summary_of(const std::string& file, const std::vector<Analysis>& analyses) const;
  std::string json_of(const std::string& file, const std::vector<Analysis>& analyses) const;

  ReportStyle style_;
  bool summary_;
  bool named_;
  int name_width_;
};

}  // namespace zeto::tool
