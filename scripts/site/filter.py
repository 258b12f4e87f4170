"""Doxygen's view of a Markdown file, on standard output: python3 scripts/site/filter.py FILE, from the top of the tree.

Doxygen names pages and sections by labels that are unique in the whole site. This gives docs/start.md the label `start`
and its heading "Glossary" the label `start-glossary`, and turns links between files, which code hosts understand, into
links to labels. Functions become links to their descriptions. Guides with several sections get a table of contents."""
import os
import pathlib
import re
import sys

from markdown import LINK, Lines

HEADERS = [file for folder in ("include", "host/include") for file in pathlib.Path(folder).glob("zeto/*.h")]
FUNCTIONS = {name for file in HEADERS for name in re.findall(r"\b(zeto_\w+)\(", file.read_text())}


def label(path, part=""):
    page = os.path.splitext(os.path.basename(path))[0].lower()
    page = "index" if page == "readme" else page
    return f"{page}-{part}" if part else page


def reference(target, text):
    words = text.replace("`", "")  # a reference takes them literally
    return f'@ref {target} "{words}"' if words == text else f'<code>@ref {target} "{words}"</code>'


def link(source, match):
    picture, text, target = match.groups()
    path, _, part = target.partition("#")
    path = path or source
    if picture or ":" in path:
        return match[0]
    if path.endswith(".md"):
        return reference(label(path, part), text)
    if "examples/" in path:
        return reference(os.path.basename(path), text)
    return match[0]  # leads nowhere in the site: scripts/check-links reports it


def span(match):
    """Code with an apostrophe ends there for Doxygen unless its quotes are double."""
    return f"``{match[1]}``" if "'" in match[1] else match[0]


def plain(line):
    """Emphasis that begins with code, and code with apostrophes, in a form that Doxygen knows."""
    line = re.sub(r"\*\*(`[^*]*)\*\*", r"<b>\1</b>", line)
    line = re.sub(r"\*(`[^*`]*`)\*", r"<i>\1</i>", line)
    return line if line.count("`") % 2 else re.sub(r"`([^`]+)`", span, line)


def function(match):
    return reference(match[1], match[0]) if match[1] in FUNCTIONS else match[0]


def heading(source, line, part, contents):
    if not part:
        return line if label(source) == "index" else f"{line} {{#{label(source)}}}\n" + "\n[TOC]\n" * contents
    if label(source) == "index":
        return "#" + line  # deep enough to stay out of the navigation, beside which the guides are
    return f"{line} {{#{label(source, part)}}}"


def main(source):
    text = Lines(pathlib.Path(source).read_text(encoding="utf-8"))
    title = min(text.anchors)
    for i, line in enumerate(text.lines):
        if i in text.anchors:
            line = heading(source, line, "" if i == title else text.anchors[i], contents=len(text.anchors) > 4)
        elif text.prose[i]:
            line = LINK.sub(lambda match: link(source, match), plain(line))
            line = re.sub(r"`(zeto_\w+)`", function, line)
        print(line)


main(sys.argv[1])
