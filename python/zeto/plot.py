#!/usr/bin/env python3
"""Draws a recording and what the detector saw in it: `python3 -m zeto.plot capture.wav --out capture.png`.

What the detector saw comes from `zeto explain`, that is from its own computation."""
import argparse
import csv
import io
import json
import os
import stat
import subprocess
import sys
import tempfile
from typing import Any, Dict, List, Optional, Sequence

import numpy as np

try:
    import matplotlib  # type: ignore[import]
    import matplotlib.mlab  # type: ignore[import]

    matplotlib.use("Agg")
    import matplotlib.pyplot as plt  # type: ignore[import]
except ImportError:
    if __name__ == "__main__":
        sys.exit("zeto.plot: matplotlib is missing (Debian: python3-matplotlib)")
    raise

from ._library import ANALYSIS, DETECTOR_DEFAULTS, SAMPLE_RATE
from ._profile import of_report
from ._recording import read
from ._tool import run_tool

GOOD, BAD, PEAK = "#1f6fb4", "#c0392b", "#e67e22"
DPI = 120
SIZE = (9.0, 5.0)  # inches
KINDS = ("measurement", "spectra", "spectrogram", "profile")
ENDINGS = (".png", ".svg")
PANELS = 6  # spectra
COLUMNS = 450  # of a long recording
ABOVE = {"loc": "lower right", "bbox_to_anchor": (1, 1), "frameon": False, "fontsize": 8, "borderaxespad": 0.2}
UNITS = {"ms": "Delay, ms", "0.1 ms": "Delay, 0.1 ms", "cm": "Distance, cm", "mm": "Distance, mm", "Hz": "Beat, Hz"}


def _told(verb: Sequence[str], capture: str, options: Sequence[str], zeto: Optional[str]) -> str:
    """What the tool says of a recording. Where it fails it has said why on standard error."""
    done = run_tool([*verb, *options, "--", capture], zeto)
    done.check_returncode()
    return done.stdout.decode(errors="replace")


def explain(capture: str, options: Sequence[str] = (), zeto: Optional[str] = None) -> Dict[str, Any]:
    """What `zeto explain --json` says."""
    seen: Dict[str, Any] = json.loads(_told(["explain", "--json"], capture, options, zeto))
    return seen


def analyses(capture: str, options: Sequence[str] = (), zeto: Optional[str] = None) -> Dict[str, Any]:
    """The same without the single spectra, which an hour has 324000 of."""
    rows = list(csv.DictReader(io.StringIO(_told(["explain", "--csv"], capture, options, zeto))))
    number = lambda text: float(text) if np.isfinite(float(text)) else None  # noqa: E731
    return {"unit": rows[0]["unit"], "analyses": [
        {"time_s": float(row["time_s"]), "candidates": int(row["candidates"]), "hits": int(row["hits"]),
         "accepted": row["accepted"] == "1", "result": number(row["result"])} for row in rows]}


def received(analysis: Dict[str, Any]) -> float:
    """What the host receives of the result, its whole part; not a number if it is infinite or undefined."""
    result: Optional[float] = analysis["result"]
    return float("nan") if result is None else int(result)


def _powers(capture: str, first: int, last: int) -> Any:
    """Per channel: power by frequency and time, averaged over up to 0.1 s. Of a long recording
    eight spectra in each of 900 columns are looked at."""
    if last - first <= 90 * SAMPLE_RATE:
        powers = [matplotlib.mlab.specgram(samples, NFFT=1024, noverlap=512, Fs=SAMPLE_RATE)[0]
                  for samples in read(capture, first, last - first)]
        columns = max(1, min(powers[0].shape[1] // 150, 10))  # noise gets smoother, sweeps stay
        return [power[:, : power.shape[1] // columns * columns].reshape(len(power), -1, columns).mean(axis=2)
                for power in powers]
    starts = np.linspace(first, last, 900, endpoint=False)
    step = starts[1] - starts[0]
    drawn = np.random.default_rng(1).uniform(0, step - 1024, (900, 8))  # in step with the sweep they would show a false one
    window = np.hanning(1024)
    power = [np.mean([np.abs(np.fft.rfft(read(capture, int(start + late), 1024) * window)) ** 2 for late in lates], axis=0)
             for start, lates in zip(starts, drawn)]
    return np.transpose(power, (1, 2, 0)) * 2 / (SAMPLE_RATE * (window**2).sum())


def spectrogram(capture: str, seen: Dict[str, Any]) -> Any:
    """The 200 ms of each analysis, from the first to the last. Both channels have one scale."""
    first, last = (round(seen["analyses"][i]["time_s"] * SAMPLE_RATE) for i in (0, -1))
    first -= ANALYSIS
    levels = [10 * np.log10(power[320:] + 1e-15) for power in _powers(capture, first, last)]  # from 15 kHz
    figure, axes = plt.subplots(len(levels), 1, sharex=True, squeeze=False, figsize=SIZE, layout="constrained")
    finite = [level[np.isfinite(level)] for level in levels]
    top = max([-120.0, *(level.max() for level in finite if level.size)])  # silence is dark
    for axis, level, known, name in zip(axes[:, 0], levels, finite, ("Reference", "Microphone")):
        image = axis.imshow(
            level, origin="lower", aspect="auto", extent=(first / SAMPLE_RATE, last / SAMPLE_RATE, 15, 24),
            interpolation="nearest", cmap=plt.get_cmap("viridis", 14), vmin=top - 70, vmax=top,
        )
        axis.set(title=name, ylabel="Frequency, kHz")
        if not known.size or known.max() <= -149:
            axis.text(0.5, 0.5, "silent" if known.size else "no numbers", transform=axis.transAxes, ha="center",
                      color="w" if known.size else "k")
    figure.colorbar(image, ax=axes[:, 0], label="dB re full scale²/Hz")
    axes[-1, 0].set_xlabel("Time, s")
    return figure


def spectra(seen: Dict[str, Any], most: int = PANELS) -> Any:
    """A panel for each of the first analyses: its 18 spectra, the threshold, the peaks above and below it."""
    shown = seen["analyses"][:most]
    threshold = seen["parameters"]["UltraHz_cand_dB"]
    columns = min(3, len(shown))
    rows = -(-len(shown) // columns)
    figure, axes = plt.subplots(rows, columns, sharex=True, sharey=True, squeeze=False, layout="constrained",
                                figsize=(SIZE[0], SIZE[1] * (rows + 0.4) / 2))
    for axis in axes.flat[len(shown) :]:
        axis.set_visible(False)
    for axis, analysis in zip(axes.flat, shown):
        for segment in analysis["segments"]:
            levels = np.array(segment["levels_db"], float)  # null, the level of silence, is left out
            axis.plot(np.arange(len(levels)) * seen["bin_hz"], levels, color="0.75", lw=0.6, rasterized=True)
        for candidate, mark, color in ((True, "o", PEAK), (False, "x", BAD)):
            peaks = [s for s in analysis["segments"] if s["candidate"] == candidate and s["level_db"] is not None]
            axis.plot([s["position_hz"] for s in peaks], [s["level_db"] for s in peaks], mark, color=color, ms=5)
        axis.axhline(threshold, color="k", ls="--", lw=0.8)
        result = str(received(analysis)) if analysis["accepted"] else "rejected"
        axis.set_title(f"{analysis['time_s']:g} s: {result}", color=GOOD if analysis["accepted"] else BAD, fontsize=10,
                       loc="left")
        axis.set_title(f"{analysis['hits']}/18 agree", fontsize=8, loc="right")
        axis.set(xlim=(0, 4000), ylim=(threshold - 50, threshold + 50))
        axis.grid(alpha=0.3)
    for axis in axes[:, 0]:
        axis.set_ylabel("Bin power, dB re 1")
    for axis in axes.flat[len(shown) - columns : len(shown)]:  # the lowest of each column
        axis.tick_params(labelbottom=True)
    figure.supxlabel(
        "Beat frequency, Hz\n"
        f"18 spectra (grey); peaks above (circle) or below (cross) the threshold, UltraHz_cand_dB {threshold} dB (dashes)",
        fontsize=9,
    )
    return figure


def _shares(axes: Any, seen: Dict[str, Any]) -> None:
    """More analyses than pixels: what each column of them comes to."""
    upper, lower = axes
    columns = np.array_split(np.arange(len(seen["analyses"])), COLUMNS)
    times = [seen["analyses"][c[0]]["time_s"] for c in columns]
    good = [[received(seen["analyses"][i]) for i in c if seen["analyses"][i]["accepted"]] for c in columns]
    values = np.array([np.percentile(v, (0, 50, 100)) if v else 3 * [np.nan] for v in good])
    upper.fill_between(times, values[:, 0], values[:, 2], color=GOOD, alpha=0.3, lw=1, label="least to greatest")
    upper.plot(times, values[:, 1], color=GOOD, lw=1.2, label="median of the accepted")
    of = lambda key: [100 * np.mean([seen["analyses"][i][key] for i in c]) for c in columns]  # noqa: E731
    lower.fill_between(times, of("accepted"), color=GOOD, alpha=0.3, lw=0, label="accepted")
    lower.plot(times, np.array(of("hits")) / 18, color=PEAK, lw=1, label="spectra agreeing in frequency")
    lower.set(ylabel="Share, %", ylim=(0, 105))


def _each(axes: Any, seen: Dict[str, Any]) -> None:
    upper, lower = axes
    good = [a for a in seen["analyses"] if a["accepted"]]
    upper.plot([a["time_s"] for a in good], [received(a) for a in good], "o", color=GOOD, ms=4, label="accepted")
    bad = [a["time_s"] for a in seen["analyses"] if not a["accepted"]]
    for number, time in enumerate(bad):
        upper.axvspan(time - 0.2, time, color=BAD, alpha=0.2, lw=0, label=None if number else "rejected")
    ends = [seen["analyses"][0]["time_s"] - 0.2, *(a["time_s"] for a in seen["analyses"])]
    for key, color, width, label in (
        ("candidates", "0.75", 4, "above the threshold"), ("hits", PEAK, 1.5, "agreeing in frequency"),
    ):
        counts = [a[key] for a in seen["analyses"]]
        lower.step(ends, counts[:1] + counts, where="pre", color=color, lw=width, label=label)
    lower.set(ylabel="Spectra of 18", ylim=(-1, 19))


def measurement(seen: Dict[str, Any]) -> Any:
    figure, (upper, lower) = plt.subplots(2, 1, sharex=True, figsize=SIZE, height_ratios=(2, 1), layout="constrained")
    (_shares if len(seen["analyses"]) > 2 * COLUMNS else _each)((upper, lower), seen)
    unit = seen.get("unit", "")
    upper.set_ylabel(UNITS.get(unit, "Measurement,\nunit of UltraHz_period"))
    if not any(a["accepted"] for a in seen["analyses"]):
        upper.text(0.5, 0.5, "none accepted", transform=upper.transAxes, ha="center", va="center", color=BAD, fontsize=14)
        upper.set_yticks([])
    else:
        upper.margins(y=0.2)
        if unit == "ms":
            metres = upper.secondary_yaxis("right", functions=(lambda ms: 0.1715 * ms, lambda m: m / 0.1715))
            metres.set_ylabel("Half of the way, m")
    lower.set_xlabel("Time at which the analysis ends, s")
    for axis in (upper, lower):
        axis.legend(ncols=2, **ABOVE)
        axis.grid(alpha=0.3)
    return figure


def profile(report: Dict[str, Any]) -> Any:
    """What `zeto profile --json` says of a recording: the median of all spectra, and its peaks."""
    found = of_report(report)
    figure, axis = plt.subplots(figsize=SIZE, layout="constrained")
    axis.plot(found.delay_ms, found.median_db, color=GOOD, lw=1, label="median of all spectra")
    axis.axhline(found.floor_db, color="0.5", lw=0.8, label="floor")
    if found.threshold_db is not None:
        axis.axhline(found.threshold_db, color="k", ls="--", lw=0.8, label=f"threshold, {found.threshold_db} dB")
    for peak in found.peaks:
        axis.plot(peak.delay_ms, peak.level_db, "v" if peak.direct else "o", color=BAD if peak.direct else PEAK, ms=5)
        axis.annotate(f"{peak.delay_ms:.1f} ms" + (", direct sound" if peak.direct else ""), (peak.delay_ms, peak.level_db),
                      xytext=(6, 4), textcoords="offset points", fontsize=8)
    if not found.peaks:
        axis.text(0.5, 0.9, "nothing stands out of the floor", transform=axis.transAxes, ha="center", color=BAD)
    axis.set(xlabel="Delay, ms", ylabel="Bin power, dB re 1", xlim=(0, found.delay_ms[-1]))
    axis.margins(y=0.12)
    distance = axis.secondary_xaxis("top", functions=(lambda ms: 17.15 * ms, lambda cm: cm / 17.15))
    distance.set_xlabel("Half of the way, cm")
    axis.legend(loc="upper right", fontsize=8, frameon=False)
    axis.grid(alpha=0.3)
    return figure


def save(figure: Any, path: str, dpi: int = DPI) -> None:
    """Whole or not at all."""
    target = os.path.realpath(path)  # a link stays one
    ending = os.path.splitext(path)[1]
    try:
        with tempfile.NamedTemporaryFile(dir=os.path.dirname(target), suffix=ending, delete=False) as unfinished:
            try:
                figure.savefig(unfinished, format=ending[1:], dpi=dpi,
                               metadata={"Software" if ending == ".png" else "Date": None})
                unfinished.close()
                os.chmod(unfinished.name, _mode_of(target))
                os.replace(unfinished.name, target)
            except BaseException:
                os.remove(unfinished.name)
                raise
    except OSError as error:
        raise OSError(f"cannot write {path}: {error.strerror or error}") from error
    finally:
        plt.close(figure)


def _mode_of(path: str) -> int:
    """That of the file to be replaced, or what a new one gets."""
    if os.path.exists(path):
        return stat.S_IMODE(os.stat(path).st_mode)
    mask = os.umask(0)
    os.umask(mask)
    return 0o666 & ~mask


def shown(name: str) -> str:
    """A file's name as a title: on one line, and not as a formula."""
    name = "".join(c if c.isprintable() else "?" for c in os.path.basename(name))
    return name.replace("$", r"\$")


def draw(kind: str, capture: str, options: Sequence[str] = (), zeto: Optional[str] = None) -> Any:
    if kind == "spectra":
        return spectra(explain(capture, ["--spectra", f"--most={PANELS}", *options], zeto))
    if kind == "profile":
        if any(option.startswith(("--from", "--to")) for option in options):
            raise ValueError("--from, --to: a profile is of the whole recording")
        return profile(json.loads(_told(["profile", "--json"], capture, options, zeto)))
    seen = analyses(capture, options, zeto)
    return spectrogram(capture, seen) if kind == "spectrogram" else measurement(seen)


def _size(text: str) -> List[float]:
    width, height = map(float, text.split("x"))
    if not (1 <= width <= 100 and 1 <= height <= 100):
        raise ValueError
    return [width, height]


def arguments() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="zeto.plot", usage="zeto.plot [OPTION...] capture -o FILE", allow_abbrev=False,
        description="Draw a recording and what the detector saw in it")
    parser.add_argument("capture", help="audio file, 48000 Hz, two channels: reference, microphone")
    parser.add_argument("-o", "--out", required=True, metavar="FILE", help="picture to write: .png or .svg")
    parser.add_argument("-k", "--kind", choices=KINDS, default=KINDS[0],
                        help="measurement over time with the rejections marked (default); beat spectra of the first "
                        "six analyses; spectrogram of both channels; profile: the median of all spectra over delay")
    parser.add_argument("--size", type=_size, metavar="WxH", help="width and height, inches: 12x6. Default: 9 wide")
    parser.add_argument("--dpi", type=int, choices=range(20, 1201), default=DPI, metavar="N",
                        help=f"dots per inch, 20 to 1200. Default: {DPI}")
    parser.add_argument("--zeto", metavar="FILE",
                        help="the command-line tool. Default: ZETO_TOOL, the installed one, or zeto on the path")
    handed = parser.add_argument_group("handed to zeto", "see zeto explain --help, zeto profile --help")
    for name in ("from", "to", "align", "background", "spacing_cm", "set", "params", *DETECTOR_DEFAULTS):
        spellings = sorted({"--" + name.replace("_", "-"), "--" + name})
        metavars = {"params": "FILE", "set": "NAME", "align": "MS|auto", "background": "FROM-TO"}
        handed.add_argument(*spellings, dest=f"explain {name}", metavar=metavars.get(name, "N"),
                            help={"from": "first analysis, by the second in which it ends", "to": "last",
                                  "params": "JSON file of parameters", "set": "named set of parameters",
                                  "align": "hold the reference back", "spacing_cm": "loudspeaker to microphone",
                                  "background": "take the mean of these seconds off the microphone"}.get(name))
    return parser


def main() -> int:
    options = arguments().parse_args()
    handed: List[str] = []
    for name, value in vars(options).items():
        if name.startswith("explain ") and value is not None:
            handed.append(f"--{name.split()[1].replace('_', '-')}={value}")
    try:
        if not options.out.endswith(ENDINGS):
            raise ValueError(f"{options.out}: pictures are written as .png or .svg")
        figure = draw(options.kind, options.capture, handed, options.zeto)
        if os.path.exists(options.out) and os.path.samefile(options.out, options.capture):
            raise ValueError(f"cannot write {options.out}: it is read as well")
        figure.suptitle(shown(options.capture))
        if options.size:
            figure.set_size_inches(options.size)
        save(figure, options.out, options.dpi)
    except subprocess.CalledProcessError as error:
        return error.returncode
    except (OSError, ValueError) as error:
        print("zeto.plot: " + "".join(c if c.isprintable() else "?" for c in str(error)), file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
