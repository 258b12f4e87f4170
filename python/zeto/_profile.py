"""The median of all spectra of a recording, by the command-line tool."""
import dataclasses
import json
from typing import Any, Dict, List, Optional, Union

import numpy as np
from numpy.typing import NDArray

from ._recording import recorded
from ._tool import asked, words


@dataclasses.dataclass(frozen=True)
class Peak:
    """A way that the sound takes."""

    delay_ms: float  # between bins; 1 bin for all below 1.5, and beyond half a sweep they fold
    distance_cm: float  # half of the sound's way
    level_db: float
    over_floor_db: float
    direct: bool  # the loudspeaker itself, or the strongest echo if the microphone does not hear it


@dataclasses.dataclass(frozen=True)
class Profile:
    """Over the detector's bins 1 to 256, as `zeto profile --json` gives it."""

    delay_ms: NDArray[np.float64]
    distance_cm: NDArray[np.float64]
    median_db: NDArray[np.float64]  # of all spectra of all analyses
    floor_db: float  # the median of these
    peaks: List[Peak]  # the strongest first
    latency_ms: Optional[float]  # by correlation, for align; None if no delay stands out
    threshold_db: Optional[int]  # proposed for UltraHz_cand_dB; None if no peak is clear of the noise
    analyses: int


def profile(
    reference: NDArray[Any], microphone: NDArray[Any], zeto: Optional[str] = None, **options: Any
) -> Profile:
    """Which delays two channels at 48000 Hz hold, and how strongly. Samples are 16-bit or 32-bit integers, or floats of
    full scale 1. Keywords are the options of `zeto profile`, with _ for -: align="auto", background=(0.5, 2.5), set="hand".

        found = zeto.profile(made.reference, made.microphone)
        matplotlib.pyplot.plot(found.delay_ms, found.median_db)"""
    with recorded(reference, microphone) as path:
        return of_report(json.loads(asked(["profile", *words(options), "--json", path], zeto)))


def of_report(report: Dict[str, Any]) -> Profile:
    arrays = {name: np.array(report[name], float) for name in ("delay_ms", "distance_cm", "median_db")}
    rest: Dict[str, Union[float, int, None]] = {
        name: report[name] for name in ("floor_db", "latency_ms", "threshold_db", "analyses")}
    return Profile(**arrays, peaks=[Peak(**peak) for peak in report["peaks"]], **rest)  # type: ignore[arg-type]
