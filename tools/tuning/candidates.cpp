#include "tuning/candidates.hpp"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "error.hpp"
#include "parameters/parameter_file.hpp"
#include "text/numbers.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kMost = 10000;

int32_t& word_of(zeto_set& set, const std::string& option, const std::string& name) {
  for (const Parameter& parameter : parameters_of(set.hear)) {
    if (name == parameter.name) return *parameter.value;
  }
  throw UserError(option + ": no parameter of the detector is called " + name + "; see zeto params");
}

GridAxis axis_of(const std::string& text) {
  const auto fail = [&]() { throw UserError("--grid: " + text + " is not NAME=FROM:TO:STEP or NAME=A,B,C"); };
  const size_t equals = text.find('=');
  if (equals == std::string::npos) fail();
  GridAxis axis{text.substr(0, equals), {}};
  std::replace(axis.name.begin(), axis.name.end(), '-', '_');
  std::string values = text.substr(equals + 1);
  const bool is_range = values.find(':') != std::string::npos;
  std::replace(values.begin(), values.end(), ':', ',');
  auto numbers = numbers_of("--grid", values, is_range ? 3 : 1, is_range ? 3 : kMost, "values of " + axis.name);
  if (is_range) {
    const double from = numbers[0];
    const double to = numbers[1];
    const double step = numbers[2];
    if (step == 0.0 || (to - from) / step < 0.0 || (to - from) / step > static_cast<double>(kMost)) fail();
    numbers.clear();
    for (int i = 0; i <= static_cast<int>((to - from) / step + 1e-9); ++i) numbers.push_back(from + i * step);
  }
  for (const double value : numbers) {
    if (value != std::floor(value) || std::fabs(value) > 2147483647.0)
      throw UserError("--grid: " + axis.name + " takes whole numbers");
    axis.values.push_back(static_cast<int32_t>(value));
  }
  return axis;
}

zeto_set base_of(const std::string& name) {
  if (zeto_find_set(name.c_str()) != nullptr) return set_of(name);
  if (!std::filesystem::exists(name)) {
    throw UserError("--set: there is neither a set nor a file " + name + "; the sets are " + set_names());
  }
  zeto_set set = set_of("default");
  read_parameters(name, set, Side::kDetector);
  return set;
}

/// A set before the grid changes it: what the others are compared with.
Candidate as_it_is(const std::string& name, size_t base, const std::vector<GridAxis>& axes) {
  Candidate candidate{name, base_of(name), base, {}};
  for (const GridAxis& axis : axes) candidate.values.push_back(word_of(candidate.set, "--grid", axis.name));
  return candidate;
}

}  // namespace

std::vector<Candidate> candidates_of(const std::vector<std::string>& sets, const std::vector<std::string>& grids,
                                     std::vector<GridAxis>& axes) {
  size_t count = std::max<size_t>(1, sets.size());
  for (const auto& grid : grids) {
    const GridAxis axis = axis_of(grid);
    for (const GridAxis& other : axes) {
      if (other.name == axis.name) throw UserError("--grid: " + axis.name + " is given twice");
    }
    axes.push_back(axis);
    count *= axes.back().values.size();
    if (count > kMost) throw UserError("--grid: more than 10000 sets");
  }
  std::vector<Candidate> candidates;
  for (size_t base = 0; base < std::max<size_t>(1, sets.size()); ++base) {
    const std::string name = sets.empty() ? "default" : sets[base];
    std::vector<Candidate> grown{{name, base_of(name), base, {}}};
    for (const GridAxis& axis : axes) {
      std::vector<Candidate> more;
      for (const Candidate& candidate : grown) {
        for (const int32_t value : axis.values) {
          more.push_back(candidate);
          word_of(more.back().set, "--grid", axis.name) = value;
          more.back().name += " " + axis.name + "=" + std::to_string(value);
          more.back().values.push_back(value);
        }
      }
      grown = std::move(more);
    }
    if (!axes.empty()) candidates.push_back(as_it_is(name, base, axes));
    candidates.insert(candidates.end(), grown.begin(), grown.end());
  }
  return candidates;
}

}  // namespace zeto::tool
