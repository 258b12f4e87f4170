#!/usr/bin/env python3
"""Shows what `zeto live` hears as a moving picture, range over time: `python3 -m zeto.live --set room`.

Options that are not its own are handed to `zeto live`. It shows a recording as well: `--from capture.wav`."""
import argparse
import collections
import json
import os
import queue
import signal
import subprocess
import sys
import threading
from typing import Any, Deque, Dict, Iterable, Iterator, List, Optional, TextIO, Tuple

import numpy as np

from ._library import beside_this
from ._paths import TOOL

ROWS = 150  # 30 s
STEP_S = 0.2
FLOOR_DB, TOP_DB = -50, 0
COLOURS = {"target": "#1f6fb4", "disturbed": "#c0392b"}
Line = Dict[str, Any]


def objects(lines: Iterable[str]) -> Iterator[Line]:
    """What is no JSON object is passed over: the last line may be cut short."""
    for line in lines:
        try:
            found = json.loads(line)
        except ValueError:
            continue
        if isinstance(found, dict):
            yield found


class Picture:
    """The last 30 s: a column every 200 ms, near at the bottom, and a dot where a target is shown."""

    def __init__(self) -> None:
        import matplotlib.pyplot as plt  # type: ignore[import]

        self.rows: Deque[Line] = collections.deque(maxlen=ROWS)
        self.figure, (self.over_time, self.now) = plt.subplots(
            1, 2, sharey=True, figsize=(10, 5), width_ratios=(4, 1), layout="constrained")
        self.image = self.over_time.imshow(
            np.full((2, ROWS), FLOOR_DB, float), origin="lower", aspect="auto", cmap="viridis", vmin=FLOOR_DB, vmax=TOP_DB,
            interpolation="nearest")
        (self.dots,) = self.over_time.plot([], [], "o", color="white", mec="black", ms=4, label="shown")
        (self.profile,) = self.now.plot([], [], color="0.3")
        self.over_time.set(xlabel="Time, s", ylabel="Distance, cm")
        self.now.set(xlabel="Echo, dB", xlim=(FLOOR_DB, TOP_DB))
        self.now.grid(alpha=0.3)
        self.figure.colorbar(self.image, ax=self.over_time, label="Echo against the direct sound, dB")

    def add(self, line: Line) -> None:
        if "state" in line:
            self.rows.append(line)

    def draw(self) -> List[Any]:
        if not self.rows:
            return []
        last = self.rows[-1]
        lengths = [len(row["profile_db"]) for row in self.rows if "profile_db" in row]
        height = max(lengths, default=2)
        levels = np.full((height, ROWS), FLOOR_DB, float)
        for column, row in enumerate(reversed(self.rows), 1):
            seen = row.get("profile_db", [])
            levels[: len(seen), ROWS - column] = seen
        begin = last["time_s"] - ROWS * STEP_S
        self.image.set_data(levels)
        self.image.set_extent((begin, last["time_s"], -0.5, height - 0.5))
        targets = [row for row in self.rows if row["distance_cm"] is not None]
        self.dots.set_data([row["time_s"] - STEP_S / 2 for row in targets], [row["distance_cm"] for row in targets])
        if "profile_db" in last:
            self.profile.set_data(last["profile_db"], range(len(last["profile_db"])))
        self.over_time.set(xlim=(max(begin, self.rows[0]["time_s"] - STEP_S), last["time_s"]), ylim=(-0.5, height - 0.5))
        self.over_time.set_title(caption(last), color=COLOURS.get(last["state"], "black"), loc="left")
        return [self.image, self.dots, self.profile]


def caption(row: Line) -> str:
    text = f"{row['time_s']:.1f} s  {row['state']}"
    if row["cause"]:
        text += f" ({row['cause']})"
    if row["distance_cm"] is not None:
        text += f"  {row['distance_cm']:.1f} cm"
    for fault in ("dropped", "clipped"):
        if row[fault]:
            text += f"  {row[fault]} {fault}"
    return text


def listen(words: List[str], tool: Optional[str]) -> "subprocess.Popen[str]":
    tool = tool or os.environ.get("ZETO_TOOL") or beside_this(TOOL) or "zeto"
    return subprocess.Popen([tool, "live", "--json", "--profile", *words], stdout=subprocess.PIPE, text=True)


def show(lines: TextIO, picture: Picture) -> bool:
    """In a window, until it is closed. Returns whether Ctrl-C closed it."""
    import matplotlib.pyplot as plt
    from matplotlib.animation import FuncAnimation  # type: ignore[import]

    heard: "queue.Queue[Line]" = queue.Queue()
    interrupted = threading.Event()

    def interrupt(*_: Any) -> None:
        interrupted.set()
        plt.close("all")

    def read() -> None:
        for line in objects(lines):
            heard.put(line)

    def update(_: int) -> List[Any]:
        while not heard.empty():
            picture.add(heard.get())
        return picture.draw()

    signal.signal(signal.SIGINT, interrupt)
    threading.Thread(target=read, daemon=True).start()
    moving = FuncAnimation(picture.figure, update, interval=100, cache_frame_data=False)
    plt.show()
    del moving
    return interrupted.is_set()


def arguments() -> Tuple[argparse.Namespace, List[str]]:
    parser = argparse.ArgumentParser(prog="zeto.live", allow_abbrev=False, description=__doc__.splitlines()[0],
                                     epilog="Other options are handed to zeto live; see zeto live --help.")
    parser.add_argument("--lines", metavar="FILE",
                        help="show these lines of zeto live --json --profile, in place of running it; - is standard input")
    parser.add_argument("-o", "--out", metavar="FILE", help="write a picture of the last 30 s at the end: .png or .svg")
    parser.add_argument("--zeto", metavar="FILE",
                        help="the command-line tool. Default: ZETO_TOOL, the installed one, or zeto on the path")
    return parser.parse_known_args()


def run(options: argparse.Namespace, handed: List[str]) -> int:
    child = None
    if options.lines is None:
        child = listen(handed, options.zeto)
        lines = child.stdout
    else:
        lines = sys.stdin if options.lines == "-" else open(options.lines)
    assert lines is not None
    # Ctrl-C reaches the tool as well, which then ends in good order. A second signal would end it at once.
    if options.out:
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        from . import plot  # without a window

        picture = Picture()
        for line in objects(lines):
            picture.add(line)
        picture.draw()
        plot.save(picture.figure, options.out)
    elif not show(lines, Picture()) and child:
        child.send_signal(signal.SIGINT)  # it puts its recording in place
    return child.wait() if child else 0


def main() -> int:
    options, handed = arguments()
    try:
        import matplotlib  # noqa: F401
    except ImportError:
        print("zeto.live: matplotlib is missing (Debian: python3-matplotlib)", file=sys.stderr)
        return 2
    try:
        if options.out and not options.out.endswith((".png", ".svg")):
            raise ValueError(f"{options.out}: pictures are written as .png or .svg")
        return run(options, handed)
    except KeyboardInterrupt:
        return 0
    except (OSError, ValueError) as error:
        print("zeto.live: " + "".join(c if c.isprintable() else "?" for c in str(error)), file=sys.stderr)
        return 2


if __name__ == "__main__":
    sys.exit(main())
