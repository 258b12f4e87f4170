#include "parameter_file.hpp"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numeric>
#include <set>

#include "error.hpp"
#include "json.hpp"
#include "new_file.hpp"

namespace zeto::tool {
namespace {

std::vector<std::string> all_names() {
  zeto_rx_param emitter{};
  zeto_tx_param detector{};
  std::vector<std::string> names;
  for (const Parameter& parameter : parameters_of(emitter)) names.emplace_back(parameter.name);
  for (const Parameter& parameter : parameters_of(detector)) names.emplace_back(parameter.name);
  return names;
}

/// How many letters must be put in, left out or exchanged to make one of the other, whatever their case.
size_t distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < a.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 0; j < b.size(); ++j) {
      const bool same =
          std::tolower(static_cast<unsigned char>(a[i])) == std::tolower(static_cast<unsigned char>(b[j]));
      const size_t exchanged = diagonal + (same ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({exchanged, row[j] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string nearest_name(const std::string& key) {
  const auto names = all_names();
  const auto holds_key = [&](const std::string& name) { return name.find(key) != std::string::npos; };
  if (const auto whole = std::find_if(names.begin(), names.end(), holds_key); whole != names.end()) return *whole;
  return *std::min_element(names.begin(), names.end(), [&](const std::string& a, const std::string& b) {
    return distance(key, a) < distance(key, b);
  });
}

/// Throws with the place where the file stops being JSON, or names a key twice.
Json parse(const std::string& path) {
  const auto fail = [&](const std::string& why) { throw UserError("cannot read " + path + ": " + why); };
  if (std::error_code ignored; std::filesystem::is_directory(path, ignored)) fail(std::strerror(EISDIR));
  std::ifstream file(path);
  std::string text;
  if (file) text.assign(std::istreambuf_iterator<char>(file), {});
  if (!file || file.bad()) fail(std::strerror(errno));
  remember_input(path);
  std::set<std::string> keys;
  const Json::parser_callback_t watch = [&](int depth, Json::parse_event_t event, Json& parsed) {
    if (depth == 1 && event == Json::parse_event_t::key && !keys.insert(parsed.get<std::string>()).second) {
      fail(parsed.get<std::string>() + " stands there twice");
    }
    return true;
  };
  Json json;
  try {
    json = Json::parse(text, watch);
  } catch (const Json::parse_error& error) {
    const size_t at = std::min(error.byte, text.size());
    const auto line = 1 + std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n');
    fail("not JSON, line " + std::to_string(line));
  }
  if (!json.is_object()) fail("not a JSON object of names and numbers");
  return json;
}

int32_t word(const std::string& where, const Json& json) {
  const Json& value = json.is_object() && json.contains("value") ? json["value"] : json;
  const auto fits = [&](int64_t number) {
    return number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max();
  };
  if (value.is_number_unsigned() ? value.get<uint64_t>() >> 31 != 0
                                 : !value.is_number_integer() || !fits(value.get<int64_t>())) {
    throw UserError(where + " must be a whole number of 32 bits, not " + text_of(value));
  }
  return value.get<int32_t>();
}

}  // namespace

void read_parameters(const std::string& path, const std::vector<Parameter>& parameters) {
  const Json json = parse(path);
  const auto names = all_names();
  for (const auto& [key, value] : json.items()) {
    if (std::find(names.begin(), names.end(), key) == names.end()) {
      throw UserError(path + ": unknown parameter " + key + "; the nearest is " + nearest_name(key));
    }
    const int32_t number = word(path + ": " + key, value);
    for (const Parameter& parameter : parameters) {
      if (key == parameter.name) *parameter.value = number;
    }
  }
  std::string missing;
  for (const Parameter& parameter : parameters) {
    if (json.contains(parameter.name)) continue;
    missing += (missing.empty() ? "" : ", ") + std::string(parameter.name);
  }
  if (!missing.empty()) complain(path, "does not set " + missing);
}

}  // namespace zeto::tool
