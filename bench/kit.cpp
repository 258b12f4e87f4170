// The rows of the host kit: its own work, its detectors left out, against one detector's.
#include <cstdlib>
#include <memory>

#include "bench/rounds.hpp"
#include "bench/rows.hpp"
#include "tests/support/air.hpp"

// The linker hands calls of zeto_tx_process() on to the first of these, and the second is the library's own.
extern "C" void __wrap_zeto_tx_process(zeto_tx_state*, const int16_t*, const int16_t*, int16_t*, uint32_t);
extern "C" void __real_zeto_tx_process(zeto_tx_state*, const int16_t*, const int16_t*, int16_t*, uint32_t);

namespace {

bool left_out = false;

}  // namespace

// Left out, a detector always reads an echo from some 20 cm.
void __wrap_zeto_tx_process(zeto_tx_state* state, const int16_t* in_a, const int16_t* in_b, int16_t* out,
                            uint32_t num_samples) {
  constexpr int16_t kBeat = 234;  // Hz
  if (left_out) {
    for (uint32_t i = 0; i < num_samples; ++i) out[i] = kBeat;
  } else {
    __real_zeto_tx_process(state, in_a, in_b, out, num_samples);
  }
}

namespace bench {
namespace {

constexpr size_t kBlock = 480;
constexpr size_t kBlocks = 800;  // eight seconds, of which almost three to learn

// All rows hear the same: a hand that comes after four seconds.
struct Heard {
  std::vector<int16_t> played, heard;

  explicit Heard(const char* set) {
    support::Host player(set);
    support::Air air;
    for (size_t block = 0; block < kBlocks; ++block) {
      if (block == kBlocks / 2) air.way = air.way_of(20), air.hand = 0.1;
      const std::vector<int16_t> samples = player.play(kBlock);
      const std::vector<int16_t> late = air.pass(samples);
      played.insert(played.end(), samples.begin(), samples.end());
      heard.insert(heard.end(), late.begin(), late.end());
    }
  }
};

Subject kit(const char* name, const char* set, Quote quote, double goal = 0) {
  const auto host = std::make_shared<support::Host>(set);
  const auto sound = std::make_shared<Heard>(set);
  return {name, [=](size_t block) { zeto_host_capture(host->host, &sound->heard[block * kBlock], 2 * kBlock); },
          [=] {
            left_out = true;
            zeto_host_learn(host->host);
          },
          goal, quote};
}

Subject detector(double goal) {
  const std::shared_ptr<void> memory(std::calloc(1, cal_zeto_tx_struct_malloc_size()), std::free);
  auto* const state = static_cast<zeto_tx_state*>(memory.get());
  zeto_tx_init(state);
  zeto_tx_set_param(state, &zeto_find_set("hand")->hear);
  const auto sound = std::make_shared<Heard>("hand");
  return {"one detector, average",
          [=, keep = memory](size_t block) {
            int16_t out[kBlock];
            const size_t at = block * kBlock;
            zeto_tx_process(state, &sound->played[at], &sound->heard[at], out, kBlock);
          },
          [] { left_out = false; }, goal};
}

}  // namespace

void add_kit() {
  for (const char* set : {"hand", "room"}) {
    const std::string name = std::string("host kit \"") + set + "\" without its detectors, ";
    add_row(name + "average call", [=] {
      return Row{kBlocks, 1, {kit("library", set, Quote::kAverage), detector(1.0)}};
    });
    add_row(name + "dearest call", [=] {
      return Row{kBlocks, 1, {kit("library", set, Quote::kWorst), kit("average call", set, Quote::kAverage, 0.5)}};
    });
  }
}

}  // namespace bench
