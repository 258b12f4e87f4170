// What every result carries, so that results of several runs can be told apart once they are put together.
#pragma once
#include <string>

#include "sensing/prepared.hpp"

namespace zeto::tool {

struct RunInfo {
  std::string unit;        ///< of measurements, "" if it is not known
  std::string parameters;  ///< digest_of() them
};

/// Sixteen letters that stand for all parameters, of emitter, detector and kit, and for what is done to the recording.
/// @param more  of the verb's own options those that change results and are not the default.
std::string digest_of(const zeto_set& set, const HostSteps& steps, const std::string& more = "");

}  // namespace zeto::tool
