// Standard input as a file.
#pragma once
#include <string>

namespace zeto::tool {

/// Samples without a header that standard input brings: s16, s24, s32 or f32, little-endian; "" for an audio file.
extern std::string raw_encoding;

/// A path under which what standard input brings can be read, any number of times. It is kept in a temporary file,
/// which is removed when the process ends. Throws UserError if it cannot be written.
const std::string& standard_input();

/// An open temporary file that has no name. Throws UserError.
int nameless_file();

}  // namespace zeto::tool
