// Names the cases of a parameterised test by their `name`.
#pragma once

#include <string>

namespace zeto_test {

inline constexpr auto by_name = [](const auto& test) { return std::string(test.param.name); };

}  // namespace zeto_test
