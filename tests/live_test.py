#!/usr/bin/env python3
"""zeto live without hardware: jackd's dummy driver, and a client for the air. Usage: live_test.py ZETO LIVE_PATH EXAMPLE"""
import contextlib
import fcntl
import itertools
import json
import math
import os
import pty
import re
import resource
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

FILE = os.path.abspath(__file__)
EXAMPLE, PATH, ZETO = (os.path.abspath(sys.argv.pop()) for _ in range(3))
SPACING, HAND = 5.0, 20.0  # cm
WAY = lambda cm: round(2 * math.hypot(cm, SPACING / 2) / 34300 * 48000)  # samples
SEEN = math.sqrt((WAY(HAND) / 48000 * 34300 / 2) ** 2 - (SPACING / 2) ** 2)  # after that rounding
AIR = ["path:in", "path:out"]
signal.signal(signal.SIGINT, signal.default_int_handler)  # whoever runs the tests may ignore it
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
        self.assertIn("  target               |=", self.live("--from", "capture.wav"))
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
        with open("kept.wav", "w") as file:
            file.write("an earlier recording")
        self.assertIn("cannot connect", self.fault(live("--connect", "path:midi", AIR[1], "--record", file.name))[0])
        with open(file.name) as file:
            self.assertEqual(file.read(), "an earlier recording")

        small = lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (800_000, 800_000))
        error, _ = self.fault(live("--connect", *AIR, "--record", "full.wav", preexec_fn=small))
        self.assertIn("File too large; full.wav holds 2.", error)
        stopped = live("--connect", *AIR, "--record", "stopped.wav", "--json")
        time.sleep(2.5)
        stopped.send_signal(signal.SIGINT)
        out, error = stopped.communicate(timeout=10)
        self.assertEqual((stopped.returncode, error), (0, ""))
        self.assertGreater(json.loads(out.splitlines()[-1])["summary"]["seconds"], 0.8)
        # Nobody reads along: the recording goes on. The first signal puts it in place, the second ends the process.
        blocked = live("--connect", *AIR, "--record", "blocked.wav", "--json", "--profile")
        fcntl.fcntl(blocked.stdout, fcntl.F_SETPIPE_SZ, 4096)
        time.sleep(6)
        blocked.send_signal(signal.SIGINT)
        time.sleep(0.5)
        self.assertIsNone(blocked.poll())
        blocked.send_signal(signal.SIGINT)
        self.assertEqual(blocked.wait(10), -signal.SIGINT)
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
        for name, least in ("full.wav", 1.5), ("stopped.wav", 0.8), ("blocked.wav", 3), ("left.wav", 1), ("closed.wav", 1):
            self.check_recording(name, least)

    def check_recording(self, name, least):
        read = subprocess.run([ZETO, "sense", "--summary", "--set", "hand", "--json", name], capture_output=True)
        self.assertGreater(json.loads(read.stdout)["seconds"], least, read.stderr)

    def test_keys(self):
        """Enter makes it learn again; Ctrl-C ends the moving picture, and leaves picture and recording."""
        self.serve(512)
        self.air(480, 99, 99)
        child, terminal = pty.fork()
        if child == 0:
            os.execv(ZETO, [ZETO, "live", "-s", "7", "--connect", *AIR])
        shown = b""
        with open(terminal, "r+b", buffering=0) as file, contextlib.suppress(OSError):  # its end is an error
            while piece := file.read(4096):
                if b"nobody" in piece and b"nobody" not in shown:
                    file.write(b"\n")
                shown += piece
        self.assertEqual(os.waitpid(child, 0)[1], 0)
        states = re.findall(r"(learning|nobody) ", shown.decode())
        self.assertEqual([state for state, _ in itertools.groupby(states)], ["learning", "nobody"] * 2)
        python = "/usr/bin/python3"  # Debian's: it has matplotlib
        if subprocess.run([python, "-c", "import matplotlib"], capture_output=True).returncode != 0:
            self.skipTest("matplotlib is missing (Debian: python3-matplotlib)")
        module = os.path.join(os.path.dirname(FILE), "..", "python")
        shower = self.begin(python, "-m", "zeto.live", "--out", "live.png", "--record", "live.wav", "--connect", *AIR,
                            env={**os.environ, "ZETO_TOOL": ZETO, "PYTHONPATH": module}, start_new_session=True)
        time.sleep(4)
        os.killpg(shower.pid, signal.SIGINT)
        self.assertEqual((shower.wait(20), sorted(os.listdir("."))), (0, ["live.png", "live.wav"]))
        self.check_recording("live.wav", 1)


if __name__ == "__main__":
    if not shutil.which("jackd") or not shutil.which("jack_lsp"):
        print("no jackd here")
        sys.exit(77)
    if not sys.argv[1:]:  # The tests mostly wait for sound: side by side, each with shared memory, JACK's places, of its own.
        own = ["unshare", "-r", "-m", "sh", "-c", 'mount -t tmpfs none /dev/shm && exec "$@"', "sh"]
        if shutil.which("unshare") and subprocess.run([*own, "true"], capture_output=True).returncode == 0:
            tests = unittest.TestLoader().getTestCaseNames(LiveTest)
            run = [subprocess.Popen([*own, sys.executable, FILE, f"LiveTest.{test}", ZETO, PATH, EXAMPLE]) for test in tests]
            sys.exit(any([child.wait() for child in run]))
    with open(os.path.join(tempfile.gettempdir(), f"zeto-live-test-{os.stat('/dev/shm').st_dev}.lock"), "w") as alone:
        fcntl.flock(alone, fcntl.LOCK_EX)
        unittest.main()
