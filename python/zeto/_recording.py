"""Recordings, read by libsndfile as the command-line tool does: what one understands the other does too."""
import ctypes
import ctypes.util
import os

import numpy as np
from numpy.typing import NDArray


class _Info(ctypes.Structure):
    """SF_INFO"""

    _fields_ = [
        ("frames", ctypes.c_int64),
        *((name, ctypes.c_int) for name in ("samplerate", "channels", "format", "sections", "seekable")),
    ]


def read(path: str) -> NDArray[np.float64]:
    """Channels by samples, full scale 1.0."""
    library = ctypes.CDLL(ctypes.util.find_library("sndfile") or "libsndfile.so.1")
    library.sf_open.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.POINTER(_Info)]
    library.sf_open.restype = ctypes.c_void_p
    library.sf_readf_double.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
    library.sf_readf_double.restype = ctypes.c_int64
    library.sf_close.argtypes = [ctypes.c_void_p]
    info = _Info()
    file = library.sf_open(os.fsencode(path), 0x10, info)  # SFM_READ
    if not file:
        raise OSError(f"cannot read {path}: not an audio file")
    samples = np.zeros((info.frames, info.channels))
    got: int = library.sf_readf_double(file, samples.ctypes.data, info.frames)
    library.sf_close(file)
    return samples[:got].T
