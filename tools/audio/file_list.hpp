// Names of files: as arguments, or a list in a file or on standard input.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}  // namespace CLI

namespace zeto::tool {

struct FileList {
  std::vector<std::string> given;
  std::optional<std::string> from;

  /// All of them, those of the list last. Throws UserError if there is none.
  std::vector<std::string> names() const;
};

/// What most verbs take, for the help.
constexpr const char* kRecordings =
    "Audio files (48000 Hz, two channels): the first the\n"
    "reference, what was played; the second the microphone;\n"
    "- for standard input";

/// Adds FILE... and --files-from.
/// @param what  the files, for the help.
void add_files(CLI::App& verb, FileList& list, const char* what);

}  // namespace zeto::tool
