#!/usr/bin/env python3
"""What the command-line tool promises of odd files, names, outputs and signals. Usage: tool_promises_test.py ZETO"""
import csv
import json
import os
import signal
import struct
import subprocess
import time
import unittest

import tool_test
from tool_test import ZETO, read_wav, run, write_wav

NAMES = "new\nline.wav", "no\x1b[31m.wav", "c1\u009bm.wav", 'quo"te.wav', "com,ma.wav", "$ \\frac{$.wav", "-x.wav", "-", "f\udcff.wav"
FORMAT = struct.pack("<HHIIHH", 1, 2, 48000, 192000, 4, 16)


def chunk(name, data, size=None, order="<"):
    return name + struct.pack(order + "I", len(data) if size is None else size) + data + b"\0" * (len(data) % 2)


def wav(data, size=None, *others):
    body = b"WAVE" + chunk(b"fmt ", FORMAT) + b"".join(others) + chunk(b"data", data, size)
    return chunk(b"RIFF", body)


def rf64(data, size):
    long = struct.pack("<QQQI", size + 72, size, size // 4, 0)
    return chunk(b"RF64", b"WAVE" + chunk(b"ds64", long) + chunk(b"fmt ", FORMAT) + chunk(b"data", data, 0xFFFFFFFF), 0xFFFFFFFF)


def w64(data, size):
    name = lambda text: text + bytes.fromhex("f3acd3118cd100c04f8edb8a")
    return (b"riff" + bytes.fromhex("2e91cf11a5d628db04c10000") + struct.pack("<Q", size + 128) + name(b"wave")
            + name(b"fmt ") + struct.pack("<Q", 40) + FORMAT + name(b"data") + struct.pack("<Q", size + 24) + data)


def swapped(data):
    return b"".join(data[i : i + 2][::-1] for i in range(0, len(data), 2))


def aiff(data, size):
    rate = bytes.fromhex("400ebb80000000000000")
    return chunk(b"FORM", b"AIFF" + chunk(b"COMM", struct.pack(">hIh", 2, size // 4 % 2**32, 16) + rate, order=">")
                 + chunk(b"SSND", bytes(8) + swapped(data), (size + 8) % 2**32, ">"), order=">")


def au(data, size):
    return b".snd" + struct.pack(">IIIII", 24, size, 3, 48000, 2) + swapped(data)


def flac(frames, channels=2):
    word = 48000 << 44 | channels - 1 << 41 | 15 << 36 | frames
    return b"fLaC\x80\0\0\x22" + struct.pack(">HH", 4096, 4096) + bytes(6) + word.to_bytes(8, "big") + bytes(16)


def floats(values):
    form = struct.pack("<HHIIHH", 3, 2, 48000, 384000, 8, 32)
    return chunk(b"RIFF", b"WAVE" + chunk(b"fmt ", form) + chunk(b"data", struct.pack(f"<{len(values)}f", *values)))


def write(path, data):
    with open(path, "wb") as file:
        file.write(data)


class PromisesTest(unittest.TestCase):
    setUp = tool_test.ToolTest.setUp
    table = tool_test.ToolTest.table

    def capture(self, delay_ms=60, seconds=1, name="capture.wav"):
        run("simulate", "-s", seconds, "-d", delay_ms, "--wav", name)
        return struct.pack(f"<{2 * 48000 * seconds}h", *(s for frame in zip(*read_wav(name)) for s in frame))

    def sensed(self, name, *args):
        """What the tool makes of a file that has a good one behind it: status, lines on standard error, its rows."""
        result = run("sense", "--csv", name, "capture.wav", *args)
        rows = list(csv.reader(result.stdout.splitlines()))
        good = [row[1:4] for row in rows if row[0] == "capture.wav"]
        self.assertEqual(good, self.good, (name, result.stderr))
        return result.returncode, result.stderr, [row[1:4] for row in rows[1:] if row[0] != "capture.wav" and row[2] != "error"]

    def test_hostile_recordings_do_no_harm(self):
        """Each beside a good one: nothing is said and all is sensed; or something is missing; or it is at fault."""
        data = self.capture()
        n = len(data)
        self.good = [[r["time_s"], r["status"], r["measurement"]] for r in self.table("sense", "--csv", "capture.wav")]
        for name, content in {
            "padded": wav(data, None, chunk(b"LIST", b"odd")), "pipe": wav(data, 0x7FFFF000), "streamed": wav(data, 0xFFFFFFFF),
            "rf64": rf64(data, n), "w64": w64(data, n), "aiff": aiff(data, n), "au": au(data, n),
            "piped.aiff": aiff(data, 0x7F000000), "piped.au": au(data, 0xFFFFFFFF),
        }.items():
            write(name, content)
            self.assertEqual(self.sensed(name), (0, "", self.good), name)
        for name, make in ("rf64", rf64), ("w64", w64), ("aiff", aiff), ("au", au):
            write(name, make(data, n + 4000))
            status, said, rows = self.sensed(name)
            self.assertEqual((status, said.count("\n"), rows), (0, 1, self.good), said)
            self.assertIn(f"{name}: cut short, 4000 bytes of samples are missing", said)
        os.mkfifo("fifo")
        for name, content, why in (
            ("cut", wav(data, n + 3, chunk(b"LIST", b"odd")), "3 bytes of samples are missing"), ("lie", flac(2**36 - 1), "damaged or cut short"),
            ("endless", flac(0), "length cannot be told"), ("mono", flac(2**36 - 1, 1), "1 channel"), ("empty", b"", "not an audio"),
            ("fifo", None, "not a regular file"), ("/dev/zero", None, "not a regular file"),
        ):
            if content is not None:
                write(name, content)
            status, said, rows = self.sensed(name)
            self.assertEqual((status, said.count("\n"), rows), (1, 1, []), said)
            self.assertIn(why, said)
        run("emit", "-s", 1, "-o", "chirp.wav")
        want = self.table("inspect", "--csv", "chirp.wav")
        result = run("inspect", "--csv", "mono", "chirp.wav", "none.wav")
        self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 2), result.stderr)
        self.assertIn("damaged or cut short after sample 0 of", result.stderr)
        rows = list(csv.DictReader(result.stdout.splitlines()))
        self.assertEqual([row for row in rows if not row["error"]], want)

    def test_no_number_counts_as_silence(self):
        self.capture()
        values = [s / 32768 for frame in zip(*read_wav("capture.wav")) for s in frame]
        for name, odd in ("silent.wav", 0), ("odd.wav", float("nan")):
            write(name, floats([odd if 30000 < i < 60000 and i % 7 < 3 else v for i, v in enumerate(values)]))
        for format in 1, 2, 3, 4:
            odd, silent = (self.table("sense", "--csv", name, "-f", format, warns=odd)
                           for name, odd in (("odd.wav", True), ("silent.wav", False)))
            self.assertEqual([{**row, "file": "silent.wav"} for row in odd], silent)
        write("loud.wav", floats([1.0 if v > 0 else v * 1e30 for v in values]))
        for format in 1, 2, 3:  # what is beyond full scale is at full scale
            loud = self.table("sense", "--csv", "loud.wav", "-f", format)
            self.assertEqual({row["measurement"] for row in loud}, {"", "58"})

    def test_odd_parameter_files_are_refused_in_a_short_line(self):
        os.mkfifo("fifo")
        for text, said in (
            ('{"enable": 1e999}', "too large"), ('{"enable": ' + 9 * "9" * 10**5 + "}", "too large"),
            ('{"enable": "' + "x" * 10**5 + '"}', "whole number"), ('{"' + "x" * 10**4 + '": 1}', "unknown parameter"),
            ('{"enable": {"value": 1, "value": 0}}', "value stands there twice"), ('{"enable": {"value": 1}, "enable": 1}', "enable stands"), ('{"enable": 1}\0', "not JSON, line 1"),
            ('{"enable":\n[{"a": 1, "a": 2}]}', "a stands there twice"), (" " * 2**20 + "{}", "longer than 1 MiB"),
            ("[" * 300000, "not JSON"), ("\ufeff{", "not JSON"), ("/dev/zero", "not a regular file"), ("fifo", "not a regular file"),
        ):
            path = text if os.path.exists(text[:99]) else "tuning.json"
            if path == "tuning.json":
                write(path, text.encode())
            result = run("params", "--params", path)
            self.assertEqual((result.returncode, result.stdout, result.stderr.count("\n")), (2, "", 1), text[:50])
            self.assertIn(path + ": ", result.stderr)
            self.assertIn(said, result.stderr)
            self.assertLess(len(result.stderr), 250)
        write("tuning.json", b'{"enable": {"value": 0}, "span_hz": {"value": 2000}}')  # the same name in different objects
        self.assertEqual(run("params", "--params", "tuning.json").returncode, 0)

    def test_any_name_is_shown_on_one_line_and_told_in_full(self):
        self.capture()
        for name in NAMES:
            os.link("capture.wav", name)
        result = run("sense", "--summary", "--", *NAMES)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("\nnew line.wav ", result.stdout)
        lines = result.stdout.split("\n")
        self.assertEqual((len(lines), {len(line) for line in lines[:-2]}), (len(NAMES) + 2, {len(lines[0])}))
        self.assertNotRegex(result.stdout, "[\0-\x09\x0b-\x1f\x7f-\x9f]")
        names = [name if name[0] != "-" else "./" + name for name in NAMES]
        told = run("sense", "--summary", "--csv", "--", *NAMES).stdout
        self.assertEqual([row[0] for row in csv.reader(told.splitlines(True))][1:], names)
        told = run("sense", "--summary", "--json", "--", *NAMES).stdout.splitlines()
        self.assertEqual([json.loads(line)["file"] for line in told], [*names[:-1], "f\ufffd.wav"])
        for verb in "sense", "inspect", "explain":
            for name in NAMES:
                said = run(verb, "--", "none" + name).stderr
                self.assertEqual(said.count("\n"), 1)
                self.assertNotRegex(said, "[\0-\x09\x0b-\x1f\x7f-\x9f]")
        said = run("emit", "-s", 1, "--out=" + NAMES[1]).stdout
        self.assertNotIn("\x1b", said)

    def test_what_is_written_keeps_its_place_and_mode(self):
        os.umask(0o027)
        self.addCleanup(os.umask, 0o022)
        for before, after in (None, 0o640), (0o600, 0o600), (0o664, 0o664):
            if before:
                os.chmod("out.wav", before)
            self.assertEqual(run("emit", "-s", 1, "-o", "out.wav").returncode, 0)
            self.assertEqual(os.stat("out.wav").st_mode & 0o7777, after)
        os.symlink("out.wav", "link.wav")
        os.symlink("later.wav", "dangling.wav")
        for name, target in ("link.wav", "out.wav"), ("dangling.wav", "later.wav"):
            self.assertEqual(run("emit", "-s", 2, "-o", name).returncode, 0)
            self.assertEqual((os.readlink(name), len(read_wav(target)[0])), (target, 96000))
        os.mkfifo("fifo")
        for name in "fifo", "/dev/null":
            result = run("emit", "-s", 1, "-o", name)
            self.assertEqual((result.returncode, result.stderr), (2, f"zeto emit: cannot write {name}: not a regular file; - is standard output\n"))
        full = subprocess.run(["sh", "-c", f"'{ZETO}' params > /dev/full"], capture_output=True, text=True)
        self.assertEqual((full.returncode, full.stderr), (2, "zeto params: cannot write to standard output\n"))
        limited = subprocess.run(["sh", "-c", f"ulimit -f 64; exec '{ZETO}' emit -s 9 -o new.wav"], capture_output=True, text=True)
        self.assertEqual((limited.returncode, limited.stderr.count("\n")), (2, 1))
        self.assertEqual(sorted(os.listdir()), ["dangling.wav", "fifo", "later.wav", "link.wav", "out.wav"])

    def test_a_signal_leaves_nothing_behind(self):
        for number in signal.SIGTERM, signal.SIGINT, signal.SIGHUP:
            heed = lambda: signal.signal(number, signal.SIG_DFL)  # whoever runs the tests may ignore it
            process = subprocess.Popen([ZETO, "emit", "-s", "9999", "-o", "long.wav"], preexec_fn=heed)
            until = time.monotonic() + 20
            while not os.listdir() and time.monotonic() < until:
                time.sleep(0.01)
            self.assertRegex(os.listdir()[0], r"^long.wav\.......$")
            process.send_signal(number)
            self.assertEqual((process.wait(20), os.listdir()), (-number, []))

    def test_six_hours_are_the_most_that_a_header_can_say(self):
        for channels, args, status in (2, ["sense", "long.rf64", "-o", "out.wav"], 2), (1, ["emit", "-i", "long.rf64", "-o", "out.wav"], 1):
            size = 21601 * 48000 * 2 * channels
            form = struct.pack("<HHIIHH", 1, channels, 48000, 96000 * channels, 2 * channels, 16)
            write("long.rf64", rf64(b"", size).replace(FORMAT, form))
            with open("long.rf64", "r+b") as file:  # sparse
                file.truncate(file.seek(0, 2) + size)
            result = run(*args)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (status, 1), result.stderr)
            self.assertIn("longer than six hours", result.stderr)
            self.assertEqual(os.listdir(), ["long.rf64"])

    def test_numbers_are_what_they_say(self):
        write("two.wav", wav(self.capture(60) + self.capture(200)))  # 58 and 199, four times each
        (row,) = self.table("sense", "--summary", "--csv", "two.wav")
        self.assertEqual([row[key] for key in ("accepted", "median", "min", "max")], ["8", "128.5", "58", "199"])

        for args in (["-d", 5, "--gain", 20], ["--set", "default", "--direct", 20]):
            result = run("simulate", "-s", 1, *args, "--wav", "loud.wav")
            clipped = sum(abs(s + 0.5) > 32767 for s in read_wav("loud.wav")[1])
            said = int(result.stderr.split(" samples of the microphone clipped")[0].split()[-1])
            self.assertTrue(0 < said <= clipped <= said + 5, (said, clipped))

        write_wav("short.wav", [[0] * 24000])
        self.assertEqual(run("emit", "-i", "short.wav", "-s", 1, "-o", "longer.wav").returncode, 0)
        run("emit", "-s", 1, "-o", "chirp.wav")
        self.assertEqual(read_wav("longer.wav"), read_wav("chirp.wav"))
        noise = tool_test.random.Random(2)
        write_wav("noise.wav", [[noise.randrange(-9000, 9000) for _ in range(48000)]])
        (row,) = self.table("inspect", "--csv", "noise.wav")
        self.assertEqual((row["start_hz"], row["end_hz"], row["samples"]), ("", "", "48000"))


if __name__ == "__main__":
    unittest.main()
