// Where the sound goes and comes from: a JACK server, or a recording in place of one.
#pragma once
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "live/duplex.hpp"

namespace zeto::tool {

class Source {
 public:
  Source() = default;
  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;
  virtual ~Source() = default;

  /// From now on the duplex is called, on a thread of the source's own or in wait(). It must outlive the source.
  virtual void start(Duplex& duplex) = 0;
  /// Until some more sound has passed. Returns false at its end; throws UserError if it ends too soon.
  virtual bool wait() = 0;
  /// What it is, a line for the user. Once it has started.
  virtual std::string about() const = 0;
  /// Samples of a buffer, as it is now; 0 if it is a recording.
  virtual uint32_t buffer() const = 0;
  /// Of what was heard so far, a line each.
  virtual std::vector<std::string> warnings() const { return {}; }
};

/// What is connected to the own ports.
struct Connections {
  bool any = true;                                           ///< otherwise the user connects them
  std::optional<std::pair<std::string, std::string>> ports;  ///< to play to, to listen to; else the first physical ones
};

/// Throws UserError if no server answers, at another rate than 48000 Hz, if a port does not exist, or if the program
/// was built without JACK.
std::unique_ptr<Source> jack_source(const Connections& connections);

/// A recording, read as fast as possible: its first channel replaces what is played, its second the microphone.
/// @param is_table  warn if the first channel does not repeat every 200 ms, as the kit's sweep table does.
std::unique_ptr<Source> file_source(const std::string& path, bool is_table);

}  // namespace zeto::tool
