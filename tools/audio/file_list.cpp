#include "audio/file_list.hpp"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "audio/standard_input.hpp"
#include "cli.hpp"
#include "error.hpp"

namespace zeto::tool {
namespace {

/// With a NUL anywhere names end in NULs, as find -print0 writes them; otherwise each is a line.
void add_names(std::istream& in, std::vector<std::string>& names) {
  const std::string all{std::istreambuf_iterator<char>(in), {}};
  const char end = all.find('\0') != std::string::npos ? '\0' : '\n';
  for (size_t at = 0; at < all.size();) {
    const size_t next = std::min(all.find(end, at), all.size());
    std::string name = all.substr(at, next - at);
    if (end == '\n' && name.ends_with('\r')) name.pop_back();
    if (!name.empty()) names.push_back(std::move(name));
    at = next + 1;
  }
}

}  // namespace

std::vector<std::string> FileList::names() const {
  std::vector<std::string> all = given;
  if (from && *from == "-") {
    add_names(std::cin, all);
  } else if (from) {
    const auto fail = [&](int error) { throw UserError("cannot read " + *from + ": " + std::strerror(error)); };
    std::error_code ignored;
    if (std::filesystem::is_directory(*from, ignored)) fail(EISDIR);
    std::ifstream file(*from);
    if (!file) fail(errno);
    add_names(file, all);
    if (file.bad()) fail(errno);
  }
  if (from == "-" && std::count(all.begin(), all.end(), "-") > 0) {
    throw UserError("--files-from: standard input brings the names, it cannot be a recording too");
  }
  if (all.empty()) throw UserError(from ? "--files-from: no name in " + *from : "no file given (see --help)");
  return all;
}

void add_files(CLI::App& verb, FileList& list, const char* what) {
  verb.add_option("files", list.given, what)->type_name("FILE");
  verb.add_option("--files-from", list.from,
                  "More files: their names in a file, one a line, or each\n"
                  "ended by a NUL (find -print0); - for standard input")
      ->type_name("FILE|-");
  verb.add_option("--raw", raw_encoding,
                  "Standard input brings samples without a header, 48000 Hz,\nlittle-endian: s16, s24, s32 or f32")
      ->type_name("KIND")
      ->check(CLI::IsMember({"s16", "s24", "s32", "f32"}).description(""));
}

}  // namespace zeto::tool
