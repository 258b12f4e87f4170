#include "text/nearest.hpp"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace zeto::tool {
namespace {

std::string folded(std::string text) {
  for (char& c : text) c = c == '_' ? '-' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

/// How many letters must be put in, left out or exchanged to make one of the other.
size_t distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < b.size(); ++j) {
      const size_t exchanged = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

}  // namespace

std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& names) {
  constexpr size_t kLeastPart = 4;
  const std::string wanted = folded(word);
  const auto is_part = [&](const std::string& name) { return folded(name).find(wanted) != std::string::npos; };
  if (wanted.size() >= kLeastPart) {
    if (const auto whole = std::find_if(names.begin(), names.end(), is_part); whole != names.end()) return *whole;
  }
  const auto best = std::min_element(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
    return distance(wanted, folded(a)) < distance(wanted, folded(b));
  });
  if (best == names.end() || 3 * distance(wanted, folded(*best)) > wanted.size()) return std::nullopt;
  return *best;
}

}  // namespace zeto::tool
