#include "sensing/kit.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "audio/audio_file.hpp"
#include "error.hpp"
#include "parameters/parameters.hpp"
#include "text/library_output.hpp"

namespace zeto::tool {
namespace {

constexpr size_t kAlignment = 16;
constexpr size_t kBetweenReadings = 9600;  // the kit gives one in as many samples

}  // namespace

const char* state_name(const Reading& reading) {
  constexpr const char* kNames[] = {"", "learning", "nobody", "target", "disturbed"};
  return kNames[reading.state];
}

const char* cause_name(const Reading& reading) {
  constexpr const char* kNames[] = {"", "alignment", "foreign", "noise", "unheard"};
  return kNames[reading.cause];
}

double end_s(const Reading& reading) {
  return static_cast<double>(reading.end) / kSampleRate;
}

Kit::Kit(const zeto_set& set, double spacing_cm) : set_(set) {
  if (!(spacing_cm >= 0.0 && spacing_cm <= 100.0)) throw UserError("--spacing-cm: must be 0 to 100");
  set_.sweep = sweep_of(set);
  const zeto_host_param param{&set_, ZETO_FORMAT_FLOAT, static_cast<float>(spacing_cm)};
  const size_t bytes = zeto_host_bytes(&param);
  if (bytes == 0) {
    throw UserError(
        "the host kit plays up to eight sweeps (--restart-ms) of an even number of ms that fill 200 ms, and rise by at "
        "least 5000 Hz a second (--span-hz)");
  }
  memory_.reset(std::aligned_alloc(kAlignment, bytes));
  if (!memory_) throw UserError("out of memory");
  std::memset(memory_.get(), 0, bytes);  // touched here rather than on an audio thread
  {
    const LibrarySpeaks elsewhere;
    host_ = zeto_host_init(memory_.get(), &param);
  }
  if (host_ == nullptr) throw UserError("out of memory");
  zeto_host_learn(host_);
}

void Kit::Free::operator()(void* memory) const {
  std::free(memory);
}

void Kit::take(std::span<const float> microphone, std::vector<Reading>& readings) {
  for (size_t at = 0; at < microphone.size(); at += kBetweenReadings) {
    const auto part = microphone.subspan(at, std::min(kBetweenReadings, microphone.size() - at));
    const Reading now = zeto_host_capture(host_, part.data(), part.size_bytes());
    if (now.number == number_) continue;
    number_ = now.number;
    readings.push_back(now);
  }
}

}  // namespace zeto::tool
