"""What a Markdown file says about links: its headings with their anchors, and the links themselves."""
import re

LINK = re.compile(r"(!?)\[((?:[^\[\]`]|`[^`]*`)*)\]\(([^()\s]+)\)")


class Lines:
    """The lines of a text. `prose` tells which are outside of fenced code, `anchors` the anchor of each heading."""

    def __init__(self, text):
        self.lines, self.prose, self.anchors = text.split("\n"), [], {}
        fence, seen = "", {}
        for i, line in enumerate(self.lines):
            mark = re.match(r"\s*(`{3,}|~{3,})", line)
            self.prose.append(not fence and not mark)
            if mark and not fence:
                fence = mark[1]
            elif mark and line.strip() == fence:
                fence = ""
            elif not fence and re.match(r"#{1,6} ", line):
                slug = anchor(line.lstrip("#"))
                seen[slug] = seen.get(slug, -1) + 1
                self.anchors[i] = f"{slug}-{seen[slug]}" if seen[slug] else slug


def anchor(heading):
    """The anchor that code hosts give a heading: small letters, digits, - and _; spaces become -."""
    words = LINK.sub(r"\2", heading).strip().lower()
    return re.sub(r"[^\w\- ]", "", words).replace(" ", "-")
