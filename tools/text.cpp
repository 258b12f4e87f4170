#include "text.hpp"

#include <cstdio>

namespace zeto::tool {

std::string text(const char* format, ...) {
  va_list args;
  va_start(args, format);
  va_list again;
  va_copy(again, args);
  std::string result(static_cast<size_t>(std::vsnprintf(nullptr, 0, format, args)), '\0');
  std::vsnprintf(result.data(), result.size() + 1, format, again);
  va_end(again);
  va_end(args);
  return result;
}

std::string csv_cell(const std::string& cell) {
  if (cell.find_first_of(",\"\n\r") == std::string::npos) return cell;
  std::string quoted = "\"";
  for (const char c : cell) quoted.append(c == '"' ? 2 : 1, c);
  return quoted += '"';
}

}  // namespace zeto::tool
