#include "text/numbers.hpp"

#include <cmath>
#include <cstdlib>
#include <limits>

#include "error.hpp"

namespace zeto::tool {

std::vector<double> numbers_of(const std::string& option, const std::string& text, size_t least, size_t most,
                               const std::string& what) {
  std::vector<double> numbers;
  const char* at = text.c_str();
  for (bool more = true; more;) {
    char* end = nullptr;
    numbers.push_back(std::strtod(at, &end));
    more = end != at && *end == ',';
    const bool good = end != at && (more || *end == '\0') && std::isfinite(numbers.back());
    if (!good || numbers.size() > most || (!more && numbers.size() < least)) {
      throw UserError(option + ": " + text + " is not " + what);
    }
    at = end + 1;
  }
  return numbers;
}

Seconds seconds_of(const std::string& option, const std::string& text) {
  char* end = nullptr;
  Seconds seconds{std::strtod(text.c_str(), &end), std::numeric_limits<double>::infinity()};
  const bool starts = end != text.c_str() && *end == '-';
  if (starts && end[1] != '\0')
    seconds.to = std::strtod(end + 1, &end);
  else if (starts)
    ++end;
  if (!starts || *end != '\0' || !(seconds.from >= 0.0 && seconds.from < seconds.to)) {
    throw UserError(option + ": " + text + " is no time from one second to a later one, as in 0.5-2.5");
  }
  return seconds;
}

}  // namespace zeto::tool
