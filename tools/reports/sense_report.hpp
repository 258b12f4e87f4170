// How zeto sense tells its results.
#pragma once
#include <string>
#include <vector>

#include "reports/run_info.hpp"
#include "sensing/observer.hpp"
#include "sensing/sensing.hpp"

namespace zeto::tool {

enum class ReportStyle { kTable, kCsv, kJson };

struct ReportOptions {
  ReportStyle style = ReportStyle::kTable;
  bool summary = false;  ///< one line per recording rather than one per analysis
  bool detail = false;   ///< with what the detector saw
  RunInfo info;
  bool named = true;   ///< a table's lines carry the recording's name
  int name_width = 4;  ///< in tables

  /// Sets the last two for these files.
  void fit(const std::vector<std::string>& files);
};

struct Sensed {
  std::vector<Analysis> analyses;
  std::vector<Observation> seen;  ///< as many, if there is to be detail; otherwise empty
};

/// The conditions that are not met, "position, level"; "" if it was accepted.
std::string reason(const Observation& seen);

/// One text per recording, the heading before the first. In CSV and JSON columns and members depend on the options
/// alone, never on the files.
class SenseReport {
 public:
  explicit SenseReport(ReportOptions options) : options_(std::move(options)) {}

  std::string heading() const;
  std::string of(const std::string& file, const Sensed& sensed) const;
  /// Of a recording that could not be sensed; nothing in a table.
  std::string of_failure(const std::string& file, const std::string& message) const;

 private:
  std::string line(const std::string& file, const Analysis& analysis, const Observation* seen) const;
  std::string summary_of(const std::string& file, const Sensed& sensed) const;
  std::string json_of(const std::string& file, const Sensed& sensed) const;

  ReportOptions options_;
};

/// The last columns of every CSV line, and their heading.
std::string csv_tail(const RunInfo& info, const std::string& error = "");
constexpr const char* kCsvTail = "error,parameters,version\n";

}  // namespace zeto::tool
