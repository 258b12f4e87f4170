#include <jack/jack.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "audio/audio_file.hpp"
#include "error.hpp"
#include "live/source.hpp"
#include "text/library_output.hpp"
#include "text/text.hpp"

namespace zeto::tool {
namespace {

constexpr std::chrono::milliseconds kNap(20);
constexpr int kPatience = 150;  // naps without a callback: three seconds. A process that was stopped has not waited.

void say_if_verbose(const char* message) {
  if (verbose) std::fprintf(stderr, "jack: %s\n", printable(message).c_str());
}

struct Close {
  void operator()(jack_client_t* client) const { jack_client_close(client); }
};

struct Free {
  void operator()(const char** names) const { jack_free(names); }
};
using Names = std::unique_ptr<const char*, Free>;

Names ports_of(jack_client_t* client, unsigned long flags) {
  return Names(jack_get_ports(client, nullptr, JACK_DEFAULT_AUDIO_TYPE, flags));
}

class JackSource : public Source {
 public:
  explicit JackSource(const Connections& connections) {
    jack_set_error_function(say_if_verbose);
    jack_set_info_function(say_if_verbose);
    jack_status_t status{};
    client_.reset(jack_client_open("zeto", JackNoStartServer, &status));
    const char* const server = std::getenv("JACK_DEFAULT_SERVER");
    if (!client_ && (status & JackServerFailed) == 0) {
      throw UserError(text("the JACK server takes no further client (status 0x%02x)", static_cast<unsigned>(status)));
    }
    if (!client_) {
      throw UserError("no JACK server answers" + (server ? " by the name of " + std::string(server) : "") +
                      "; start one, or on a PipeWire desktop: pw-jack zeto live");
    }
    check_rate(jack_get_sample_rate(client_.get()));
    speaker_ = jack_port_register(client_.get(), "speaker", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput, 0);
    microphone_ = jack_port_register(client_.get(), "microphone", JACK_DEFAULT_AUDIO_TYPE, JackPortIsInput, 0);
    if (speaker_ == nullptr || microphone_ == nullptr)
      throw UserError("the JACK server has no room for two more ports");
    if (connections.any) {
      to_ = chosen(connections.ports ? &connections.ports->first : nullptr, JackPortIsInput, "to play to");
      from_ = chosen(connections.ports ? &connections.ports->second : nullptr, JackPortIsOutput, "to listen to");
    }
  }

  void start(Duplex& duplex) override {
    duplex_ = &duplex;
    buffer_ = jack_get_buffer_size(client_.get());
    jack_set_process_callback(client_.get(), process, this);
    jack_set_xrun_callback(client_.get(), xrun, this);
    jack_set_buffer_size_callback(client_.get(), buffer_set, this);
    jack_set_sample_rate_callback(client_.get(), rate_set, this);
    jack_on_info_shutdown(client_.get(), shut_down, this);
    if (jack_activate(client_.get()) != 0) throw UserError("the JACK server does not start the client");
    connect(jack_port_name(speaker_), to_);
    connect(from_, jack_port_name(microphone_));
  }

  bool wait() override {
    std::this_thread::sleep_for(kNap);
    if (gone_) throw UserError("the JACK server has gone away");
    check_rate(rate_);
    if (const uint64_t callbacks = duplex_->counts().callbacks; callbacks != seen_) {
      seen_ = callbacks;
      still_ = 0;
    } else if (++still_ > kPatience) {
      throw UserError("the JACK server has stood still for three seconds");
    }
    return true;
  }

  std::string about() const override {
    const auto name = [](const std::string& port, jack_port_t* own) {
      return port.empty() ? std::string("what you connect to ") + jack_port_name(own) : port;
    };
    return "plays to " + name(to_, speaker_) + ", listens to " + name(from_, microphone_) + ", " +
           std::to_string(buffer()) + " samples a buffer";
  }

  uint32_t buffer() const override { return buffer_; }

 private:
  static void check_rate(jack_nframes_t rate) {
    if (rate == static_cast<jack_nframes_t>(kSampleRate)) return;
    throw UserError("the JACK server runs at " + std::to_string(rate) + " Hz, must be 48000 Hz; set its rate");
  }

  /// @param wanted  null: the first physical one.
  std::string chosen(const std::string* wanted, unsigned long flags, const std::string& what) const {
    if (wanted == nullptr) {
      const Names physical = ports_of(client_.get(), flags | JackPortIsPhysical);
      if (physical) return *physical.get();
      throw UserError("the JACK server has no sound card's port " + what + "; see --connect");
    }
    const jack_port_t* const port = jack_port_by_name(client_.get(), wanted->c_str());
    if (port != nullptr && (static_cast<unsigned long>(jack_port_flags(port)) & flags) != 0) return *wanted;
    throw UserError("--connect: no port " + *wanted + " " + what + "; there are: " + others(flags));
  }

  /// Those of sound cards come first. The own ones are none.
  std::string others(unsigned long flags) const {
    const Names names = ports_of(client_.get(), flags);
    std::string list;
    for (const char** name = names.get(); name != nullptr && *name != nullptr; ++name) {
      if (jack_port_is_mine(client_.get(), jack_port_by_name(client_.get(), *name)) != 0) continue;
      list += (list.empty() ? "" : ", ") + std::string(*name);
    }
    return list.empty() ? "none" : list;
  }

  void connect(const std::string& from, const std::string& to) {
    if (from.empty() || to.empty()) return;
    constexpr int kThere = 17;  // EEXIST: a session manager was faster
    if (const int error = jack_connect(client_.get(), from.c_str(), to.c_str()); error != 0 && error != kThere) {
      throw UserError("cannot connect " + from + " to " + to);
    }
  }

  static int process(jack_nframes_t n, void* self) {
    auto& source = *static_cast<JackSource*>(self);
    source.duplex_->process(static_cast<float*>(jack_port_get_buffer(source.speaker_, n)),
                            static_cast<const float*>(jack_port_get_buffer(source.microphone_, n)), n,
                            jack_last_frame_time(source.client_.get()));
    return 0;
  }
  static int xrun(void* self) {
    static_cast<JackSource*>(self)->duplex_->note_xrun();
    return 0;
  }
  static int buffer_set(jack_nframes_t n, void* self) {
    static_cast<JackSource*>(self)->buffer_ = n;
    return 0;
  }
  static int rate_set(jack_nframes_t rate, void* self) {
    static_cast<JackSource*>(self)->rate_ = rate;
    return 0;
  }
  static void shut_down(jack_status_t, const char*, void* self) { static_cast<JackSource*>(self)->gone_ = true; }

  jack_port_t* speaker_ = nullptr;
  jack_port_t* microphone_ = nullptr;
  std::string to_;
  std::string from_;
  Duplex* duplex_ = nullptr;
  std::atomic<bool> gone_ = false;
  std::atomic<jack_nframes_t> rate_ = static_cast<jack_nframes_t>(kSampleRate);
  std::atomic<uint32_t> buffer_ = 0;
  uint64_t seen_ = 0;
  int still_ = 0;                                 // naps since
  std::unique_ptr<jack_client_t, Close> client_;  // last: its callbacks end before the rest does
};

}  // namespace

std::unique_ptr<Source> jack_source(const Connections& connections) {
  return std::make_unique<JackSource>(connections);
}

}  // namespace zeto::tool
