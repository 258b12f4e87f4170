// Results as text.
#pragma once
#include <cstdarg>
#include <string>

namespace zeto::tool {

/// printf into a string.
[[gnu::format(printf, 1, 2)]] std::string text(const char* format, ...);

/// On one line, without characters that a terminal obeys: blanks for white space, question marks for other controls.
std::string printable(std::string text);

/// In quotation marks if it must be.
std::string csv_cell(const std::string& cell);

}  // namespace zeto::tool
