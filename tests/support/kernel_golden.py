#!/usr/bin/env python3
"""Prints the checksums that kernels_test.cpp expects: the vector kernels rendered a second time, apart from the library.

Each operation is taken in double precision and rounded to single at once. That is exact: a double has more than twice
the digits of a float, so the first rounding never spoils the second.
"""
import ctypes
import math
import struct

LENGTHS = (0, 1, 3, 4, 5, 15, 16, 17, 31, 480, 509, 512)
SPECIAL = (0x00000000, 0x80000000, 0x7F800000, 0xFF800000, 0x7FC00000, 0x00000001, 0x80000001, 0x7F7FFFFF, 0x3F800000)


def f(x):
    return ctypes.c_float(x).value


def from_bits(bits):
    return struct.unpack("f", struct.pack("I", bits))[0]


def to_bits(x):
    return 0x7FC00000 if math.isnan(x) else struct.unpack("I", struct.pack("f", x))[0]


def random_words(seed, n):
    for _ in range(n):
        seed ^= (seed << 13) & 0xFFFFFFFF
        seed ^= seed >> 17
        seed ^= (seed << 5) & 0xFFFFFFFF
        yield seed


def tame(seed, n):
    """Evenly spread over [-1, 1)."""
    return [((w >> 8) - 2**23) / 2**23 for w in random_words(seed, n)]


def wild(seed, n):
    """Any bit pattern, every third a special one."""
    return [from_bits(SPECIAL[w % 9] if i % 3 == 2 else w) for i, w in enumerate(random_words(seed, n))]


def lowest(a, b):
    if math.isnan(a) or math.isnan(b):
        return b if math.isnan(a) else a
    return min((a, b), key=lambda v: (v, math.copysign(1, v)))


def highest(a, b):
    return -lowest(-a, -b)


def add_up(values):
    total = 0.0
    for v in values:
        total = f(total + v)
    return total


def energy(x):
    paired = len(x) - len(x) % 16
    squares = [f(v * v) for v in x]
    return f(add_up(squares[1:paired:2]) + add_up(squares[0:paired:2] + squares[paired:]))


def extreme(x, beats):
    index = 0
    for i, v in enumerate(x):
        if beats(v, x[index]):
            index = i
    return [x[index], float(index)]


def mapped(op):
    return lambda a, b: [op(p, q) for p, q in zip(a, b)]


def quotient(p, q):
    return f(f(p * math.copysign(1, q)) * f(1 / highest(abs(q), f(1e-6))))


KERNELS = {
    "add_vf": mapped(lambda p, q: f(p + q)),
    "sub_vf": mapped(lambda p, q: f(p - q)),
    "dot_mult_vf": mapped(lambda p, q: f(p * q)),
    "dot_div": mapped(quotient),
    "smooth": mapped(lambda p, q: f(p + f(f(q - p) * f(0.3)))),
    "add_scalar": mapped(lambda p, _: f(p + f(0.7))),
    "mult_scalar": mapped(lambda p, _: f(p * f(0.7))),
    "maxim_limit": mapped(lambda p, _: lowest(p, -0.0)),
    "minim_limit": mapped(lambda p, _: highest(p, 0.0)),
    "dot_mult_get_sum": lambda a, b: [add_up([f(p * q) for p, q in zip(a, b)])],
    "dot_power_get_sum": lambda a, _: [energy(a)],
    "get_sum": lambda a, _: [add_up(a)],
    "get_mean": lambda a, _: [f(add_up(a) / len(a)) if a else math.nan],
    "get_max": lambda a, _: extreme(a, lambda p, q: p > q) if a else [],
    "get_min": lambda a, _: extreme(a, lambda p, q: p < q) if a else [],
}

for name, kernel in KERNELS.items():
    checksum = 0xCBF29CE484222325
    for data in (tame, wild):
        for n in LENGTHS:
            for value in kernel(data(n + 1, n), data(n + 1000, n)):
                checksum = (checksum ^ to_bits(value)) * 0x100000001B3 & 0xFFFFFFFFFFFFFFFF
    print("%-18s 0x%016x" % (name, checksum))
