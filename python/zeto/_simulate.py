"""Simulated recordings, made by the command-line tool."""
import dataclasses
import json
import os
import tempfile
from typing import Any, Dict, List, Optional

import numpy as np
from numpy.typing import NDArray

from ._defaults import SAMPLE_RATE
from ._recording import read
from ._tool import asked, words


@dataclasses.dataclass(frozen=True)
class Simulation:
    """A recording, and what is true."""

    reference: NDArray[np.int16]  # what was played
    microphone: NDArray[np.int16]
    true_cm: NDArray[np.float64]  # the target's distance at each sample of the microphone; NaN if there is none
    readings: List[Dict[str, Any]]  # as zeto simulate --json gives them: time_s, state, cause, true_cm, shown_cm
    report: Dict[str, Any]  # all that zeto simulate --json gives


def simulate(zeto: Optional[str] = None, **options: Any) -> Simulation:
    """Makes a recording as `zeto simulate` does. Keywords are its options, with _ for -: see `zeto simulate --help`.

        made = zeto.simulate(set="hand", phone=True, target_cm=20, present=[(4, 6), (8, 9)], drop=(7, 10), seed=3)
        host = zeto.Host("hand")
        host.learn()
        readings = host.capture(made.microphone)

    A flag is True; a tuple is an option of several numbers, a list is an option given several times. `zeto` is the
    command-line tool. Bad options are ValueErrors, files that cannot be read OSErrors, with the tool's own line."""
    if taken := {"help", "json", "csv", "wav"} & options.keys():
        raise ValueError(f"{taken.pop()}: what is written is for this function to say")
    with tempfile.TemporaryDirectory() as folder:
        wav = os.path.join(folder, "simulated.wav")
        said = asked(["simulate", *words(options), "--json", f"--wav={wav}"], zeto)
        reference, microphone = map(np.ascontiguousarray, (read(wav) * 2**15).astype(np.int16))
    report: Dict[str, Any] = json.loads(said)
    return Simulation(reference, microphone, _truth(report, len(microphone)), report.get("readings", []), report)


def _truth(report: Dict[str, Any], samples: int) -> NDArray[np.float64]:
    """At each sample, between the points that the tool gives."""
    truth = report.get("truth") or {"cm": []}
    points = np.array(truth["cm"], float)
    if not len(points):
        return np.full(samples, np.nan)
    step = round(truth["step_s"] * SAMPLE_RATE)
    return np.interp(np.arange(samples), step * np.arange(len(points)), points)
