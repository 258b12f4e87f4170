// What somebody may have meant.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace zeto::tool {

/// The name that a word is part of, or that it differs from in a letter of three at most; whatever their case, and _ is -.
std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& names);

}  // namespace zeto::tool
