"""What the functions do, by properties of their results."""

import copy
import pickle

import numpy as np
import pytest
from conftest import same, sphere

import kel


@pytest.mark.parametrize("n", [500, 4000])
def test_a_closed_cloud_makes_a_closed_mesh_that_faces_outward(n):
    mesh = kel.reconstruct(sphere(n, 0.002))
    info = mesh.info(crossings=True)
    assert info["manifold"] and info["closed"] and info["crossings"] == 0
    assert info["volume"] == pytest.approx(4.19, rel=0.05) and info["area"] == pytest.approx(12.57, rel=0.05)
    assert info["vertices"] - info["triangles"] / 2 == 2  # the Euler characteristic of a sphere
    assert mesh.vertices.dtype == np.float64 and mesh.triangles.dtype == np.int32
    assert mesh.report["points"] == n and mesh.report["manifold"]["closed"]
    assert dict(mesh.report["steps"])["surface"] > 0.0


def test_any_layout_of_the_same_points_makes_the_same_mesh(points):
    mesh = kel.reconstruct(points)
    wide = np.zeros((len(points), 7))
    wide[:, 1:6:2] = points
    read_only = points.copy()
    read_only.flags.writeable = False
    bytes_before = np.zeros(points.nbytes + 1, dtype=np.uint8)
    unaligned = bytes_before[1:].view(np.float64).reshape(points.shape)
    unaligned[:] = points
    for layout in (
        np.asfortranarray(points),
        wide[:, 1:6:2],
        points[::-1][::-1],
        np.repeat(points, 2, axis=0)[::2],
        read_only,
        unaligned,
        points.astype(">f8"),
        points.astype(np.longdouble),
        points.tolist(),
        [tuple(row) for row in points],
        np.ma.array(points),
    ):
        assert same(kel.reconstruct(layout), mesh)


def test_single_precision_and_integers_are_taken_as_they_are(points):
    single = points.astype(np.float32)
    assert same(kel.reconstruct(single[:, ::-1]), kel.reconstruct(single[:, ::-1].astype(np.float64)))
    grid = np.round(points * 1000).astype(np.int16)
    assert kel.spacing(grid) == kel.spacing(grid.astype(np.float64))


def test_points_are_not_changed_and_not_kept(points):
    own = points.copy()
    mesh = kel.reconstruct(own)
    vertices = mesh.vertices.copy()
    assert np.array_equal(own, points)
    own[:] = 0.0
    assert np.array_equal(mesh.vertices, vertices)


def test_masked_rows_are_left_out_like_those_that_are_not_finite(points):
    masked = np.ma.array(points, mask=np.zeros_like(points, dtype=bool))
    masked[::10] = np.ma.masked
    holed = points.copy()
    holed[::10] = np.nan
    with pytest.warns(kel.KelWarning, match="left out: 300"):
        by_mask = kel.reconstruct(masked)
    with pytest.warns(kel.KelWarning, match="left out: 300") as caught:
        by_nan = kel.reconstruct(holed)
    assert caught[0].filename == __file__  # it points to the caller
    assert same(by_mask, by_nan)
    with pytest.raises(ValueError, match="points has 300 rows that aren't finite, first row 0"):
        kel.reconstruct(holed, nan_policy="raise")


def test_arrays_of_a_mesh_are_read_only_and_outlive_it(mesh):
    vertices, triangles = mesh.vertices, mesh.triangles
    assert vertices is mesh.vertices and triangles.max() == len(vertices) - 1
    for array in (vertices, triangles):
        with pytest.raises(ValueError, match="read-only"):
            array[0] = 0
    before = vertices.copy()
    mesh.reduce(100)
    assert len(mesh.triangles) == 100 and mesh.vertices is not vertices
    del mesh
    assert np.array_equal(vertices, before)


def test_copies_are_the_same_and_separate(mesh):
    mesh.make_manifold()
    for other in (mesh.copy(), copy.copy(mesh), copy.deepcopy(mesh), pickle.loads(pickle.dumps(mesh))):
        assert same(other, mesh) and other.report == mesh.report
        other.smooth(rounds=2)
        assert not np.array_equal(other.vertices, mesh.vertices)

    class Scan(kel.Mesh):
        pass

    assert type(Scan(mesh.vertices, mesh.triangles).copy()) is Scan


def test_changes_in_place(mesh):
    n = len(mesh.triangles)
    done = mesh.reduce(n // 2)
    assert done["before"] == n and n // 2 - done["after"] in (0, 1) and done["distance"] == -1.0
    by_distance = mesh.reduce(max_distance=0.05)
    assert 0.0 < by_distance["distance"] <= 0.05 and len(mesh.triangles) == by_distance["after"] < n // 2
    vertices = mesh.vertices
    mesh.flip()
    assert np.array_equal(np.unique(mesh.vertices, axis=0), np.unique(vertices, axis=0))
    assert mesh.smooth("bilateral", 3)["mean_move"] > 0.0
    assert mesh.collapse(0.5, 20.0) >= 0
    before = mesh.info()["volume"]
    mesh.laplacian(5)
    assert mesh.info()["volume"] < before
    assert mesh.make_manifold()["closed"] and mesh.remove_crossings() == 0


def test_fit_moves_a_mesh_to_its_points():
    points = sphere(3000, 0.01)
    mesh = kel.reconstruct(points, fit=False)

    def error():
        return np.abs(np.linalg.norm(mesh.vertices, axis=1) - 1.0).mean()

    before = error()
    assert mesh.fit(points)["points"] == len(points)
    assert error() < 0.8 * before


def test_holes_are_filled():
    points = sphere(3000)
    mesh = kel.reconstruct(points[points[:, 2] < 0.97])
    info = mesh.info()
    assert not info["closed"] and info["volume"] is None
    assert mesh.fill(info["border_edges"]) >= 1
    assert mesh.info()["closed"]


def test_a_soup_is_melted_in_each_of_its_forms(mesh):
    soup = mesh.vertices[mesh.triangles]
    melted = kel.melt(soup, 0.1)
    assert melted.info()["closed"] and melted.report["triangles"] == len(soup)
    assert same(melted, kel.melt((mesh.vertices, mesh.triangles), 0.1))
    assert same(melted, kel.melt(soup.reshape(-1, 3), 0.1))
    cloud = kel.cloud(soup, 0.1)
    assert cloud.shape[1] == 3 and np.abs(np.linalg.norm(cloud, axis=1) - 1.0).max() < 0.1
    assert np.array_equal(cloud, kel.cloud((mesh.vertices.tolist(), mesh.triangles.tolist()), 0.1))


def test_spacing_scales_with_the_points(points):
    assert kel.spacing(4.0 * points) == pytest.approx(4.0 * kel.spacing(points), rel=1e-9)


def test_files_keep_what_they_are_given(tmp_path, points, mesh):
    for name in ("p.xyz", "p.ply", "p.bin", "p.las"):
        kel.write_points(tmp_path / name, points)
        assert np.allclose(kel.read_points(tmp_path / name), points, atol=1e-4), name
    for name, options in [
        ("m.ply", {}),
        ("m.ply", {"ascii": True, "precision": "double"}),
        ("m.off", {"precision": "double"}),
        ("m.obj", {"normals": True}),
        ("m.stl", {}),
        ("m.stl", {"stl_binary": True}),
    ]:
        mesh.write(tmp_path / name, **options)
        assert len(kel.read_mesh(tmp_path / name, join=False).triangles) == len(mesh.triangles), name
        assert kel.read_triangles(str(tmp_path / name)).shape == (len(mesh.triangles), 3, 3)
    exact = tmp_path / "exact.ply"
    mesh.write(exact, precision="double")
    assert np.array_equal(kel.read_triangles(bytes(exact)), mesh.vertices[mesh.triangles])


def test_a_mesh_is_made_of_arrays():
    square = kel.Mesh([[0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0]], np.array([[0, 1, 2], [0, 2, 3]], dtype=np.uint8))
    assert repr(square) == "<kel.Mesh: 4 vertices, 2 triangles>"
    assert square.info()["area"] == 1.0 and square.report is None
    seam = [[0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0]]
    assert len(kel.Mesh(seam, [[0, 1, 2], [3, 5, 4]]).vertices) == 4
    assert len(kel.Mesh(seam, [[0, 1, 2], [3, 5, 4]], join=False).vertices) == 6


def test_the_grid_lies_where_the_origin_says(points):
    options = dict(spacing=0.08, outliers=False, even=False, fit=False, manifold=False, min_piece_area=0.0)
    cells = {kel.reconstruct(points, origin=o, **options).report["cells"] for o in ([0, 0, 0], [0.8, -1.6, 0.08])}
    assert len(cells) == 1
    with pytest.raises(ValueError, match="origin"):
        kel.reconstruct(points, origin=[0, 0, np.nan])
