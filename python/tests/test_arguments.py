"""Every wrong argument of every function: the right exception, which names the argument; and nothing is left behind."""

import contextlib
import gc
import inspect
import os
import pathlib
import re
from types import SimpleNamespace

import numpy as np
import pytest
from conftest import SOURCE, number_of_child

import kel

GOOD = np.random.default_rng(1).random((60, 3))
TRIANGLE = ([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
NAN = float("nan")


class Odd:
    """Neither a number nor a sequence."""

    def __array__(self):
        raise ValueError("no array in here")


# What is no array of points, and the exception for it, whose text also tells the shape and the dtype where there are any.
BAD_POINTS = [
    (None, TypeError, "dtype object"),
    ("scan.xyz", TypeError, "dtype <U8"),
    (3.0, ValueError, r"shape is \(\)"),
    ([1.0, 2.0, 3.0], ValueError, r"shape is \(3,\) and its dtype float64"),
    (GOOD[:, :2], ValueError, r"shape is \(60, 2\)"),
    (GOOD.reshape(20, 3, 3), ValueError, r"shape is \(20, 3, 3\)"),
    (GOOD.astype(complex), TypeError, "dtype complex128"),
    (GOOD > 0.5, TypeError, "dtype bool"),
    (GOOD.astype("M8[s]"), TypeError, "dtype datetime64"),
    (GOOD.astype(object), TypeError, "dtype object"),
    (GOOD.astype([("x", "f8")]), (TypeError, ValueError), "dtype"),
    ([[1, 2, 3], [1, 2]], ValueError, "numpy says"),
    (Odd(), ValueError, "no array in here"),
    ({"x": 1}, TypeError, "dtype object"),
]
NOT_A_NUMBER = ["1", None, [1.0], 1j, object()]
NOT_WHOLE = [1.5, "1", None, True, NAN]
BAD_COLUMNS = [
    ([1.0], TypeError, "attributes must be a mapping of names to arrays, not list"),
    ({3: [1.0]}, TypeError, "a name in attributes must be str, not int"),
    ({"": [1.0]}, ValueError, "attributes has the name '', which is empty"),
    ({"a\0": [1.0]}, ValueError, "attributes has the name"),
    ({"\ud800": [1.0]}, ValueError, "attributes has the name"),
    ({"red": np.zeros(2)}, ValueError, r"attributes\['red'\] must have the shape \(\d+,\), but its shape is \(2,\) and"),
    ({"red": np.zeros((60, 1))}, ValueError, r"attributes\['red'\] must have .* shape is \(60, 1\)"),
    ({"red": ["a"] * 60}, TypeError, r"attributes\['red'\] must hold numbers .* dtype <U1"),
    ({"red": None}, TypeError, r"attributes\['red'\] must hold numbers .* dtype object"),
    ({"red": np.zeros(60, dtype="c8")}, TypeError, r"attributes\['red'\] must hold numbers .* dtype complex64"),
    ({"red": [[1], [1, 2]]}, ValueError, r"attributes\['red'\] must be an array of numbers, but numpy says"),
]
BAD_CLASSES = [
    (2, TypeError, "classes must be a sequence of whole numbers, not 2"),
    ([2.0], TypeError, "classes must be a sequence of whole numbers"),
    ("ground", TypeError, "classes must be a sequence"),
    ([], ValueError, "classes is empty"),
    ([2**40], ValueError, "a class in classes is 1099511627776, which is out of range"),
]
NOT_A_FLAG = [1, 0.0, "yes", None, []]
BAD_PATHS = [(3, TypeError), (None, TypeError), ("a\0b", ValueError), ([], TypeError)]


def mesh():
    return kel.Mesh(*TRIANGLE)


# For each callable: how it is called with one keyword changed, and which keyword takes what.
NUMBERS, WHOLE, FLAGS, POINTS, PATHS, COLUMNS, CLASSES = range(7)
CALLS = {
    "reconstruct": (
        lambda **o: kel.reconstruct(**{"points": GOOD, **o}),
        {
            POINTS: ["points"],
            NUMBERS: ["factor", "min_piece_area"],
            WHOLE: ["grow", "max_pinhole_edges", "max_hole_edges", "threads"],
            FLAGS: [
                "outliers", "even", "laplacian", "careful_growth", "manifold", "no_crossings", "fit", "denoise",
            ],  # fmt: skip
        },
    ),
    "melt": (
        lambda **o: kel.melt(**{"triangles": TRIANGLE, "spacing": 0.1, **o}),
        {
            NUMBERS: ["spacing", "feature_angle"],
            WHOLE: ["max_pinhole_edges", "max_hole_edges", "threads"],
            FLAGS: ["complete", "manifold"],
        },
    ),
    "cloud": (
        lambda **o: kel.cloud(**{"triangles": TRIANGLE, "spacing": 0.1, **o}),
        {NUMBERS: ["spacing", "feature_angle"]},
    ),
    "spacing": (lambda **o: kel.spacing(**{"points": GOOD, **o}), {POINTS: ["points"]}),
    "read_points": (lambda **o: kel.read_points(**{"path": "none.las", **o}), {PATHS: ["path"], CLASSES: ["classes"]}),
    "read_scan": (lambda **o: kel.read_scan(**{"path": "none.las", **o}), {PATHS: ["path"], CLASSES: ["classes"]}),
    "read_mesh": (lambda **o: kel.read_mesh(**{"path": "none.ply", **o}), {PATHS: ["path"], FLAGS: ["join"]}),
    "read_triangles": (lambda path: kel.read_triangles(path), {PATHS: ["path"]}),
    "write_points": (
        lambda **o: kel.write_points(**{"path": "none.xyz", "points": GOOD, **o}),
        {PATHS: ["path"], POINTS: ["points"], COLUMNS: ["attributes"]},
    ),
    "set_num_threads": (kel.set_num_threads, {WHOLE: ["num_threads"]}),
    "Mesh": (
        lambda **o: kel.Mesh(**{"vertices": TRIANGLE[0], "triangles": TRIANGLE[1], **o}),
        {POINTS: ["vertices"], FLAGS: ["join"]},
    ),
    "Mesh.info": (lambda **o: mesh().info(**o), {FLAGS: ["crossings"]}),
    "Mesh.reduce": (
        lambda **o: mesh().reduce(**{"triangles": 1, **o}),
        {
            NUMBERS: ["max_distance", "feature_angle"],
            WHOLE: ["triangles"],
            FLAGS: ["move_vertices", "keep_borders", "keep_features", "no_crossings", "fit"],
        },
    ),
    "Mesh.collapse": (
        lambda **o: mesh().collapse(**{"max_edge_length": 1.0, "max_angle": 9.0, **o}),
        {NUMBERS: ["max_edge_length", "max_angle"], FLAGS: ["manifold", "no_crossings"]},
    ),
    "Mesh.smooth": (
        lambda **o: mesh().smooth(**o),
        {NUMBERS: ["pass_band", "edge_angle"], WHOLE: ["rounds"], FLAGS: ["keep_borders", "no_crossings"]},
    ),
    "Mesh.laplacian": (
        lambda **o: mesh().laplacian(**{"rounds": 1, **o}),
        {WHOLE: ["rounds"], FLAGS: ["manifold", "no_crossings"]},
    ),
    "Mesh.flip": (lambda **o: mesh().flip(**o), {FLAGS: ["annealing", "manifold", "no_crossings"]}),
    "Mesh.fill": (
        lambda **o: mesh().fill(**{"max_edges": 9, **o}),
        {WHOLE: ["max_edges"], FLAGS: ["manifold", "no_crossings"]},
    ),
    "Mesh.make_manifold": (lambda **o: mesh().make_manifold(**o), {FLAGS: ["no_crossings"]}),
    "Mesh.remove_crossings": (lambda **o: mesh().remove_crossings(**o), {}),
    "Mesh.normals": (lambda **o: mesh().normals(**o), {}),
    "Mesh.crossings": (lambda **o: mesh().crossings(**o), {}),
    "Mesh.transfer": (
        lambda **o: mesh().transfer(**{"points": GOOD, "attributes": {}, **o}),
        {POINTS: ["points"], COLUMNS: ["attributes"]},
    ),
    "Mesh.fit": (
        lambda **o: mesh().fit(**{"points": GOOD, **o}),
        {POINTS: ["points"], NUMBERS: ["cell_edge"], FLAGS: ["noise", "no_crossings"]},
    ),
    "Mesh.write": (
        lambda **o: mesh().write(**{"path": os.devnull + "/a.ply", **o}),
        {PATHS: ["path"], FLAGS: ["ascii", "normals", "stl_binary"], COLUMNS: ["attributes"]},
    ),
    "Mesh.copy": (lambda **o: mesh().copy(**o), {}),
}
OTHERS = {
    "trimesh": ("trimesh.Trimesh", SimpleNamespace(vertices=TRIANGLE[0], faces=TRIANGLE[1])),
    "open3d": ("open3d.geometry.TriangleMesh", SimpleNamespace(vertices=TRIANGLE[0], triangles=TRIANGLE[1])),
    "vtk": ("vtkPolyData", SimpleNamespace()),
    "pyvista": ("pyvista.PolyData", SimpleNamespace()),
}
for _name, (_, _like) in OTHERS.items():
    CALLS[f"Mesh.to_{_name}"] = (lambda method=f"to_{_name}", **o: getattr(mesh(), method)(**o), {})
    CALLS[f"Mesh.from_{_name}"] = (
        lambda method=getattr(kel.Mesh, f"from_{_name}"), like=_like, **o: method(**{"mesh": like, **o}),
        {FLAGS: ["join"]},
    )


def rows():
    for name, (call, kinds) in CALLS.items():
        for keyword in kinds.get(POINTS, []):
            for value, exception, text in BAD_POINTS:
                yield name, call, keyword, value, exception, f"{keyword} must .*{text}"
        for keyword in kinds.get(NUMBERS, []):
            for value in NOT_A_NUMBER:
                yield name, call, keyword, value, TypeError, f"{keyword} must be a number, not"
        for keyword in kinds.get(WHOLE, []):
            for value in NOT_WHOLE:
                yield name, call, keyword, value, TypeError, f"{keyword} must be a whole number, not"
            yield name, call, keyword, 2**80, ValueError, f"{keyword} is .*, which is out of range"
        for keyword in kinds.get(FLAGS, []):
            for value in NOT_A_FLAG:
                yield name, call, keyword, value, TypeError, f"{keyword} must be True or False, not"
        for kind, values in ((COLUMNS, BAD_COLUMNS), (CLASSES, BAD_CLASSES)):
            for keyword in kinds.get(kind, []):
                for value, exception, text in values:
                    yield name, call, keyword, value, exception, text
        for keyword in kinds.get(PATHS, []):
            for value, exception in BAD_PATHS:
                yield name, call, keyword, value, exception, keyword
        signature = inspect.signature(eval(f"kel.{name}"))
        if "progress" in signature.parameters:
            yield name, call, "progress", 3, TypeError, "progress must be a callable, True or None, not int"
        if "nan_policy" in signature.parameters:
            yield name, call, "nan_policy", "drop", ValueError, "nan_policy must be .* not 'drop'"
        yield name, call, "sapcing", 3, TypeError, "sapcing"


# What is a number, but none that can be; and what is wrong in its own way.
VALUES = [
    ("reconstruct", "spacing", -1.0, ValueError, "spacing is -1, but must be 0 or greater"),
    ("reconstruct", "spacing", NAN, ValueError, "spacing is nan"),
    ("reconstruct", "spacing", 1e-12, kel.Error, r"Condition \["),
    ("reconstruct", "spacing", 1e12, kel.Error, "."),
    ("reconstruct", "factor", 0.0, ValueError, "factor is 0, but must be greater than 0"),
    ("reconstruct", "factor", float("inf"), ValueError, "factor is inf"),
    ("reconstruct", "min_piece_area", NAN, ValueError, "min_piece_area is nan"),
    ("reconstruct", "min_piece_area", -1.0, ValueError, "min_piece_area is -1, but must be 0 or greater"),
    ("reconstruct", "origin", [1.0, 2.0], ValueError, r"origin must have the shape \(3,\), but its shape is \(2,\)"),
    ("reconstruct", "origin", "abc", TypeError, "origin must hold numbers"),
    ("reconstruct", "origin", [NAN, 0, 0], ValueError, "origin isn't finite"),
    ("reconstruct", "points", [], kel.Error, "."),
    ("reconstruct", "points", np.full((5, 3), NAN), kel.Error, "."),
    ("melt", "spacing", 0.0, ValueError, "spacing is 0, but must be greater than 0"),
    ("melt", "feature_angle", NAN, ValueError, "feature_angle is nan"),
    ("melt", "feature_angle", -1.0, ValueError, "feature_angle is -1, but must be 0 or greater"),
    ("cloud", "feature_angle", -1.0, ValueError, "feature_angle is -1, but must be 0 or greater"),
    ("Mesh.collapse", "max_edge_length", -1.0, ValueError, "max_edge_length is -1, but must be 0 or greater"),
    ("Mesh.collapse", "max_angle", -1.0, ValueError, "max_angle is -1, but must be 0 or greater"),
    ("melt", "triangles", GOOD[:4], ValueError, r"triangles must be a pair .* shape is \(4, 3\)"),
    ("melt", "triangles", (GOOD, [[0, 1]]), ValueError, r"triangles\[1\] must have the shape"),
    ("melt", "triangles", (GOOD, [[0, 1, 60]]), ValueError, r"triangles\[1\] names vertex 60, but there are 60"),
    ("melt", "triangles", (GOOD[:, :2], [[0, 1, 2]]), ValueError, r"triangles\[0\] must have the shape"),
    ("melt", "triangles", [], ValueError, r"shape is \(0,\)"),
    ("melt", "triangles", np.empty((0, 3, 3)), kel.Error, "."),
    ("cloud", "spacing", -1.0, ValueError, "spacing is -1"),
    ("cloud", "triangles", None, TypeError, "triangles must hold numbers"),
    ("spacing", "points", [], kel.Error, "."),
    ("Mesh", "triangles", [[0, 1, 3]], ValueError, "triangles names vertex 3, but there are 3 vertices"),
    ("Mesh", "triangles", [[0, 1, -1]], ValueError, "triangles names vertex -1"),
    ("Mesh", "triangles", [[0, 1, 2**40]], ValueError, "triangles names vertex 1099511627776"),
    ("Mesh", "triangles", [[0.0, 1.0, 2.0]], TypeError, "triangles must hold integers, .* dtype float64"),
    ("Mesh", "triangles", [0, 1, 2], ValueError, r"triangles must have the shape \(n, 3\)"),
    ("Mesh", "triangles", [], kel.Error, "no triangles"),
    ("Mesh.reduce", "triangles", 0, ValueError, "Neither triangles nor max_distance"),
    ("Mesh.reduce", "triangles", -5, ValueError, "triangles is -5, which is out of range"),
    ("Mesh.reduce", "max_distance", -1.0, ValueError, "max_distance is -1"),
    ("Mesh.reduce", "feature_angle", 181.0, ValueError, "feature_angle is 181, but must be from 0 to 180"),
    ("Mesh.collapse", "max_angle", NAN, ValueError, "max_angle is nan"),
    ("Mesh.smooth", "method", "laplace", ValueError, "method must be one of 'taubin', 'bilateral', not 'laplace'"),
    ("Mesh.smooth", "method", None, ValueError, "method must be one of"),
    ("Mesh.smooth", "pass_band", 0.4, ValueError, "pass_band is 0.4, but must be"),
    ("Mesh.smooth", "edge_angle", 0.0, ValueError, "edge_angle is 0, but must be"),
    ("Mesh.fit", "cell_edge", -1.0, ValueError, "cell_edge is -1"),
    ("Mesh.write", "precision", "exact", ValueError, "precision must be one of 'auto', 'single', 'double'"),
    ("Mesh.write", "path", "a.png", ValueError, "a mesh is written to .ply, .stl, .obj, .off or .list, not to a.png"),
    ("Mesh.transfer", "length", "1", TypeError, "length must be a number, not str"),
    ("Mesh.transfer", "length", -1.0, ValueError, "length is -1, but must be 0 or greater"),
    ("reconstruct", "threads", -1, ValueError, "threads is -1, but must be 0 or greater"),
    ("melt", "threads", -1, ValueError, "threads is -1, but must be 0 or greater"),
    ("set_num_threads", "num_threads", -5, ValueError, "num_threads is -5, but must be 0 or greater"),
    *[(f"Mesh.from_{name}", "mesh", "a", TypeError, f"mesh must be a {kind}, not str") for name, (kind, _) in OTHERS.items()],
    ("write_points", "path", "a.stl", ValueError, "points are written to .*, not to a.stl"),
]
TABLE = list(rows()) + [(name, CALLS[name][0], *row) for name, *row in VALUES]


@pytest.mark.parametrize(
    "call, keyword, value, exception, text",
    [pytest.param(*row[1:], id=f"{i}-{row[0]}-{row[2]}") for i, row in enumerate(TABLE)],
)
def test_wrong_argument(call, keyword, value, exception, text, tmp_path, monkeypatch, capfd):
    monkeypatch.chdir(tmp_path)
    with pytest.raises(exception, match=re.compile(text, re.DOTALL)):
        call(**{keyword: value})
    assert list(tmp_path.iterdir()) == []
    assert capfd.readouterr() == ("", "")


def test_the_table_has_every_function_and_argument():
    names = [name for name in kel.__all__ if not isinstance(getattr(kel, name), type)] + ["Mesh"]
    methods = [name for name, value in vars(kel.Mesh).items() if inspect.isfunction(value) or isinstance(value, classmethod)]
    names += [f"Mesh.{name}" for name in methods if name[0] != "_"]
    assert sorted(CALLS) == sorted(names)
    tried = {(row[0], row[2]) for row in TABLE}
    for name in names:
        for argument in inspect.signature(eval(f"kel.{name}")).parameters:
            assert argument == "self" or (name, argument) in tried, f"no wrong {argument} of {name} is tried"


def test_files_that_are_none(tmp_path):
    for read in (kel.read_points, kel.read_scan, kel.read_mesh, kel.read_triangles):
        with pytest.raises(FileNotFoundError, match="none.ply"):
            read(tmp_path / "none.ply")
        with pytest.raises(kel.FileError):
            read(tmp_path)
        with pytest.raises(kel.FileError, match="Not a directory: '.*none.ply'"):
            read(pathlib.Path(__file__) / "none.ply")
        broken = tmp_path / "broken.ply"
        broken.write_bytes(b"ply\nformat ascii 1.0\nelement vertex 99999999999\n")
        with pytest.raises(kel.FileError) as caught:
            read(broken)
        assert "\x1b" not in str(caught.value) and isinstance(caught.value, OSError)
    with pytest.raises(kel.FileError):
        kel.write_points(tmp_path / "no" / "a.xyz", GOOD)
    with pytest.raises(kel.FileError):
        mesh().write(tmp_path / "no" / "a.ply")
    for classes, text in (([2, 256], "a class is 256, but must be from 0 to 255"), ([2], "only LAS files")):
        with pytest.raises(ValueError, match=text):
            kel.read_scan(broken, classes=classes)
    assert sorted(path.name for path in tmp_path.iterdir()) == ["broken.ply"]


def refused():
    """Passes each wrong argument of the table once."""
    for _, call, keyword, value, exception, _ in TABLE:
        with contextlib.suppress(exception):
            call(**{keyword: value})


def test_wrong_arguments_leave_no_objects_behind():
    refused()
    gc.collect()
    before = len(gc.get_objects())
    for _ in range(3):
        refused()
    gc.collect()
    assert len(gc.get_objects()) <= before + 20


GROWTH = """
import gc
import kel
from conftest import resident
from test_arguments import refused
kel.set_num_threads(1)
def after(rounds):
    for _ in range(rounds):
        refused()
    gc.collect()
    return resident()
print(-after(10) + after(40))
"""


# 100 bytes for each of the some 580 arguments would be over 2 MiB. The address sanitizer keeps that much itself: some 180 bytes
# for each thread that has ended, and most calls have one.
@pytest.mark.skipif("asan" in pathlib.Path("/proc/self/maps").read_text(), reason="the address sanitizer remembers threads")
def test_wrong_arguments_leave_no_memory_behind():
    grown = number_of_child(GROWTH)
    print("bytes grown by:", grown)
    assert grown < 2**19


def test_keywords_are_the_options_of_the_library_with_its_defaults():
    spelled = {
        "reconstruct": kel.reconstruct,
        "melt": kel.melt,
        "keep": kel.Mesh.flip,
        "fit": kel.Mesh.fit,
        "reduce": kel.Mesh.reduce,
        "smooth": kel.Mesh.smooth,
        "write": kel.Mesh.write,
    }
    elsewhere = {"self", "points", "triangles", "origin", "progress", "nan_policy", "annealing", "path", "attributes"}
    codes = {"taubin": 0, "auto": 0, None: 0.0}
    defaults = kel._kel.defaults()
    assert sorted(defaults) == sorted(spelled)
    header = re.sub("//.*", "", (SOURCE / "include/kel_c.h").read_text())
    for name, function in spelled.items():
        parameters = inspect.signature(function).parameters
        for option, default in defaults[name].items():
            own = parameters[option].default
            if own is not inspect.Parameter.empty:  # the spacing of melt has none
                assert codes.get(own, own) == default, f"{name}: {option}"
        assert set(parameters) - set(defaults[name]) <= elsewhere, name
        struct = re.search(rf"typedef struct kel_{name}_options \{{(.*?)\}}", header, re.S).group(1)
        fields = set(re.findall(r"(\w+)(?:\[3\])?;", struct))
        in_other_forms = {"size", "unused", "has_origin", "origin", "progress", "progress_data", "stop"}
        assert fields - in_other_forms == set(defaults[name]), name
