#!/usr/bin/env python3
"""Every verb of the command-line tool, on small files made here. Usage: tool_test.py PATH-TO-ZETO"""
import array
import csv
import json
import os
import random
import statistics
import subprocess
import sys
import tempfile
import unittest
import wave

ZETO = os.path.abspath(sys.argv.pop(1))
BIN_MS = 3.91


def run(*args):
    return subprocess.run([ZETO, *map(str, args)], capture_output=True, text=True, timeout=60)


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

    def table(self, *args):
        result = run(*args)
        self.assertEqual((result.returncode, result.stderr), (0, ""), args)
        return list(csv.DictReader(result.stdout.splitlines()))

    def test_emitted_chirp_is_measured_as_asked_for(self):
        run("emit", "-o", "chirp.wav", "-s", 2.1, "--start-hz", 18000, "--span_hz", -1000, "--amp-end-milli", 200)
        (row,) = self.table("inspect", "--csv", "chirp.wav")
        self.assertEqual((row["samples"], row["latency"], row["sweep_s"]), ("100800", "479", "1.000"))
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
                changed = self.table("simulate", "--csv", "-s", 2, "-d", 60, "--" + spelling, value)
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
            self.assertEqual(self.table("sense", "--csv", f"{width}.wav"), want)
        for format, buffer in (1, 1), (2, 479), (3, 481), (4, 48000):
            self.assertEqual(self.table("sense", "--csv", "capture.wav", "-f", format, "-b", buffer), want)

    def test_analyses_need_their_samples_and_the_start_up_delay(self):
        source = random.Random(1)
        noise = [[source.randrange(-9000, 9000) for _ in range(28800)] for _ in range(2)]
        for samples, delay_ms, times in (9600, 0, ["0.2"]), (28799, 9, ["0.2", "0.4"]), (28800, 400, ["0.6"]):
            write_wav("noise.wav", [channel[:samples] for channel in noise])
            rows = self.table("sense", "--csv", "noise.wav", "--UltraHz-delay-ms", delay_ms)
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
        want = [{"file": name, **row} for name in names for row in self.table("sense", "--csv", name)]
        for jobs in 1, 3:
            result = run("sense", "--csv", *files, "--jobs", jobs)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (1, 2))
            self.assertEqual(list(csv.DictReader(result.stdout.splitlines())), want)
        self.assertEqual(run("sense", *files).stdout.count("300.wav"), 10)

        lines = [json.loads(line) for line in run("sense", "--json", *files).stdout.splitlines()]
        self.assertEqual([line["file"] for line in lines], files)
        self.assertIn("cut short", lines[1]["error"])
        got = [a["measurement"] for line in lines if "error" not in line for a in line["analyses"]]
        self.assertEqual(got, [int(row["measurement"]) if row["measurement"] else None for row in want])

        rows = list(csv.DictReader(run("sense", "--csv", "--summary", *files).stdout.splitlines()))
        summaries = [line for line in map(json.loads, run("sense", "--json", "--summary", *files).stdout.splitlines())]
        for name, row, summary in zip(names, rows, [line for line in summaries if "error" not in line]):
            values = sorted(int(w["measurement"]) for w in want if w["file"] == name and w["measurement"])
            self.assertEqual((row["file"], row["seconds"], row["analyses"]), (name, "2.0", "10"))
            fields = len(values), statistics.median(values), values[0], values[-1]
            self.assertEqual(tuple(float(row[key]) for key in ("accepted", "median", "min", "max")), fields)
            self.assertEqual(tuple(summary[key] for key in ("accepted", "median", "min", "max")), fields)

    def explain(self, *args):
        result = run("explain", "--json", "capture.wav", *args)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
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
        self.assertEqual([line.split()[0] for line in table.splitlines()[2::3]], ["1.0", "1.2", "1.4"])

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
            self.assertEqual((result.returncode, result.stderr), (0, unset if args else ""), args)
            return {name: described["value"] for name, described in json.loads(result.stdout).items()}

        unset = ""
        defaults = effective()
        self.assertEqual((len(defaults), defaults["UltraHz_cand_dB"], defaults["span_hz"]), (17, -20, 4000))
        with open("tuning.json", "w") as file:
            json.dump({"span_hz": 2000, "UltraHz_scope": {"value": 3000}, "UltraHz_cand_dB": -2147483648}, file)
        unset = ", ".join(name for name in defaults if name not in ("span_hz", "UltraHz_scope", "UltraHz_cand_dB"))
        unset = f"tuning.json: does not set {unset}\n"
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
        simulated = [self.table("simulate", "--csv", "-s", 1, "-d", 60, *a) for a in (file, ["--span-hz", 2000])]
        self.assertNotEqual(*simulated)

        for text, said in [
            ('{"strat_hz": 1}', "nearest is start_hz"), ('{"delay": 1}', "nearest is UltraHz_delay_ms"),
            ('{"enable": 1, "enable": 0}', "twice"), ('{"enable": 1.5}', "whole"), ('{"enable": 2147483648}', "whole"),
            ('{"enable": {"unit": ""}}', "enable"), ('{"enable": 1', "not JSON"), ("[1]", "object"), ("", "not JSON"),
        ]:
            with open("tuning.json", "w") as file:
                file.write(text)
            result = run("emit", "-o", "none.wav", "--params", "tuning.json")
            self.assertEqual((result.returncode, result.stderr.count("\n")), (2, 1), text)
            self.assertIn(said, result.stderr)
            self.assertFalse(os.path.exists("none.wav"))

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
        before = sorted(os.listdir())
        files_at_fault = [
            (["sense", "mono.wav"], "1 channel"), (["sense", "rate.wav"], "44100"), (["sense", "none.wav"], "none.wav"),
            (["sense", "cut.wav"], "cut short"), (["sense", "text.wav"], "not an audio file"),
            (["sense", "short.wav"], "9599"), (["explain", "cut.wav"], "cut short"),
            (["inspect", "good.wav"], "2 channels"), (["emit", "-i", "none.wav"], "none.wav"),
        ]
        others = [
            (["sense", "good.wav", "-f", 5], "--format"), (["sense", "good.wav", "-b", 0], "--buffer"),
            (["sense", "good.wav", "--UltraHz-period", "x"], "--UltraHz"), (["sense", "good.wav", "-j", 0], "--jobs"),
            (["sense", "good.wav", "-o", "none/new.wav"], "none/new.wav"), (["sense"], "required"),
            (["sense", "good.wav", "good.wav"], "--out"), (["sense", "good.wav", "--csv", "--json"], "--json"),
            (["explain"], "required"), (["explain", "good.wav", "--spectra"], "--json"),
            (["explain", "good.wav", "--params", "."], "director"), (["simulate", "-d", "nan"], "--delay-ms"),
            (["simulate", "-d", 10000], "--delay-ms"), (["simulate", "-d", 5, 6], "--wav"),
            (["simulate", "-d", 5, "--gain", "inf"], "--gain"), (["simulate", "-d", 5, "-e", "5;1"], "--echo"),
            (["simulate", "-d", 5, "--snr-db", "nan"], "--snr-db"), (["simulate", "-d", 5, "-s", 0.1], "--seconds"),
            (["simulate", "-d", 5, "--gain", 0, "--snr-db", 3], "silent"), (["simulate"], "--delay-ms"),
            (["emit", "-s", 0], "--seconds"), (["measure", "-x"], "unknown verb measure"), ([], "no verb"),
            (["simulate", "-d", 5, "--UltraHz-scop", 3], "unknown option --UltraHz-scop (see"),
            (["explain", "good.wav", "--from", 2], "no analysis"),
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
