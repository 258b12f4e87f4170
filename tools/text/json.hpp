// JSON whose members keep their order and whose numbers are floats, written with as many digits as they need.
#pragma once
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zeto::tool {

using Json =
    nlohmann::basic_json<nlohmann::ordered_map, std::vector, std::string, bool, std::int64_t, std::uint64_t, float>;

/// On one line. What is not UTF-8, as file names may be, is replaced; what is no finite number is null.
inline std::string text_of(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace zeto::tool
