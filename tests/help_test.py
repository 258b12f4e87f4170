#!/usr/bin/env python3
"""Man page and completions hold every verb and option that the tool's help shows.  usage: help_test.py TOOL"""
import os
import pathlib
import pty
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time
import unittest

ROOT = pathlib.Path(__file__).resolve().parent.parent
TOOL = sys.argv.pop(1)
HOLDER = tempfile.TemporaryDirectory()
MADE = pathlib.Path(HOLDER.name)


def output(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def help_of(*verb):
    """The verbs and the long options, as a reader finds them."""
    text = output(TOOL, *verb, "--help")
    verbs = re.findall(r"^  ([a-z]+)  ", text.partition("\nSubcommands:\n")[2].partition("\n\n")[0], re.MULTILINE)
    return verbs, re.findall(r"^  (?:-\w,)?(--[\w-]+)", text, re.MULTILINE)


def by_bash(*words):
    """What bash offers for the last word."""
    script = ". $0/zeto.bash; COMP_WORDS=(zeto \"$@\"); COMP_CWORD=$#; _zeto; printf '%s\\n' \"${COMPREPLY[@]}\""
    return output("bash", "-c", script, str(MADE), *words).split()


def by_zsh(typed, want):
    """Whether an interactive zsh, with the Tab key after what is typed, comes to show what is wanted."""
    child, terminal = pty.fork()
    if child == 0:
        os.execvp("zsh", ["zsh", "-f", "-i"])
    os.write(terminal, f"fpath=({MADE} $fpath); autoload -U compinit; compinit -u -D; echo re''ady\n".encode())
    seen, ready, end = b"", False, time.monotonic() + 60
    while want.encode() not in seen and time.monotonic() < end:
        if select.select([terminal], [], [], 1)[0]:
            seen += os.read(terminal, 4096)
        if b"ready" in seen and not ready:
            ready, seen = True, b""
            os.write(terminal, typed.encode() + b"\t")
    os.close(terminal)
    os.waitpid(child, 0)
    return seen.decode(errors="replace")


class Made(unittest.TestCase):
    def test_everything_is_there(self):
        verbs, options = help_of()
        self.assertGreaterEqual(len(verbs), 7)
        self.assertEqual(set(by_bash("")), {*verbs, *options})
        page = (MADE / "zeto.1").read_text().replace("\\-", "-")
        for verb in verbs:
            options = help_of(verb)[1]
            self.assertEqual(set(by_bash(verb, "-")), set(options), verb)
            section = page.partition(f'\n.SH "ZETO {verb.upper()}"\n')[2].partition("\n.SH ")[0]
            shown = set(re.findall(r"^\.B (?:-\w, )?(--[\w-]+)", section, re.MULTILINE))
            self.assertEqual(shown, set(options), verb)

    def test_bash_knows_what_values_are(self):
        folder = MADE / "a b"
        folder.mkdir()
        for words, want in (
            (("-v", "sen"), ["sense"]),
            (("emit", "--set", "ha"), ["hand"]),
            (("emit", "--format", ""), ["1", "2", "3", "4"]),
            (("emit", "--start-hz", ""), []),
            (("emit", "-o", str(folder)), str(folder).split()),
            (("sense", str(folder)), str(folder).split()),
        ):
            self.assertEqual(by_bash(*words), want, words)

    @unittest.skipUnless(shutil.which("zsh"), "no zsh")
    def test_zsh_completes(self):
        for typed, want in (("zeto simu", "simulate"), ("zeto simulate --trem", "--tremor-mm"),
                            ("zeto emit --set ha", "--set hand")):
            self.assertIn(want, by_zsh(typed, want))

    @unittest.skipUnless(shutil.which("man"), "no man")
    def test_the_page_is_well_formed(self):
        done = subprocess.run(["man", "--warnings", "-l", MADE / "zeto.1"], capture_output=True, text=True)
        self.assertEqual((done.returncode, done.stderr), (0, ""))


output(str(ROOT / "scripts/make-help"), TOOL, HOLDER.name)
unittest.main()
