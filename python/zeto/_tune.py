"""Parameters against recordings whose truth is known, by the command-line tool."""
import dataclasses
import json
from typing import Any, Dict, List, Mapping, Optional, Sequence, Union

from ._library import DETECTOR_DEFAULTS
from ._tool import asked, words

Values = Union[int, Sequence[int], str]


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
    a list, or "FROM:TO:STEP". Keywords are options of `zeto tune`, with _ for - (set=["default", "tuned.json"], cost=10,
    two_of_five=True), or parameters of the detector, each a whole number: then that one set alone is measured, so that an
    optimiser can call it:

        scipy.optimize.minimize_scalar(
            lambda db: -zeto.tune("truth.csv", UltraHz_cand_dB=round(db))[0].score, bounds=(-80, 0), method="bounded")"""
    single = {name: options.pop(name) for name in list(options) if name in DETECTOR_DEFAULTS}
    axes = [f"{name}={_text(values)}" for name, values in {**(grid or {}), **single}.items()]
    line = ["tune", *words({**options, "grid": axes}), "--json", "--", truth]
    report: Dict[str, Any] = json.loads(asked(line, zeto))
    fields = [field.name for field in dataclasses.fields(Tuned)]
    tuned = [Tuned(**{name: each[name] for name in fields}) for each in report["sets"]]
    if single and not grid:  # the sets as they are were not asked for
        tuned = [each for each in tuned if all(each.parameters[name] == value for name, value in single.items())]
    return tuned


def _text(values: Values) -> str:
    if isinstance(values, str):
        return values
    return ",".join(str(int(value)) for value in (values if isinstance(values, (list, tuple, range)) else [values]))
