// What somebody may have meant.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace zeto::tool {

/// The name that contains a word, or that differs from it by at most a third of the word's letters. Upper and lower
/// case are the same, and so are _ and -.
std::optional<std::string> nearest(const std::string& word, const std::vector<std::string>& names);

}  // namespace zeto::tool
