// Options that are several numbers.
#pragma once
#include <string>
#include <vector>

namespace zeto::tool {

/// "A,B". Throws UserError, "--drop: x is not ...", if they are fewer or more, or not finite.
/// @param what  what it is to be, with an example.
std::vector<double> numbers_of(const std::string& option, const std::string& text, size_t least, size_t most,
                               const std::string& what);

struct Seconds {
  double from;
  double to;  ///< may be infinite
};

/// "FROM-TO"; without TO, to the end. Throws UserError that begins with `option`.
Seconds seconds_of(const std::string& option, const std::string& text);

}  // namespace zeto::tool
