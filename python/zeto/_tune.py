"""Parameters against recordings whose truth is known, by the command-line tool."""
import dataclasses
import json
import operator
from typing import Any, Dict, Iterable, List, Mapping, Optional, Union

from ._library import DETECTOR_DEFAULTS
from ._tool import asked, words

Values = Union[int, Iterable[int], str]


@dataclasses.dataclass(frozen=True)
class Tuned:
    """How well one set of parameters does; what the counts mean is in `zeto tune --help`."""

    name: str
    parameters: Mapping[str, int]  # of the detector
    score: float
    right: int
    wrong: int
    missed: int
    false: int
    silent: int
    labels: Mapping[str, Mapping[str, int]]  # the counts of each label
    recordings: Mapping[str, Mapping[str, int]]  # and of each recording


def tune(truth: str, grid: Optional[Mapping[str, Values]] = None, zeto: Optional[str] = None, **options: Any) -> List[Tuned]:
    """The ranked sets, the best first. `truth` is the table that `zeto tune` takes, `grid` the values of each parameter:
    whole numbers, or "FROM:TO:STEP". Keywords are options of `zeto tune`, with _ for - (set=["default", "tuned.json"], cost=10,
    two_of_five=True), or parameters of the detector, each a whole number: then that one set alone is measured, so that an
    optimiser can call it:

        scipy.optimize.minimize_scalar(
            lambda db: -zeto.tune("truth.csv", UltraHz_cand_dB=round(db))[0].score, bounds=(-80, 0), method="bounded")"""
    single = {name: _whole(name, options.pop(name)) for name in list(options) if name in DETECTOR_DEFAULTS}
    axes = [f"{name}={_text(name, values)}" for name, values in {**(grid or {}), **single}.items()]
    line = ["tune", *words({**options, "grid": axes}), "--json", "--", truth]
    report: Dict[str, Any] = json.loads(asked(line, zeto))
    fields = [field.name for field in dataclasses.fields(Tuned)]
    for each in report["sets"]:
        for key in "labels", "recordings":
            each[key] = {counts.pop("name"): counts for counts in each[key]}
    tuned = [Tuned(**{name: each[name] for name in fields}) for each in report["sets"]]
    if single and not grid:  # the sets as they are were not asked for
        tuned = [each for each in tuned if all(each.parameters[name] == value for name, value in single.items())]
    return tuned


def _whole(name: str, value: Any) -> int:
    try:
        return operator.index(value)
    except TypeError:
        raise ValueError(f"{name}: must be a whole number, not {value!r}") from None


def _text(name: str, values: Values) -> str:
    if isinstance(values, str):
        return values
    return ",".join(str(_whole(name, value)) for value in (values if isinstance(values, Iterable) else [values]))
