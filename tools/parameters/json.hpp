// Parameters as JSON: names and values.
#pragma once
#include <vector>

#include "parameters/parameters.hpp"
#include "text/json.hpp"

namespace zeto::tool {

inline Json json_of(const std::vector<Parameter>& parameters) {
  Json json = Json::object();
  for (const Parameter& parameter : parameters) json[parameter.name] = *parameter.value;
  return json;
}

}  // namespace zeto::tool
