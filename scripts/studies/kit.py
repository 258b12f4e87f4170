"""The host kit's sets on simulated phones: the tasks' figures, and what lies behind them."""
import numpy as np


from .guide import picture, table
from .scenes import COMES, SEEDS, SETTLED, errors, false_targets, run, said_after, scene

HAND = (2, 6, 10, 20, 30, 50)  # cm; how strong its echo is follows from the distance
PERSON = {100: -27, 150: -33, 200: -38, 300: -46}  # cm: dB under the direct sound
FAULT = 5.0  # seconds; when faults begin
LEARNED = 2.9  # seconds; when what is wrong from the beginning must have shown
PEAKS = (-30, -20, -10, 0)  # dB of full scale
NEVER = np.inf


def percent(share):
    """Only what is all or nothing reads 0 or 100."""
    return f"{100 * share:.0f} %" if share in (0, 1) else f"{min(max(100 * share, 0.1), 99.9):.1f} %"


def spread(shares_of_seeds, weights):
    """The share of all, and that of the lowest and highest seed."""
    shares = [share for share, weight in zip(shares_of_seeds, weights) if weight]
    if not shares:
        return "-"
    every = np.average(shares, weights=[weight for weight in weights if weight])
    return f"{percent(every)} ({100 * min(shares):.0f} to {100 * max(shares):.0f})"


def share_of(hits_of_seeds):
    return spread([np.mean(hits) if len(hits) else 0 for hits in hits_of_seeds], [len(hits) for hits in hits_of_seeds])


# What is counted, for each seed: from the outputs of its scenes to an array of hits.
def within(cm):
    return lambda outputs: np.abs(np.concatenate([errors(o) for o in outputs])) <= cm


def right_if_shown(outputs):
    off = np.concatenate([errors(o) for o in outputs])
    return np.abs(off[~np.isnan(off)]) <= 2.5


def shown(outputs):
    return ~np.isnan(np.concatenate([errors(o) for o in outputs]))


def false(outputs):
    return np.concatenate([false_targets(o) for o in outputs])


def after_fault(start):
    return lambda outputs: np.concatenate([false_targets(o, start) for o in outputs])


def said_within(limit, start):
    return lambda outputs: np.array([said_after(o, start) <= limit for o in outputs])


def hands(**options):
    return lambda seed, **path: [scene(seed, target_cm=cm, **options, **path) for cm in HAND]


def noisy_hands(kind, **options):
    """A quarter of the seeds for each level."""
    return lambda seed, **path: hands(noise=kind, peak_db=PEAKS[seed % len(PEAKS)], **options)(seed, **path)


def nobody(kind=None, **options):
    def scenes_of(seed, **path):
        noise = {"noise": kind, "peak_db": PEAKS[seed % len(PEAKS)]} if kind else {}
        return [scene(seed, seconds=20, **noise, **options, **path)]

    return scenes_of


def persons(*distances):
    def scenes_of(seed, **path):
        return [scene(seed, target_cm=cm, target_db=PERSON[cm], seconds=10, **{"set": "room", **path}) for cm in distances]

    return scenes_of


def approaching(**noise):
    return lambda seed, **path: [scene(seed, target_cm=60, speed_cm_s=-10, stop_cm=10, seconds=COMES + 5, **noise, **path)]


FAULTS = {  # what may be said within a second
    "10 ms lost": {"drop": (FAULT, 10)},
    "4 ms lost": {"drop": (FAULT, 4)},
    "0.1 ms lost": {"drop": (FAULT, 0.1)},
    "10 ms twice": {"repeat": (FAULT, 10)},
    "latency 21 ms longer": {"repeat": (FAULT, 21)},
    "latency 7 ms shorter": {"drop": (FAULT, 7)},
    "drift of 20 ppm": {"drift_ppm": (20, FAULT)},
    "drift of 50 ppm": {"drift_ppm": (-50, FAULT)},
    "drift of 200 ppm": {"drift_ppm": (200, FAULT)},
    "second phone, as loud": {"foreign": (0, FAULT)},
    "second phone, 12 dB under": {"foreign": (-12, FAULT)},
    "second phone, 20 dB under": {"foreign": (-20, FAULT)},
}
SLOW = {
    "drift of 1 ppm": {"drift_ppm": (1, FAULT)},
    "drift of 1 ppm from the start": {"drift_ppm": 1},
    "drift of 5 ppm": {"drift_ppm": (5, FAULT)},
}


def faulty(*names):
    every = {**FAULTS, **SLOW}
    return lambda seed, **path: [scene(seed, seconds=16 if n in SLOW else 9, **every[n], **path) for n in names]


def mean_error(outputs_of_seeds):
    off = [np.abs(np.concatenate([errors(o) for o in outputs])) for outputs in outputs_of_seeds]
    means = [np.nanmean(o) for o in off if not np.all(np.isnan(o))]
    return f"{np.nanmean(np.concatenate(off)):.2f} cm ({min(means):.2f} to {max(means):.2f})" if means else "-"


def counted(hits):
    return lambda outputs_of_seeds: share_of([hits(outputs) for outputs in outputs_of_seeds])


TASKS = (  # what, the scenes of a seed, and rows: the figure, what to reach, how it is counted
    ("nobody there", nobody(), (("a target shown", "at most 0.5 %", counted(false)),)),
    ("hand at 2 to 50 cm", hands(), (
        ("within 2.5 cm", "99 %", counted(within(2.5))),
        ("within 1.5 cm", "95 %", counted(within(1.5))),
        ("within 1 cm", "85 %", counted(within(1))))),
    ("the same, speech to full scale", hands(noise="speech", noise_from=3), (
        ("within 2.5 cm", "95 %", counted(within(2.5))),
        ("right if shown", "-", counted(right_if_shown)))),
    ("the same, speech 10 dB less loud", hands(noise="speech", peak_db=-10, noise_from=3), (
        ("within 2.5 cm", "95 %", counted(within(2.5))),)),
    ("nobody, music with hi-hats", nobody("music"), (("a target shown", "none", counted(false)),)),
    ("hand, music with hi-hats", noisy_hands("music"), (
        ("right if shown", "95 %", counted(right_if_shown)),
        ("shown", "-", counted(shown)))),
    ("nobody, jingling keys", nobody("keys"), (("a target shown", "none", counted(false)),)),
    ("hand, jingling keys", noisy_hands("keys"), (
        ("right if shown", "95 %", counted(right_if_shown)),
        ("shown", "-", counted(shown)))),
    ("hand from 60 to 10 cm in 5 s", approaching(), (
        ("mean error", "at most 2 cm", mean_error),
        ("shown", "-", counted(shown)))),
    ("the same, speech to full scale", approaching(noise="speech", noise_from=3), (
        ("mean error", "-", mean_error),
        ("shown", "-", counted(shown)))),
    ("the same, jingling keys at -20 dB", approaching(noise="keys", peak_db=-20, noise_from=3), (
        ("mean error", "-", mean_error),
        ("shown", "-", counted(shown)))),
    ("person at 100 to 200 cm", persons(100, 150, 200), (("within 7 cm", "95 %", counted(within(7))),)),
    ("person at 300 cm", persons(300), (("within 7 cm", "50 %", counted(within(7))),)),
    ("lost and repeated samples, drift of 20 ppm and more, second phone", faulty(*FAULTS), (
        ("said within 1 s", "all", counted(said_within(1.0, FAULT))),
        ("a target shown meanwhile", "at most 1 %", counted(after_fault(FAULT))))),
    ("drift of 1 ppm", faulty("drift of 1 ppm"), (
        ("said within 10 s", "all, or followed", counted(said_within(10.0, FAULT))),
        ("a target shown meanwhile", "none", counted(after_fault(FAULT))))),
)


def figures(_):
    paths = (({}, SEEDS), ({"response": "flat"}, SEEDS), ({"set": "default"}, SEEDS))
    run(job for _, scenes_of, _ in TASKS for path, seeds in paths for seed in seeds for job in scenes_of(seed, **path))
    rows = []
    for what, scenes_of, figures_of in TASKS:
        seen = [[run(scenes_of(seed, **path)) for seed in seeds] for path, seeds in paths]
        for i, (figure, goal, count) in enumerate(figures_of):
            rows.append((what if i == 0 else "", figure, goal, *(count(of_seeds) for of_seeds in seen)))
    table("figures", ("task", "figure", "to reach", "phone", "flat response", "`default`"), rows)


def row_of_errors(jobs_of_seeds):
    off = [np.concatenate([errors(o) for o in run(jobs)]) for jobs in jobs_of_seeds]
    every = np.concatenate(off)
    mean = f"{np.nanmean(np.abs(every)):.2f} cm" if not np.all(np.isnan(every)) else "-"
    return [share_of([~np.isnan(o) for o in off]), mean, *(share_of([np.abs(o) <= cm for o in off]) for cm in (1, 2.5))]


SHOWN = ("shown", "mean error", "within 1 cm", "within 2.5 cm")


def distances(_):
    table("hand", ("cm", *SHOWN), [
        (cm, *row_of_errors([[scene(s, target_cm=cm)] for s in SEEDS])) for cm in (*HAND, 75)])
    table("person", ("cm", "echo", *SHOWN), [
        (cm, f"{db} dB", *row_of_errors([[scene(s, set="room", target_cm=cm, target_db=db, seconds=10)] for s in SEEDS]))
        for cm, db in PERSON.items()])
    table("speeds", ("cm/s", *SHOWN), [
        (v, *row_of_errors([[scene(s, target_cm=60, speed_cm_s=-v, seconds=COMES + 50 / v)] for s in SEEDS]))
        for v in (5, 10, 15, 20, 25)])


def noises(_):
    kinds = [(kind, peak) for kind in ("speech", "music", "keys") for peak in PEAKS]
    jobs = {(*kind, start): [scene(seed, target_cm=HAND[seed % len(HAND)], noise=kind[0], peak_db=kind[1], noise_from=start)
                             for seed in SEEDS] for kind in kinds for start in (3, 0)}
    run(job for of_kind in jobs.values() for job in of_kind)
    rows = []
    for kind, peak in kinds:
        cells = []
        for start in (3, 0):
            seen = [[outputs] for outputs in run(jobs[kind, peak, start])]
            cells += [counted(shown)(seen), counted(right_if_shown)(seen)]
        rows.append((kind, f"{peak} dB", *cells))
    table("noises", ("noise", "peak", "shown", "right if shown", "learned in noise: shown", "right if shown"), rows)


def faults(_):
    rows = []
    for name in (*FAULTS, *SLOW):
        start = LEARNED if name.endswith("the start") else FAULT
        seen = [run(faulty(name)(seed)) for seed in SEEDS]
        late = [said_after(of_seed[0], start) for of_seed in seen]
        said = [s for s in late if s < NEVER]
        rows.append((name, f"{len(said)} of {len(late)}", f"{np.median(said):.1f} s" if said else "-",
                     f"{max(said):.1f} s" if said else "-", share_of([after_fault(start)(of_seed) for of_seed in seen])))
    table("faults", ("what happens", "said", "median", "latest", "a target shown meanwhile"), rows)


def example(_):
    """Few scenes, computed at every check: they tell whether the other tables are old."""
    def row(name, job):
        (outputs,) = run([job])
        cells = ["-" if o.shown_cm is None else f"{o.shown_cm:.1f}" for o in outputs if o.time_s > SETTLED]
        return (name, *cells[:8])

    rows = [row("nobody", scene(3))]
    rows += [row(f"hand at {cm} cm", scene(3, target_cm=cm)) for cm in HAND]
    rows += [row("from 60 cm, 10 cm/s", scene(3, target_cm=60, speed_cm_s=-10, stop_cm=10))]
    rows += [row(f"`default`, {name}", scene(3, set="default", **target))
             for name, target in (("nobody", {}), ("hand at 10 cm", {"target_cm": 10}), ("hand at 50 cm", {"target_cm": 50}))]
    table("example", ("what is there", *(f"{SETTLED + 0.2 * k:.1f} s" for k in range(1, 9))), rows)


def picture_of_hand(draw):
    """A hand that comes nearer, as two sets show it."""
    if not draw:
        return
    from zeto import plot

    figure, axes = plot.plt.subplots(1, 2, figsize=(9, 3.2))
    for axis, name in zip(axes, ("hand", "default")):
        (outputs,) = run([scene(7, set=name, target_cm=60, speed_cm_s=-10, stop_cm=10, seconds=10)])
        time = [o.time_s for o in outputs]
        axis.plot(time, [o.true_cm if o.true_cm is not None else np.nan for o in outputs], "k", lw=0.6, label="true")
        axis.plot(time, [o.shown_cm if o.shown_cm is not None else np.nan for o in outputs], ".", ms=4, label="shown")
        axis.set(xlabel="Time, s", ylabel="Distance, cm", title=f"Set {name}")
        axis.legend()
        axis.grid(alpha=0.3)
    picture(figure, "hand")
