#pragma once
#include <cstdio>
#include <stdexcept>
#include <string>

#include "text/text.hpp"

namespace zeto::tool {

/// Exit status.
constexpr int kBadFile = 1;  ///< an audio file that was to be read is at fault
constexpr int kFailed = 2;   ///< anything else: usage, parameters, output

/// Something that the user can put right. main() prints it as one line and leaves with kFailed.
struct UserError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The same about an audio file that was to be read. main() leaves with kBadFile.
struct FileError : UserError {
  using UserError::UserError;
};

/// Everything was said already; main() only leaves with kBadFile.
struct SomeFilesFailed {};

/// One line on standard error, whatever the message looks like: "zeto emit: ...".
inline void complain(const std::string& who, const std::string& message) {
  std::fprintf(stderr, "%s: %s\n", printable(who).c_str(), printable(message).c_str());
}

/// The same of what needs no more than a word; nothing if there is none.
inline void warn(const std::string& who, const std::string& message) {
  if (!message.empty()) complain(who, message);
}

}  // namespace zeto::tool
