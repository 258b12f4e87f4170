// How much fits into a line.
#pragma once
#include <cstddef>
#include <string>

namespace zeto::tool {

/// Columns of the terminal that a descriptor is; 0 if it is none.
size_t columns_of(int descriptor);

/// Breaks a text at blanks so that no line is longer than `width`; following lines are indented. Width 0:
/// no breaks.
std::string wrapped(const std::string& text, size_t width, size_t indent);

}  // namespace zeto::tool
