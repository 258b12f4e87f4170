"""Compares the transform with NumPy's, at every length and in both directions.

usage: fft_numpy_test.py LIBZETO; exit status 77 where NumPy is missing.
"""
import ctypes
import sys

try:
    import numpy as np
except ImportError:
    print("skipped: NumPy is missing (Debian: python3-numpy)")
    sys.exit(77)

library = ctypes.CDLL(sys.argv[1])
lookup = ctypes.create_string_buffer(6276)
random = np.random.default_rng(1)


def bound(n):
    largest = max((p for p in range(2, n + 1) if n % p == 0 and all(p % q for q in range(2, p))), default=1)
    return 3.5e-7 + (1e-8 * largest**2 if largest > 5 else 0)


def packed(spectrum, n):
    """Re 0, then (Re, Im) of bins 1 and up, without the last imaginary part of an even length."""
    return np.stack((spectrum.real, spectrum.imag), 1).ravel()[[0, *range(2, n + 1)]]


def error(got, want):
    return np.linalg.norm(got - want) / np.linalg.norm(want)


failed, worst = 0, {"forward": 0.0, "backward": 0.0}
for n in range(1, 513):
    library.zeto_drft_init(lookup, n)
    samples = random.standard_normal(n).astype(np.float32)
    there = samples.copy()
    library.zeto_drft_forward(lookup, there.ctypes.data_as(ctypes.c_void_p))
    back = there.copy()
    library.zeto_drft_backward(lookup, back.ctypes.data_as(ctypes.c_void_p))

    exact = np.fft.rfft(samples.astype(np.float64))
    terms = np.zeros(n // 2 + 1, complex)  # the spectrum that the backward transform was really given
    terms.view(float)[[0, *range(2, n + 1)]] = there
    errors = {
        "forward": error(there, packed(exact, n)),
        "backward": error(back, np.fft.irfft(terms, n) * n),
    }
    for direction, value in errors.items():
        worst[direction] = max(worst[direction], value / bound(n))
        if value > bound(n):
            print(f"{direction} {n}: {value:.3g} is beyond {bound(n):.3g}")
            failed += 1
print(", ".join(f"{direction}: at most {share:.2f} of the bound" for direction, share in worst.items()))
sys.exit(failed != 0)
