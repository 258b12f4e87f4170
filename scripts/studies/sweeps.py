"""What the sets play, and what follows from it: steps, range, motion, and how much of it can be heard."""
import json
import os
import tempfile

import numpy as np

import zeto
from zeto import _recording

from .guide import table, tool

PATH_CM_S = 34300
BIN_HZ = 15.625
MEAN_HZ = 19500  # where most of what phones play is
SWEEP_S = 1  # the plain sets' sweeps


def sets(_):
    rows = []
    for line in tool("sets", "--json").splitlines():
        one = json.loads(line)
        slope = json.loads(tool("params", "--set", one["name"], "--json"))["span_hz"]["value"]
        if not one["kit"]:
            slope = abs(slope) / SWEEP_S
        step = 0.5 * PATH_CM_S * BIN_HZ / slope
        rows.append((f"`{one['name']}`", f"{one['least_cm']:g} to {one['greatest_cm']:g} cm", f"{slope / 1000:g} kHz/s",
                     f"{step:.3g} cm", f"{10 * MEAN_HZ / slope:.3g} cm" + (", made up for" if one["kit"] else ""),
                     one["tells"], one["fails"]))
    table("sets", ("set", "shows", "slope", "step", "too far per 10 cm/s", "tells", "cannot tell"), rows)


def below_16k(samples):
    """Power below 16 kHz over all, and the strongest line below, in dB. `samples` repeat."""
    power = np.abs(np.fft.rfft(samples)) ** 2
    hz = np.fft.rfftfreq(len(samples), 1 / 48000)
    low = power[(hz > 0) & (hz < 16000)]
    return [f"{10 * np.log10(x / power.sum()):.0f} dB" for x in (low.sum(), low.max())]


def spectrum(_):
    rows = []
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "sweep.wav")
        for fade in (0, 0.5, 1, 2):
            tool("emit", "--set", "hand", f"--fade-ms={fade}", "--seconds", "1", "--out", path)
            (played,) = _recording.read(path)
            rows.append((f"`hand`, fades of {fade} ms" + (" (the set)" if fade == 2 else ""), *below_16k(played[-9600:])))
    with zeto.Emitter() as emitter:
        rows.append(("`default`", *below_16k(emitter.process(np.zeros(3 * 48000, np.int16))[-48000:])))
    table("spectrum", ("sweep", "all below 16 kHz", "strongest line there"), rows)
