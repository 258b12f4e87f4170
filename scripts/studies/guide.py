"""The tables and pictures of docs/sensing.md. A table is behind the line <!-- study: its name -->."""
import difflib
import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
GUIDE = os.path.join(ROOT, "docs", "sensing.md")
TABLES = {}


def tool(*words):
    """What the command-line tool prints."""
    return subprocess.run([os.environ["ZETO_TOOL"], *words], check=True, capture_output=True).stdout


def table(name, heading, rows):
    lines = ["| " + " | ".join(map(str, cells)) + " |\n" for cells in (heading, *rows)]
    TABLES[name] = "".join([lines[0], "|" + "---|" * len(heading) + "\n", *lines[1:]])


def picture(figure, name):
    from zeto import plot

    figure.tight_layout()
    plot.save(figure, os.path.join(ROOT, "docs", "pictures", name + ".png"))


def put(check, complete):
    """Puts the tables into the guide, or only compares; whether they were there already. `complete`: they must be all
    that the guide marks."""
    with open(GUIDE) as file:
        before = file.read()
    marked = re.compile(r"(?<=<!-- study: )(.*)( -->\n\n)((?:\|.*\n)*)")
    names = [name for name, _, _ in marked.findall(before)]
    if len(names) != len(set(names)) or not TABLES.keys() <= set(names) or complete and len(names) != len(TABLES):
        sys.exit(f"study: the guide marks {sorted(names)}, computed are {sorted(TABLES)}")
    after = marked.sub(lambda found: found[1] + found[2] + TABLES.get(found[1], found[3]), before)
    changes = difflib.unified_diff(before.splitlines(True), after.splitlines(True), "guide", "library", n=0)
    sys.stdout.writelines(changes)
    if not check:
        with open(GUIDE, "w") as file:
            file.write(after)
    return before == after
