"""The library's emitter and detector alone, over a path of clean echoes: steps, range, thresholds, noise."""
import collections
import multiprocessing
import os
import tempfile

import numpy as np

import zeto
from zeto import plot

from .guide import picture, table, tool
from .kit import share_of
from .scenes import SEEDS, run, scene

SHARE = ("accepted", "median, ms", "cm", "least to greatest, ms")
CM = 17.15  # a millisecond of delay, in distance
FINER = zeto.sets()["finer"]
SETS = {  # emitter, detector; a unit of a tenth of a millisecond
    "`default`": ({}, {}),
    "`default`, sweeps of 2 s": ({"period_ms": 2000}, {"UltraHz_period": 20000}),
    "`finer`": (FINER.emitter, {**FINER.detector, "UltraHz_period": 10000}),
}


def play(seconds=20, **emitter):
    with zeto.Emitter(**emitter) as e:
        return e.process(np.zeros(seconds * 48000, np.int16))


def listen(played, heard, **detector):
    """One value per analysis. The first second is left out: until echo and sweep are there nothing can agree."""
    heard = np.clip(np.round(heard), -32768, 32767).astype(np.int16)
    with zeto.Detector(**detector) as d:
        return zeto.measurements(d, d.process(played, heard))[5:]


def sense(played, delay_ms, gain=0.5, snr_db=None, echoes=(), seed=1, **detector):
    heard = np.zeros(len(played))
    first = None
    for late, loud in [(delay_ms, gain), *echoes]:
        n = round(late * 48)
        heard[n:] += loud * played[: len(played) - n]
        first = heard.copy() if first is None else first
    if snr_db is not None:
        rms = np.sqrt(np.mean(first**2) / 10 ** (snr_db / 10))
        heard += np.random.default_rng(seed).normal(0, rms, len(heard))
    return listen(played, heard, **detector)


def only_noise(rms, seed=1, **detector):
    played = play()
    return listen(played, np.random.default_rng(seed).normal(0, rms, len(played)), **detector)


def row(values):
    good = values[values != zeto.REJECTED]
    share = f"{100 * len(good) / len(values):.0f} %"
    if not len(good):
        return share, "-", "-", "-"
    return share, f"{np.median(good):g}", f"{np.median(good) * CM:.0f}", f"{good.min()} to {good.max()}"


def recording(draw):
    with tempfile.TemporaryDirectory() as folder:
        capture = os.path.join(folder, "capture.wav")
        tool("simulate", "--delay-ms", "120", "--snr-db", "-10", "--seconds", "6", "--wav", capture)
        seen = plot.explain(capture, ["--spectra"], os.environ["ZETO_TOOL"])
    rows = []
    for analysis in seen["analyses"][:6]:
        peaks = collections.Counter(round(s["position_hz"]) for s in analysis["segments"]).most_common()
        result = int(analysis["result"]) if analysis["accepted"] else "rejected"
        rows.append((f"{analysis['time_s']:g}", ", ".join(f"{n} × {hz}" for hz, n in peaks), result))
    table("recording", ("analysis ends, s", "where its 18 spectra peak, Hz", "result, ms"), rows)
    if draw:
        picture(plot.spectra(seen), "spectra")


def fold(_):
    played = play()
    delays = (0, 2, 5, 10, 50, 100, 220, 250, 380, 490, 510, 600, 750, 950)
    table("fold", ("true ms", "true cm", *SHARE), [(d, f"{d * CM:.0f}", *row(sense(played, d))) for d in delays])


def resolution(draw):
    rows, delays, medians = [], np.arange(1, 1000, 3), {}
    for name, (emitter, detector) in SETS.items():
        period = emitter.get("period_ms", 1000)
        played = play(4 * period // 1000 + 1, **emitter)
        all_values = [sense(played, d, **{"UltraHz_period": 10000, **detector}) for d in delays]
        medians[name] = np.array([np.median(v[v != zeto.REJECTED]) if np.any(v != zeto.REJECTED) else np.nan
                                  for v in all_values]) / 10
        near = delays <= (330 if "finer" in name else 500)
        off = (medians[name] - np.minimum(delays, period - delays))[near]
        rows.append((name, near.sum(), np.isnan(off).sum(), f"{np.nanmin(off):.1f} to {np.nanmax(off):.1f}",
                     f"{np.nanmean(np.abs(off)):.1f}", f"{np.nanmean(np.abs(off)) * CM:.0f}"))
    table("resolution", ("set", "delays", "lost", "error, ms", "its mean size, ms", "cm"), rows)
    if not draw:
        return
    figure, (a, b) = plot.plt.subplots(1, 2, figsize=(9, 3.2))
    a.plot(delays, medians["`default`"], ".", ms=2)
    a.set(xlabel="True delay, ms", ylabel="Measurement, ms", title="Fold at half a sweep")
    fine, played = np.arange(100, 125, 0.25), play(5)
    b.plot(fine, [np.median(v[v != zeto.REJECTED]) for v in (sense(played, d) for d in fine)], ".", ms=4, label="measured")
    b.plot(fine, fine, "k", lw=0.6, label="exact")
    b.legend()
    b.set(xlabel="True delay, ms", ylabel="Measurement, ms", title="Steps of one bin")
    for axis in (a, b):
        axis.grid(alpha=0.3)
    picture(figure, "fold")


def _in_noise(job):
    delay, snr, seed = job
    return sense(play(), delay, snr_db=snr, seed=seed)


def _without_echo(job):
    rms, threshold, seed = job
    return only_noise(rms, seed, UltraHz_cand_dB=threshold)


def noise(_):
    """Many seeds: minutes."""
    kinds = [(delay, snr) for delay in (60, 300) for snr in (10, 0, -10, -13, -16, -20, -23)]
    levels = [(rms, threshold) for rms in (40, 1000) for threshold in (-60, -40, -20)]
    with multiprocessing.Pool() as pool:
        found = pool.map(_in_noise, [(*kind, seed) for kind in kinds for seed in SEEDS])
        alone = pool.map(_without_echo, [(*level, seed) for level in levels for seed in SEEDS])
    rows = []
    for i, (delay, snr) in enumerate(kinds):
        of_seeds = found[i * len(SEEDS) : (i + 1) * len(SEEDS)]
        good = np.concatenate([values[values != zeto.REJECTED] for values in of_seeds])
        rows.append((delay, snr, share_of([values != zeto.REJECTED for values in of_seeds]), f"{np.median(good):g}",
                     f"{(np.abs(good - delay) > 8).sum()} of {len(good)}"))
    table("noise", ("true ms", "SNR, dB", "accepted", "median, ms", "more than 8 ms (137 cm) off"), rows)
    rows = []
    for i, (rms, threshold) in enumerate(levels):
        of_seeds = alone[i * len(SEEDS) : (i + 1) * len(SEEDS)]
        rows.append((rms, threshold, share_of([values != zeto.REJECTED for values in of_seeds])))
    table("only noise", ("noise, counts rms", "`UltraHz_cand_dB`", "accepted"), rows)


def thresholds(_):
    gains, played = (1, 0.1, 0.03, 0.01, 0.003), play()
    steady = play(amp_start_milli=160)
    table("threshold", ("`UltraHz_cand_dB`", *(f"gain {g}" for g in gains), *(f"steady, gain {g}" for g in gains[-2:])), [
        (t, *(row(sense(played, 60, g, UltraHz_cand_dB=t))[0] for g in gains),
         *(row(sense(steady, 60, g, UltraHz_cand_dB=t))[0] for g in gains[-2:])) for t in (-60, -40, -20, 0)])


def echoes(_):
    played = play()
    table("second echo", ("second echo", *SHARE), [
        (f"{late} ms, gain {gain}", *row(sense(played, 60, echoes=[(late, gain)])))
        for late, gain in ((120, 0.4), (120, 0.5), (120, 0.6), (120, 0.7), (90, 0.4), (90, 0.45))])


def doppler(_):
    """A reflector 5 m away; no direct sound to speak of."""
    rows = []
    for speed in (0, 10, 50, 100):
        job = scene(1, set="default", response="flat", direct=0.001, target_db=54, target_cm=500, speed_cm_s=speed,
                    latency_ms=0, present="0-", seconds=8)
        off = np.array([o.shown_cm - o.true_cm for o in run([job])[0] if o.shown_cm is not None])
        rows.append((speed, f"{speed / 100 * 19600 / 4000:.2f} to {speed / 100 * 23600 / 4000:.2f}",
                     f"{np.median(off) / 100:.2f}"))
    table("doppler", ("cm/s, away", "theory: too far by, m", "measured, m"), rows)


def delay_line(_):
    played = play()
    table("delay line", ("`UltraHz_delay_ms`", "true ms", *SHARE), [
        (w, d, *row(sense(played, d, UltraHz_delay_ms=w))) for w in (0, 10, 200) for d in (60, 260)])


def wrong(_):
    played = play()
    table("wrong", ("what you see", "what it is", *SHARE), [(seen, cause, *row(values)) for seen, cause, values in (
        ("the latency, whatever moves", "the direct sound (37 ms, gain 1) over an echo of 0.3 at 120 ms",
         sense(played, 37, 1, echoes=[(120, 0.3)])),
        ("0 wherever accepted", "`UltraHz_period` 0", sense(played, 60, UltraHz_period=0)),
        ("nothing but −1000", "`period_ms` below 1000: silence", sense(play(period_ms=999), 60)),
        ("", "no echo", sense(played, 60, 0)),
        ("", "`UltraHz_cand_dB` too high: 20", sense(played, 60, UltraHz_cand_dB=20)),
        ("", "`UltraHz_cand_ratio` above 100", sense(played, 60, UltraHz_cand_ratio=101)),
        ("rejected at the start of each sweep", "`UltraHz_cand_dB` too high for the sweep's quiet start: 0",
         sense(played, 60, UltraHz_cand_dB=0)),
        ("one of five rejected", "as it must be, at most delays", sense(played, 60)),
        ("values all over the range, all accepted", "`UltraHz_cand_ratio` 0 and `UltraHz_cand_dB` −60, without an echo",
         only_noise(1000, UltraHz_cand_ratio=0, UltraHz_cand_dB=-60)),
        ("half or double of what it should be", "`UltraHz_scope` 2000 is not `span_hz`",
         sense(played, 60, UltraHz_scope=2000)),
        ("", "`UltraHz_period` 500 is not `period_ms`", sense(played, 60, UltraHz_period=500)),
        ("negative, creeping up after rejections", "`UltraHz_smooth` 50", sense(played, 60, UltraHz_smooth=50)),
        ("falls while the delay grows", "folded, here 700 ms: a longer sweep", sense(played, 700)),
        ("3", "both inputs are the reference", sense(played, 0, 1)),
    )])
