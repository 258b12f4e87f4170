#!/usr/bin/env python3
"""Draws a recording and what the detector saw in it: `python3 -m zeto.plot capture.wav --out capture.png`.

What the detector saw comes from `zeto explain`, that is from its own computation."""
import argparse
import json
import os
import subprocess
import sys
import wave
from typing import Any, Dict, List, Optional, Sequence

import matplotlib
import matplotlib.mlab

matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402
import numpy as np  # noqa: E402

GOOD, BAD, PEAK = "#1f6fb4", "#c0392b", "#e67e22"
DPI = 80
KINDS = ("spectrogram", "spectra", "measurement")


def explain(capture: str, options: Sequence[str] = (), zeto: Optional[str] = None) -> Dict[str, Any]:
    tool = zeto or os.environ.get("ZETO_TOOL", "zeto")
    done = subprocess.run(
        [tool, "explain", "--json", "--spectra", *options, capture], stdout=subprocess.PIPE, text=True, check=True
    )
    return json.loads(done.stdout)


def read_wav(path: str) -> "np.ndarray[Any, Any]":
    """Channels by samples, full scale 1.0."""
    with wave.open(path) as file:
        width, channels = file.getsampwidth(), file.getnchannels()
        raw = np.frombuffer(file.readframes(file.getnframes()), np.uint8).reshape(-1, width)
    padded = np.zeros((len(raw), 4), np.uint8)
    padded[:, 4 - width :] = raw
    return (padded.view("<i4")[:, 0] / 2.0**31).reshape(-1, channels).T


def spectrogram(capture: str) -> Any:
    channels = read_wav(capture)
    figure, axes = plt.subplots(len(channels), 1, sharex=True, squeeze=False, figsize=(9, 2.9 * len(channels)))
    for axis, samples, name in zip(axes[:, 0], channels, ("Reference", "Microphone")):
        power, _, _ = matplotlib.mlab.specgram(samples, NFFT=1024, noverlap=512, Fs=48000)
        columns = max(1, power.shape[1] // 150)  # averaged: noise gets smoother, not finer than can be seen
        power = power[320:, : power.shape[1] // columns * columns]  # from 15 kHz
        level = 10 * np.log10(power.reshape(len(power), -1, columns).mean(axis=2) + 1e-15)
        image = axis.imshow(
            level, origin="lower", aspect="auto", extent=(0, samples.size / 48000, 15, 24), interpolation="nearest",
            cmap=plt.get_cmap("viridis", 10), vmin=level.max() - 35, vmax=level.max(),
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
            levels = segment["levels_db"]
            axis.plot(np.arange(len(levels)) * seen["bin_hz"], levels, color="0.75", lw=0.6, rasterized=True)
        for candidate, mark, color in ((True, "o", PEAK), (False, "x", BAD)):
            peaks = [s for s in analysis["segments"] if s["candidate"] == candidate and s["level_db"] > -100]
            axis.plot([s["position_hz"] for s in peaks], [s["level_db"] for s in peaks], mark, color=color, ms=5)
        axis.axhline(threshold, color="k", ls="--", lw=0.8)
        result = f"{analysis['result']:.0f}" if analysis["accepted"] else "rejected"
        axis.set_title(
            f"{analysis['time_s']:g} s: {result}", color=GOOD if analysis["accepted"] else BAD, fontsize=10
        )
        axis.set(xlim=(0, 4000), ylim=(threshold - 50, threshold + 50))
        axis.grid(alpha=0.3)
    for axis in axes[:, 0]:
        axis.set_ylabel("Level, dB")
    figure.supxlabel(
        "Beat frequency, Hz\n18 spectra (grey), peak above the threshold (circle) or below (cross), UltraHz_cand_dB (dashes)",
        fontsize=9,
    )
    figure.tight_layout()
    return figure


def measurement(seen: Dict[str, Any]) -> Any:
    analyses: List[Dict[str, Any]] = seen["analyses"]
    figure, (upper, lower) = plt.subplots(2, 1, sharex=True, figsize=(9, 4.6), height_ratios=(2, 1))
    good = [a for a in analyses if a["accepted"]]
    upper.plot([a["time_s"] for a in good], [a["result"] for a in good], "o", color=GOOD, ms=4, label="accepted")
    bad = [a["time_s"] for a in analyses if not a["accepted"]]
    for number, time in enumerate(bad):
        upper.axvspan(time - 0.2, time, color=BAD, alpha=0.2, lw=0, label=None if number else "rejected")
    upper.set(ylabel="Measurement,\nunit of UltraHz_period")
    upper.legend(loc="upper right")
    upper.margins(y=0.4)
    times = [a["time_s"] for a in analyses]
    lower.step(times, [a["candidates"] for a in analyses], where="mid", color="0.4", label="above the threshold")
    lower.step(times, [a["hits"] for a in analyses], where="mid", color=PEAK, label="agreeing in frequency")
    lower.set(ylabel="Spectra of 18", ylim=(-1, 19), xlabel="Time at which the analysis ends, s")
    lower.legend(loc="lower right", fontsize=8)
    for axis in (upper, lower):
        axis.grid(alpha=0.3)
    figure.tight_layout()
    return figure


def save(figure: Any, path: str) -> None:
    """Whole or not at all."""
    root, extension = os.path.splitext(path)
    if extension not in (".png", ".svg"):
        raise ValueError(f"{path}: pictures are written as .png or .svg")
    unfinished = f"{root}.unfinished{extension}"
    try:
        figure.savefig(unfinished, dpi=DPI, metadata={"Software" if extension == ".png" else "Date": None})
        os.replace(unfinished, path)
    finally:
        if os.path.exists(unfinished):
            os.remove(unfinished)
        plt.close(figure)


def main() -> int:
    parser = argparse.ArgumentParser(
        prog="zeto.plot", description="Draw a recording and what the detector saw in it",
        epilog="Other options are handed to zeto explain: --from 2 --to 4 --UltraHz-cand-dB -30 --params tuning.json")
    parser.add_argument("capture", help="WAV file of integers, 48000 Hz: reference, microphone")
    parser.add_argument("-k", "--kind", choices=KINDS, default="measurement")
    parser.add_argument("-o", "--out", required=True, help="picture to write: .png or .svg")
    parser.add_argument("--zeto", help="the command-line tool; default ZETO_TOOL or zeto on the path")
    options, others = parser.parse_known_args()
    try:
        if options.kind == "spectrogram":
            figure = spectrogram(options.capture)
        else:
            seen = explain(options.capture, others, options.zeto)
            if not seen["analyses"]:
                raise ValueError("no analysis in that time")
            figure = spectra(seen) if options.kind == "spectra" else measurement(seen)
        save(figure, options.out)
    except subprocess.CalledProcessError as error:
        return error.returncode  # the tool has said why
    except (OSError, ValueError, wave.Error, EOFError) as error:
        print(f"zeto.plot: {error}", file=sys.stderr)
        return 2
    return 0


if __name__ == "__main__":
    sys.exit(main())
