"""Shows the progress of a run, and ends one that takes too long.

usage: progress.py [SECONDS]
"""
import sys
import time

import numpy as np

import kel

limit = float(sys.argv[1]) if len(sys.argv) > 1 else 60.0

random = np.random.default_rng(1)
points = random.normal(size=(30000, 3))
points /= np.linalg.norm(points, axis=1)[:, None]


class TooLong(Exception):
    """The time is up."""


class Watch:
    """Prints each fifth of the progress with the time that is left, as far as that can be told."""

    def __init__(self):
        self.start = time.monotonic()
        self.shown = -1

    def __call__(self, name, fraction):
        passed = time.monotonic() - self.start
        if passed > limit:
            raise TooLong
        if int(5 * fraction) > self.shown and fraction > 0.0:
            self.shown = int(5 * fraction)
            print(f"{name}: {fraction:4.0%}, about {passed * (1.0 / fraction - 1.0):.1f} s left")


try:
    mesh = kel.reconstruct(points, progress=Watch())
except TooLong:
    print(f"ended after {limit} s")
else:
    print(mesh)
