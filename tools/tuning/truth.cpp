#include "tuning/truth.hpp"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <limits>
#include <optional>
#include <unordered_map>

#include "error.hpp"
#include "text/csv.hpp"

namespace zeto::tool {
namespace {

enum Column { kFile, kTruth, kLabel, kFrom, kTo };
constexpr const char* kNames[] = {"file", "truth", "label", "from_s", "to_s"};

std::optional<double> number(const std::string& cell) {
  char* end = nullptr;
  const double value = std::strtod(cell.c_str(), &end);
  if (cell.empty() || *end != '\0' || !std::isfinite(value)) return std::nullopt;
  return value;
}

/// Names in the order in which they come, each once.
class Places {
 public:
  explicit Places(std::vector<std::string>& names) : names_(names) {}

  size_t of(const std::string& name) {
    const auto [found, is_new] = places_.emplace(name, names_.size());
    if (is_new) names_.push_back(name);
    return found->second;
  }

 private:
  std::vector<std::string>& names_;
  std::unordered_map<std::string, size_t> places_;
};

}  // namespace

TruthTable read_truth(const std::string& path) {
  const auto rows = read_csv(path);
  const auto fail = [&](size_t line, const std::string& why) {
    throw UserError(path + ", line " + std::to_string(line) + ": " + why);
  };
  if (rows.empty()) fail(1, "the table is empty");
  std::vector<std::optional<size_t>> columns(std::size(kNames));
  for (size_t i = 0; i < rows[0].cells.size(); ++i) {
    const auto name = std::find(std::begin(kNames), std::end(kNames), trimmed(rows[0].cells[i]));
    if (name == std::end(kNames)) {
      fail(rows[0].line, "unknown column " + rows[0].cells[i] + "; there are file, truth, label, from_s and to_s");
    }
    columns[static_cast<size_t>(name - std::begin(kNames))] = i;
  }
  if (!columns[kFile] || !columns[kTruth]) fail(rows[0].line, "the heading must name file and truth");

  TruthTable table;
  Places files(table.files);
  Places labels(table.labels);
  const auto folder = std::filesystem::path(path).parent_path();
  for (size_t i = 1; i < rows.size(); ++i) {
    const CsvRow& row = rows[i];
    const auto cell = [&](Column column) {
      const auto at = columns[column];
      return at && *at < row.cells.size() ? row.cells[*at] : std::string();
    };
    if (row.cells.size() > rows[0].cells.size()) fail(row.line, "more cells than the heading has");
    if (cell(kFile).empty()) fail(row.line, "no file");
    const std::string truth = trimmed(cell(kTruth));
    const auto value = number(truth);
    if (!value && truth != "nobody" && truth != "any") {
      fail(row.line, "truth must be a number, nobody or any, not " + (truth.empty() ? "empty" : truth));
    }
    const auto seconds = [&](Column column, double otherwise) {
      const std::string given = trimmed(cell(column));
      if (given.empty()) return otherwise;
      const auto s = number(given);
      if (!s || *s < 0.0) fail(row.line, std::string(kNames[column]) + " must be seconds, not " + given);
      return *s;
    };
    const double from_s = seconds(kFrom, 0.0);
    const double to_s = seconds(kTo, std::numeric_limits<double>::infinity());
    if (from_s >= to_s) fail(row.line, "from_s must be before to_s");
    table.stretches.push_back({files.of(cell(kFile)), labels.of(cell(kLabel).empty() ? truth : cell(kLabel)),
                               value            ? Expected::kValue
                               : truth == "any" ? Expected::kAny
                                                : Expected::kNobody,
                               value.value_or(0.0), from_s, to_s});
  }
  if (table.stretches.empty()) fail(rows[0].line, "no recording follows");
  for (const auto& file : table.files) table.paths.push_back((folder / file).string());
  return table;
}

}  // namespace zeto::tool
