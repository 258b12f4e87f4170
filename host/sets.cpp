// The named sets: everything that must fit together, in one place for kit, tool, Python module and guide.
#include <string.h>

#include "zeto/host.h"

namespace {

constexpr zeto_rx_param kUnused = ZETO_RX_PARAM_DEFAULTS;

// The kit's detectors measure the beat in Hz: all peaks count, and the kit sorts out what they mean.
constexpr zeto_tx_param kBeatInHz = {0, 11000, 11000, -120, 100, 50, 10, 0, 0, 0, 0};

// Each sweep is as long as what a detector looks at in one piece (64 ms, after 8 ms that it skips), and rises through
// all that phones play above hearing (18 to 24 kHz; the last 8 ms of the first sweep fold back): steps of 2.86 cm.
constexpr zeto_sweep kRise = {18000, 93750, 160, 2000, {72, 64, 64}};
constexpr float kRiseStepCm = 2.86f;

constexpr zeto_set kSets[] = {
    {"default",
     "The delay of the strongest echo to 3 ms (51 cm), up to 500 ms; the latency of a device.",
     "Anything nearer than a metre; anything at all beside a louder direct sound.",
     ZETO_RX_PARAM_DEFAULTS,
     ZETO_TX_PARAM_DEFAULTS,
     {},
     0,
     0,
     0,
     100.0f,
     8575.0f,
     67.0f},
    {"finer",
     "The delay of the strongest echo to 0.8 ms (14 cm), up to 330 ms.",
     "Anything nearer than 40 cm; anything at all beside a louder direct sound.",
     {18000, 12000, 160, 160, 1000, 1},
     {18000, 12000, 1000, -40, 100, 50, 10, 0, 0, 0, 0},
     {},
     0,
     0,
     0,
     40.0f,
     5660.0f,
     22.3f},
    {"hand", "A hand or another target, five times a second: within 1 cm from 5 to 75 cm, within 2.5 cm from 2 cm on.",
     "Two targets; faster ones than 0.2 m/s; anything while the phone is moved; what was there when it learned.",
     kUnused, kBeatInHz, kRise, 4, 0, 0, 2.0f, 80.0f, kRiseStepCm},
    {"room", "A person from 0.3 to 4 m, to a few centimetres; at rest also a faint one.",
     "Two persons; a faint one who walks; anything while the phone is moved; what was there when it learned.", kUnused,
     kBeatInHz, kRise, 4, 4, 5, 30.0f, 400.0f, kRiseStepCm},
};

constexpr uint32_t kCount = sizeof kSets / sizeof *kSets;

}  // namespace

const zeto_set* zeto_get_set(uint32_t number) {
  return number < kCount ? &kSets[number] : nullptr;
}

const zeto_set* zeto_find_set(const char* name) {
  for (const zeto_set& set : kSets) {
    if (name != nullptr && strcmp(name, set.name) == 0) return &set;
  }
  return nullptr;
}
