// In place of jack_source.cpp if JACK was not there to build with.
#include "error.hpp"
#include "live/source.hpp"

namespace zeto::tool {

std::unique_ptr<Source> jack_source(const Connections&) {
  throw UserError("built without JACK (Debian: libjack-jackd2-dev); only --from works");
}

}  // namespace zeto::tool
