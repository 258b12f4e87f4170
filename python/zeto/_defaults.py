"""Made by scripts/make-defaults from the public headers."""
from typing import Mapping

__version__ = "1.0.0"
SAMPLE_RATE = 48000  # Hz, the only one
BLOCK = 480  # samples, 10 ms
LATENCY = 479  # samples by which everything comes back late
REJECTED = -1000  # what the detector gives after an analysis without agreement

EMITTER_DEFAULTS: Mapping[str, int] = {
    "start_hz": 19600,
    "span_hz": 4000,
    "amp_start_milli": 10,
    "amp_end_milli": 160,
    "period_ms": 1000,
    "enable": 1,
}
DETECTOR_DEFAULTS: Mapping[str, int] = {
    "UltraHz_floor": 19605,
    "UltraHz_scope": 4000,
    "UltraHz_period": 1000,
    "UltraHz_cand_dB": -20,
    "UltraHz_cand_ratio": 100,
    "UltraHz_spread_ratio": 50,
    "UltraHz_mix_gain": 10,
    "UltraHz_smooth": 0,
    "UltraHz_spare1": 0,
    "UltraHz_spare2": 0,
    "UltraHz_delay_ms": 0,
}
