#include "text/text.hpp"

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

std::string printable(std::string text) {
  for (size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= '\t' && byte <= '\r') {
      text[i] = ' ';
    } else if (byte < ' ' || byte == 0x7f) {
      text[i] = '?';
    } else if (byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0) {
      text.replace(i, 2, "?");  // U+0080 to U+009F in UTF-8
    }
  }
  return text;
}

std::string csv_cell(const std::string& cell) {
  if (cell.find_first_of(",\"\n\r") == std::string::npos) return cell;
  std::string quoted = "\"";
  for (const char c : cell) quoted.append(c == '"' ? 2 : 1, c);
  return quoted += '"';
}

}  // namespace zeto::tool
