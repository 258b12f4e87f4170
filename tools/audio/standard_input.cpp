#include "audio/standard_input.hpp"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "error.hpp"

namespace zeto::tool {

std::string raw_encoding;

int nameless_file() {
  const char* const folder = std::getenv("TMPDIR");
  std::string name = std::string(folder != nullptr && *folder != '\0' ? folder : "/tmp") + "/zeto.XXXXXX";
  const int file = mkstemp(name.data());
  if (file < 0) throw UserError("cannot write " + name + ": " + std::strerror(errno));
  unlink(name.c_str());
  return file;
}

const std::string& standard_input() {
  static const std::string path = [] {
    const int file = nameless_file();
    const auto fail = [] { throw UserError(std::string("cannot keep standard input: ") + std::strerror(errno)); };
    std::vector<char> buffer(1 << 16);
    for (ssize_t got = 0; (got = read(STDIN_FILENO, buffer.data(), buffer.size())) != 0;) {
      if (got < 0) fail();
      for (ssize_t put = 0; put < got;) {
        const ssize_t written = write(file, buffer.data() + put, static_cast<size_t>(got - put));
        if (written < 0) fail();
        put += written;
      }
    }
    return "/proc/self/fd/" + std::to_string(file);
  }();
  return path;
}

}  // namespace zeto::tool
