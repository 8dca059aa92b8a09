"""Clouds that the tests share."""

import os
import pathlib
import subprocess
import sys

import numpy as np
import pytest

import kel

SOURCE = pathlib.Path(os.environ["KEL_SOURCE"])


def sphere(n: int, noise: float = 0.0, seed: int = 1) -> "np.ndarray":
    """Points evenly spread over the unit sphere."""
    random = np.random.default_rng(seed)
    directions = random.normal(size=(n, 3))
    directions /= np.linalg.norm(directions, axis=1)[:, None]
    return directions * (1.0 + noise * random.normal(size=(n, 1)))


@pytest.fixture(scope="session")
def points() -> "np.ndarray":
    return sphere(3000)


@pytest.fixture
def mesh(points: "np.ndarray") -> kel.Mesh:
    return kel.reconstruct(points, fit=False)


def resident() -> int:
    """The bytes of memory that this process has."""
    with open("/proc/self/statm") as file:
        return int(file.read().split()[1]) * os.sysconf("SC_PAGESIZE")


def number_of_child(code: str) -> int:
    """The number that a fresh process prints, where nothing else took or gave back memory. It finds the modules of the tests."""
    environment = dict(os.environ)
    here = str(pathlib.Path(__file__).parent)
    environment["PYTHONPATH"] = os.pathsep.join(filter(None, (here, environment.get("PYTHONPATH"))))
    if "ASAN_OPTIONS" in environment:  # it holds back what is freed
        environment["ASAN_OPTIONS"] += ":quarantine_size_mb=0:thread_local_quarantine_size_kb=0"
    done = subprocess.run([sys.executable, "-c", code], check=True, capture_output=True, text=True, env=environment)
    return int(done.stdout)


def same(a: kel.Mesh, b: kel.Mesh) -> bool:
    """The same to the last bit."""
    return np.array_equal(a.vertices, b.vertices) and np.array_equal(a.triangles, b.triangles)
