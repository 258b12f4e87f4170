#include "text/csv.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "error.hpp"

namespace zeto::tool {
namespace {

/// A cell and what ends it: ',', '\n' or 0.
std::string take_cell(const std::string& text, size_t& at) {
  std::string cell;
  size_t start = text.find_first_not_of(" \t", at);
  if (start != std::string::npos && text[start] == '"') {
    for (at = start + 1; at < text.size(); ++at) {
      if (text[at] != '"') {
        cell += text[at];
      } else if (at + 1 < text.size() && text[at + 1] == '"') {
        cell += text[at++];
      } else {
        break;
      }
    }
    at = std::min(text.find_first_of(",\n", at), text.size());
    return cell;
  }
  const size_t end = std::min(text.find_first_of(",\n", at), text.size());
  cell = text.substr(at, end - at);
  if (cell.ends_with('\r')) cell.pop_back();
  at = end;
  return cell;
}

}  // namespace

std::string trimmed(const std::string& cell) {
  const size_t first = cell.find_first_not_of(" \t");
  return first == std::string::npos ? "" : cell.substr(first, cell.find_last_not_of(" \t") - first + 1);
}

std::vector<CsvRow> read_csv(const std::string& path) {
  if (std::filesystem::is_directory(path)) throw UserError("cannot read " + path + ": " + std::strerror(EISDIR));
  std::ifstream file(path, std::ios::binary);
  if (!file) throw UserError("cannot read " + path + ": " + std::strerror(errno));
  std::string text{std::istreambuf_iterator<char>(file), {}};
  if (text.starts_with("\xef\xbb\xbf")) text.erase(0, 3);
  std::vector<CsvRow> rows;
  size_t line = 1;
  for (size_t at = 0; at < text.size(); ++at) {
    const size_t first = at;
    CsvRow row{line, {}};
    for (bool more = true; more;) {
      row.cells.push_back(take_cell(text, at));
      more = at < text.size() && text[at] == ',';
      if (more) ++at;
    }
    line += static_cast<size_t>(std::count(text.begin() + static_cast<std::ptrdiff_t>(first),
                                           text.begin() + static_cast<std::ptrdiff_t>(at), '\n')) +
            1;
    if (row.cells.size() > 1 || !trimmed(row.cells[0]).empty()) rows.push_back(std::move(row));
  }
  return rows;
}

}  // namespace zeto::tool
