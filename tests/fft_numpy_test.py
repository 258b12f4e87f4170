"""Compares the transform with NumPy's in double precision, at every length and in both directions, and prints the worst.

usage: fft_numpy_test.py LIBZETO; exit status 77 where NumPy is missing.
"""
import ctypes
import math
import sys

try:
    import numpy as np
except ImportError:
    print("skipped: NumPy is missing (Debian: python3-numpy)")
    sys.exit(77)

library = ctypes.CDLL(sys.argv[1])
lookup = ctypes.create_string_buffer(6276)


def noise(n):
    """Uniform in [-1, 1), the same on every machine."""
    seeds = [n]
    for _ in range(n):
        seeds.append((seeds[-1] * 1664525 + 1013904223) % 2**32)
    return ((np.array(seeds[1:]) >> 8) / 8388608 - 1).astype(np.float32)


def forward(x):
    """Re 0, then (Re, Im) of bins 1 and up, without the last imaginary part of an even length."""
    spectrum = np.fft.rfft(x.astype(float))
    return np.stack((spectrum.real, spectrum.imag), 1).ravel()[[0, *range(2, len(x) + 1)]]


def backward(x):
    spectrum = np.zeros(len(x) // 2 + 1, complex)
    spectrum.view(float)[[0, *range(2, len(x) + 1)]] = x
    return np.fft.irfft(spectrum, len(x)) * len(x)


failed = False
for exact in forward, backward:
    errors = {}
    for n in range(1, 513):
        data = noise(n)
        want = exact(data)
        library.zeto_drft_init(lookup, n)
        getattr(library, "zeto_drft_" + exact.__name__)(lookup, data.ctypes.data_as(ctypes.c_void_p))
        largest = max((p for p in range(2, n + 1) if n % p == 0 and all(p % q for q in range(2, p))), default=1)
        error = np.linalg.norm(data - want) / np.linalg.norm(want)
        errors[n] = error, largest
        if error > 3.5e-7 + (1e-8 * largest**2 if largest > 5 else 0):
            print(f"{exact.__name__} {n}: {error:.3g} is beyond the bound")
            failed = True
    for what, most in ("all lengths", 512), ("prime factors to 5", 5):
        (error, _), n = max((value, n) for n, value in errors.items() if value[1] <= most)
        print(f"{exact.__name__:8} {what:18}: at most {error:.2g}, {20 * math.log10(error):.1f} dB, n = {n}")
sys.exit(failed)
