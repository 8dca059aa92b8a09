"""The package around the functions: its types, what it imports, other packages, the examples."""

import importlib.util
import inspect
import os
import re
import subprocess
import sys
from types import SimpleNamespace

import numpy as np
import pytest
from conftest import SOURCE, same, sphere

import kel

EXAMPLES = SOURCE / "examples/python"


def run(*command, **options):
    return subprocess.run([sys.executable, *map(str, command)], capture_output=True, text=True, timeout=120, **options)


def test_types_hold_by_mypy(tmp_path):
    pytest.importorskip("mypy")
    done = run("-m", "mypy", "--strict", "--cache-dir", os.devnull, SOURCE / "python/kel")
    assert done.returncode == 0, done.stdout
    (tmp_path / "mypy.ini").write_text(f"[mypy]\ncache_dir = {os.devnull}\n")
    # Beside the source, the folder where it starts, there is no compiled part; so it starts elsewhere.
    command = ("-m", "mypy.stubtest", "--concise", "--mypy-config-file", "mypy.ini", "kel._kel")
    done = run(*command, cwd=tmp_path)
    # Without these it didn't run: names of types for the stub alone, and what pybind11 makes classes by.
    known = {f"kel._kel.{name} is not present at runtime" for name in ("Keywords", "Report")}
    known |= {f"kel._kel.{name} is inconsistent, metaclass differs" for name in ("Attributes", "Mesh", "Points")}
    assert set(done.stdout.splitlines()) == known, done.stdout + done.stderr


def test_the_version_is_that_of_the_build():
    assert f"project(kel VERSION {kel.__version__} " in (SOURCE / "CMakeLists.txt").read_text()


def test_importing_brings_in_nothing_that_is_slow():
    done = run("-c", "import sys, kel; print(sorted(m for m in ('numpy', 'tqdm', 'inspect') if m in sys.modules))")
    assert done.stdout == "[]\n", done.stderr


def test_everything_has_a_docstring_in_numpydoc_form():
    objects = [getattr(kel, name) for name in kel.__all__]
    objects += [getattr(value, "__func__", value) for name, value in vars(kel.Mesh).items() if name[0] != "_"]
    for thing in objects:
        text = inspect.getdoc(thing)
        assert text and text.split("\n")[0].endswith("."), thing
        if not inspect.isfunction(thing):
            continue
        sections = dict(re.findall(r"^(\w+)\n-+\n(.*?)(?=\n\n\w+\n-+\n|\Z)", text, re.M | re.S))
        described = re.findall(r"^([\w, ]+?)(?: : .*)?$", sections.get("Parameters", ""), re.M)  # names aren't indented
        described = [word.strip() for line in described for word in line.split(",")]
        signature = inspect.signature(thing)
        wanted = [name for name in signature.parameters if name not in ("self", "cls")]
        assert described == wanted, f"{thing.__name__} takes {wanted}, but {described} are described"
        assert ("Returns" in sections) == (signature.return_annotation != "None"), thing


def writable(array):
    assert array.flags.writeable
    return array


# Where a package isn't installed, what its functions take and give.
STAND_INS = {
    "trimesh": SimpleNamespace(Trimesh=lambda vertices, faces, process: SimpleNamespace(vertices=vertices, faces=faces)),
    "open3d": SimpleNamespace(
        geometry=SimpleNamespace(TriangleMesh=lambda v, t: SimpleNamespace(vertices=v, triangles=t)),
        utility=SimpleNamespace(Vector3dVector=writable, Vector3iVector=writable),
    ),
    "pyvista": SimpleNamespace(PolyData=lambda data: data),
}


@pytest.mark.parametrize("name", ["trimesh", "open3d", "vtk", "pyvista"])
def test_other_packages(name, mesh, monkeypatch):
    if name in ("vtk", "pyvista"):
        pytest.importorskip("vtkmodules")
    if name in STAND_INS and importlib.util.find_spec(name) is None:
        monkeypatch.setitem(sys.modules, name, STAND_INS[name])
    mesh = kel.Mesh(mesh.vertices, mesh.triangles)
    back = getattr(kel.Mesh, f"from_{name}")(getattr(mesh, f"to_{name}")())
    assert same(back, kel.Mesh(mesh.vertices, mesh.triangles))


@pytest.mark.parametrize("name", ["trimesh", "open3d", "vtk", "pyvista"])
def test_other_packages_that_are_not_there(name, mesh, monkeypatch):
    monkeypatch.setitem(sys.modules, name, None)
    monkeypatch.setitem(sys.modules, "vtkmodules.vtkCommonDataModel", None)
    with pytest.raises(ImportError, match=rf"to_{name}\(\) needs the package {name}, which"):
        getattr(mesh, f"to_{name}")()


def test_polygons_of_vtk_become_triangles():
    sources = pytest.importorskip("vtkmodules.vtkFiltersSources")
    cube = sources.vtkCubeSource()
    cube.Update()
    info = kel.Mesh.from_vtk(cube.GetOutput()).info()  # six squares, each with corners of its own
    assert info["triangles"] == 12 and info["closed"] and info["volume"] == pytest.approx(1.0)
    empty = type(cube.GetOutput())()
    with pytest.raises(kel.Error, match="no triangles"):
        kel.Mesh.from_vtk(empty)


def test_example_of_a_picture(tmp_path):
    done = run(EXAMPLES / "scan_to_picture.py", cwd=tmp_path)
    assert done.returncode == 0, done.stderr
    assert "manifold: True, closed: True" in done.stdout
    mesh = kel.read_mesh(tmp_path / "mesh.ply")
    assert mesh.info()["volume"] == pytest.approx(2 * 2 * np.pi**2, rel=0.03)
    with_picture = importlib.util.find_spec("matplotlib") is not None
    assert (tmp_path / "mesh.png").exists() == with_picture and ("no picture" in done.stdout) != with_picture


def test_example_of_a_folder(tmp_path):
    scans = tmp_path / "scans"
    scans.mkdir()
    kel.write_points(scans / "ball.xyz", sphere(2000))
    kel.write_points(scans / "again.las", sphere(1500, seed=2))
    (scans / "broken.ply").write_bytes(b"ply\n")
    (scans / "notes.md").write_text("no scan")
    done = run(EXAMPLES / "folder_of_scans.py", scans, tmp_path / "meshes")
    lines = done.stdout.splitlines()
    assert [line.split()[0] for line in lines] == ["again.las", "ball.xyz", "broken.ply"], done.stderr
    assert lines[1].endswith("closed: True")
    assert sorted(path.name for path in (tmp_path / "meshes").iterdir()) == ["again.ply", "ball.ply"]


def test_example_of_progress():
    assert re.search(r"Reconstruct: +100%.*\n<kel.Mesh", run(EXAMPLES / "progress.py").stdout)
    assert run(EXAMPLES / "progress.py", "0.05").stdout.endswith("ended after 0.05 s\n")


def test_example_of_ctypes(tmp_path):
    library = os.environ.get("KEL_LIBRARY", "")
    if not library.endswith((".so", ".dylib")) and ".so." not in library:
        pytest.skip("the library isn't shared")
    done = run(EXAMPLES / "mesh_by_ctypes.py", library, tmp_path / "mesh.ply")
    mesh = kel.read_mesh(tmp_path / "mesh.ply")
    assert done.stdout == f"{len(mesh.vertices)} vertices, {len(mesh.triangles)} triangles\n", done.stderr
    assert mesh.info()["area"] == pytest.approx(7.5, rel=0.1)  # a saddle over a square of side 2
