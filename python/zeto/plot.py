#!/usr/bin/env python3
"""Draws a recording and what the detector saw in it: `python3 -m zeto.plot capture.wav --out capture.png`.

What the detector saw comes from `zeto explain`, that is from its own computation."""
import argparse
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
from ._recording import read
from ._tool import run_tool

GOOD, BAD, PEAK = "#1f6fb4", "#c0392b", "#e67e22"
DPI = 80
KINDS = ("measurement", "spectra", "spectrogram")
ENDINGS = (".png", ".svg")


def explain(capture: str, options: Sequence[str] = (), zeto: Optional[str] = None) -> Dict[str, Any]:
    """What `zeto explain --json` says. Where it fails it has said why on standard error."""
    done = run_tool(["explain", "--json", *options, "--", capture], zeto)
    done.check_returncode()
    seen: Dict[str, Any] = json.loads(done.stdout)
    return seen


def received(analysis: Dict[str, Any]) -> float:
    """What the host receives of the result, its whole part; not a number where it is infinite or undefined."""
    result: Optional[float] = analysis["result"]
    return float("nan") if result is None else int(result)


def spectrogram(capture: str, seen: Dict[str, Any]) -> Any:
    """The 200 ms of each analysis, from the first to the last."""
    first, last = (round(seen["analyses"][i]["time_s"] * SAMPLE_RATE) for i in (0, -1))
    first -= ANALYSIS
    channels = read(capture)[:, first:last]
    figure, axes = plt.subplots(len(channels), 1, sharex=True, squeeze=False, figsize=(9, 2.9 * len(channels)))
    for axis, samples, name in zip(axes[:, 0], channels, ("Reference", "Microphone")):
        power, _, _ = matplotlib.mlab.specgram(samples, NFFT=1024, noverlap=512, Fs=SAMPLE_RATE)
        columns = max(1, min(power.shape[1] // 150, 10))  # averaged, up to 0.1 s: noise gets smoother, sweeps stay
        power = power[320:, : power.shape[1] // columns * columns]  # from 15 kHz
        level = 10 * np.log10(power.reshape(len(power), -1, columns).mean(axis=2) + 1e-15)
        top = max(level.max(), -120)  # silence is dark
        image = axis.imshow(
            level, origin="lower", aspect="auto", extent=(first / SAMPLE_RATE, last / SAMPLE_RATE, 15, 24),
            interpolation="nearest", cmap=plt.get_cmap("viridis", 10), vmin=top - 35, vmax=top,
        )
        axis.set(title=name, ylabel="Frequency, kHz")
        figure.colorbar(image, ax=axis, label="dB over full scale² per Hz")
    axes[-1, 0].set_xlabel("Time, s")
    figure.tight_layout()
    return figure


def spectra(seen: Dict[str, Any], most: int = 6) -> Any:
    """A panel for each of the first analyses: its 18 spectra, the threshold, the peaks above and below it."""
    analyses = seen["analyses"][:most]
    threshold = seen["parameters"]["UltraHz_cand_dB"]
    columns = min(3, len(analyses))
    rows = -(-len(analyses) // columns)
    figure, axes = plt.subplots(rows, columns, sharex=True, sharey=True, squeeze=False, figsize=(9, 2.9 * rows))
    for axis in axes.flat[len(analyses) :]:
        axis.set_visible(False)
    for axis, analysis in zip(axes.flat, analyses):
        for segment in analysis["segments"]:
            levels = np.array(segment["levels_db"], float)  # null, the level of silence, is left out
            axis.plot(np.arange(len(levels)) * seen["bin_hz"], levels, color="0.75", lw=0.6, rasterized=True)
        for candidate, mark, color in ((True, "o", PEAK), (False, "x", BAD)):
            peaks = [s for s in analysis["segments"] if s["candidate"] == candidate and s["level_db"] is not None]
            axis.plot([s["position_hz"] for s in peaks], [s["level_db"] for s in peaks], mark, color=color, ms=5)
        axis.axhline(threshold, color="k", ls="--", lw=0.8)
        result = str(received(analysis)) if analysis["accepted"] else "rejected"
        axis.set_title(
            f"{analysis['time_s']:g} s: {result}", color=GOOD if analysis["accepted"] else BAD, fontsize=10
        )
        axis.set(xlim=(0, 4000), ylim=(threshold - 50, threshold + 50))
        axis.grid(alpha=0.3)
    for axis in axes[:, 0]:
        axis.set_ylabel("Level, dB")
    for axis in axes.flat[len(analyses) - columns : len(analyses)]:  # the lowest of each column
        axis.tick_params(labelbottom=True)
    figure.supxlabel(
        "Beat frequency, Hz\n"
        "18 spectra (grey), peak above the threshold (circle) or below (cross), UltraHz_cand_dB (dashes)",
        fontsize=9,
    )
    figure.tight_layout()
    return figure


def measurement(seen: Dict[str, Any]) -> Any:
    analyses: List[Dict[str, Any]] = seen["analyses"]
    figure, (upper, lower) = plt.subplots(2, 1, sharex=True, figsize=(9, 4.6), height_ratios=(2, 1))
    good = [a for a in analyses if a["accepted"]]
    upper.plot([a["time_s"] for a in good], [received(a) for a in good], "o", color=GOOD, ms=4, label="accepted")
    bad = [a["time_s"] for a in analyses if not a["accepted"]]
    for number, time in enumerate(bad):
        upper.axvspan(time - 0.2, time, color=BAD, alpha=0.2, lw=0, label=None if number else "rejected")
    upper.set(ylabel="Measurement,\nunit of UltraHz_period")
    upper.legend(loc="upper right")
    upper.margins(y=0.4)
    ends = [analyses[0]["time_s"] - 0.2, *(a["time_s"] for a in analyses)]
    for key, color, width, label in (
        ("candidates", "0.75", 4, "above the threshold"), ("hits", PEAK, 1.5, "agreeing in frequency"),
    ):
        counts = [a[key] for a in analyses]
        lower.step(ends, counts[:1] + counts, where="pre", color=color, lw=width, label=label)
    lower.set(ylabel="Spectra of 18", ylim=(-1, 19), xlabel="Time at which the analysis ends, s")
    lower.legend(loc="lower right", fontsize=8)
    for axis in (upper, lower):
        axis.grid(alpha=0.3)
    figure.tight_layout()
    return figure


def save(figure: Any, path: str) -> None:
    """Whole or not at all."""
    target = os.path.realpath(path)  # a link stays one
    ending = os.path.splitext(path)[1]
    try:
        with tempfile.NamedTemporaryFile(dir=os.path.dirname(target), suffix=ending, delete=False) as unfinished:
            try:
                figure.savefig(unfinished, format=ending[1:], dpi=DPI,
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
    seen = explain(capture, ["--spectra", *options] if kind == "spectra" else options, zeto)
    if kind == "spectrogram":
        return spectrogram(capture, seen)
    return spectra(seen) if kind == "spectra" else measurement(seen)


def arguments() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="zeto.plot", usage="zeto.plot [OPTION...] capture -o FILE", allow_abbrev=False,
        description="Draw a recording and what the detector saw in it")
    parser.add_argument("capture", help="audio file, 48000 Hz, two channels: reference, microphone")
    parser.add_argument("-o", "--out", required=True, metavar="FILE", help="picture to write: .png or .svg")
    parser.add_argument("-k", "--kind", choices=KINDS, default=KINDS[0],
                        help="measurement over time with the rejections marked (default); beat spectra of the first "
                        "six analyses; spectrogram of both channels")
    parser.add_argument("--zeto", metavar="FILE",
                        help="the command-line tool. Default: ZETO_TOOL, the installed one, or zeto on the path")
    handed = parser.add_argument_group("handed to zeto explain", "see zeto explain --help")
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
        figure.tight_layout()
        save(figure, options.out)
    except subprocess.CalledProcessError as error:
        return error.returncode
    except (OSError, ValueError) as error:
        print("zeto.plot: " + "".join(c if c.isprintable() else "?" for c in str(error)), file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
