"""The exported functions, and the two handles around them."""
import contextlib
import ctypes
import ctypes.util
import difflib
import enum
import functools
import os
import sys
import threading
from types import TracebackType
from typing import Any, Dict, Iterator, Mapping, Optional, Tuple, Type, TypeVar, Union

import numpy as np
from numpy.typing import NDArray

from ._defaults import BLOCK, DETECTOR_DEFAULTS, EMITTER_DEFAULTS, LATENCY, REJECTED, SAMPLE_RATE
from ._paths import LIBRARY

ANALYSIS = 20 * BLOCK  # samples, 200 ms


class ZetoError(Exception):
    """The library is missing, or cannot do what was asked."""


class Format(enum.IntEnum):
    """The host's sample formats. INT24 is a 24-bit value in 32 bits."""

    INT16 = 1
    INT24 = 2
    INT32 = 3
    FLOAT32 = 4

    @property
    def dtype(self) -> "np.dtype[Any]":
        return np.dtype(("int16", "int32", "int32", "float32")[self - 1])

    @property
    def full_scale(self) -> float:
        return {1: 2.0**15, 2: 2.0**23, 3: 2.0**31, 4: 1.0}[self]


class _Head(ctypes.Structure):
    """The start of zeto_rx_wrapper and zeto_tx_wrapper alike."""

    _fields_ = [("state", ctypes.c_int32), ("params", ctypes.c_uint8 * 80), ("core", ctypes.c_void_p)]


def beside_this(relative: str) -> str:
    """The file of that path from this folder; an empty string if there is none."""
    path = os.path.join(os.path.dirname(os.path.realpath(__file__)), relative)
    return os.path.normpath(path) if relative and os.path.exists(path) else ""


@functools.lru_cache(maxsize=None)
def library() -> ctypes.CDLL:
    named = os.environ.get("ZETO_LIBRARY") or beside_this(LIBRARY)
    path = named or ctypes.util.find_library("zeto") or "libzeto.so.1"
    try:
        loaded = ctypes.CDLL(path)
        for side in ("rx", "tx"):
            call = functools.partial(getattr, loaded)
            buffers = [ctypes.c_void_p] * (1 if side == "rx" else 3)
            for verb, arguments, result in (
                ("init", [ctypes.c_uint32, ctypes.c_int32], ctypes.POINTER(_Head)),
                ("set_parameters", [ctypes.c_void_p, ctypes.c_void_p], None),
                ("get_parameter", [ctypes.c_void_p, ctypes.c_void_p], None),
                ("process", [ctypes.c_void_p, *buffers, ctypes.c_uint64], None),
                ("deinit", [ctypes.c_void_p], None),
            ):
                function = call(f"zeto_{side}_wrapper_{verb}")
                function.argtypes, function.restype = arguments, result
    except (OSError, AttributeError) as error:
        raise ZetoError(f"cannot use libzeto ({error}); ZETO_LIBRARY may name its file") from error
    return loaded


_shows_lines = False
_one_at_a_time = threading.RLock()  # a handle may be closed by the garbage collector amid another's call
if hasattr(os, "register_at_fork"):  # a child has but one thread: no other may hold the lock, nor the stream be swapped
    os.register_at_fork(
        before=_one_at_a_time.acquire, after_in_parent=_one_at_a_time.release, after_in_child=_one_at_a_time.release)


def quiet(on: bool = True) -> None:
    """Whether the lines that the library's cores print are dropped, as they are from the start, or go to C's standard
    output. While a handle is made, set or closed, what C code in other threads prints through C's stdout is dropped with
    them. (With a C library other than glibc nothing is dropped.)"""
    global _shows_lines
    _shows_lines = not on


@functools.lru_cache(maxsize=None)
def _streams() -> Optional[Tuple[ctypes.c_void_p, int]]:
    """C's variable `stdout`, to which glibc's printf writes, and a stream that leads nowhere."""
    c = ctypes.CDLL(None)
    if not hasattr(c, "gnu_get_libc_version"):
        return None
    c.fopen.restype = ctypes.c_void_p
    nowhere = c.fopen(b"/dev/null", b"we")
    return (ctypes.c_void_p.in_dll(c, "stdout"), nowhere) if nowhere else None


@contextlib.contextmanager
def silence() -> Iterator[None]:
    """The descriptor stays as it is, so what Python writes in other threads is not lost."""
    with contextlib.nullcontext() if sys.is_finalizing() else _one_at_a_time:  # other threads are gone, with the lock
        streams = None if _shows_lines else _streams()
        if streams is None:
            yield
            return
        stdout, nowhere = streams
        kept, stdout.value = stdout.value, nowhere
        try:
            yield
        finally:
            stdout.value = kept


def _merged(defaults: Mapping[str, int], changes: Mapping[str, int]) -> Dict[str, int]:
    for name, value in changes.items():
        if name not in defaults:
            nearest = difflib.get_close_matches(name, defaults, 1)
            hint = f"did you mean {nearest[0]}?" if nearest else "there are " + ", ".join(defaults)
            raise TypeError(f"there is no parameter {name}; {hint}")
        if not isinstance(value, (int, np.integer)):
            raise TypeError(f"{name}: must be a whole number, not {value!r}")
        if not -(2**31) <= value < 2**31:
            raise ValueError(f"{name}: {value!r} does not fit into 32 bits")
    return {name: int(changes.get(name, value)) for name, value in defaults.items()}


Self = TypeVar("Self", bound="_Handle")
Sample = TypeVar("Sample", np.int16, np.int32, np.float32)


def checked_format(number: Union[Format, int]) -> Format:
    try:
        return Format(number)  # the library takes any number, and then never returns from processing
    except ValueError:
        raise ValueError(f"format {number!r} is none of 1 (16-bit), 2 (24-bit), 3 (32-bit), 4 (float)") from None


def checked(name: str, samples: NDArray[Sample], format: Format) -> NDArray[Sample]:
    if not isinstance(samples, np.ndarray):
        raise TypeError(f"{name}: a NumPy array is needed, not {type(samples).__name__}")
    if samples.dtype != format.dtype:
        raise TypeError(f"{name}: format {format.name} takes {format.dtype}, not {samples.dtype}")
    if samples.ndim != 1:
        raise ValueError(f"{name}: one channel is needed, not an array of {samples.ndim} dimensions")
    if not samples.flags.c_contiguous or not samples.flags.aligned:
        raise ValueError(f"{name}: samples must lie one behind the other (numpy.ascontiguousarray)")
    return samples


class _Handle:
    _side: str
    _defaults: Mapping[str, int]

    def __init__(self, format: Union[Format, int] = Format.INT16, **parameters: int) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()
        self._handle: "Optional[ctypes._Pointer[_Head]]" = None
        self.format = checked_format(format)
        self._set = _merged(self._defaults, parameters)
        handle: "ctypes._Pointer[_Head]" = self._call("init", SAMPLE_RATE, self.format)  # may be null
        if not handle:
            raise ZetoError("out of memory")
        self._handle = handle
        if handle.contents.state != 1 or not handle.contents.core:
            self.close()
            raise ZetoError("out of memory")
        self.set_parameters()

    def set_parameters(self, **changes: int) -> None:
        """Changes some parameters and starts afresh. Up to 479 samples of before still come out."""
        handle = self._open()
        self._set = _merged(self._set, changes)
        block = (ctypes.c_int32 * 20)(*self._set.values())  # 80 bytes are read, whatever the core uses of them
        self._call("set_parameters", handle, block)

    @property
    def parameters(self) -> Dict[str, int]:
        """The parameters, read back from the library."""
        words = (ctypes.c_int32 * 20)()
        self._call("get_parameter", self._open(), words)
        return dict(zip(self._defaults, words))

    def close(self) -> None:
        """Frees the handle. Closing twice does no harm."""
        if self._handle is not None:
            handle, self._handle = self._handle, None
            self._call("deinit", handle)

    def __reduce__(self) -> Any:
        raise TypeError("a handle cannot be copied or pickled")

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(
        self, kind: Optional[Type[BaseException]], error: Optional[BaseException], trace: Optional[TracebackType]
    ) -> None:
        self.close()

    def __del__(self) -> None:
        if getattr(self, "_handle", None) is not None:
            self.close()

    def _call(self, verb: str, *arguments: object) -> Any:
        function = getattr(library(), f"zeto_{self._side}_wrapper_{verb}")
        if verb in ("process", "get_parameter"):  # these print nothing
            return function(*arguments)
        with silence():
            return function(*arguments)

    def _open(self) -> "ctypes._Pointer[_Head]":
        if self._handle is None:
            raise ZetoError("the handle is closed")
        return self._handle

    def _checked(self, name: str, samples: NDArray[Sample]) -> NDArray[Sample]:
        return checked(name, samples, self.format)


class Emitter(_Handle):
    """The downlink wrapper: playback in, chirp out."""

    _side = "rx"
    _defaults = EMITTER_DEFAULTS

    @property
    def parameters(self) -> Dict[str, int]:
        """The parameters, read back from the library. Of the period it keeps whole seconds: 2500 reads 2000."""
        words = super().parameters
        words["period_ms"] *= 1000
        return words

    def process(self, buffer: NDArray[Sample]) -> NDArray[Sample]:
        """Replaces the samples by the chirp, in place, and returns the same array. Any length."""
        handle = self._open()
        if not self._checked("buffer", buffer).flags.writeable:
            raise ValueError("buffer: it is read-only, the chirp takes its place")
        self._call("process", handle, buffer.ctypes.data, buffer.nbytes)
        return buffer


class Detector(_Handle):
    """The uplink wrapper: reference and microphone in, measurement out."""

    _side = "tx"
    _defaults = DETECTOR_DEFAULTS

    def process(self, reference: NDArray[Sample], microphone: NDArray[Sample]) -> NDArray[Sample]:
        """The measurement, a sample for each of the inputs', in their format. The inputs stay as they are. Any length,
        both the same."""
        handle = self._open()
        far = self._checked("reference", reference).copy()
        near = self._checked("microphone", microphone).copy()
        if len(reference) != len(microphone):
            raise ValueError(f"unequal lengths: reference {len(reference)}, microphone {len(microphone)}")
        out = np.zeros_like(far)
        self._call("process", handle, far.ctypes.data, near.ctypes.data, out.ctypes.data, out.nbytes)
        return out


def measurements(detector: Detector, samples: NDArray[Sample]) -> NDArray[np.int32]:
    """One value per analysis, REJECTED if its spectra did not agree, from all that a fresh detector returned (join the
    pieces first). Analysis k shows from sample 9600 k - 1 on, at which its own last sample goes in."""
    delay_ms = detector._set["UltraHz_delay_ms"]  # it may be closed by now
    first = 1 if delay_ms < 10 else delay_ms // 10 // 20 + 1  # the start-up delay has no analyses
    shown = samples[first * ANALYSIS - 1 :: ANALYSIS].astype(np.float64)
    if not np.isfinite(shown).all():
        raise ValueError("samples: not what a detector returned, some are no finite numbers")
    return (shown * (2.0**15 / detector.format.full_scale)).astype(np.int32)
