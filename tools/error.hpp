#pragma once
#include <cstdio>
#include <stdexcept>
#include <string>

namespace zeto::tool {

/// Something that the user can put right. main() prints it as one line and leaves with status 2.
struct UserError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Everything was said already; main() only leaves with status 2.
struct Failed {};

/// One line on standard error, whatever the message looks like: "zeto emit: ...".
inline void complain(const std::string& who, std::string message) {
  for (char& c : message) {
    if (c == '\n') c = ' ';
  }
  std::fprintf(stderr, "%s: %s\n", who.c_str(), message.c_str());
}

}  // namespace zeto::tool
