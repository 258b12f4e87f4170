"""Everyday noises as a microphone records them, made from a seed. Peak 1.0 is full scale."""
import numpy as np

RATE = 48000


def _shaped(noise, gain):
    """`gain` takes Hz and gives an amplitude."""
    return np.fft.irfft(np.fft.rfft(noise) * gain(np.fft.rfftfreq(len(noise), 1 / RATE)), len(noise))


def _swelling(n, rise_s, fall_s):
    k = np.arange(n) / RATE
    return np.minimum(1, k / rise_s) * np.minimum(1, (n / RATE - k) / fall_s)


def _vowel(n, random):
    """A voice of 90 to 230 Hz that glides, through three formants."""
    pitch = np.linspace(1, random.uniform(0.8, 1.2), n) * random.uniform(90, 230)
    phase = 2 * np.pi * np.cumsum(pitch) / RATE
    formants = [(random.uniform(*span), width) for span, width in (((300, 800), 80), ((900, 2300), 120), ((2400, 3500), 200))]
    sound = np.zeros(n)
    for harmonic in range(1, int(6000 / pitch.max())):
        hz = harmonic * pitch.mean()
        sound += sum(1 / np.hypot(1, (hz - f) / width) for f, width in formants) / harmonic * np.sin(harmonic * phase)
    return sound / np.abs(sound).max() * _swelling(n, 0.03, 0.06)


def _sibilant(n, random):
    """Flat from 5 to 12 kHz, 12 dB an octave less below and above."""
    noise = _shaped(random.standard_normal(n), lambda hz: 1 / (1 + (5000 / np.maximum(hz, 1)) ** 2) / (1 + (hz / 12000) ** 2))
    return noise / np.abs(noise).max() * _swelling(n, 0.02, 0.04)


def speech(seconds, seed):
    """Syllables: a vowel, before some a sibilant 12 dB under the loudest; short pauses. A third of an octave is 26 to 28 dB
    under the whole at 8 kHz, 28 to 30 at 16 kHz, as in the long-term average of real speech; 18 to 23 kHz 30 to 32."""
    random = np.random.default_rng((seed, 1))
    sound, at = np.zeros(int(seconds * RATE)), 0
    while at < len(sound):
        if random.random() < 0.35:
            part = 0.2 * _sibilant(int(random.uniform(0.08, 0.2) * RATE), random)
            sound[at : at + len(part)] += part[: len(sound) - at]
            at += int(0.9 * len(part))
        if at < len(sound):
            part = random.uniform(0.4, 1) * _vowel(int(random.uniform(0.12, 0.25) * RATE), random)
            sound[at : at + len(part)] += part[: len(sound) - at]
            at += len(part) + int(random.exponential(0.12) * RATE)
    return sound / np.abs(sound).max()


def music(seconds, seed):
    """A chord that pulses, and hi-hats on every sixteenth: noise from 6 kHz up."""
    random = np.random.default_rng((seed, 2))
    n = int(seconds * RATE)
    hats, tempo = np.zeros(n), random.uniform(90, 140)
    for beat, at in enumerate(range(0, n, int(RATE * 15 / tempo))):
        length = min(int(random.choice((2400, 4800, 9600))), n - at)
        fall = np.exp(-5 * np.arange(length) / length)
        hats[at : at + length] += (1 if beat % 2 == 0 else 0.6) * fall * random.standard_normal(length)
    hats = _shaped(hats, lambda hz: 1 / (1 + (6000 / np.maximum(hz, 1)) ** 3))
    k = np.arange(n) / RATE
    pulse = 0.5 + 0.5 * np.sin(2 * np.pi * tempo / 60 * k)
    sound = hats + pulse * sum(0.5 * np.sin(2 * np.pi * hz * k) for hz in (110, 220, 330, 440, 660))
    return sound / np.abs(sound).max()


def keys(seconds, seed):
    """Some fifteen clinks a second, each of five tones from 4 to 21 kHz that die away within 40 ms."""
    random = np.random.default_rng((seed, 3))
    sound, at = np.zeros(int(seconds * RATE)), 0
    while True:
        at += int(random.exponential(RATE / 15))
        n = int(random.uniform(0.01, 0.04) * RATE)
        if at + n > len(sound):
            return sound / np.abs(sound).max()
        k = np.arange(n) / RATE
        for _ in range(5):
            tone = np.sin(2 * np.pi * random.uniform(4000, 21000) * k + random.uniform(0, 6))
            sound[at : at + n] += random.uniform(0.2, 1) * np.exp(-random.uniform(80, 300) * k) * tone


KINDS = {"speech": speech, "music": music, "keys": keys}
