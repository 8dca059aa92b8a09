"""What the functions do, by properties of their results."""

import copy
import pickle
import sys

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


def test_plain_arrays_are_used_where_they_lie(points):
    read_only = points.copy()
    read_only.flags.writeable = False
    unaligned = np.zeros(points.nbytes + 1, dtype=np.uint8)[1:].view(np.float64).reshape(points.shape)
    for array, shared in (
        (points, True), (read_only, True), (points[5:], True), (points.astype(np.float32), False),
        (np.asfortranarray(points), False), (points[::2], False), (points[:, ::-1], False), (unaligned, False),
        (points.astype(">f8"), False),
    ):  # fmt: skip
        held = kel._arrays.points(array)
        assert np.shares_memory(held.array(), array) == shared
        before = sys.getrefcount(array)
        held = None
        assert sys.getrefcount(array) == before - shared
    held = kel._arrays.points(points.copy())
    assert np.array_equal(held.array(), points)


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

    other = mesh.copy()
    other.report["before"]["border_edges"] = -1
    assert mesh.report["before"]["border_edges"] >= 0

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
    assert same(melted, kel.melt([mesh.vertices, mesh.triangles], 0.1))
    assert same(melted, kel.melt(soup.reshape(-1, 3), 0.1))
    two = np.array([[[0, 0, 1], [1, 0, 2], [0, 2, 0]], [[0, 1, 2], [2, 1, 0], [1, 2, 0]]])
    for given in (list(two), two.tolist()):  # not three triangles on three vertices
        assert np.array_equal(kel.cloud(given, 0.1), kel.cloud(two, 0.1))
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


COLUMNS = {
    **{code: np.arange(3000).astype(code) for code in ("i1", "u1", "i2", "u2", "i4", "u4", "i8", "u8", "f4", "f8")},
    "big endian": np.arange(3000, dtype=">i2")[::-1],
    "masked": np.ma.array(np.arange(3000, dtype=np.int32), mask=np.arange(3000) % 7 == 0),
    "masked floats": np.ma.array(np.linspace(0, 1, 3000), mask=np.arange(3000) < 5),
    "half": np.linspace(0, 1, 3000).astype(np.float16),
    "truth": np.arange(3000) % 2 == 0,
    "höhe": list(range(3000)),
}


def test_columns_of_every_type_go_through_a_file(tmp_path, points):
    kel.write_points(tmp_path / "a.ply", points, COLUMNS)
    read, columns = kel.read_scan(tmp_path / "a.ply")
    assert len(read) == 3000 and list(columns) == [name.replace(" ", "_") for name in COLUMNS]
    for name, given in COLUMNS.items():
        column = columns[name.replace(" ", "_")]
        values = np.ma.filled(given, np.nan if name == "masked floats" else 0)
        assert np.array_equal(column, values, equal_nan=column.dtype.kind == "f"), name
        if len(name) == 2 and name[1] != "8":  # the widest whole numbers of a .ply have 32 bits
            assert column.dtype == np.dtype(name)
    column = columns["i4"]
    del columns
    assert column.sum() == np.arange(3000).sum()


def test_vertices_get_what_the_points_near_them_carry(tmp_path, points):
    mesh = kel.reconstruct(points)
    columns = {**COLUMNS, "height": points[:, 2], "class": (points[:, 2] > 0).astype(np.uint8)}
    carried = mesh.transfer(points, columns)
    assert list(carried) == list(columns) and {len(column) for column in carried.values()} == {len(mesh.vertices)}
    edge, height = mesh.report["cell_edge"], mesh.vertices[:, 2]
    assert np.abs(carried["height"] - height).max() < 2 * edge  # that of a vertex without points is a neighbour's
    inner = np.abs(height) > 2 * edge
    assert np.array_equal(carried["class"][inner], height[inner] > 0)
    half = np.ma.array(np.ones(3000, dtype=np.int8), mask=points[:, 0] > 0)
    known = mesh.transfer(points, {"half": half})["half"]
    assert known.mask[mesh.vertices[:, 0] > 2 * edge].all() and not known.mask[mesh.vertices[:, 0] < -2 * edge].any()
    assert mesh.transfer(points, {}) == {}
    by_length = [mesh.transfer(points, {"x": points[:, 0]}, length=n)["x"] for n in (None, edge, edge / 4)]
    assert np.array_equal(by_length[0], by_length[1]) and not np.array_equal(by_length[1], by_length[2])
    mesh.write(tmp_path / "a.ply", precision="double", attributes=carried)
    places, read = kel.read_scan(tmp_path / "a.ply")  # in another order
    in_order = carried["height"][np.lexsort(mesh.vertices.T)]
    assert np.array_equal(read["height"][np.lexsort(places.T)], in_order)
    with pytest.warns(kel.KelWarning, match="a.stl can't hold i1, .*, height, class$"):
        mesh.write(tmp_path / "a.stl", attributes=carried)


def test_classes_of_a_scan(tmp_path, points):
    classes = np.arange(3000, dtype=np.uint8) % 5
    kel.write_points(tmp_path / "a.las", points, {"classification": classes})
    assert np.array_equal(kel.read_scan(tmp_path / "a.las")[1]["classification"], classes)
    some, columns = kel.read_scan(tmp_path / "a.las", classes=np.array([2, 4]))
    assert np.array_equal(columns["classification"], classes[(classes == 2) | (classes == 4)])
    assert np.array_equal(kel.read_points(tmp_path / "a.las", classes=(2, 4)), some)


def test_crossings_are_rows_of_the_triangles():
    vertices = [[9, 0, 0], [10, 0, 0], [9, 1, 0], [-1, -1, 0], [2, -1, 0], [-1, 2, 0], [0, 0, -1], [0, 0, 1], [0.5, 0.1, 1]]
    pairs = kel.Mesh(vertices, [[3, 4, 5], [6, 7, 8], [0, 1, 2]]).crossings()
    assert pairs.dtype == np.int64 and pairs.tolist() == [[0, 1]]
    assert kel.Mesh(vertices, [[0, 1, 2]]).crossings().shape == (0, 2)


def test_normals_point_outwards_from_a_closed_mesh(points):
    mesh = kel.reconstruct(points)
    normals = mesh.normals()
    assert normals.shape == mesh.vertices.shape and normals.dtype == np.float64
    outwards = mesh.vertices / np.linalg.norm(mesh.vertices, axis=1)[:, None]
    assert (np.sum(normals * outwards, axis=1) > 0.9).all()


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
