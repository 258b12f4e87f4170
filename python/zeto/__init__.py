"""libzeto from Python: the wrappers of zeto/wrappers.h, with NumPy arrays in and out.

    import numpy as np, zeto
    with zeto.Emitter() as emitter, zeto.Detector() as detector:
        played = emitter.process(np.zeros(480000, np.int16))
        heard = np.roll(played, 2400) // 2
        print(zeto.measurements(detector, detector.process(played, heard)))

The library is the file that the environment variable ZETO_LIBRARY names, else the one that was installed with this
module, else the system's libzeto.

Parameters have the names, units and order of zeto/cores.h. Their defaults here are the command-line tool's, which fit
each other. (The library's own measure nothing: the emitter starts with a period of 0, the detector with all zeros.)

Standard output: creating a handle, setting its parameters and closing it let the library print a line each, through
C's standard output and so past sys.stdout. Programs whose output is read by others redirect file descriptor 1.

A handle is for one thread at a time; different handles are independent. Calls release the interpreter's lock.
"""
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
)

__all__ = [
    "BLOCK",
    "DETECTOR_DEFAULTS",
    "EMITTER_DEFAULTS",
    "LATENCY",
    "REJECTED",
    "SAMPLE_RATE",
    "Detector",
    "Emitter",
    "Format",
    "ZetoError",
    "measurements",
]
