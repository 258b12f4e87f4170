#!/usr/bin/env python3
"""The tuner's bench: profile, tune and its page, many files, pipes, warnings. Usage: bench_test.py PATH-TO-ZETO"""
import csv
import fcntl
import html
import json
import os
import pty
import re
import select
import shutil
import struct
import subprocess
import termios
import unittest

import tool_test
from tool_test import ZETO, run, write_wav

BROWSER = shutil.which("chromium") or shutil.which("chromium-browser")


def made(name, *args, seconds=3):
    assert run("simulate", "-s", seconds, "--wav", name, *args).returncode == 0
    return name


def rows_of(result):
    return list(csv.DictReader(result.stdout.splitlines()))


class BenchTest(unittest.TestCase):
    setUp = tool_test.ToolTest.setUp

    def test_profile_finds_ways_between_bins_and_under_the_direct_sound(self):
        def profile(*args):
            result = run("profile", "--json", *args)
            self.assertEqual((result.returncode, result.stderr), (0, ""), args)
            return json.loads(result.stdout)

        for delay, extra in (60, []), (28.2, []), (105.3, ["--snr-db", -3]), (299.8, ["--set", "finer"]), (71.7, ["--set", "finer"]):
            seen = profile(made("a.wav", "-d", delay, *extra[:2]), *(extra if extra[:1] != ["--snr-db"] else []))
            self.assertAlmostEqual(seen["peaks"][0]["delay_ms"], delay, delta=0.5)
            self.assertAlmostEqual(seen["peaks"][0]["distance_cm"], delay * 17.15, delta=8)
            self.assertTrue(seen["peaks"][0]["direct"])
            self.assertAlmostEqual(seen["latency_ms"], delay - 5 / 34.3, delta=0.03)
            level = max(range(256), key=lambda i: seen["median_db"][i])
            self.assertLessEqual(abs(seen["delay_ms"][level] - delay), 2)
        for delay, shown, *args in (0.5, 3.9), (3, 3.9), (700, 300), (60, 140, "--UltraHz-delay-ms", 500):
            seen = profile(made("a.wav", "-d", delay, seconds=6), *args)
            self.assertAlmostEqual(seen["peaks"][0]["delay_ms"], shown, delta=0.5)
            self.assertTrue(seen["peaks"][0]["direct"], delay)
            self.assertIsNotNone(seen["threshold_db"], delay)
        made("two.wav", "--set", "default", "--latency-ms", 37, "--direct", 0.3, "--echo", "50,0.03", "--white-dbfs", -70)
        plain, held = profile("two.wav"), profile("two.wav", "--align", "auto")
        self.assertEqual([round(p["delay_ms"]) for p in plain["peaks"][:2]], [37, 87])
        self.assertEqual([p["direct"] for p in plain["peaks"][:2]], [True, False])
        self.assertAlmostEqual(held["peaks"][0]["delay_ms"], 50, delta=1)

        made("quiet.wav", "-d", 60, "--gain", 0.01)
        accepted = lambda *args: int(rows_of(run("sense", "--csv", "--summary", "quiet.wav", *args))[0]["accepted"])
        threshold = profile("quiet.wav")["threshold_db"]
        self.assertGreater(accepted("--UltraHz-cand-dB", threshold), accepted() + 3)
        made("nobody.wav", "--set", "default", "--direct", 0, "--white-dbfs", -40)
        sound = tool_test.read_wav("quiet.wav")
        write_wav("silent.wav", [sound[0], [0] * len(sound[0])])
        for seen in profile("nobody.wav"), json.loads(run("profile", "--json", "silent.wav").stdout):
            self.assertEqual((seen["peaks"], seen["latency_ms"], seen["threshold_db"]), ([], None, None))
        result = run("profile", "--csv", "two.wav", "none.wav", "nobody.wav", "--peaks", 2)
        self.assertEqual(result.returncode, 1)
        self.assertEqual([(r["file"], r["peak"], bool(r["error"])) for r in rows_of(result)],
                         [("two.wav", "1", False), ("two.wav", "2", False), ("none.wav", "", True), ("nobody.wav", "", False)])

    def truth(self, *lines):
        with open("truth.csv", "w") as file:
            file.write("\n".join(lines) + "\n")
        return "truth.csv"

    def tuning(self):
        made("near, 1.wav", "-d", 60)
        made(" far.wav", "-d", 200, "--gain", 0.02)
        made("nobody.wav", "--set", "default", "--direct", 0, "--white-dbfs", -40)
        return self.truth('label, file ,truth,from_s,to_s', 'quiet,"near, 1.wav",60,1,', "quiet, far.wav, 200,1, 2",
                          "a b, far.wav,230,2.8,", "a\tb, far.wav,any,,", ",nobody.wav,nobody,,")

    def counted(self, shown, *options):
        """The labels of tuning(), from what zeto sense measures; `shown` makes of the accepted measurements, None for the
        others, what a host shows."""
        want = {label: dict.fromkeys(("name", "right", "wrong", "missed", "false", "silent"), 0)
                for label in ("quiet", "a b", "a\tb", "nobody")}
        for name, truth, label, start, end in (("near, 1.wav", 60, "quiet", 1, 9), (" far.wav", 200, "quiet", 1, 2),
                (" far.wav", 230, "a b", 2.8, 9), (" far.wav", "any", "a\tb", 0, 9), ("nobody.wav", "nobody", "nobody", 0, 9)):
            rows = rows_of(run("sense", "--csv", name, *options))
            values = shown([int(row["measurement"]) if row["status"] == "accepted" else None for row in rows])
            for row, value in zip(rows, values):
                if not start + 0.19 < float(row["time_s"]) < end + 0.01:
                    continue
                if truth == "nobody":
                    key = "silent" if value is None else "false"
                else:
                    right = value is not None and (truth == "any" or abs(value - truth) <= 3.91)
                    key = "right" if right else "missed" if value is None else "wrong"
                want[label][key] += 1
        return [{**counts, "name": label} for label, counts in want.items()]

    def shown(self, last):
        """The newest that another confirms."""
        near = lambda i: any(last[i] is not None and last[j] is not None and abs(last[i] - last[j]) <= 7.82 for j in range(i))
        return next((last[i] for i in reversed(range(len(last))) if near(i)), None)

    def test_tune_counts_what_sense_measures(self):
        truth = self.tuning()
        grid = ["--grid", "UltraHz_cand_dB=-60:0:20", "--grid", "UltraHz-cand-ratio=100,0"]
        result = run("tune", truth, *grid, "--json", "--best", "best.json", "--html", "page.html")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        sets = json.loads(result.stdout)["sets"]
        self.assertEqual(len(sets), 9)  # 4 x 2, and the set as it is
        order = [(s["score"], -s["wrong"] - s["false"]) for s in sets]
        self.assertEqual(order, sorted(order, reverse=True))
        for s in sets:
            self.assertEqual(s["score"], s["right"] - 5 * (s["wrong"] + s["false"]))
            options = [f"--UltraHz-cand-dB={s['parameters']['UltraHz_cand_dB']}",
                       f"--UltraHz-cand-ratio={s['parameters']['UltraHz_cand_ratio']}"]
            self.assertEqual(s["labels"], self.counted(lambda values: values, *options), s["name"])
        self.assertGreater(sets[0]["right"], next(s for s in sets if s["name"] == "default")["right"])
        with open("best.json") as file:
            self.assertEqual({k: v for k, v in json.load(file).items() if k in sets[0]["parameters"]}, sets[0]["parameters"])
        again = json.loads(run("tune", truth, "--set", "default", "--set", "best.json", "--json").stdout)["sets"]
        self.assertEqual((again[0]["name"], again[0]["score"]), ("best.json", sets[0]["score"]))
        lines = rows_of(run("tune", truth, *grid, "--csv"))
        self.assertEqual(len(lines), 9 * 4)
        self.assertEqual([int(r["right"]) for r in lines[:4]], [c["right"] for c in sets[0]["labels"]])
        self.assertIn(lines[0]["parameters"], run("params", "--params", "best.json").stdout)
        text = run("tune", truth, *grid, "--top", 2).stdout
        self.assertIn("(and 7 more: --top)", text)
        self.assertRegex(text, rf"(?m)^all .*\| +{sets[0]['right']} ")
        with open("loose.json", "w") as file:
            json.dump({"UltraHz_cand_dB": -60, "UltraHz_cand_ratio": 0, "UltraHz_spread_ratio": 0}, file)
        waits = json.loads(run("tune", truth, "--two-of-five", "--json", "--set", "loose.json").stdout)["sets"][0]["labels"]
        self.assertEqual(waits, self.counted(lambda values: [self.shown(values[max(0, i - 4):i + 1]) for i in range(len(values))],
                                             "--params", "loose.json"))

        if not BROWSER:
            self.skipTest("the page was not looked at: chromium is missing")
        dumped = subprocess.run([BROWSER, "--headless", "--no-sandbox", "--disable-gpu", "--virtual-time-budget=5000",
                                 "--user-data-dir=" + os.path.abspath("browser"), "--dump-dom", "file://" + os.path.abspath("page.html")],
                                capture_output=True, text=True, timeout=120)
        page = html.unescape(dumped.stdout)
        self.assertIn('data-drawn="yes"', page)
        self.assertEqual(page.count("<polyline"), 2 * 4)
        ranked = re.search(r'<table id="ranked">(.*?)</table>', page, re.S)[1]
        self.assertEqual(re.findall(r"<tr[^>]*><td[^>]*>(\d+)</td><td[^>]*>([-\d]+)</td>", ranked),
                         [(str(s["rank"]), str(int(s["score"]))) for s in sets])
        for text in "near, 1.wav", "UltraHz_cand_ratio=0", "UltraHz_mix_gain":
            self.assertIn(text, re.sub(r"<script.*?</script>", "", page, flags=re.S))
        self.assertNotIn("http:", page.replace("http://www.w3.org", ""))

    def test_tune_hears_by_the_kit_and_refuses_what_is_no_table(self):
        made("hand.wav", "--set", "hand", "--phone", "--target-cm", 20, "--seed", 3, "--present", "4-7", seconds=8)
        truth = self.truth("file,truth,from_s,to_s", "hand.wav,nobody,0,4", "hand.wav,20,5,7")
        (kit,) = json.loads(run("tune", truth, "--set", "hand", "--json").stdout)["sets"]
        self.assertEqual((kit["right"] in (9, 10), kit["wrong"] + kit["missed"] + kit["false"]), (True, 0))
        states = [row["state"] for row in rows_of(run("sense", "--set", "hand", "--csv", "hand.wav")) if float(row["time_s"]) < 4]
        self.assertEqual((kit["silent"], states.count("nobody") + states.count("learning")), (states.count("nobody"), len(states)))
        run("tune", truth, "--set", "hand", "--best", "best.json")
        with open("hand.json", "w") as file:
            file.write(run("params", "--set", "hand", "--json").stdout)
        for name in "best.json", "hand.json":
            self.assertEqual(run("sense", "--params", name, "hand.wav").stdout, run("sense", "--set", "hand", "hand.wav").stdout)
        for lines, said in (
            (["file,truth", "hand.wav,far"], "line 2: truth must be"), (["file,value", "hand.wav,1"], "line 1: unknown column value"),
            (["file,truth"], "no recording"), (["file", "hand.wav"], "name file and truth"), ([""], "empty"),
            (["file,truth,from_s,to_s", "", "hand.wav,1,3,2"], "line 3: from_s"), (["file,truth", "hand.wav,1,2"], "more cells"),
        ):
            result = run("tune", self.truth(*lines))
            self.assertEqual((result.returncode, result.stdout, result.stderr.count("\n")), (2, "", 1), result.stderr)
            self.assertIn(said, result.stderr)
        truth = self.truth("file,truth", "hand.wav,20", "none.wav,20")
        for args, status, said in (
            ([], 1, "none.wav"), (["--set", "hnd"], 2, "neither a set nor a file"), (["--grid", "x=1"], 2, "no parameter"),
            (["--grid", "UltraHz_period=1:2:0"], 2, "FROM:TO:STEP"), (["--grid", "UltraHz_period=1.5"], 2, "whole"),
            (["--html", "none/page.html"], 2, "none/page.html"), (["--best", "-"], 2, "standard output"),
            (["--html", "p", "--best", "./p"], 2, "both are p"), (["--html", "hand.wav"], 2, "it is read as well"),
            (["--set", "hand", "--two-of-five"], 2, "waits by itself"),
            (["--grid", "UltraHz_smooth=1", "--grid", "UltraHz-smooth=2"], 2, "given twice"),
        ):
            result = run("tune", truth, *args)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (status, 1), result.stderr)
            self.assertIn(said, result.stderr)

    def test_lists_of_names_and_pipes_are_the_same_files(self):
        names = [made(f"{delay} ms.wav", "-d", delay, seconds=1) for delay in (40, 60, 90)]
        want = run("sense", "--csv", "--summary", *names, "none.wav")
        for end in "\n", "\0", "\r\n":
            listed = subprocess.run([ZETO, "sense", "--csv", "--summary", "--files-from", "-"], capture_output=True, text=True,
                                    input=end.join([*names, "none.wav"]))
            self.assertEqual((listed.returncode, listed.stdout), (1, want.stdout))
        with open("list", "w") as file:
            file.write("\n".join(names[1:]))
        with open("bad.wav", "w") as bad, open("many", "w") as many:  # many at a time: each fault is told as it is
            bad.write("bad")
            many.write(f"bad.wav\nbad.wav\n{names[0]}\n" * 1000)
        many = rows_of(run("sense", "--csv", "--summary", "--jobs", 8, "--files-from", "many"))
        self.assertEqual((len(many), len({row["error"] for row in many})), (3000, 2))
        bare = run("sense", "--csv", "--summary", "--no-heading", names[0], "--files-from", "list").stdout
        self.assertEqual(bare.splitlines(), want.stdout.splitlines()[1:4])
        one = run("sense", "--csv", names[0]).stdout.splitlines()[0]
        self.assertEqual(one, "file,time_s,status,measurement,unit,error,parameters,version")
        for kind, args in ("plain", ["--detail"]), ("kit", ["--set", "hand"]):
            for summary in [], ["--summary"]:
                if kind == "plain" and summary:
                    args = []
                rows = list(csv.reader(run("sense", "--csv", *args, *summary, *names, "none.wav").stdout.splitlines()))
                self.assertEqual({len(row) for row in rows}, {len(rows[0])}, (kind, summary))
                self.assertEqual(len({row[-2] for row in rows[1:]}), 1)
        digest = lambda *args: rows_of(run("sense", "--csv", "--summary", names[0], *args))[0]["parameters"]
        self.assertEqual(len({digest(), digest("--UltraHz-cand-dB", -21), digest("--align", 3), digest("--align", 4),
                              digest("--set", "finer"), digest("-f", 3)}), 6)
        self.assertIn(digest(), run("params").stdout)

        rows = run("sense", "--csv", names[1]).stdout.replace(names[1], "-")
        with open(names[1], "rb") as file:
            data = file.read()
        for args, piped in ([], data), (["--raw", "s16"], data[44:]):
            heard = subprocess.run([ZETO, "sense", "--csv", *args, "-"], input=piped, capture_output=True)
            self.assertEqual(heard.stdout.decode(), rows, heard.stderr)
        emitted = subprocess.run([ZETO, "emit", "-s", "1", "-o", "-"], capture_output=True)
        for name in "a.wav", "a.flac", "a.raw", "a":
            run("emit", "-s", 1, "-o", name)
        with open("a.wav", "rb") as wav, open("a.raw", "rb") as raw, open("a.flac", "rb") as flac:
            chirp = wav.read()
            self.assertEqual((emitted.stdout, raw.read(), flac.read(4)), (chirp, chirp[44:], b"fLaC"))
        recorded = subprocess.run([ZETO, "simulate", "-s", "1", "-d", "60", "-w", "-"], capture_output=True).stdout
        self.assertEqual(recorded, data)
        same = [row[1:] for row in csv.reader(run("inspect", "--csv", "a.wav", "a.flac", "a").stdout.splitlines())][1:]
        self.assertEqual((same[0], len(same)), (same[1], 3))
        for name, format in ("a.txt", 1), ("a.flac", 4):
            self.assertEqual(run("emit", "-o", name, "-f", format).returncode, 2)

    def test_what_cannot_work_is_said_in_a_line(self):
        write_wav("44.wav", [[0] * 44100] * 2, rate=44100)
        made("a.wav", "-d", 60)
        sound = tool_test.read_wav("a.wav")
        write_wav("same.wav", [sound[0], sound[0]])
        write_wav("silent.wav", [sound[0], [0] * len(sound[0])])
        with open("s.json", "w") as file:
            file.write('{"period_ms": {"value": 2000, "unit": "s"}}')
        empty, same = self.truth("file,truth,from_s,to_s", "a.wav,60,1,1.1"), "same.csv"
        with open(same, "w") as file:
            file.write("file,truth\nsame.wav,60\n")
        for args, said in (
            (["tune", empty], "no whole analysis from 1 s to 1.1 s"), (["tune", same], "channels are the same"),
            (["tune", same, "--set", "default", "--set", "hand"], "hand measures in cm, others in ms"),
            (["params", "--span-hz", 0], "no width"), (["emit", "--start-hz", 30000], "plays 14000 to 18000 Hz"), (["emit", "--start-hz", 20000, "--span-hz", 6000], "folds back"),
            (["emit", "--period-ms", 1500], "takes 1 s"), (["emit", "--period-ms", 900], "nothing is played"),
            (["emit", "--amp-end-milli", 5000], "clips"), (["emit", "--params", "s.json"], "read as 2000 ms"),
            (["emit", "--set", "finer"], None), (["emit", "--set", "hand"], None), (["emit", "--span-hz", -1500], None),
            (["simulate", "-d", 50, "--span-hz", 2000], "2000 Hz: echoes fold"), (["simulate", "-d", 50, "--set", "finer"], None),
            (["simulate", "-d", 50, "--period-ms", 2000], "2000 makes it 1 ms"), (["simulate", "-d", 50, "--UltraHz-period", 17150], None),
            (["sense", "a.wav", "--UltraHz-smooth", 9], "drags"), (["sense", "same.wav"], "channels are the same"),
            (["sense", "silent.wav", "--UltraHz-cand-dB", 0], "microphone (channel 2) is silent"),
            (["sense", "a.wav", "--UltraHz-cand-dB", 90], "zeto profile a.wav"), (["sense", "a.wav"], None),
        ):
            result = run(*args, *(["-o", "out.wav"] if args[0] == "emit" else []))
            self.assertEqual(result.returncode, 0, args)
            self.assertIn(said or "", result.stderr)
            self.assertEqual(bool(result.stderr), said is not None, (args, result.stderr))
        for args, said in (
            (["sense", "44.wav"], "sox 44.wav -r 48000"), (["sense", "--sumary"], "did you mean --summary?"),
            (["sense", "--ultrahz_cand_db", 3], "mean --UltraHz-cand-dB?"), (["simulate", "-d", "x"], "must be a number, not x"),
            (["sense", "a.wav", "--UltraHz-mix-gain", 2.5], "whole number, not 2.5"), (["inspect", "a.wav", "--channel", 3], "no channel 3"),
            (["sense", "--zzz"], "unknown option --zzz (see"), (["sense", "--files-from", "."], "Is a directory"),
            (["explain", "a.wav", "--most", 0], "--most"), (["explain", "a.wav", "--from", 3, "--to", 1], "later than --to"),
        ):
            result = run(*args)
            self.assertEqual((result.returncode == 0, result.stderr.count("\n")), (False, 1), args)
            self.assertIn(said, result.stderr)
        result = subprocess.run([ZETO, "inspect", "--csv", "--raw", "f32", "-"], input=struct.pack("f", float("nan")) * 48000, capture_output=True)
        result.stdout, result.stderr = result.stdout.decode(), result.stderr.decode()
        self.assertIn("48000 of 48000 samples are no numbers", result.stderr)
        self.assertEqual([rows_of(result)[0][key] for key in ("sweep_s", "latency_samples")], ["", ""])
        self.assertEqual(run().stdout, run("--help").stdout)
        for verb in re.findall(r"(?m)^  (\w+) ", run().stdout.split("Subcommands:")[1]):
            self.assertEqual(run("help", verb).stdout, run(verb, "--help").stdout)
            self.assertLessEqual(max(map(len, run("help", verb).stdout.splitlines())), 100, verb)
        self.assertEqual(run("inspect", "--csv", "--channel", 2, "a.wav").stdout.splitlines()[1].split(",")[7], str(479 + 60 * 48))

    def test_explain_reads_no_farther_than_asked_and_fits_the_terminal(self):
        made("a.wav", "-d", 60)
        self.assertEqual(len(run("explain", "--brief", "a.wav", "--from", 1, "--most", 2).stdout.splitlines()), 4)
        subprocess.run(["sox", "a.wav", "damaged.flac"], check=True)
        with open("damaged.flac", "r+b") as file:
            file.truncate(os.path.getsize("damaged.flac") * 2 // 3)
        self.assertEqual(run("explain", "damaged.flac", "--to", 1).returncode, 0)
        result = run("explain", "--json", "damaged.flac", "a.wav")
        first, second = map(json.loads, result.stdout.splitlines())
        self.assertEqual((result.returncode, "damaged" in first["error"], len(second["analyses"])), (1, True, 15))
        rows = rows_of(run("explain", "--csv", "none.wav", "a.wav"))
        self.assertEqual([bool(row["error"]) for row in rows], [True] + 15 * [False])
        for row, a in zip(rows[1:], second["analyses"]):
            self.assertEqual((int(row["candidates"]), int(row["hits"]), row["accepted"] == "1"),
                             (a["candidates"], a["hits"], a["accepted"]))
        detail = rows_of(run("sense", "--csv", "--detail", "a.wav"))
        for row, a in zip(detail, rows[1:]):
            self.assertEqual([row[key] for key in ("time_s", "candidates", "hits", "beat_hz", "reason")],
                             [a[key] for key in ("time_s", "candidates", "hits", "beat_hz", "reason")])
        for columns, said, words in (60, "UltraHz_cand_dB", ["params"]), (80, "steadiness", ["explain", "a.wav", "--most", "3"]):
            child, terminal = pty.fork()
            if child == 0:
                fcntl.ioctl(1, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
                os.execv(ZETO, [ZETO, *words])
            shown = b""
            while select.select([terminal], [], [], 10)[0]:
                try:
                    shown += os.read(terminal, 4096)
                except OSError:
                    break
            os.waitpid(child, 0)
            self.assertIn(said, shown.decode())
            self.assertLessEqual(max(map(len, shown.decode().splitlines())), columns)

    def test_page_on_scale_does_what_it_says(self):
        os.mkdir("captures")
        for i in range(1, 41):
            made(f"captures/{i}.wav", "-d", 10 * i, seconds=0.6)
        with open("captures/bad.wav", "w") as file:
            file.write("no audio")
        os.symlink(ZETO, "zeto")
        environment = {**os.environ, "PATH": os.getcwd() + ":" + os.environ["PATH"], "PARALLEL_HOME": os.getcwd()}
        with open(os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "docs", "scale.md")) as file:
            blocks = re.findall(r"```(sh|python)\n(.*?)```", file.read(), re.S)
        self.assertEqual(len(blocks), 6)
        want = {row["file"]: row for row in rows_of(run("sense", "--summary", "--csv", *(f"captures/{n}.wav" for n in [*range(1, 41), "bad"])))}
        for language, block in blocks:
            if "parallel " in block and not shutil.which("parallel"):
                continue
            runner = ["bash", "-c"] if language == "sh" else ["/usr/bin/python3", "-c"]
            done = subprocess.run([*runner, block], env=environment, capture_output=True, text=True, timeout=100)
            if language == "python":
                if "No module named 'dask'" not in done.stderr:
                    told = dict(line.split(" ", 1) for line in done.stdout.splitlines())
                    self.assertEqual({name: told[name] for name in want if name != "captures/bad.wav"},
                                     {name: row["accepted"] for name, row in want.items() if not row["error"]}, done.stderr)
                    self.assertIn("not an audio file", told["captures/bad.wav"])
                continue
            for name in ["results.csv", "crashed.csv"] if "crashed.csv" in block else ["results.csv"] if "results.csv" in block else []:
                with open(name) as file:
                    rows = list(csv.reader(file))
                rows = [row for row in rows if row[0] != "file"]
                self.assertEqual(sorted(rows), sorted(list(row.values()) for row in want.values()), (block, done.stderr))
            if "both.wav" in block:
                self.assertIn("both channels are the same", done.stderr)


if __name__ == "__main__":
    unittest.main()
