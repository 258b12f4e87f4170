#!/usr/bin/env python3
"""zeto live without hardware: jackd's dummy driver, and a client for the air. Usage: live_test.py ZETO LIVE_PATH EXAMPLE"""
import fcntl
import json
import math
import os
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

EXAMPLE, PATH, ZETO = (os.path.abspath(sys.argv.pop()) for _ in range(3))
SPACING, HAND = 5.0, 20.0  # cm
WAY = lambda cm: round(2 * math.hypot(cm, SPACING / 2) / 34300 * 48000)  # samples
SEEN = math.sqrt((WAY(HAND) / 48000 * 34300 / 2) ** 2 - (SPACING / 2) ** 2)  # after that rounding
AIR = ["path:in", "path:out"]
os.environ.update(JACK_NO_AUDIO_RESERVATION="1", JACK_NO_START_SERVER="1")


class LiveTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(folder.name)

    def tearDown(self):
        """Before its clients: it would wait for those that are killed."""
        self.server.terminate()
        self.server.wait(10)

    def begin(self, *args, **more):
        child = subprocess.Popen(list(map(str, args)), stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, **more)
        self.addCleanup(child.communicate)
        self.addCleanup(child.kill)
        return child

    def serve(self, period, rate=48000):
        """A server, which all that is started from now on asks for. It waits for its clients. There is one name for all:
        JACK has places for eight, and one that is killed keeps its place until the next of its name."""
        os.environ["JACK_DEFAULT_SERVER"] = "zeto-test"
        self.server = self.begin("jackd", "-n", "zeto-test", "-r", "-S", "-t", 5000, "-d", "dummy", "-r", rate, "-p", period)
        for _ in range(100):
            time.sleep(0.1)
            if subprocess.run(["jack_lsp"], capture_output=True).returncode == 0:
                return
        self.fail("jackd does not start")

    def air(self, delay, come, leave):
        """The loudspeaker `delay` samples late, and a hand in these seconds."""
        client = self.begin(PATH, "path", delay + WAY(0), 0.3, delay + WAY(HAND), 0.03, come, leave)
        self.assertEqual(client.stdout.readline(), "ready\n")

    def live(self, *args):
        done = subprocess.run([ZETO, "live", *map(str, args)], capture_output=True, text=True, timeout=60)
        self.assertEqual((done.returncode, done.stderr), (0, ""), args)
        return [json.loads(line) for line in done.stdout.splitlines()] if "--json" in args else done.stdout

    def fault(self, child):
        """Its one line, and the objects before."""
        out, error = child.communicate(timeout=30)
        self.assertEqual((child.returncode, error.count("\n")), (2, 1), error)
        self.assertTrue(error.startswith("zeto live: "), error)
        print("   ", error.strip())
        return error, out

    def of(self, lines, member):
        (found,) = [line[member] for line in lines if member in line]
        return found

    def states(self, lines, since, until):
        return [line["state"] for line in lines if "state" in line and since < line["time_s"] < until]

    def check_hand(self, lines, since, until):
        self.assertEqual(set(self.states(lines, since, until)), {"target"})
        for line in lines:
            if since < line.get("time_s", 0) < until:
                self.assertAlmostEqual(line["distance_cm"], SEEN, delta=1)
                self.assertAlmostEqual(line["delay_ms"], WAY(HAND) / 48, delta=0.06)

    def tell(self, what, lines):
        learned = [line["learned"] for line in lines if "learned" in line]
        print("   ", what, *learned, {k: round(v, 1) for k, v in self.of(lines, "summary").items()})

    def test_a_hand_comes_and_goes(self):
        self.serve(480)
        self.air(1200, 4.5, 7.0)
        lines = self.live("--json", "--profile", "-s", 9, "--connect", *AIR, "-r", "capture.wav")
        self.tell("480:", lines)
        # What comes back in a loop of clients is a buffer late.
        self.assertAlmostEqual(self.of(lines, "learned")["latency_ms"], (1200 + 480) / 48, delta=0.02)
        self.assertEqual(set(self.states(lines, 0, 2.5)), {"learning"})
        self.assertEqual(set(self.states(lines, 3.3, 4.6)), {"nobody"})
        self.check_hand(lines, 5.2, 7.0)
        self.assertEqual(set(self.states(lines, 8.2, 10)), {"nobody"})
        (seen,) = [line for line in lines if 6.1 < line.get("time_s", 0) < 6.31]
        self.assertEqual(len(seen["profile_db"]), 81)
        self.assertAlmostEqual(max(range(5, 81), key=seen["profile_db"].__getitem__), SEEN, delta=1)
        self.assertAlmostEqual(max(seen["profile_db"]), -20, delta=2)
        # 0.16 of full scale as a sine, through the air, above 18 kHz
        self.assertAlmostEqual(seen["ultrasound_db"], 20 * math.log10(0.16 * 0.3 / math.sqrt(2)), delta=1.5)
        self.assertEqual(self.of(lines, "summary")["unstored"], 0)
        # Whoever hears the recording sees the same.
        again = self.live("--json", "--profile", "--from", "capture.wav")
        rows = lambda lines: [{**line, "dropped": 0} for line in lines if "state" in line]
        self.assertEqual(rows(again), rows(lines))
        sensed = json.loads(subprocess.check_output([ZETO, "sense", "--set", "hand", "--json", "capture.wav"]))
        same = lambda reading: {k: reading[k] for k in ("time_s", "state", "distance_cm", "level_db")}
        self.assertEqual(list(map(same, sensed["readings"])), list(map(same, rows(lines))))
        self.assertIn("  target                |=", self.live("--from", "capture.wav"))
        # Without the kit: the strongest delay of all, which is the loudspeaker's.
        lines = self.live("--json", "--set", "default", "-s", 2.3, "--connect", *AIR)
        read = [line["delay_ms"] for line in lines if line.get("state") == "accepted"]
        print("    default:", read)
        self.assertGreaterEqual(len(read), 4)
        for ms in read:
            self.assertAlmostEqual(ms, (1200 + WAY(0) + 480) / 48, delta=4)

    def test_what_was_learned_is_kept(self):
        self.serve(256)
        self.air(2000, 9, 99)
        lines = self.live("--json", "--connect", *AIR, "--calibrate", "quiet.wav")
        self.assertAlmostEqual(self.of(lines, "learned")["latency_ms"], (2000 + 256) / 48, delta=0.02)
        lines = self.live("--json", "--connect", *AIR, "--learned", "quiet.wav", "-s", 8)
        self.tell("256:", lines)
        states = self.states(lines, 0, 10)
        came = states.index("target")
        self.assertEqual(set(states[:came]), {"nobody"})
        self.check_hand(lines, 0.2 * (came + 2), 10)
        for args, why in ((["--set", "room"], "something else"), (["--amp-milli", 90], "something else")):
            if "room" not in args:
                self.assertIn(why, subprocess.run([ZETO, "live", "--learned", "quiet.wav", *map(str, args)],
                                                  capture_output=True, text=True).stderr)
        example = self.begin(EXAMPLE, *AIR)
        self.assertRegex(" ".join(example.stdout.readline() for _ in range(30)), "(?s)learning.*nobody")

    def test_faults_are_told_in_a_line(self):
        os.environ["JACK_DEFAULT_SERVER"] = "zeto-nobody"
        live = lambda *args, **more: self.begin(ZETO, "live", "-s", 20, *args, **more)
        self.assertIn("no JACK server answers", self.fault(live())[0])
        self.serve(1024, 44100)
        self.assertIn("runs at 44100 Hz, must be 48000 Hz", self.fault(live())[0])
        self.tearDown()
        self.serve(512)
        self.air(480, 99, 99)
        error, _ = self.fault(live("--connect", "nowhere:in", AIR[1], "--record", "none.wav"))
        self.assertRegex(error, "no port nowhere:in to play to; there are: system:playback_1.*path:in\n")
        self.assertIn("no port path:in to listen to", self.fault(live("--connect", "path:in", "path:in"))[0])
        self.assertIn("needs a set of sweeps", self.fault(live("--set", "default", "--calibrate", "no.wav"))[0])
        self.assertEqual(os.listdir("."), [])

        small = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (800_000, 800_000))
        error, _ = self.fault(live("--connect", *AIR, "--record", "full.wav", preexec_fn=small))
        self.assertIn("File too large; full.wav holds 2.", error)
        stopped = live("--connect", *AIR, "--record", "stopped.wav", "--json")
        time.sleep(1.5)
        stopped.send_signal(signal.SIGINT)
        out, error = stopped.communicate(timeout=10)
        self.assertEqual((stopped.returncode, error), (0, ""))
        self.assertGreater(json.loads(out.splitlines()[-1])["summary"]["seconds"], 0.8)
        left = live("--connect", *AIR, "--record", "left.wav")
        closed = live("--connect", *AIR, "--record", "closed.wav")
        for child in left, closed:
            for _ in range(8):
                child.stdout.readline()
        closed.stdout.close()  # who reads along leaves
        self.assertEqual(closed.wait(10), 2)
        self.server.kill()
        self.server.wait()
        self.assertRegex(self.fault(left)[0], r"the JACK server has gone away; left.wav holds \d")
        self.serve(512)  # takes the killed one's place, and leaves it
        for name in "full.wav", "stopped.wav", "left.wav", "closed.wav":
            read = subprocess.run([ZETO, "sense", "--summary", "--set", "hand", "--json", name], capture_output=True)
            self.assertGreater(json.loads(read.stdout)["seconds"], 0.2, read.stderr)


if __name__ == "__main__":
    if not shutil.which("jackd") or not shutil.which("jack_lsp"):
        print("no jackd here")
        sys.exit(77)
    with open(os.path.join(tempfile.gettempdir(), "zeto-live-test.lock"), "w") as alone:
        fcntl.flock(alone, fcntl.LOCK_EX)
        unittest.main()
