"""Simulated scenes by the hundred: what the tool's simulated phone gives, over seeds, on all processors."""
import collections
import functools
import json
import multiprocessing
import os
import tempfile
import wave

import numpy as np

from . import noises
from .guide import tool

Output = collections.namedtuple("Output", "time_s state true_cm shown_cm")

COMES = 3.5  # seconds; what comes, a target or a fault, comes once the kit has learned
SETTLED = COMES + 1.0
SEEDS = range(1, 41)

_known = {}


def scene(seed, set="hand", noise=None, peak_db=0, noise_from=0.0, seconds=8, **options):
    """A phone of that seed: latency from 20 to 110 ms, direct sound, reflections and noise by the seed. The rest is as
    for zeto simulate, with _ for -. `noise` is one of noises.KINDS, its peak `peak_db` against full scale."""
    given = dict(seed=seed, set=set, seconds=seconds, phone=True, **options)
    if noise:
        given["noise"] = (noise, peak_db, noise_from)
    return tuple(sorted(given.items()))


@functools.lru_cache(maxsize=4)
def _noise(kind, seconds, seed):
    return noises.KINDS[kind](seconds, seed)


def _write(path, kind, start, seconds, seed):
    sound = _noise(kind, seconds, seed).copy()
    sound[: int(start * noises.RATE)] = 0
    with wave.open(path, "wb") as file:
        file.setparams((1, 2, noises.RATE, 0, "NONE", ""))
        file.writeframes(np.round(sound * 32767).astype("<i2").tobytes())


def _words(options):
    for name, value in options.items():
        word = "--" + name.replace("_", "-")
        yield word if value is True else f"{word}={','.join(map(str, value)) if isinstance(value, tuple) else value}"


def _outputs(job):
    options = dict(job)
    with tempfile.TemporaryDirectory() as folder:
        if "noise" in options:
            kind, peak_db, start = options["noise"]
            options["noise"] = os.path.join(folder, "noise.wav")
            options["noise_gain"] = 10 ** (peak_db / 20)
            _write(options["noise"], kind, start, options["seconds"], options["seed"])
        told = tool("simulate", "--json", *_words(options))
    return [Output(r["time_s"], r["state"], r["true_cm"], r["shown_cm"]) for r in json.loads(told)["readings"]
            if r["time_s"] > 1]


def run(jobs):
    """The outputs of each scene, without the first second; each scene is simulated once."""
    jobs = list(jobs)
    missing = list(dict.fromkeys(job for job in jobs if job not in _known))
    if missing:
        with multiprocessing.Pool() as pool:
            _known.update(zip(missing, pool.map(_outputs, missing, chunksize=6)))
    return [_known[job] for job in jobs]


def errors(outputs):
    """Of the outputs with a target, from a second after it came: the error in cm, NaN where none is shown."""
    there = [o for o in outputs if o.true_cm is not None and o.time_s > SETTLED]
    return np.array([np.nan if o.shown_cm is None else o.shown_cm - o.true_cm for o in there])


def false_targets(outputs, start=0.0):
    """Of the outputs with nobody there, from `start` on, without learning: whether one is shown."""
    return np.array([o.shown_cm is not None for o in outputs
                     if o.true_cm is None and o.time_s > start and o.state != "learning"])


def said_after(outputs, start):
    """Seconds from `start` until the kit said that it is disturbed; infinite if it did not."""
    return min((o.time_s - start for o in outputs if o.time_s > start and o.state == "disturbed"), default=np.inf)
