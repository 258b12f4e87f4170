"""The host kit: one object that plays, listens and says what there is."""
import ctypes
import dataclasses
import functools
import os
import threading
from typing import Any, List, Mapping, Optional, Tuple, Union

import numpy as np
from numpy.typing import NDArray

from ._defaults import DETECTOR_DEFAULTS, EMITTER_DEFAULTS, SAMPLE_RATE
from ._library import ANALYSIS, Format, Sample, ZetoError, beside_this, checked, checked_format, library, silence

STATES = ("", "learning", "nobody", "target", "disturbed")
CAUSES = (None, "alignment", "foreign", "noise", "unheard")


class _Sweep(ctypes.Structure):
    _fields_ = [
        *((name, ctypes.c_int32) for name in ("start_hz", "slope_hz_s", "amp_milli", "fade_us")),
        ("restart_ms", ctypes.c_int32 * 8),
    ]


class _Set(ctypes.Structure):
    _fields_ = [
        *((name, ctypes.c_char_p) for name in ("name", "tells", "fails")),
        ("chirp", ctypes.c_int32 * 6),
        ("hear", ctypes.c_int32 * 11),
        ("sweep", _Sweep),
        *((name, ctypes.c_int32) for name in ("detectors", "slow", "slow_frames")),
        *((name, ctypes.c_float) for name in ("least_cm", "greatest_cm", "step_cm")),
    ]


class _Param(ctypes.Structure):
    _fields_ = [("set", ctypes.POINTER(_Set)), ("format_type", ctypes.c_int32), ("spacing_cm", ctypes.c_float)]


class _Reading(ctypes.Structure):
    _fields_ = [
        ("end", ctypes.c_uint64),
        ("number", ctypes.c_uint32),
        *((name, ctypes.c_int32) for name in ("state", "cause")),
        *((name, ctypes.c_float) for name in ("distance_cm", "speed_cm_s", "age_s", "level_db", "rest_db")),
    ]


class _Findings(ctypes.Structure):
    _fields_ = [(name, ctypes.c_float) for name in ("latency_ms", "sureness_db", "background_db", "drift_ppm")]


@functools.lru_cache(maxsize=None)
def _kit() -> ctypes.CDLL:
    """It was installed with this module, or is beside libzeto in a build folder."""
    path = beside_this("zeto_kit.so") or os.path.join(os.path.dirname(library()._name), "zeto_kit.so")
    try:
        kit = ctypes.CDLL(path)
        for name, arguments, result in (
            ("zeto_find_set", [ctypes.c_char_p], ctypes.POINTER(_Set)),
            ("zeto_get_set", [ctypes.c_uint32], ctypes.POINTER(_Set)),
            ("zeto_host_bytes", [ctypes.POINTER(_Param)], ctypes.c_size_t),
            ("zeto_host_init", [ctypes.c_void_p, ctypes.POINTER(_Param)], ctypes.c_void_p),
            ("zeto_host_play", [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint64], None),
            ("zeto_host_learn", [ctypes.c_void_p], None),
            ("zeto_host_capture", [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_uint64], _Reading),
            ("zeto_host_learned", [ctypes.c_void_p], _Findings),
        ):
            function = getattr(kit, name)
            function.argtypes, function.restype = arguments, result
    except (OSError, AttributeError) as error:
        raise ZetoError(f"cannot use the host kit ({error})") from error
    return kit


@dataclasses.dataclass(frozen=True)
class Reading:
    """What the kit makes of 200 ms."""

    time_s: float  # when they ended, in samples captured
    state: str  # "learning", "nobody", "target" or "disturbed"
    distance_cm: Optional[float]  # of a target
    speed_cm_s: Optional[float]  # of a target; away is above 0
    age_s: Optional[float]  # since the target was last measured
    level_db: Optional[float]  # of its echo, against the direct sound
    rest_db: Optional[float]  # of all that is not background, against the direct sound; None while learning
    cause: Optional[str]  # why disturbed: "alignment", "foreign", "noise" or "unheard"


@dataclasses.dataclass(frozen=True)
class Findings:
    """What learning found; see zeto_host_findings in zeto/host.h."""

    latency_ms: float
    sureness_db: float
    background_db: float
    drift_ppm: float


@dataclasses.dataclass(frozen=True)
class Set:
    """A named choice of everything that must fit together; see zeto_set in zeto/host.h."""

    tells: str
    fails: str
    emitter: Mapping[str, int]  # for zeto.Emitter, and
    detector: Mapping[str, int]  # for zeto.Detector
    sweep: Mapping[str, int]  # what a Host plays, and
    restart_ms: Tuple[int, ...]  # the lengths of its sweeps; none: the set is not for a Host
    least_cm: float
    greatest_cm: float
    step_cm: float


class Host:
    """Plays a set's sweeps, takes what the microphone heard and returns a reading every 200 ms.

        host = zeto.Host(set="hand", spacing_cm=5)
        host.learn()  # nobody there for three seconds
        while True:
            loudspeaker.write(host.play(480))
            for reading in host.capture(microphone.read(480)):
                print(reading.time_s, reading.state, reading.distance_cm)

    `spacing_cm` is the distance between loudspeaker and microphone. A target's distance is that straight ahead of the
    middle between them. What is played does not depend on what is captured, so one thread may play while another
    captures. Two threads must not call play() at the same time."""

    def __init__(self, set: str = "hand", spacing_cm: float = 5.0, format: Union[Format, int] = Format.INT16) -> None:
        kit = _kit()
        self.format = checked_format(format)
        if not isinstance(set, str) or set not in sets():
            raise ValueError(f"set: there is no set {set!r}; there are {', '.join(sets())}")
        found = kit.zeto_find_set(set.encode())
        if not found.contents.detectors:
            raise ValueError(f"set: {set!r} is for zeto.Emitter and zeto.Detector; it has no sweeps that a Host can play")
        is_number = isinstance(spacing_cm, (int, float, np.integer, np.floating)) and not isinstance(spacing_cm, bool)
        if not is_number or not 0 <= spacing_cm <= 100:
            raise ValueError(f"spacing_cm: must be a number from 0 to 100, not {spacing_cm!r}")
        self._param = _Param(found, self.format, spacing_cm)
        bytes = kit.zeto_host_bytes(self._param)
        self._memory = np.empty(bytes + 15, np.uint8)
        address = -(-self._memory.ctypes.data // 16) * 16
        with silence():
            self._host = kit.zeto_host_init(address, self._param)
        self._number = 0
        self._takes_turns = threading.Lock()

    def __reduce__(self) -> Any:
        raise TypeError("a Host cannot be copied or pickled")

    def play(self, n: int) -> NDArray[Any]:
        """The next n samples to play."""
        if not isinstance(n, (int, np.integer)) or isinstance(n, bool) or not 0 <= n < 2**31:
            raise ValueError(f"n: must be a whole number of samples, not {n!r}")
        buffer = np.empty(n, self.format.dtype)
        _kit().zeto_host_play(self._host, buffer.ctypes.data, buffer.nbytes)
        return buffer

    def learn(self) -> None:
        """Starts to learn latency and background, now or again. For three seconds nobody may be in reach."""
        with self._takes_turns:
            _kit().zeto_host_learn(self._host)

    def capture(self, microphone: NDArray[Sample]) -> List[Reading]:
        """Takes as many samples as were played meanwhile, of any length, and returns the readings that are new."""
        samples = checked("microphone", microphone, self.format)
        readings = []
        with self._takes_turns:
            for first in range(0, len(samples), ANALYSIS):
                part = samples[first : first + ANALYSIS]
                now = _kit().zeto_host_capture(self._host, part.ctypes.data, part.nbytes)
                if now.number != self._number:
                    self._number = now.number
                    readings.append(_reading(now))
        return readings

    @property
    def learned(self) -> Findings:
        """What learning found; zeros before."""
        with self._takes_turns:
            found = _kit().zeto_host_learned(self._host)
        return Findings(*(getattr(found, name) for name, _ in _Findings._fields_))


def _reading(now: _Reading) -> Reading:
    state = STATES[now.state]
    target = [None] * 4
    if state == "target":
        target = [now.distance_cm, now.speed_cm_s, now.age_s, now.level_db]
    rest = now.rest_db if now.rest_db else None
    return Reading(now.end / SAMPLE_RATE, state, *target, rest, CAUSES[now.cause])


def sets() -> Mapping[str, Set]:
    """The named sets."""
    found, number = {}, 0
    while one := _kit().zeto_get_set(number):
        found[one.contents.name.decode()] = _set(one.contents)
        number += 1
    return found


def _set(one: _Set) -> Set:
    sweep = one.sweep
    return Set(
        tells=one.tells.decode(),
        fails=one.fails.decode(),
        emitter=dict(zip(EMITTER_DEFAULTS, one.chirp)),
        detector=dict(zip(DETECTOR_DEFAULTS, one.hear)),
        sweep={name: getattr(sweep, name) for name in ("start_hz", "slope_hz_s", "amp_milli", "fade_us")},
        restart_ms=tuple(ms for ms in sweep.restart_ms if ms),
        **{name: getattr(one, name) for name in ("least_cm", "greatest_cm", "step_cm")},
    )
