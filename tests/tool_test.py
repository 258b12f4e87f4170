#!/usr/bin/env python3
"""Every verb of the command-line tool, on small files made here. Usage: tool_test.py PATH-TO-ZETO"""
import array
import csv
import json
import math
import os
import random
import re
import statistics
import subprocess
import sys
import tempfile
import unittest
import wave

ZETO = os.path.abspath(sys.argv.pop(1))
BIN_MS = 3.91


def run(*args):
    return subprocess.run([ZETO, *map(str, args)], capture_output=True, text=True, errors="surrogateescape", timeout=60)


def write_wav(path, channels, rate=48000, width=2):
    """Channels of 16-bit values, stored in `width` bytes."""
    interleaved = [sample for frame in zip(*channels) for sample in frame]
    with wave.open(path, "wb") as file:
        file.setparams((len(channels), width, rate, 0, "NONE", ""))
        file.writeframes(b"".join((s << 8 * (width - 2)).to_bytes(width, "little", signed=True) for s in interleaved))


def read_wav(path):
    with wave.open(path) as file:
        assert file.getsampwidth() == 2
        samples = array.array("h", file.readframes(file.getnframes()))
        return [list(samples[i :: file.getnchannels()]) for i in range(file.getnchannels())]


class ToolTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def table(self, *args, warns=False):
        result = run(*args)
        self.assertEqual(result.returncode, 0, args)
        if warns is not None:  # None: either is right
            self.assertEqual(bool(result.stderr), warns, (args, result.stderr))
        return list(csv.DictReader(result.stdout.splitlines()))

    def test_emitted_chirp_is_measured_as_asked_for(self):
        run("emit", "-o", "chirp.wav", "-s", 2.1, "--start-hz", 18000, "--span_hz", -1000, "--amp-end-milli", 200)
        (row,) = self.table("inspect", "--csv", "chirp.wav")
        self.assertEqual((row["samples"], row["latency_samples"], row["sweep_s"]), ("100800", "479", "1.000"))
        self.assertAlmostEqual(float(row["start_hz"]), 18000, delta=12)
        self.assertAlmostEqual(float(row["end_hz"]), 17000, delta=24)
        self.assertAlmostEqual(float(row["peak"]), 0.2, delta=0.002)

    def test_simulated_delays_are_measured_within_one_step(self):
        for extra in [], ["--snr-db", -10, "--seed", 7], ["--echo", "150,0.05", "--gain", -0.3]:
            rows = self.table("simulate", "--csv", "-s", 5, "-d", "5,60,333,495", 700, *extra)
            self.assertEqual([float(row["expected"]) for row in rows], [5, 60, 333, 495, 300])
            for row in rows:
                self.assertLessEqual(abs(float(row["measured"]) - float(row["expected"])), BIN_MS, (extra, row))
                self.assertGreaterEqual(int(row["accepted"]) / int(row["analyses"]), 0.5, (extra, row))

    def test_parameters_reach_emitter_and_detector(self):
        """Each changes what comes out of a simulation, or leaves it for a reason."""
        plain = self.table("simulate", "--csv", "-s", 2, "-d", 60)
        cases = {
            "start-hz 12000": False, "span-hz 2000": True, "period-ms 2000": True, "enable 0": True,
            "amp-start-milli 0": False, "amp-end-milli 0": True, "UltraHz_floor 100": False,
            "UltraHz_scope 2000": True, "UltraHz_period 500": True, "UltraHz_cand_dB 90": True,
            "UltraHz_cand_ratio 101": True, "UltraHz_spread_ratio 101": True, "UltraHz_mix_gain 0": True,
            "UltraHz_smooth 50": True, "UltraHz_spare1 5": False, "UltraHz_spare2 5": False,
            "UltraHz_delay_ms 200": True,
        }
        for case, differs in cases.items():
            name, value = case.split()
            for spelling in name, name.replace("_", "-"):
                changed = self.table("simulate", "--csv", "-s", 2, "-d", 60, "--" + spelling, value, warns=None)
                if differs:
                    self.assertNotEqual(changed, plain, case)

    def test_reference_is_what_the_detector_holds_back(self):
        for delay, want in (260, 60), (60, 140):
            (row,) = self.table("simulate", "--csv", "-s", 3, "-d", delay, "--UltraHz-delay-ms", 50)
            self.assertEqual(float(row["expected"]), want)
            self.assertLessEqual(abs(float(row["measured"]) - want), BIN_MS)

    def test_recording_is_what_was_played_and_its_echo(self):
        run("simulate", "-s", 1, "-d", 30, "--gain", 0.5, "-e", "40,-0.25", "--wav", "capture.wav")
        run("emit", "-s", 1, "-o", "chirp.wav")
        (chirp,) = read_wav("chirp.wav")
        reference, microphone = read_wav("capture.wav")
        self.assertEqual(reference, chirp)
        late = lambda ms: [0] * (48 * ms) + chirp[: -48 * ms]
        self.assertEqual(microphone, [round(0.5 * a - 0.25 * b) for a, b in zip(late(30), late(40))])

    def test_noise_has_the_power_asked_for(self):
        run("simulate", "-s", 2, "-d", 0, "--gain", 1, "--snr-db", -6, "--wav", "capture.wav")
        reference, microphone = read_wav("capture.wav")
        power = lambda samples: sum(s * s for s in samples)
        noise = [m - r for m, r in zip(microphone, reference)]
        self.assertAlmostEqual(power(noise) / power(reference), 10**0.6, delta=0.06)

    def test_sense_reads_each_analysis_from_the_returned_channel(self):
        run("simulate", "-s", 1.5, "-d", 60, "--wav", "capture.wav")
        rows = self.table("sense", "--csv", "capture.wav", "-o", "levels.wav")
        self.assertEqual([row["time_s"] for row in rows], ["0.2", "0.4", "0.6", "0.8", "1.0", "1.2", "1.4"])
        self.assertEqual((rows[0]["status"], rows[0]["measurement"]), ("rejected", ""))
        want = [-1000 if row["status"] == "rejected" else int(row["measurement"]) for row in rows]
        (levels,) = read_wav("levels.wav")
        self.assertEqual(len(levels), 72000)
        self.assertEqual(levels[:9599], [0] * 9599)
        for k, value in enumerate(want, 1):
            self.assertEqual(set(levels[9600 * k - 1 : 9600 * (k + 1) - 1]), {value})

    def test_formats_and_buffers_make_no_difference(self):
        run("simulate", "-s", 1, "-d", 60, "--wav", "capture.wav")
        want = self.table("sense", "--csv", "capture.wav")
        for width in 3, 4:  # the file's own format
            write_wav(f"{width}.wav", read_wav("capture.wav"), width=width)
            rows = self.table("sense", "--csv", f"{width}.wav")
            self.assertEqual([{**row, "file": "capture.wav"} for row in rows], want)
        for format, buffer in (1, 1), (2, 479), (3, 481), (4, 48000):
            rows = self.table("sense", "--csv", "capture.wav", "-f", format, "-b", buffer)
            self.assertEqual([{**row, "parameters": want[0]["parameters"]} for row in rows], want)

    def test_analyses_need_their_samples_and_the_start_up_delay(self):
        source = random.Random(1)
        noise = [[source.randrange(-9000, 9000) for _ in range(28800)] for _ in range(2)]
        for samples, delay_ms, times in (9600, 0, ["0.2"]), (28799, 9, ["0.2", "0.4"]), (28800, 400, ["0.6"]):
            write_wav("noise.wav", [channel[:samples] for channel in noise])
            rows = self.table("sense", "--csv", "noise.wav", "--UltraHz-delay-ms", delay_ms, warns=True)
            self.assertEqual([row["time_s"] for row in rows], times)
            run("sense", "noise.wav", "--UltraHz-delay-ms", delay_ms, "-o", "levels.wav")
            first = round(float(times[0]) * 48000) - 1
            levels = read_wav("levels.wav")[0]
            self.assertEqual((set(levels[:first]), levels[first]), ({0}, -1000))

    def test_many_recordings_come_in_order_and_a_bad_one_does_not_stop_the_others(self):
        names = [f"{delay}.wav" for delay in (300, 40, 120)]
        for name in names:
            run("simulate", "-s", 2, "-d", name[:-4], "--snr-db", 3, "--wav", name)
        with open("40.wav", "rb") as good, open("bad,1.wav", "wb") as bad:
            bad.write(good.read()[:20000])
        files = [names[0], "bad,1.wav", *names[1:], "none.wav"]
        want = [row for name in names for row in self.table("sense", "--csv", name)]
        for jobs in 1, 3:
            result = run("sense", "--csv", *files, "--jobs", jobs)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 2))
            rows = list(csv.DictReader(result.stdout.splitlines()))
            self.assertEqual([row for row in rows if row["status"] != "error"], want)
            at = [(row["file"], row["time_s"], row["error"].split(",")[0]) for row in rows if row["status"] == "error"]
            self.assertEqual(at, [("bad,1.wav", "", "cannot read bad"), ("none.wav", "", "cannot read none.wav: No such file or directory")])
        self.assertEqual(run("sense", *files).stdout.count("300.wav"), 10)

        lines = [json.loads(line) for line in run("sense", "--json", *files).stdout.splitlines()]
        self.assertEqual([line["file"] for line in lines], files)
        self.assertIn("cut short", lines[1]["error"])
        got = [a["measurement"] for line in lines if "error" not in line for a in line["analyses"]]
        self.assertEqual(got, [int(row["measurement"]) if row["measurement"] else None for row in want])

        rows = list(csv.DictReader(run("sense", "--csv", "--summary", *files).stdout.splitlines()))
        summaries = [line for line in map(json.loads, run("sense", "--json", "--summary", *files).stdout.splitlines())]
        self.assertEqual([row["file"] for row in rows], files)
        rows = [row for row in rows if not row["error"]]
        for name, row, summary in zip(names, rows, [line for line in summaries if "error" not in line]):
            values = sorted(int(w["measurement"]) for w in want if w["file"] == name and w["measurement"])
            self.assertEqual((row["file"], row["seconds"], row["analyses"]), (name, "2.0", "10"))
            fields = len(values), statistics.median(values), values[0], values[-1]
            self.assertEqual(tuple(float(row[key]) for key in ("accepted", "median", "min", "max")), fields)
            self.assertEqual(tuple(summary[key] for key in ("accepted", "median", "min", "max")), fields)

    def explain(self, *args):
        result = run("explain", "--json", "capture.wav", *args)
        self.assertEqual(result.returncode, 0)
        return json.loads(result.stdout)["analyses"]

    def test_explain_tells_what_sense_results_from(self):
        for delay, bin in (60, 15), (700, 179):  # beats of 239.8 Hz and 2797.2 Hz
            run("simulate", "-s", 3, "-d", delay, "--wav", "capture.wav")
            analyses = self.explain("--spectra")
            shown = [a["result"] if a["accepted"] else "" for a in analyses]
            sensed = self.table("sense", "--csv", "capture.wav")
            self.assertEqual([s and str(int(s)) for s in shown], [row["measurement"] for row in sensed])
            self.assertEqual([a["time_s"] for a in analyses], [float(row["time_s"]) for row in sensed])
            self.assertEqual((analyses[9]["segments"][9]["bin"], analyses[9]["folded"]), (bin, delay > 500))
            for a in analyses:
                self.assertEqual(a["accepted"], all(a["conditions"].values()))
                self.assertEqual(a["candidates"], sum(s["candidate"] for s in a["segments"]))
                for s in a["segments"]:
                    self.assertEqual((len(s["levels_db"]), max(s["levels_db"])), (256, s["level_db"]))
                    self.assertEqual(s["levels_db"].index(s["level_db"]) + 1, s["bin"])
                    self.assertEqual(s["candidate"], s["level_db"] > -20)
            for before, a in zip(analyses, analyses[1:]):
                self.assertEqual(before["hit_ratio"], a["previous_hit_ratio"])
                self.assertEqual(before["level_ratio"], a["previous_level_ratio"])
        table = run("explain", "capture.wav", "--from", 1, "--to", 1.4).stdout
        self.assertEqual([line.split()[0] for line in table.splitlines()[2::5]], ["1.0", "1.2", "1.4"])

    def test_explain_tells_why_an_analysis_is_rejected(self):
        run("simulate", "-s", 1, "-d", 20, "--wav", "capture.wav")
        for args, index, failed in [
            ([], 0, ["position", "steadiness"]), ([], 3, []), (["--UltraHz-spread-ratio", 101], 3, ["level"]),
            (["--UltraHz-cand-ratio", 0, "--UltraHz-spread-ratio", 0, "--UltraHz-cand-dB", -10], 0, ["steadiness"]),
            (["--UltraHz-cand-dB", 99], 3, ["position", "level", "steadiness"]),
        ]:
            analysis = self.explain(*args)[index]
            self.assertEqual([name for name, met in analysis["conditions"].items() if not met], failed, args)
            line = run("explain", "--brief", "capture.wav", *args).stdout.splitlines()[2 + index]
            self.assertTrue(line.endswith("rejected: " + ", ".join(failed) if failed else "accepted"), line)
        self.assertEqual((analysis["position_hz"], analysis["value"], analysis["result"]), (None, None, -1000))
        first, second = self.explain("--UltraHz-smooth", 25)[2:4]
        self.assertAlmostEqual(second["result"], 0.25 * first["result"] + 0.75 * second["value"], delta=1e-3)

    def test_explain_follows_the_start_up_delay(self):
        run("simulate", "-s", 1.5, "-d", 260, "--wav", "capture.wav")
        analyses = self.explain("--UltraHz-delay-ms", 400)
        self.assertEqual([(a["index"], a["time_s"]) for a in analyses], list(enumerate([0.6, 0.8, 1.0, 1.2, 1.4], 1)))

    def test_parameter_files_stand_between_defaults_and_options(self):
        def effective(*args):
            result = run("params", "--json", *args)
            self.assertEqual((result.returncode, "does not set" in result.stderr), (0, False), args)
            return {name: described["value"] for name, described in json.loads(result.stdout).items()}

        defaults = effective()
        self.assertEqual((len(defaults), defaults["UltraHz_cand_dB"], defaults["span_hz"]), (17, -20, 4000))
        with open("tuning.json", "w") as file:
            json.dump({"span_hz": 2000, "UltraHz_scope": {"value": 3000}, "UltraHz_cand_dB": -2147483648}, file)
        tuned = {**defaults, "span_hz": 2000, "UltraHz_scope": 3000, "UltraHz_cand_dB": -2147483648}
        self.assertEqual(effective("--params", "tuning.json"), tuned)
        self.assertEqual(effective("--UltraHz-scope", 5, "--params", "tuning.json"), {**tuned, "UltraHz_scope": 5})
        for name in defaults:
            self.assertRegex(run("params").stdout, rf"(?m)^{name} +{defaults[name]} ")
        with open("tuning.json", "w") as file:
            json.dump(tuned, file)
        run("simulate", "-s", 1, "-d", 60, "--wav", "capture.wav")  # --params reaches each verb
        file = ["--params", "tuning.json"]
        self.assertEqual(run("sense", "capture.wav", *file).stdout,
                         run("sense", "capture.wav", "--UltraHz-scope", 3000, "--UltraHz-cand-dB", -(2**31)).stdout)
        self.assertEqual(self.explain(*file)[3]["span_hz"], 2992)
        run("emit", "-s", 2.1, "-o", "chirp.wav", *file)
        (row,) = self.table("inspect", "--csv", "chirp.wav")
        self.assertAlmostEqual(float(row["end_hz"]), 21600, delta=24)
        simulated = [self.table("simulate", "--csv", "-s", 1, "-d", 60, *a, warns=True) for a in (file, ["--span-hz", 2000])]
        self.assertNotEqual(*simulated)

        for text, said in [
            ('{"strat_hz": 1}', "nearest is start_hz"), ('{"delay": 1}', "nearest is UltraHz_delay_ms"),
            ('{"enable": 1, "enable": 0}', "twice"), ('{"enable": 1.5}', "whole"), ('{"enable": 2147483648}', "whole"),
            ('{"enable": {"unit": ""}}', "enable"), ('{"restart_ms": 70}', "array"),
            ('{"restart_ms": [7.5]}', "whole"), ('{"fade_ms": -1}', "fade_ms"), ('{"enable": 1', "not JSON"), ("[1]", "object"), ("", "not JSON"),
        ]:
            with open("tuning.json", "w") as file:
                file.write(text)
            result = run("emit", "-o", "none.wav", "--params", "tuning.json")
            self.assertEqual((result.returncode, result.stderr.count("\n")), (2, 1), text)
            self.assertIn(said, result.stderr)
            self.assertFalse(os.path.exists("none.wav"))

    def test_named_sets_fill_in_all_parameters(self):
        def effective(*args):
            result = run("params", "--json", *args)
            self.assertEqual((result.returncode, result.stderr), (0, ""), args)
            return {name: described["value"] for name, described in json.loads(result.stdout).items()}

        sets = [json.loads(line) for line in run("sets", "--json").stdout.splitlines()]
        self.assertEqual([s["name"] for s in sets], ["default", "finer", "hand", "room"])
        self.assertEqual(effective("--set", "default"), effective())
        for s in sets:
            self.assertIn(s["fails"], run("sets").stdout)
            values = effective("--set", s["name"])
            self.assertEqual(values.get("restart_ms", []), s["restart_ms"])
            with open("set.json", "w") as file:
                json.dump(values, file)
            self.assertEqual(effective("--params", "set.json"), values)
        values = effective("--set", "hand")
        with open("set.json", "w") as file:
            json.dump({**values, "restart_ms": [100, 100], "span_hz": 60000}, file)
        changed = {**values, "restart_ms": [100, 100], "span_hz": 50000}
        self.assertEqual(effective("--span-hz", 50000, "--params", "set.json", "--set", "hand"), changed)

    def test_sweeps_start_over_and_fade(self):
        sweeps = ["--restart", "70,70,60", "--span-hz", 85714, "--start-hz", 18000, "--amp-end-milli", 200]
        run("emit", "-o", "raw.wav", "-s", 0.5, *sweeps, "--fade-ms", 0)
        run("emit", "-o", "faded.wav", "-s", 0.5, *sweeps, "--fade-ms", 1)
        run("emit", "-o", "24.wav", "-s", 0.5, *sweeps, "--fade-ms", 1, "-f", 2)
        (raw,), (faded,) = read_wav("raw.wav"), read_wav("faded.wav")
        self.assertEqual(raw[9600:], raw[:-9600])
        for first, end in (0, 3360), (3360, 6720), (6720, 9600):
            self.assertEqual(raw[first:end], raw[: end - first])
            self.assertEqual(faded[first + 48 : end - 48], raw[first + 48 : end - 48])
            for i in range(48):
                gain = 0.5 - 0.5 * math.cos(math.pi * (i + 0.5) / 48)
                for at in first + i, end - 1 - i:
                    self.assertAlmostEqual(faded[at], gain * raw[at], delta=0.51)
        self.assertAlmostEqual(max(raw) / 32768, 0.2, delta=0.002)
        with wave.open("24.wav") as file:
            data = file.readframes(24000)
        self.assertEqual([int.from_bytes(data[i : i + 3], "little", signed=True) for i in range(0, 72000, 3)],
                         [256 * sample for sample in faded])
        run("emit", "-o", "silent.wav", "--set", "hand", "--enable", 0)
        self.assertEqual(set(read_wav("silent.wav")[0]), {0})

    def simulate(self, *args):
        result = run("simulate", "--json", *args)
        self.assertEqual((result.returncode, result.stderr), (0, ""), args)
        return json.loads(result.stdout)

    def test_kit_reads_simulated_targets(self):
        """One at a fractional delay, without and with the rest of a phone; one that moves; one that comes and goes."""
        quiet = ["--white-dbfs", -80, "--tremor-mm", 0, "--latency-ms", 37.31]
        for extra, mean, most in (quiet, 0.3, 80), (["--phone"], 1.0, 50.5):
            for cm in 4, 10.1, 20.2, 33.3, 50.5, most:
                made = self.simulate("--set", "hand", "-s", 7, "--target-cm", cm, *extra, "--spacing-cm", 8)
                score = made["score"]
                self.assertEqual((score["right"], score["wrong"]), (score["present"], 0), extra)
                self.assertTrue(score["present"] > 10 and score["absent"] > 2, score)
                errors = [r["shown_cm"] - cm for r in made["readings"] if r["time_s"] > 4.5]
                self.assertLessEqual(abs(statistics.mean(errors)), mean, (cm, extra))
        hand = ["--set", "hand", "--phone", "--seed", 4]
        rows = self.table("simulate", "--csv", *hand, "--target-cm", 40, "--speed-cm-s=-10,4", "--stop-cm", 15)
        for row in rows:
            if float(row["time_s"]) > 3.5:
                way = min(max(40 - 10 * (float(row["time_s"]) - 4), 15), 40)
                self.assertAlmostEqual(float(row["true_cm"]), way, delta=0.1)
            if row["shown_cm"]:
                self.assertLess(abs(float(row["error_cm"])), 2.5, row)
        made = self.simulate(*hand, "--target-cm", 20, "--present", "4-6", "--present", "8-", "-s", 9.5)
        there = [r["true_cm"] is not None for r in made["readings"]]
        self.assertEqual(there, [4 <= r["time_s"] < 6 or r["time_s"] >= 8 for r in made["readings"]])
        self.assertEqual(made["score"]["wrong"] + made["score"]["disturbed"], 0)
        self.assertLess(made["score"]["absent"], 15)
        person = self.simulate("--set", "room", "--phone", "--target-cm", 150, "--target-db", -33, "-s", 8)["score"]
        self.assertEqual((person["right"], person["wrong"]), (person["present"], 0))
        blind = self.simulate("--set", "default", "--phone", "--target-cm", 20, "--white-dbfs", -80)
        direct = blind["latency_ms"] * 17.15
        shown = [r["shown_cm"] for r in blind["readings"] if r["state"] == "accepted"]
        self.assertGreater(len(shown), 20)
        self.assertLess(max(abs(cm - direct) for cm in shown), 70)  # a step is 67 cm

    def test_kit_says_what_goes_wrong(self):
        """Within a second, and shows no target meanwhile."""
        hand = ["--set", "hand", "--phone", "-s", 8]
        for fault, at in [
            (["--drop", "5.03,10"], 5.03), (["--repeat", "5.03,4"], 5.03), (["--drift-ppm", "20,5"], 5.0),
            (["--drift-ppm", -50], 3.5), (["--foreign=-12,5"], 5.0), (["--white-dbfs", -30], 3.5),
        ]:
            for seed in 1, 2:
                readings = self.simulate(*hand, *fault, "--seed", seed)["readings"]
                after = [r["state"] for r in readings if r["time_s"] > at]
                self.assertNotIn("target", after, (fault, seed))
                self.assertIn("disturbed", after[:5], (fault, seed))
                if at > 4:
                    before = {r["state"] for r in readings if 3 < r["time_s"] < at}
                    self.assertEqual(before, {"nobody"}, (fault, seed))

    def test_sense_listens_by_kit_or_host_steps(self):
        for seed, cm in (3, 15), (4, 30):
            made = self.simulate("--set", "hand", "--phone", "--seed", seed, "--target-cm", cm, "--wav", f"{cm}.wav")
            (line,) = run("sense", "--set", "hand", "--json", f"{cm}.wav").stdout.splitlines()
            keys = lambda readings, name: [(r["time_s"], r["state"], r["cause"], r[name]) for r in readings]
            self.assertEqual(keys(json.loads(line)["readings"], "distance_cm"), keys(made["readings"], "shown_cm"))
            rows = self.table("sense", "--set", "hand", "--csv", f"{cm}.wav")
            self.assertEqual([r["state"] for r in rows], [r["state"] for r in made["readings"]])
            steps = ["--set", "hand", "--align", "auto", "--UltraHz-period", 2012, f"{cm}.wav"]  # unit: cm
            result = run("sense", "--csv", *steps, "--background", "0.5-2.5")
            self.assertAlmostEqual(float(re.search(r"latency (\S+) ms", result.stderr)[1]), made["latency_ms"], delta=0.05)
            rows = list(csv.DictReader(result.stdout.splitlines()))
            at = lambda rows: {r["measurement"] for r in rows if float(r["time_s"]) > 4}
            self.assertTrue(all(abs(int(value) - cm) <= 3 for value in at(rows)), rows)
            early = [r["status"] for r in rows if 0.4 < float(r["time_s"]) < 3.5]
            self.assertLess(early.count("accepted"), 3)
            near = list(csv.DictReader(run("sense", "--csv", *steps).stdout.splitlines()))
            self.assertEqual(at(near), {"2"})  # without the background, the case
            line = run("explain", "--brief", "--from", 5, "--to", 5, *steps, "--background", "0.5-2.5").stdout
            self.assertEqual(int(float(line.split()[-2])), int(rows[24]["measurement"]))
        rows = self.table("sense", "--set", "hand", "--summary", "--csv", "15.wav", "30.wav")
        self.assertEqual([row["file"] for row in rows], ["15.wav", "30.wav"])
        for row, cm in zip(rows, (15, 30)):
            self.assertEqual(sum(int(row[key]) for key in ("learning", "nobody", "target")), int(row["readings"]))
            self.assertAlmostEqual(float(row["median_cm"]), cm, delta=1)
        # A chirp of a second: the background's frames are as long.
        self.simulate("--set", "default", "--direct", 0.5, "--latency-ms", 30, "--echo", "60,0.2", "--wav", "chirp.wav")
        rows = self.table("sense", "--csv", "chirp.wav", "--background", "2-8", warns=True)
        self.assertEqual({row["status"] for row in rows[10:]}, {"rejected"})
        rows = self.table("sense", "--csv", "chirp.wav", "--align", 30.2)
        self.assertIn("58", {row["measurement"] for row in rows})

    def test_live_listens_to_recordings(self):
        hand = ["--set", "hand", "--phone", "--target-cm", 30, "--present", "6-", "-s", 9]
        self.simulate(*hand, "--wav", "hand.wav")
        reference, microphone = read_wav("hand.wav")
        write_wav("late.wav", [reference, [0] * 72000 + microphone[72000:]])

        def live(*args, said=""):
            result = run("live", "--json", *args)
            self.assertEqual((result.returncode, said in result.stderr), (0, True), result.stderr)
            return [json.loads(line) for line in result.stdout.splitlines()]

        def check_profile(lines):
            profile = [line for line in lines if "state" in line][-1]["profile_db"]
            self.assertAlmostEqual(max(range(5, 81), key=profile.__getitem__), 30, delta=2)

        # Learning fails, and then does not.
        lines = live("--profile", "--from", "late.wav")
        self.assertIn("unheard", [line.get("cause") for line in lines if line.get("time_s", 9) < 5])
        self.assertFalse([line for line in lines if line.get("cause") == "unheard" and "profile_db" in line])
        check_profile(lines)
        self.assertEqual(set(lines[-1]["summary"]), {"seconds", "clipped"})
        # What is learned once is good for the same sweeps only.
        live("--from", "hand.wav", "--calibrate", "quiet.wav", "-s", 6)
        lines = live("--profile", "--from", "hand.wav", "--learned", "quiet.wav")
        check_profile(lines)
        states = [line["state"] for line in lines if "state" in line]
        self.assertEqual((states[0], states[-1]), ("nobody", "target"))
        # The recording's own reference counts, wherever it begins.
        run("simulate", "-d", 60, "-s", 2, "--wav", "echo.wav")
        write_wav("cut.wav", [channel[6240:] for channel in read_wav("echo.wav")])
        seen = [line["delay_ms"] for line in live("--set", "default", "--from", "cut.wav") if "state" in line]
        self.assertEqual(seen, [float(row["measurement"]) if row["measurement"] else None
                                for row in self.table("sense", "--csv", "cut.wav")][: len(seen)])
        live("--from", "cut.wav", said="does not repeat")
        write_wav("same.wav", [reference] * 2)
        live("--from", "same.wav", said="both channels are the same")
        for args, why in [
            (["--from", "hand.wav", "--calibrate", "new.wav", "-s", 3], "six seconds"),
            (["--from", "late.wav", "--calibrate", "new.wav", "-s", 6], "not still"),
            (["--from", "cut.wav", "--amp-milli", 90, "--learned", "quiet.wav"], "something else"),
        ]:
            result = run("live", *args)
            self.assertIn(why, result.stderr)
            self.assertEqual((result.returncode > 0, result.stderr.count("\n"), os.path.exists("new.wav")), (True, 1, False))

    def test_errors_are_one_line_and_leave_nothing_behind(self):
        second = [[0] * 48000] * 2
        write_wav("good.wav", second)
        write_wav("mono.wav", second[:1])
        write_wav("rate.wav", second, rate=44100)
        write_wav("short.wav", [[0] * 9599] * 2)
        with open("good.wav", "rb") as good, open("cut.wav", "wb") as cut:
            cut.write(good.read()[:-100])
        with open("text.wav", "w") as text:
            text.write("no audio")
        write_wav("noise.wav", [[random.randrange(-99, 99) for _ in range(48000)] for _ in range(2)])
        before = sorted(os.listdir())
        files_at_fault = [
            (["sense", "mono.wav"], "1 channel"), (["sense", "rate.wav"], "44100"), (["sense", "none.wav"], "none.wav"),
            (["sense", "cut.wav"], "cut short"), (["sense", "text.wav"], "not an audio file"),
            (["sense", "short.wav"], "9599"), (["explain", "cut.wav"], "cut short"),
            (["inspect", "good.wav"], "2 channels"), (["explain", "good.wav", "--from", 2], "no analysis"), (["emit", "-i", "none.wav"], "none.wav"),
            (["sense", "noise.wav", "--align", "auto"], "no loudspeaker"),
            (["sense", "noise.wav", "--background", "0-1"], "repeats"),
            (["simulate", "--phone", "--noise", "none.wav"], "none.wav"),
            (["simulate", "--phone", "--response", "good.wav"], "2 channels"),
        ]
        others = [
            (["sense", "good.wav", "-f", 5], "--format"), (["sense", "good.wav", "-b", 0], "--buffer"),
            (["sense", "good.wav", "--UltraHz-period", "x"], "--UltraHz"), (["sense", "good.wav", "-j", 0], "--jobs"),
            (["sense", "good.wav", "-o", "none/new.wav"], "none/new.wav"), (["sense"], "no file"),
            (["sense", "good.wav", "good.wav"], "--out"), (["sense", "good.wav", "--csv", "--json"], "--json"),
            (["explain"], "no file"), (["explain", "good.wav", "--spectra"], "--json"),
            (["explain", "good.wav", "--params", "."], "director"), (["simulate", "-d", "nan"], "--delay-ms"),
            (["simulate", "-d", 10000], "--delay-ms"), (["simulate", "-d", 5, 6], "--wav"),
            (["simulate", "-d", 5, "--gain", "inf"], "--gain"), (["simulate", "-d", 5, "-e", "5;1"], "--echo"),
            (["simulate", "-d", 5, "--snr-db", "nan"], "--snr-db"), (["simulate", "-d", 5, "-s", 0.1], "--seconds"),
            (["simulate", "-d", 5, "--gain", 0, "--snr-db", 3], "silent"), (["simulate"], "--delay-ms"),
            (["live", "--record", "-"], ".wav"), (["live", "--from", "good.wav", "--calibrate", "new.flac"], ".wav"),
            (["live", "--from", "good.wav", "--no-connect"], "--no-connect"),
            (["emit", "-s", 0], "--seconds"), (["measure", "-x"], "unknown verb measure (see"), (["sens"], "did you mean sense?"), (["help", "nix"], "verb nix"),
            (["simulate", "-d", 5, "--UltraHz-scop", 3], "did you mean --UltraHz-scope?"),
            (["emit", "--set", "x"], "default, finer, hand"),
            (["emit", "--fade-ms", 1], "--restart-ms"), (["emit", "--restart-ms", "70,0"], "1 to 1000"),
            (["emit", "--set", "hand", "--fade-ms", -1], "--fade-ms"), (["sense", "good.wav", "--align", "x"], "--align"),
            (["sense", "good.wav", "--background", "2-1"], "--background"),
            (["sense", "good.wav", "--set", "hand"], "returns no channel"),
            (["explain", "good.wav", "--spacing-cm", 101], "--spacing-cm"),
            (["simulate", "-d", 5, "--phone"], "--phone: not with"), (["simulate", "-d", 5, "--set", "hand"], "--target-cm"),
            (["simulate", "--set", "hand", "--restart-ms", "70,70"], "fill 200 ms"),
            (["simulate", "--set", "hand", "-s", 601], "at most 600"), (["simulate", "--phone", "--gain", 1], "--delay-ms"),
            (["simulate", "--phone", "--present", "1-2"], "--target-cm"), (["simulate", "--echo", "5,1"], "--delay-ms"),
            *((["simulate", "--phone", "--target-cm", 9, option, value], option) for option, value in (
                ("--latency-ms", -1), ("--direct", "nan"), ("--direct", 0), ("--present", "2"), ("--speed-cm-s", "1;2"),
                ("--stop-cm", 3), ("--drift-ppm", "1,2,3"), ("--drop", "3"), ("--drop", "11,3"), ("--repeat", "1,2000"),
                ("--foreign", "-6"), ("--pink-dbfs", 30), ("--noise-gain", 2), ("--tremor-mm", -1))),
        ]
        for args, said in files_at_fault + others:
            target = {"sense": ["-o", "new.wav"], "simulate": ["--wav", "new.wav"], "emit": ["-o", "new.wav"]}
            result = run(*args, *([] if "none/new.wav" in args else target.get(args[0] if args else "", [])))
            status = 1 if (args, said) in files_at_fault else 2
            self.assertEqual((result.returncode, result.stdout, result.stderr.count("\n")), (status, "", 1), args)
            self.assertIn(said, result.stderr)
            self.assertEqual(sorted(os.listdir()), before, args)

    def test_what_is_read_is_not_replaced(self):
        run("simulate", "-s", 1, "-d", 60, "--wav", "capture.wav")
        run("emit", "-s", 1, "-o", "chirp.wav")
        with open("tuning.json", "w") as file:
            file.write("{}")
        os.symlink("capture.wav", "link.wav")
        for args, name in [
            (["sense", "capture.wav", "-o"], "link.wav"), (["emit", "-i", "chirp.wav", "-o"], "./chirp.wav"),
            (["simulate", "-s", 1, "-d", 60, "--params", "tuning.json", "-w"], "tuning.json"),
        ]:
            before = os.stat(name).st_ino
            self.assertIn("read as well", run(*args, name).stderr)
            self.assertEqual(os.stat(name).st_ino, before)


if __name__ == "__main__":
    unittest.main()
