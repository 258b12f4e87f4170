#include "text/terminal.hpp"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>

namespace zeto::tool {

size_t columns_of(int descriptor) {
  winsize size{};
  return isatty(descriptor) == 1 && ioctl(descriptor, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

std::string wrapped(const std::string& text, size_t width, size_t indent) {
  if (width <= indent) return text;
  std::istringstream words(text.substr(std::min(indent, text.size())));
  std::string lines = text.substr(0, indent);
  size_t column = indent;
  for (std::string word; words >> word; column += word.size()) {
    if (column > indent && column + 1 + word.size() > width) {
      lines.append(1, '\n').append(indent, ' ');
      column = indent;
    } else if (column > indent) {
      lines += ' ';
      ++column;
    }
    lines += word;
  }
  return lines;
}

}  // namespace zeto::tool
