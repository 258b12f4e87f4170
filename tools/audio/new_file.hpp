// A file that appears whole or not at all.
#pragma once
#include <csignal>
#include <string>

namespace zeto::tool {

/// Opens a temporary file beside the target. commit() puts it in the target's place; without it, it is removed. The
/// target "-" is standard output, and receives all of it on commit().
class NewFile {
 public:
  /// Throws UserError if the target cannot be written, or is read as well.
  explicit NewFile(std::string path);
  ~NewFile();
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  /// To write to; owned here.
  int descriptor() const { return descriptor_; }
  const std::string& path() const { return path_; }
  void commit();

 private:
  void copy_out();
  void forget() const;
  [[noreturn]] void fail(int error) const;

  std::string path_;
  std::string temporary_;
  int descriptor_ = -1;
};

/// Remembers a file that is read, from any thread: a NewFile does not take its place.
void remember_input(const std::string& path);

/// Has signals that end the process remove the unfinished file first.
void remove_unfinished_on_signals();

/// Holds these signals back, in this thread and for good in those that it starts meanwhile. A thread that outlives the
/// making of a NewFile is started so: the signal then waits until the file's name is known.
class NoEnd {
 public:
  NoEnd();
  ~NoEnd();
  NoEnd(const NoEnd&) = delete;
  NoEnd& operator=(const NoEnd&) = delete;

 private:
  sigset_t before_;
};

}  // namespace zeto::tool
