#include "parameters/parameter_file.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>

#include "audio/new_file.hpp"
#include "error.hpp"
#include "text/json.hpp"
#include "text/library_output.hpp"
#include "text/nearest.hpp"

namespace zeto::tool {
namespace {

constexpr const char* kSet = "set";
constexpr const char* kRestarts = "restart_ms";
constexpr const char* kFade = "fade_ms";

std::vector<std::string> all_names() {
  zeto_set set{};
  std::vector<std::string> names{kSet, kRestarts, kFade};
  for (const Parameter& parameter : parameters_of(set.chirp)) names.emplace_back(parameter.name);
  for (const Parameter& parameter : parameters_of(set.hear)) names.emplace_back(parameter.name);
  return names;
}

constexpr std::streamsize kMostBytes = 1 << 20;

/// As much as a line of an error can take.
std::string brief(std::string text) {
  constexpr size_t kMost = 60;
  if (text.size() > kMost) text.replace(kMost, text.size(), "...");
  return text;
}

std::string read_text(const std::string& path) {
  const auto fail = [&](const std::string& why) { throw UserError("cannot read " + path + ": " + why); };
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::is_directory(status)) fail(std::strerror(EISDIR));
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) fail("not a regular file");
  std::ifstream file(path, std::ios::binary);
  if (!file) fail(std::strerror(errno));
  std::string text(static_cast<size_t>(kMostBytes) + 1, '\0');
  file.read(text.data(), kMostBytes + 1);
  if (file.bad()) fail(std::strerror(errno));
  if (file.gcount() > kMostBytes) fail("longer than 1 MiB");
  text.resize(static_cast<size_t>(file.gcount()));
  remember_input(path);
  return text;
}

/// Throws with the place where the file stops being JSON, or if an object names a key twice.
Json parse(const std::string& path) {
  const std::string text = read_text(path);
  const auto fail = [&](const std::string& why) { throw UserError("cannot read " + path + ": " + why); };
  const auto fail_at = [&](size_t at) {
    const auto end = text.begin() + static_cast<std::ptrdiff_t>(std::min(at, text.size()));
    fail("not JSON, line " + std::to_string(1 + std::count(text.begin(), end, '\n')));
  };
  if (const size_t nul = text.find('\0'); nul != std::string::npos) fail_at(nul);
  std::vector<std::set<std::string>> keys;  // of the objects that are open
  const Json::parser_callback_t watch = [&](int, Json::parse_event_t event, Json& parsed) {
    if (event == Json::parse_event_t::object_start) keys.emplace_back();
    if (event == Json::parse_event_t::object_end) keys.pop_back();
    if (event == Json::parse_event_t::key && !keys.back().insert(parsed.get<std::string>()).second) {
      fail(brief(parsed.get<std::string>()) + " stands there twice");
    }
    return true;
  };
  Json json;
  try {
    json = Json::parse(text, watch);
  } catch (const Json::parse_error& error) {
    fail_at(error.byte);
  } catch (const Json::exception&) {
    fail("a number is too large");
  }
  if (!json.is_object()) fail("not a JSON object of names and numbers");
  return json;
}

/// The number itself, or the "value" of an object.
const Json& value_of(const Json& json) {
  return json.is_object() && json.contains("value") ? json["value"] : json;
}

int32_t word(const std::string& where, const Json& value) {
  const auto fits = [&](int64_t number) {
    return number >= std::numeric_limits<int32_t>::min() && number <= std::numeric_limits<int32_t>::max();
  };
  if (value.is_number_unsigned() ? value.get<uint64_t>() >> 31 != 0
                                 : !value.is_number_integer() || !fits(value.get<int64_t>())) {
    throw UserError(where + " must be a whole number of 32 bits, not " + brief(text_of(value)));
  }
  return value.get<int32_t>();
}

/// The set that the file changes, if it names one: what is no parameter, such as the kit's detectors, comes from it.
void take_set(const std::string& where, const Json& json, zeto_set& set) {
  if (!json.contains(kSet)) return;
  const Json& name = value_of(json[kSet]);
  if (!name.is_string() || zeto_find_set(name.get<std::string>().c_str()) == nullptr) {
    throw UserError(where + " must be a set, " + set_names() + ", not " + brief(text_of(name)));
  }
  set = set_of(name.get<std::string>());
}

/// Whether it is one of the two that are no words of a block, and then takes it over.
bool take_sweeps(const std::string& where, const std::string& key, const Json& value, zeto_set& set) {
  if (key == kRestarts) {
    if (!value.is_array()) throw UserError(where + " must be an array of whole numbers, not " + brief(text_of(value)));
    std::vector<int32_t> restart_ms;
    for (const Json& ms : value) restart_ms.push_back(word(where, ms));
    set_restarts(set, where, restart_ms);
  } else if (key == kFade) {
    if (!value.is_number()) throw UserError(where + " must be a number, not " + brief(text_of(value)));
    set_fade(set, where, value.get<double>());
  }
  return key == kRestarts || key == kFade;
}

/// Only for those who ask: a file of some parameters is what it should be.
void name_missing(const std::string& path, const Json& json, const std::vector<Parameter>& parameters) {
  std::string missing;
  for (const Parameter& parameter : parameters) {
    if (json.contains(parameter.name)) continue;
    missing += (missing.empty() ? "" : ", ") + std::string(parameter.name);
  }
  if (verbose && !missing.empty()) complain(path, "does not set " + missing);
}

void check_unit(const std::string& path, const Parameter& parameter, const Json& described, int32_t number) {
  if (!described.is_object() || !described.contains("unit")) return;
  const Json& unit = described["unit"];
  if (unit.is_string() && unit.get<std::string>() == parameter.unit) return;
  complain(path, std::string(parameter.name) + " is read as " + std::to_string(number) + " " + parameter.unit +
                     ", whatever its unit " + brief(text_of(unit)) + " says");
}

}  // namespace

void read_parameters(const std::string& path, zeto_set& set, Side side) {
  const Json json = parse(path);
  take_set(path + ": " + kSet, json, set);
  const auto names = all_names();
  const auto emitter = parameters_of(set.chirp);
  const auto detector = parameters_of(set.hear);
  for (const auto& [key, described] : json.items()) {
    if (std::find(names.begin(), names.end(), key) == names.end()) {
      const auto meant = nearest(key, names);
      throw UserError(path + ": unknown parameter " + brief(key) +
                      (meant ? "; the nearest is " + *meant : "; zeto params lists them"));
    }
    const std::string where = path + ": " + key;
    const Json& value = value_of(described);
    if (key == kSet || take_sweeps(where, key, value, set)) continue;
    const int32_t number = word(where, value);
    for (const auto* const block : {&emitter, &detector}) {
      for (const Parameter& parameter : *block) {
        if (key != parameter.name) continue;
        *parameter.value = number;
        check_unit(path, parameter, described, number);
      }
    }
  }
  auto expected = side == Side::kDetector ? detector : emitter;
  if (side == Side::kBoth) expected.insert(expected.end(), detector.begin(), detector.end());
  name_missing(path, json, expected);
}

}  // namespace zeto::tool
