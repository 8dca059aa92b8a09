"""Clouds that the tests share."""

import os
import pathlib

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


def same(a: kel.Mesh, b: kel.Mesh) -> bool:
    """The same to the last bit."""
    return np.array_equal(a.vertices, b.vertices) and np.array_equal(a.triangles, b.triangles)
