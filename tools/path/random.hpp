// Random numbers that are the same everywhere: the standard library's distributions differ between its makers.
#pragma once
#include <cstdint>
#include <random>

namespace zeto::tool {

/// What numbers are drawn for. Each has a stream of its own, so that what one draws does not change another.
enum class Purpose : uint64_t { kWhiteNoise, kPinkNoise, kRoom, kTremor, kForeign, kPhone };

class Random {
 public:
  Random(uint64_t seed, Purpose purpose);

  /// Above 0, below 1.
  double uniform();
  double between(double least, double greatest) { return least + (greatest - least) * uniform(); }
  /// 1 or -1.
  double sign() { return uniform() < 0.5 ? -1.0 : 1.0; }
  /// Of mean 0 and variance 1.
  double normal();

 private:
  std::mt19937_64 random_;
};

}  // namespace zeto::tool
