#include "reports/run_info.hpp"

#include "parameters/json.hpp"
#include "text/json.hpp"
#include "text/text.hpp"

namespace zeto::tool {

std::string digest_of(const zeto_set& set, const HostSteps& steps, const std::string& more) {
  zeto_set copy = set;
  const Json all{json_of(parameters_of(copy.chirp)),
                 json_of(parameters_of(copy.hear)),
                 restarts_of(set),
                 has_sweeps(set) ? set.sweep.fade_us : 0,
                 {set.detectors, set.slow, set.slow_frames},
                 steps.align.value_or(""),
                 steps.background.value_or(""),
                 is_for_kit(set) || steps.align ? steps.spacing_cm : 0.0};
  uint64_t hash = 0xcbf29ce484222325;  // FNV-1a
  for (const char c : text_of(all) + more) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
  return text("%016llx", static_cast<unsigned long long>(hash));
}

}  // namespace zeto::tool
