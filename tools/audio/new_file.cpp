#include "audio/new_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <mutex>
#include <set>
#include <utility>

#include "audio/standard_input.hpp"
#include "error.hpp"

namespace zeto::tool {
namespace {

// The unfinished files, for the signal handler. No more than two are ever open: a third has no such protection.
struct Unfinished {
  char name[4096];
  volatile std::sig_atomic_t is_there;
};
Unfinished all_unfinished[2];

extern "C" void remove_and_end(int signal_number) {
  for (const Unfinished& unfinished : all_unfinished) {
    if (unfinished.is_there != 0) unlink(unfinished.name);
  }
  std::signal(signal_number, SIG_DFL);
  std::raise(signal_number);
}

constexpr std::array kEnding{SIGINT, SIGTERM, SIGHUP, SIGPIPE};

std::mutex inputs_guard;
std::set<std::pair<dev_t, ino_t>> inputs;

bool is_input(const struct stat& status) {
  const std::lock_guard alone(inputs_guard);
  return inputs.contains({status.st_dev, status.st_ino});
}

mode_t current_umask() {
  const mode_t mask = umask(0);
  umask(mask);
  return mask;
}

}  // namespace

void remember_input(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return;
  const std::lock_guard alone(inputs_guard);
  inputs.emplace(status.st_dev, status.st_ino);
}

void remove_unfinished_on_signals() {
  for (const int number : kEnding) {
    if (std::signal(number, remove_and_end) == SIG_IGN) std::signal(number, SIG_IGN);  // nohup stays nohup
  }
  std::signal(SIGXFSZ, SIG_IGN);  // a file size limit is then a write error like a full disk
}

NoEnd::NoEnd() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int number : kEnding) sigaddset(&ending, number);
  pthread_sigmask(SIG_BLOCK, &ending, &before_);
}

NoEnd::~NoEnd() {
  pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

NewFile::NewFile(std::string path) : path_(std::move(path)) {
  namespace fs = std::filesystem;
  if (path_ == "-") {
    descriptor_ = nameless_file();
    return;
  }
  struct stat status {};
  const bool replaces = stat(path_.c_str(), &status) == 0;
  if (replaces) {
    if (S_ISDIR(status.st_mode)) fail(EISDIR);
    // Renaming onto a device would replace it.
    if (!S_ISREG(status.st_mode))
      throw UserError("cannot write " + path_ + ": not a regular file; - is standard output");
    if (is_input(status)) throw UserError("cannot write " + path_ + ": it is read as well");
    if (access(path_.c_str(), W_OK) != 0) fail(errno);
  } else if (errno != ENOENT) {
    fail(errno);
  }
  // A link stays one: what it points to is written, whether it exists or not.
  constexpr int kMaxLinks = 40;
  std::error_code error;
  for (int i = 0; i < kMaxLinks && fs::is_symlink(path_, error); ++i) {
    path_ = (fs::path(path_).parent_path() / fs::read_symlink(path_, error)).string();
  }
  temporary_ = path_ + ".XXXXXX";
  const NoEnd no_end;  // between making a file and noting its name
  descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
  if (descriptor_ < 0) fail(errno);
  for (Unfinished& unfinished : all_unfinished) {
    if (unfinished.is_there != 0 || temporary_.size() >= sizeof unfinished.name) continue;
    std::memcpy(unfinished.name, temporary_.c_str(), temporary_.size() + 1);
    unfinished.is_there = 1;
    break;
  }
  // What is replaced stays as private as it was.
  if (replaces && fchown(descriptor_, status.st_uid, status.st_gid) != 0) status.st_mode &= ~mode_t{S_ISUID | S_ISGID};
  fchmod(descriptor_, replaces ? status.st_mode & 07777 : 0666 & ~current_umask());
}

NewFile::~NewFile() {
  if (descriptor_ >= 0) close(descriptor_);
  if (!temporary_.empty()) unlink(temporary_.c_str());
  forget();
}

void NewFile::copy_out() {
  std::fflush(stdout);
  char buffer[1 << 16];
  lseek(descriptor_, 0, SEEK_SET);
  for (ssize_t got = 0; (got = read(descriptor_, buffer, sizeof buffer)) != 0;) {
    if (got < 0) fail(errno);
    for (ssize_t put = 0; put < got;) {
      const ssize_t written = write(STDOUT_FILENO, buffer + put, static_cast<size_t>(got - put));
      if (written < 0) fail(errno);
      put += written;
    }
  }
}

void NewFile::commit() {
  if (path_ == "-") return copy_out();
  if (close(std::exchange(descriptor_, -1)) != 0) fail(errno);  // network file systems tell about a full disk here
  if (rename(temporary_.c_str(), path_.c_str()) != 0) fail(errno);
  forget();
  temporary_.clear();
}

void NewFile::forget() const {
  for (Unfinished& unfinished : all_unfinished) {
    if (temporary_ == unfinished.name) unfinished.is_there = 0;
  }
}

void NewFile::fail(int error) const {
  throw UserError("cannot write " + path_ + ": " + std::strerror(error));
}

}  // namespace zeto::tool
