// Tables of comma-separated values, read.
#pragma once
#include <string>
#include <vector>

namespace zeto::tool {

struct CsvRow {
  size_t line;  ///< in which it starts, counted from 1
  std::vector<std::string> cells;
};

/// Without the blanks around it.
std::string trimmed(const std::string& cell);

/// Rows of cells. Cells in quotation marks may hold commas, line ends and, doubled, quotation marks. Empty
/// lines are left out, as is a byte-order mark. Throws UserError.
std::vector<CsvRow> read_csv(const std::string& path);

}  // namespace zeto::tool
