#!/usr/bin/env python3
"""The Python module against the command-line tool. Usage: python_test.py PATH-TO-ZETO PATH-TO-LIBRARY"""
import copy
import csv
import ctypes
import io
import os
import pickle
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import wave
from unittest import mock

try:
    import numpy as np
except ImportError:
    print("skipped: NumPy is missing (Debian: python3-numpy)")
    sys.exit(77)

ZETO = os.path.abspath(sys.argv.pop(1))
os.environ["ZETO_TOOL"] = ZETO
os.environ["ZETO_LIBRARY"] = os.path.abspath(sys.argv.pop(1))
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "python"))
import zeto  # noqa: E402
from zeto import _recording  # noqa: E402


def read(path, number):
    format = zeto.Format(number)
    return (_recording.read(path) * format.full_scale).astype(format.dtype)


class PythonTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "a.wav")

    def tool(self, *args):
        return subprocess.run([ZETO, *map(str, args)], capture_output=True, text=True, check=True, timeout=60).stdout

    def test_emits_what_the_tool_emits(self):
        for number in (1, 2, 3):
            self.tool("emit", "--seconds", 1.5, "--format", number, "--start-hz", 18000, "--out", self.path)
            (want,) = read(self.path, number)
            with zeto.Emitter(number, start_hz=18000) as emitter:
                pieces = np.split(np.ones(len(want), emitter.format.dtype), [7, 1000, 50000])
                got = np.concatenate([emitter.process(piece) for piece in pieces])
            np.testing.assert_array_equal(got, want, f"format {number}")
            self.assertGreater(np.abs(want).max(), 0)

    def test_measures_what_the_tool_measures(self):
        self.tool("simulate", "--delay-ms", 60, "--snr-db", -10, "--seconds", 4, "--wav", self.path)
        captured = read(self.path, 1)
        for options in ({}, {"UltraHz_period": 900, "UltraHz_cand_dB": -10}, {"UltraHz_delay_ms": 250}):
            words = [word for name, value in options.items() for word in (f"--{name}", value)]
            rows = list(csv.DictReader(io.StringIO(self.tool("sense", "--csv", *words, self.path))))
            want = [int(row["measurement"] or zeto.REJECTED) for row in rows]
            self.assertGreater(len(set(want)), 1)
            for number in zeto.Format:
                scale = number.full_scale / 2**15
                reference, microphone = ((x * scale).astype(number.dtype) for x in captured)
                if number == zeto.Format.FLOAT32:  # to 16 bits by 32767, truncated: half a step up comes back whole
                    reference, microphone = (
                        ((x + 0.5 * np.sign(x)) / 32767).astype(np.float32) for x in captured.astype(np.float64)
                    )
                with zeto.Detector(number, **options) as detector:
                    before = reference.copy(), microphone.copy()
                    out = detector.process(reference, microphone)
                    np.testing.assert_array_equal((reference, microphone), before)
                self.assertEqual(list(zeto.measurements(detector, out)), want, f"{number!r} {options}")

    def test_reads_what_is_there(self):
        """Of ten times as many samples that the header promises."""
        self.tool("simulate", "--delay-ms", 60, "--seconds", 1, "--wav", self.path)
        subprocess.run(["sox", self.path, self.path + ".flac"], check=True)
        with open(self.path + ".flac", "r+b") as file:
            file.seek(21)
            length = int.from_bytes(file.read(5), "big")  # its last 36 bits
            file.seek(21)
            file.write((length - 48000 + 480000).to_bytes(5, "big"))
        np.testing.assert_array_equal(_recording.read(self.path + ".flac"), _recording.read(self.path))

    def test_reads_parameters_back(self):
        with zeto.Emitter(period_ms=2500) as emitter, zeto.Detector(UltraHz_cand_dB=-31) as detector:
            self.assertEqual(emitter.parameters, {**zeto.EMITTER_DEFAULTS, "period_ms": 2000})
            self.assertEqual(detector.parameters, {**zeto.DETECTOR_DEFAULTS, "UltraHz_cand_dB": -31})
            detector.set_parameters(UltraHz_delay_ms=10)
            self.assertEqual(detector.parameters["UltraHz_cand_dB"], -31)

    def test_refuses(self):
        emitter, detector = zeto.Emitter(), zeto.Detector()
        good, frozen = np.zeros(10, np.int16), np.zeros(10, np.int16)
        frozen.flags.writeable = False
        for message, call in (
            ("none of 1", lambda: zeto.Emitter(5)),
            ("mean UltraHz_scope", lambda: zeto.Detector(UltraHz_scop=1)),
            ("no parameter gain; there are start_hz, span_hz", lambda: zeto.Emitter(gain=1)),
            ("start_hz: must be a whole number", lambda: zeto.Emitter(start_hz=1.5)),
            ("start_hz: 2147483648 does not fit", lambda: zeto.Emitter(start_hz=2**31)),
            ("takes int16", lambda: emitter.process(np.zeros(10))),
            ("NumPy array", lambda: emitter.process([0])),
            ("one behind the other", lambda: emitter.process(np.zeros(10, np.int16)[::2])),
            ("one channel", lambda: emitter.process(np.zeros((2, 5), np.int16))),
            ("read-only", lambda: emitter.process(frozen)),
            ("unequal lengths", lambda: detector.process(good, good[:9])),
            ("one behind the other", lambda: emitter.process(np.frombuffer(bytearray(21), np.int16, 10, 1))),
            ("no finite numbers", lambda: zeto.measurements(detector, np.full(10000, np.nan))),
            ("cannot be copied", lambda: copy.copy(emitter)),
            ("cannot be copied", lambda: pickle.dumps(zeto.Host())),
            ("no set 'hnd'; there are default, finer, hand, room", lambda: zeto.Host("hnd")),
            ("no set None", lambda: zeto.Host(None)),
            ("no sweeps that a Host can play", lambda: zeto.Host("default")),
            ("spacing_cm: must be a number from 0 to 100, not -1", lambda: zeto.Host(spacing_cm=-1)),
            ("spacing_cm: .* not nan", lambda: zeto.Host(spacing_cm=float("nan"))),
            ("spacing_cm: .* not '5'", lambda: zeto.Host(spacing_cm="5")),
            ("none of 1", lambda: zeto.Host(format=0)),
            ("n: must be a whole number of samples, not -1", lambda: zeto.Host().play(-1)),
            ("n: .* not 1.5", lambda: zeto.Host().play(1.5)),
            ("takes int16", lambda: zeto.Host().capture(np.zeros(10))),
            ("NumPy array", lambda: zeto.Host().capture([0])),
            ("one channel", lambda: zeto.Host().capture(np.zeros((2, 5), np.int16))),
        ):
            with self.assertRaisesRegex((TypeError, ValueError), message):
                call()
        emitter.close()
        emitter.close()
        with self.assertRaisesRegex(zeto.ZetoError, "closed"):
            emitter.process(good)

    def test_every_handle_is_freed_once(self):
        """Closed, forgotten, made again in place, or come without a core."""
        library, freed = zeto._library.library(), []
        deinit = lambda handle: freed.append(ctypes.addressof(handle.contents)) or library.zeto_tx_wrapper_deinit(handle)
        counting = mock.Mock(wraps=library, zeto_tx_wrapper_deinit=deinit)
        with mock.patch("zeto._library.library", return_value=counting):
            closed, forgotten, twice = zeto.Detector(), zeto.Detector(), zeto.Detector()
            closed.close()
            del closed, forgotten
            twice.__init__()
            self.assertEqual(len(freed), 3)
            twice.process(np.zeros(480, np.int16), np.zeros(480, np.int16))
            del twice
            self.assertEqual(len(freed), 4)
            for head in zeto._library._Head(1), zeto._library._Head(0, core=1):
                counting.zeto_tx_wrapper_init, counting.zeto_tx_wrapper_deinit = lambda *_: ctypes.pointer(head), freed.append
                with self.assertRaisesRegex(zeto.ZetoError, "memory"):
                    zeto.Detector()
            self.assertEqual(len(freed), 6)

    def python(self, code, **environment):
        environment = {**os.environ, "PYTHONPATH": sys.path[0], **environment}
        return subprocess.run([sys.executable, "-c", code], env=environment, capture_output=True, text=True, timeout=60)

    def test_tells_that_the_library_is_missing(self):
        failed = self.python("import zeto; zeto.Emitter()", ZETO_LIBRARY="/nowhere.so")
        self.assertIn("ZETO_LIBRARY may name its file", failed.stderr)

    def test_children_of_a_busy_program_make_handles(self):
        code = (
            "import os, threading, zeto\n"
            "def work():\n"
            "    while True: zeto.Detector().close()\n"
            "for _ in range(2): threading.Thread(target=work, daemon=True).start()\n"
            "left = zeto.Detector()\n"
            "for _ in range(5):\n"
            "    child = os.fork()\n"
            "    if child == 0:\n"
            "        zeto.Emitter().close()\n"
            "        os._exit(0)\n"
            "    os.waitpid(child, 0)\n"
            "print('done')"
        )
        self.assertEqual(self.python(code).stdout, "done\n")

    def test_keeps_the_library_out_of_the_programs_output(self):
        """While other threads print, and with a handle that the interpreter closes at its end."""
        code = (
            "import sys, threading, zeto\n"
            "def work():\n"
            "    for _ in range(20):\n"
            "        sys.stdout.write('result '), sys.stdout.flush()\n"
            "        zeto.Detector().set_parameters(UltraHz_smooth=0)\n"
            "threads = [threading.Thread(target=work) for _ in range(4)]\n"
            "for thread in threads: thread.start()\n"
            "for thread in threads: thread.join()\n"
            "left = zeto.Emitter()"
        )
        self.assertEqual(self.python(code).stdout, 80 * "result ")
        self.assertIn("version is 2.02.02", self.python("import zeto; zeto.quiet(False); zeto.Emitter()").stdout)
        self.assertEqual(self.tool("--version"), f"zeto {zeto.__version__}\n")

    def test_simulated_sound_takes_the_time_and_has_the_strength_of_theory(self):
        """Each against delays and gains in the frequency domain, of a period once all has arrived. In dB."""
        way = lambda cm, spacing=5: 2 * np.hypot(cm, spacing / 2) / 34300
        phone = lambda hz: 10 ** (np.interp(hz, *zip(
            (17e3, 0), (18e3, -1), (19e3, -3), (20e3, -6), (21e3, -9), (22e3, -15), (23e3, -22), (24e3, -40))) / 20)
        still = dict(target_cm=20.3, tremor_mm=0, present="0-")
        hz = np.fft.rfftfreq(9600, 1 / 48000)
        _recording_of = os.path.join(os.path.dirname(self.path), "response.wav")
        taps = np.zeros(400)
        taps[[100, 399]] = 0.5, -0.25
        with wave.open(_recording_of, "wb") as file:
            file.setparams((1, 2, 48000, 0, "NONE", ""))
            file.writeframes((taps * 2**15).astype("<i2").tobytes())
        for options, ways, response in (
            ({}, [(5 / 34300, 4)], None),
            ({"latency_ms": 37.3127, "spacing_cm": 14}, [(0.0373127 + 14 / 34300, 4)], None),
            ({"response": "phone", "latency_ms": 5}, [(0.005 + 5 / 34300, 4)], phone),
            ({"response": _recording_of}, [(5 / 34300 + 100 / 48000, 2), (5 / 34300 + 399 / 48000, -1)], None),
            ({"echo": [(3.21, 0.5), (7, -1)], "latency_ms": 1}, [(0.001 + 5 / 34300, 4), (0.00421, 0.5), (0.008, -1)], None),
            ({**still, "target_db": -12}, [(5 / 34300, 4), (way(20.3), 4 * 10**-0.6)], None),
            (still, [(5 / 34300, 4), (way(20.3), 4 * 10 ** (-(22 + 4 * np.log(20.3 / 20) / np.log(1.5)) / 20))], None),
        ):
            made = zeto.simulate(set="hand", direct=4, seconds=1.2, **options)
            played = np.fft.rfft(made.reference[:9600])
            want = sum(g * np.exp(-2j * np.pi * hz * s) for s, g in ways) * played * (1 if response is None else response(hz))
            off = np.fft.rfft(made.microphone[-9600:]) - want
            heard = (hz > 17500) & (hz < 22500)
            error = 10 * np.log10(np.sum(np.abs(off[heard]) ** 2) / np.sum(np.abs(want[heard]) ** 2))
            self.assertLess(error, -55 if response else -75, options)

    def test_simulated_noise_clocks_and_buffers(self):
        quiet = dict(set="hand", seconds=4, seed=5)
        for options, db, octave in (({"pink_dbfs": -30}, -30, 0), ({"white_dbfs": -40}, -40, 3), ({"snr_db": 3}, None, 3)):
            made = zeto.simulate(**quiet, enable=0 if db else 1, direct=0.5, **options)
            noise = made.microphone / 2**15
            if not db:
                clean = zeto.simulate(**quiet, direct=0.5).microphone / 2**15
                noise, db = noise - clean, 10 * np.log10(np.mean(clean**2)) - 3
            self.assertAlmostEqual(10 * np.log10(np.mean(noise**2)), db, delta=0.3, msg=options)
            power = np.abs(np.fft.rfft(noise)) ** 2
            bands = [10 * np.log10(power[4 * f : 8 * f].sum()) for f in (375, 750, 1500, 3000, 6000, 12000)]
            np.testing.assert_allclose(np.diff(bands), octave, atol=0.3, err_msg=str(options))
        keys = (np.random.default_rng(1).normal(0, 1000, 50000)).astype("<i2")
        with wave.open(self.path, "wb") as file:
            file.setparams((1, 2, 48000, 0, "NONE", ""))
            file.writeframes(keys.tobytes())
        heard = zeto.simulate(**quiet, enable=0, noise=self.path, noise_gain=-0.5).microphone
        np.testing.assert_allclose(heard, -0.5 * np.resize(keys, 192000), atol=0.51)
        noisy = dict(quiet, phone=True)
        whole, again, other = (zeto.simulate(**{**noisy, "seed": seed}).microphone for seed in (5, 5, 6))
        np.testing.assert_array_equal(whole, again)
        self.assertGreater(np.std(whole - other.astype(float)), 100)
        at = 96480
        white = {**quiet, "white_dbfs": -60, "reflections": 3}
        whole = zeto.simulate(**white).microphone
        lost = zeto.simulate(**white, drop=(2.01, 10)).microphone
        twice = zeto.simulate(**white, repeat=[(2.01, 10), (3, 0.0208)]).microphone
        np.testing.assert_array_equal(lost, np.r_[whole[:at], whole[at + 480 :], lost[-480:]])
        np.testing.assert_array_equal(twice[:144000], np.r_[whole[:at], whole[at - 480 :]][:144000])
        np.testing.assert_array_equal(twice[144000:], np.r_[whole[:at], whole[at - 480 :]][143999 : 144000 + 47999])
        loud = {**quiet, "direct": 4, "response": "phone"}
        direct = zeto.simulate(**loud).microphone.astype(float)
        rooms = [zeto.simulate(**loud, reflections=room).microphone - direct for room in (1, 2)]
        for others in rooms:  # three of the case, 8 to 18 dB under the direct sound; the room's are weak
            self.assertTrue(10**-0.9 < np.std(others) / np.std(direct) < 1)
        self.assertGreater(np.std(rooms[0] - rooms[1]), 0.1 * np.std(direct))
        plain = zeto.simulate(**loud).microphone
        slow = zeto.simulate(**loud, drift_ppm=(100, 1)).microphone
        np.testing.assert_array_equal(slow[:48000], plain[:48000])
        series = np.fft.rfft(plain[-9600:]) / 4800  # of a period, evaluated between samples
        late = np.arange(190000, 190500)
        at = late + 1e-4 * (late - 48000)
        want = (series * np.exp(2j * np.pi / 9600 * np.outer(at, np.arange(4801)))).real.sum(axis=1)
        self.assertLess(np.std(slow[late] - want), 0.005 * np.std(want))

    def test_simulated_recordings_go_into_the_host_kit(self):
        made = zeto.simulate(set="hand", phone=True, target_cm=20, present=[(4, 6), (8, 9)], seed=3, spacing_cm=3)
        self.assertEqual((made.reference.dtype, made.microphone.shape), (np.int16, (480000,)))
        seconds = np.arange(480000) / 48000
        there = ((seconds >= 4.01) & (seconds < 5.99)) | ((seconds >= 8.01) & (seconds < 8.99))
        np.testing.assert_allclose(made.true_cm[there], 20, atol=0.08)
        self.assertTrue(np.isnan(made.true_cm[(seconds < 4) | ((seconds > 6.01) & (seconds < 8)) | (seconds > 9.01)]).all())
        host = zeto.Host("hand", spacing_cm=3)
        np.testing.assert_array_equal(host.play(480000), made.reference)
        host.learn()
        got = [(round(r.time_s, 5), r.state, r.distance_cm) for r in host.capture(made.microphone)]
        want = [(round(r["time_s"], 5), r["state"], r["shown_cm"]) for r in made.readings]
        self.assertEqual([r[:2] for r in got], [r[:2] for r in want])
        np.testing.assert_allclose([r[2] or 0 for r in got], [r[2] or 0 for r in want], atol=1e-4)
        self.assertIn("target", {r[1] for r in got})
        self.assertEqual(zeto.simulate(delay_ms=60, seconds=1).report["delays"][0]["measured"], 58)
        with self.assertRaisesRegex(ValueError, "--target-cm"):
            zeto.simulate(set="hand", target_cm=-1)
        with self.assertRaisesRegex(OSError, "none.wav"):
            zeto.simulate(set="hand", noise="none.wav")

    def test_profiles_and_tunes_as_an_optimiser_would(self):
        made = zeto.simulate(delay_ms=105.3, seconds=3)
        for scale, dtype in (1, np.int16), (2**16, np.int32), (2**-15, np.float32):
            found = zeto.profile(made.reference * dtype(scale), made.microphone * dtype(scale))
            self.assertEqual(found.delay_ms.shape, found.median_db.shape)
            self.assertAlmostEqual(found.peaks[0].delay_ms, 105.3, delta=0.5)
        mixed = zeto.profile(made.reference, made.microphone / np.float32(2**15))
        self.assertAlmostEqual(mixed.peaks[0].level_db, found.peaks[0].level_db, delta=0.1)
        with self.assertRaisesRegex(ValueError, "not int64"):
            zeto.profile(made.reference, made.microphone.astype(np.int64))
        held = zeto.profile(made.reference, made.microphone, align=found.latency_ms)
        self.assertLess(held.median_db.max(), found.median_db.max() - 10)
        with self.assertRaisesRegex(ValueError, "equal lengths"):
            zeto.profile(made.reference, made.microphone[1:])
        self.tool("simulate", "--delay-ms", 60, "--gain", 0.02, "--seconds", 3, "--wav", self.path)
        truth = self.path + ".csv"
        with open(truth, "w") as file:
            file.write("file,truth,from_s\na.wav,60,1\n")
        (default,), (lower,) = zeto.tune(truth), zeto.tune(truth, UltraHz_cand_dB=-45)
        self.assertGreater(lower.score, default.score)
        grid = zeto.tune(truth, grid={"UltraHz_cand_dB": np.arange(-45, 1, 15)}, two_of_five=True)
        self.assertEqual((len(grid), grid[0].labels["60"]["right"]), (5, grid[0].right))
        with self.assertRaisesRegex(ValueError, "no parameter"):
            zeto.tune(truth, grid={"gain": 1})
        for options in {"UltraHz_cand_dB": -40.5}, {"UltraHz_cand_dB": "-40"}, {"grid": {"UltraHz_cand_dB": [-40.5]}}:
            with self.assertRaisesRegex(ValueError, "whole number"):
                zeto.tune(truth, **options)

    def test_hosts_in_any_format_and_buffers_see_the_same(self):
        """A hand comes, goes, and comes again after the kit has learned again."""
        made = zeto.simulate(set="hand", phone=True, target_cm=15, present=[(4, 6.6), (10, 12)], seconds=12, seed=2)
        again = 7 * 48000
        seen = []
        for number, buffer in ((1, 480000), (1, 257), (2, 9601), (3, 480), (4, 1000)):
            host = zeto.Host("hand", format=number)
            full = host.format.full_scale
            self.assertEqual(host.capture(np.zeros(0, host.format.dtype)), [])
            self.assertEqual(host.learned, zeto.Findings(0, 0, 0, 0))
            played = np.concatenate([host.play(n) for n in (0, 1, 479, 50000)])
            np.testing.assert_array_equal(played * (2**15 / full), made.reference[:50480])
            microphone = (made.microphone * (full / 2**15)).astype(host.format.dtype)
            readings = []
            for half in (microphone[:again], microphone[again:]):
                host.learn()
                for first in range(0, len(half), buffer):
                    readings += host.capture(half[first : first + buffer])
            self.assertTrue(20 < host.learned.latency_ms < 110)
            seen.append(readings)
        for other in seen[1:]:
            self.assertEqual(other, seen[0])
        states = lambda first, last: {r.state for r in seen[0] if first < r.time_s <= last}
        self.assertEqual([states(0, 2.4), states(3, 4), states(5, 6.6), states(7.2, 9.4), states(11, 12)],
                         [{"learning"}, {"nobody"}, {"target"}, {"learning"}, {"target"}])
        for reading in seen[0]:
            self.assertEqual(reading.state == "target", reading.distance_cm is not None)
            if reading.state == "target":
                self.assertLess(abs(reading.distance_cm - 15), 1)
        sets = zeto.sets()
        self.assertEqual(list(sets), ["default", "finer", "hand", "room"])
        self.assertEqual((sets["default"].emitter, sets["default"].detector), (zeto.EMITTER_DEFAULTS, zeto.DETECTOR_DEFAULTS))
        self.assertEqual((sets["default"].restart_ms, sets["hand"].restart_ms), ((), (72, 64, 64)))
        self.assertEqual((sets["hand"].sweep["slope_hz_s"], sets["room"].greatest_cm), (93750, 400))

    def test_shows_what_is_heard_as_a_moving_picture(self):
        try:
            from zeto import live, plot  # the latter draws without windows
        except ImportError:
            self.skipTest("matplotlib is missing (Debian: python3-matplotlib)")
        self.tool("simulate", "--set", "hand", "--phone", "--target-cm", 30, "--seconds", 5, "--wav", self.path)
        lines = self.tool("live", "--json", "--profile", "--from", self.path).splitlines()
        picture = live.Picture()
        for line in live.objects(lines + [lines[0][:20]]):
            picture.add(line)
            picture.draw()
        levels = picture.image.get_array()
        self.assertEqual((levels.shape, levels[:, 0].max()), ((81, live.ROWS), live.FLOOR_DB))
        self.assertAlmostEqual(levels[:, -1].argmax(), 30, delta=2)
        self.assertAlmostEqual(picture.dots.get_ydata()[-1], 30, delta=1)
        self.assertRegex(picture.over_time.get_title(loc="left"), r"^4.\d s  target  \d+.\d cm$")
        with open(self.path + ".lines", "w") as file:
            file.write("\n".join(lines))
        for number, words in enumerate((["--from", self.path], ["--lines", file.name])):
            drawn = f"{self.path}.{number}.png"
            environment = {**os.environ, "ZETO_TOOL": ZETO, "PYTHONPATH": sys.path[0]}
            subprocess.run([sys.executable, "-m", "zeto.live", *words, "--out", drawn], env=environment, check=True)
            self.assertGreater(plot.plt.imread(drawn).std(), 0.05)

    def test_draws_what_the_tool_measures(self):
        try:
            from zeto import plot
        except ImportError:
            self.skipTest("matplotlib is missing (Debian: python3-matplotlib)")
        self.tool("simulate", "--delay-ms", 60, "--seconds", 2, "--wav", self.path)
        axes = plot.draw("measurement", self.path, zeto=ZETO).axes[0]
        rows = csv.DictReader(io.StringIO(self.tool("sense", "--csv", self.path)))
        want = [(float(row["time_s"]), int(row["measurement"])) for row in rows if row["measurement"]]
        self.assertEqual(list(zip(*axes.lines[0].get_data())), want)
        self.assertEqual(len(axes.patches), 10 - len(want))
        peaks = [line.get_xdata()[0] for line in plot.draw("profile", self.path, zeto=ZETO).axes[0].lines if len(line.get_xdata()) == 1]
        self.assertAlmostEqual(peaks[0], 60, delta=0.5)
        self.tool("simulate", "--delay-ms", 60, "--seconds", 200, "--wav", self.path + ".long.wav")
        median = plot.draw("measurement", self.path + ".long.wav", zeto=ZETO).axes[0].lines[0].get_data()
        self.assertEqual((len(median[0]), set(median[1][~np.isnan(median[1])])), (450, {58}))
        for kind in "measurement", "spectra":  # results are infinite there
            plot.draw(kind, self.path, ["--UltraHz-scope=5"], ZETO)
        level = plot.draw("spectrogram", self.path, zeto=ZETO).axes[0].images[0].get_array()
        seconds = (np.arange(level.shape[1]) + 0.5) / level.shape[1] * 2
        sweep = 15000 + level.argmax(axis=0) * 48000 / 1024 - (19600 + 4000 * (seconds % 1))
        self.assertLess(np.median(np.abs(sweep)), 100)

        folder = os.path.dirname(self.path)
        picture = lambda name: os.path.join(folder, name)
        environment = {**os.environ, "ZETO_TOOL": ZETO, "PYTHONPATH": sys.path[0]}
        run = lambda *words, cwd=None: subprocess.run(
            [sys.executable, "-m", "zeto.plot", *words], env=environment, cwd=cwd, capture_output=True, text=True, timeout=60)
        with open(picture("tuning.json"), "w") as file:
            file.write('{"UltraHz_cand_dB": 90}')
        options = ["--from", "0.5", "--to", "0.9", "--params", file.name]
        self.assertEqual(run(*options, self.path, "-k", "spectra", "-o", picture("a.svg")).returncode, 0)
        with open(picture("a.svg")) as file:  # titles are there as comments
            self.assertEqual(re.findall("<!-- (.*) s: (.*) -->", file.read()), [("0.6", "rejected"), ("0.8", "rejected")])
        for name in "-$\\frac{$.wav", "a\n\x1b.wav":
            shutil.copy(self.path, picture(name))
            shutil.copy(self.path, picture("a.unfinished.png"))  # a user's own
            os.symlink("target.png", picture("a.png"))
            result = run("-o", "a.png", "--", name, cwd=folder)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertGreater(plot.plt.imread(picture("target.png")).std(), 0.05)
            self.assertEqual(os.readlink(picture("a.png")), "target.png")
            os.remove(picture("a.png"))
        os.chmod(picture("target.png"), 0o600)
        self.assertEqual(run(self.path, "-o", picture("target.png")).returncode, 0)
        self.assertEqual(os.stat(picture("target.png")).st_mode & 0o777, 0o600)
        os.rename(picture("a.unfinished.png"), picture("own.png"))

        self.tool("emit", "--seconds", 1, "--out", picture("mono.wav"))
        before = sorted(os.listdir(folder))
        for status, said, words in (
            (1, "1 channel", (picture("mono.wav"), "-o", picture("b.png"))),
            (1, "No such file", (picture("none.wav"), "-o", picture("b.png"))),
            (2, "cannot write", (self.path, "-o", picture("none/b.png"))),
            (2, "written as", (self.path, "-o", picture("b.gif"))),
            (1, "no analysis", (self.path, "-o", picture("b.png"), "--from", "3")),
            (2, "read as well", (picture("own.png"), "-o", picture("own.png"))),
        ):
            result = run(*words)
            self.assertEqual((result.returncode, result.stderr.count("\n")), (status, 1), result.stderr)
            self.assertIn(said, result.stderr)
            self.assertEqual(sorted(os.listdir(folder)), before)


if __name__ == "__main__":
    unittest.main()
