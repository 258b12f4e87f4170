// Runs a fuzz target over its seed corpus without a fuzzer: inputs of random bytes, the same everywhere, and files.
// usage: PROGRAM --seeds COUNT | --write DIRECTORY | FILE...
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "tests/support/fuzz_input.hpp"

namespace {

std::string seed_input(uint32_t seed) {
  uint32_t state = seed * 2654435761u;
  std::string bytes(8 + support::next_random(state) % 2000, 0);
  for (char& byte : bytes) byte = static_cast<char>(support::next_random(state) >> 8);
  return bytes;
}

void run(const std::string& bytes) {
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view option = argc == 3 ? argv[1] : "";
  if (option == "--write") {
    for (uint32_t seed = 0; seed < 300; ++seed)
      std::ofstream(std::string(argv[2]) + "/seed" + std::to_string(seed), std::ios::binary) << seed_input(seed);
    return 0;
  }
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return 1;  // the cores' lines
  if (option == "--seeds") {
    for (uint32_t seed = 0, count = static_cast<uint32_t>(std::stoul(argv[2])); seed < count; ++seed)
      run(seed_input(seed));
    if (look_back != nullptr) look_back();
    return 0;
  }
  for (int i = 1; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    support::require(file.good(), argv[i]);
    run({std::istreambuf_iterator<char>(file), {}});
  }
  return 0;
}
