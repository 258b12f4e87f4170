#include "new_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "error.hpp"

namespace zeto::tool {
namespace {

// The one unfinished file, for the signal handler. Only one is ever open: a second NewFile goes without this
// protection.
char unfinished[4096];
volatile std::sig_atomic_t has_unfinished = 0;

extern "C" void remove_and_end(int signal_number) {
  if (has_unfinished != 0) unlink(unfinished);
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

mode_t current_umask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

}  // namespace

void remove_unfinished_on_signals() {
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
    if (std::signal(number, remove_and_end) == SIG_IGN) std::signal(number, SIG_IGN);  // nohup stays nohup
  }
  std::signal(SIGXFSZ, SIG_IGN);  // a file size limit is then a write error like a full disk
}

NewFile::NewFile(std::string path) : path_(std::move(path)) {
  namespace fs = std::filesystem;
  std::error_code ignored;
  if (fs::is_symlink(path_, ignored)) path_ = fs::weakly_canonical(path_, ignored).string();  // write where it points
  struct stat status {};
  if (stat(path_.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) fail(EISDIR);
    // Renaming onto a device would replace it.
    if (!S_ISREG(status.st_mode)) throw UserError("cannot write " + path_ + ": not a regular file");
    if (access(path_.c_str(), W_OK) != 0) fail(errno);
  }
  temporary_ = path_ + ".XXXXXX";
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  if (descriptor_ < 0) fail(errno);
  if (has_unfinished == 0 && temporary_.size() < sizeof unfinished) {
    std::memcpy(unfinished, temporary_.c_str(), temporary_.size() + 1);
    has_unfinished = 1;
  }
  fchmod(descriptor_, 0666 & ~current_umask());
}

NewFile::~NewFile() {
  if (descriptor_ < 0) return;
  close(descriptor_);
  unlink(temporary_.c_str());
  if (temporary_ == unfinished) has_unfinished = 0;
}

void NewFile::commit() {
  if (fsync(descriptor_) != 0 && errno != EINVAL) fail(errno);  // EINVAL: a file system without fsync
  if (rename(temporary_.c_str(), path_.c_str()) != 0) fail(errno);
  close(descriptor_);
  descriptor_ = -1;
  if (temporary_ == unfinished) has_unfinished = 0;
}

void NewFile::fail(int error) const {
  throw UserError("cannot write " + path_ + ": " + std::strerror(error));
}

}  // namespace zeto::tool
