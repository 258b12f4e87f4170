"""Recordings, read by libsndfile as the command-line tool does: what one understands the other does too."""
import contextlib
import ctypes
import ctypes.util
import functools
import os
import struct
import tempfile
from typing import Any, Iterator, Optional

import numpy as np
from numpy.typing import NDArray

from ._defaults import SAMPLE_RATE


class _Info(ctypes.Structure):
    """SF_INFO"""

    _fields_ = [
        ("frames", ctypes.c_int64),
        *((name, ctypes.c_int) for name in ("samplerate", "channels", "format", "sections", "seekable")),
    ]


@functools.lru_cache(maxsize=None)
def _sndfile() -> ctypes.CDLL:
    library = ctypes.CDLL(ctypes.util.find_library("sndfile") or "libsndfile.so.1")
    library.sf_open.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.POINTER(_Info)]
    library.sf_open.restype = ctypes.c_void_p
    library.sf_readf_double.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int64]
    library.sf_readf_double.restype = ctypes.c_int64
    library.sf_seek.argtypes = [ctypes.c_void_p, ctypes.c_int64, ctypes.c_int]
    library.sf_seek.restype = ctypes.c_int64
    library.sf_close.argtypes = [ctypes.c_void_p]
    return library


def read(path: str, first: int = 0, frames: Optional[int] = None) -> NDArray[np.float64]:
    """Channels by samples, full scale 1.0: so many from the first on, or all that follow."""
    library = _sndfile()
    info = _Info()
    file = library.sf_open(os.fsencode(path), 0x10, info)  # SFM_READ
    if not file:
        raise OSError(f"cannot read {path}: not an audio file")
    library.sf_seek(file, first, os.SEEK_SET)
    wanted = max(0, min(info.frames - first, info.frames if frames is None else frames))
    samples = np.zeros((wanted, info.channels))
    got: int = library.sf_readf_double(file, samples.ctypes.data, wanted)
    library.sf_close(file)
    return samples[:got].T


_FULL_SCALE = {np.dtype(np.int16): 2.0**15, np.dtype(np.int32): 2.0**31}


def _float(samples: NDArray[Any]) -> NDArray[np.float32]:
    """Full scale 1.0."""
    if samples.dtype.kind != "f" and samples.dtype not in _FULL_SCALE:
        raise ValueError(f"samples must be 16-bit or 32-bit integers or floats, not {samples.dtype}")
    return (samples / _FULL_SCALE.get(samples.dtype, 1.0)).astype(np.float32)


@contextlib.contextmanager
def recorded(*channels: NDArray[Any]) -> Iterator[str]:
    """A WAV file of these for a while. Integers of 16 or 32 bits stay what they are if all channels have that type; all
    else becomes float."""
    arrays = [np.asarray(channel) for channel in channels]
    if len({array.shape for array in arrays}) != 1 or arrays[0].ndim != 1:
        raise ValueError("reference and microphone: must be one channel each, of equal lengths")
    types = {array.dtype for array in arrays}
    if len(types) > 1 or not types <= _FULL_SCALE.keys():
        arrays = [_float(array) for array in arrays]
    frames = np.stack(arrays, axis=1)
    kind, size = (3 if frames.dtype == np.float32 else 1), frames.itemsize
    data = frames.astype(frames.dtype.newbyteorder("<")).tobytes()
    head = struct.pack("<HHIIHH", kind, len(channels), SAMPLE_RATE, SAMPLE_RATE * size * len(channels),
                       size * len(channels), 8 * size)
    with tempfile.NamedTemporaryFile(suffix=".wav") as file:
        file.write(b"RIFF" + struct.pack("<I", 36 + len(data)) + b"WAVEfmt " + struct.pack("<I", 16) + head)
        file.write(b"data" + struct.pack("<I", len(data)) + data)
        file.flush()
        yield file.name
