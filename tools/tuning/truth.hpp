// What is true in recordings: a table of stretches of time, and what should be measured there.
#pragma once
#include <string>
#include <vector>

namespace zeto::tool {

enum class Expected { kValue, kAny, kNobody };

/// A stretch of a recording.
struct Stretch {
  size_t file;  ///< in TruthTable::files
  size_t label;
  Expected expected;
  double value;  ///< kValue: in the measurement's unit
  double from_s;
  double to_s;  ///< may be infinite
};

struct TruthTable {
  std::vector<std::string> files;  ///< as in the table, each once
  std::vector<std::string> paths;  ///< relative ones start at the table's folder
  std::vector<std::string> labels;
  std::vector<Stretch> stretches;
};

/// Reads a CSV table. Throws UserError with the line at fault.
///
/// Columns by their heading, in any order: `file`; `truth`: a number, `nobody`, or `any` for somebody wherever; and, if
/// wished, `label` (otherwise the truth itself), `from_s` and `to_s` (otherwise from the start, to the end).
TruthTable read_truth(const std::string& path);

}  // namespace zeto::tool
