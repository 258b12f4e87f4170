"""libzeto from Python: the wrappers of zeto/wrappers.h, with NumPy arrays in and out.

    import numpy as np, zeto
    with zeto.Emitter() as emitter, zeto.Detector() as detector:
        played = emitter.process(np.zeros(480000, np.int16))
        heard = np.roll(played, 2400) // 2
        print(zeto.measurements(detector, detector.process(played, heard)))

The library is the file that the environment variable ZETO_LIBRARY names, else the one that was installed with this
module, else the system's libzeto.

Parameters have the names, units, order and defaults of zeto/cores.h (ZETO_RX_PARAM_DEFAULTS, ZETO_TX_PARAM_DEFAULTS).

Standard output: the library's cores print lines while a handle is made, set or closed. The module drops them;
zeto.quiet(False) shows them.

A handle is for one thread at a time; different handles are independent. Calls release the interpreter's lock.
"""
import importlib.util
import sys

if importlib.util.find_spec("numpy") is None and sys.argv[:1] == ["-m"]:  # as python3 -m zeto.plot
    sys.exit("zeto: NumPy is missing (Debian: python3-numpy, which only /usr/bin/python3 sees)")

from ._defaults import __version__
from ._host import Findings, Host, Reading, Set, sets
from ._library import (
    BLOCK,
    DETECTOR_DEFAULTS,
    EMITTER_DEFAULTS,
    LATENCY,
    REJECTED,
    SAMPLE_RATE,
    Detector,
    Emitter,
    Format,
    ZetoError,
    measurements,
    quiet,
)
from ._profile import Peak, Profile, profile
from ._simulate import Simulation, simulate
from ._tune import Tuned, tune

__all__ = [
    "BLOCK",
    "DETECTOR_DEFAULTS",
    "EMITTER_DEFAULTS",
    "LATENCY",
    "REJECTED",
    "SAMPLE_RATE",
    "Detector",
    "Emitter",
    "Findings",
    "Format",
    "Host",
    "Peak",
    "Profile",
    "Reading",
    "Set",
    "Simulation",
    "Tuned",
    "ZetoError",
    "__version__",
    "measurements",
    "profile",
    "quiet",
    "sets",
    "simulate",
    "tune",
]
