"""The triangle mesh."""

from __future__ import annotations

import copy
from typing import TYPE_CHECKING, Any, Dict, Mapping, Optional, Tuple, Type, TypeVar

from . import _arrays, _kel
from ._progress import Progress, heard

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

M = TypeVar("M", bound="Mesh")
Report = Dict[str, Any]

METHODS = {"taubin": 0, "bilateral": 1}
PRECISIONS = {"auto": 0, "single": 4, "double": 8}


def _choice(value: Any, name: str, choices: Dict[str, int]) -> int:
    if not isinstance(value, str) or value not in choices:
        raise ValueError(f"{name} must be one of {', '.join(map(repr, choices))}, not {value!r}")
    return choices[value]


class Mesh:
    """A triangle mesh.

    Meshes come from `reconstruct`, `melt` and `read_mesh`, or from arrays. Methods that change a mesh do so in place; use
    `copy` to keep it as it was. A mesh may be pickled and copied. While one thread changes a mesh, its use by another
    thread raises `Error`.

    Parameters
    ----------
    vertices : array_like, shape (n, 3)
        Coordinates: float32, float64 or integers, in any layout. Copied.
    triangles : array_like, shape (m, 3)
        Three positions in `vertices` for each triangle, counted from 0.
    join : bool, default True
        Vertices at one place become one.

    Raises
    ------
    Error
        No triangle is left.

    Notes
    -----
    The mesh is cleaned up: of equal triangles one is kept, triangles are turned to agree with their neighbours,
    degenerate ones are collapsed. Triangles with a coordinate that isn't finite are left out, with a warning.

    Examples
    --------
    >>> mesh = kel.Mesh([[0, 0, 0], [1, 0, 0], [0, 1, 0]], [[0, 1, 2]])
    >>> mesh.triangles
    array([[0, 1, 2]], dtype=int32)
    """

    __slots__ = ("_handle", "_report", "_cache", "__weakref__")
    _handle: _kel.Mesh
    _report: Optional[Report]
    _cache: Optional[Tuple[npt.NDArray[np.float64], npt.NDArray[np.int32]]]

    def __init__(self, vertices: Any, triangles: Any, *, join: bool = True) -> None:
        join = _arrays.flag(join, "join")
        points = _arrays.points(vertices, "vertices")
        indices = _arrays.indices(triangles, len(points.array()))
        self._handle = _kel.Mesh(points, indices, join)
        self._report = None
        self._cache = None

    @classmethod
    def _of(cls: Type[M], handle: _kel.Mesh, report: Optional[Report] = None) -> M:
        mesh = cls.__new__(cls)
        mesh._handle = handle
        mesh._report = report
        mesh._cache = None
        return mesh

    # ---- What it is

    def _both(self) -> Tuple[npt.NDArray[np.float64], npt.NDArray[np.int32]]:
        if self._cache is None:
            self._cache = self._handle.arrays()
            self._cache[0].flags.writeable = False
            self._cache[1].flags.writeable = False
        return self._cache

    @property
    def vertices(self) -> npt.NDArray[np.float64]:
        """The coordinates of the vertices, shape (n, 3), read-only: a copy that is made when it is asked for first."""
        return self._both()[0]

    @property
    def triangles(self) -> npt.NDArray[np.int32]:
        """Three positions in `vertices` for each triangle, shape (m, 3), read-only."""
        return self._both()[1]

    @property
    def report(self) -> Optional[Report]:
        """What the run did that made the mesh: a dictionary of figures, with ``steps`` as pairs of a name and seconds.

        None for a mesh that no run made.
        """
        return self._report

    def __repr__(self) -> str:
        return f"<kel.Mesh: {len(self.vertices)} vertices, {len(self.triangles)} triangles>"

    def info(self, *, crossings: bool = False, progress: Progress = None) -> Report:
        """Measures the mesh.

        Parameters
        ----------
        crossings : bool, default False
            Also counts the pairs of triangles that pass through each other, which takes much longer than the rest.
        progress : callable or True, optional
            Called at the end of that count; see `reconstruct`.

        Returns
        -------
        dict
            ``vertices``, ``triangles``; ``border_edges``, ``non_manifold_edges`` (three triangles or more),
            ``pinched_vertices`` (more than one fan), ``conflicts`` (edges whose triangles disagree in orientation);
            ``manifold`` (none of these three), ``closed`` (no border edge); ``area``; ``volume``, signed, of a closed mesh
            and else None; ``bounds``, the lowest and the highest coordinates, None without vertices; with `crossings` their
            number.
        """
        import numpy as np

        crossings = _arrays.flag(crossings, "crossings")
        flaws = self._handle.flaws()
        vertices, triangles = self._both()
        a, b, c = (vertices[triangles[:, i]] for i in range(3))
        normals = np.cross(b - a, c - a)
        faults = ("non_manifold_edges", "pinched_vertices", "conflicts")
        closed = flaws["border_edges"] == 0 and len(triangles) > 0
        middle = vertices.mean(axis=0) if len(vertices) else np.zeros(3)  # rounding is least from there
        result: Report = {
            "vertices": len(vertices),
            "triangles": len(triangles),
            **flaws,
            "manifold": not any(flaws[fault] for fault in faults),
            "closed": closed,
            "area": float(np.linalg.norm(normals, axis=1).sum() / 2.0),
            "volume": float(((a - middle) * normals).sum() / 6.0) if closed else None,
            "bounds": np.array([vertices.min(axis=0), vertices.max(axis=0)]) if len(vertices) else None,
        }
        with heard(progress) as listener:
            if crossings:
                result["crossings"] = self._handle.count_crossings(listener)
        return result

    def normals(self) -> npt.NDArray[np.float64]:
        """Computes the normals of the vertices: of each the mean of those of its triangles, weighted by their angles there.

        Returns
        -------
        ndarray, shape (n, 3), float64
            Of length 1, to the side from which the corners of triangles are counterclockwise; zeros where all triangles of
            a vertex lack area or cancel each other out.
        """
        return self._handle.normals()

    def crossings(self, *, progress: Progress = None) -> npt.NDArray[np.int64]:
        """Finds the pairs of triangles that pass through each other.

        Parameters
        ----------
        progress : callable or True, optional
            Called at the end; see `reconstruct`.

        Returns
        -------
        ndarray, shape (k, 2), int64
            Rows of `triangles`, the smaller one first; sorted.
        """
        with heard(progress) as listener:
            return self._handle.crossings(listener)

    def transfer(
        self,
        points: Any,
        attributes: Mapping[str, Any],
        *,
        length: Optional[float] = None,
        progress: Progress = None,
    ) -> Dict[str, npt.NDArray[Any]]:
        """Gives the vertices what the points carry of which the mesh was made. For the mesh as it is: call it last.

        Each point belongs to the nearest vertex. The values of its points make that of a vertex: the mean, of colours that
        of linear light, of normals the mean direction, of classes the most frequent one.

        Parameters
        ----------
        points : array_like, shape (n, 3)
            The points. Those that aren't finite count nowhere. Copied for the time of the call.
        attributes : mapping of str to array_like, shape (n,)
            Their columns, see `read_scan`.
        length : float, optional
            How far a point may be from its vertex; 0 for the mean length of the edges. Without it, the edge of the cells
            that the mesh was made on, as in `report`; 0 where there is none.
        progress : callable or True, optional
            Called at the end; see `reconstruct`.

        Returns
        -------
        dict of str to ndarray
            The same columns with a value for each of `vertices`.
        """
        if length is None:
            length = (self._report or {}).get("cell_edge", 0.0)
        distance = _arrays.number(length, "length")
        held = _arrays.points(points)
        columns = _arrays.attributes(attributes, len(held.array())) or _kel.Attributes()
        with heard(progress) as listener:
            return _arrays.columns(self._handle.transfer(held, columns, distance, listener))

    # ---- Changing it in place

    def reduce(
        self,
        triangles: int = 0,
        max_distance: float = 0.0,
        *,
        move_vertices: bool = True,
        keep_borders: bool = False,
        keep_features: bool = False,
        feature_angle: float = 40.0,
        no_crossings: bool = False,
        fit: bool = False,
        progress: Progress = None,
    ) -> Report:
        """Reduces the number of triangles and keeps the shape.

        Parameters
        ----------
        triangles : int, default 0
            Stops at this number or one below; 0: as far as the distance allows.
        max_distance : float, default 0.0
            No place of either surface is farther than this from the other one, proved; 0: no limit. One of both must be
            given.
        move_vertices : bool, default True
            Vertices may move to where they fit best; else those that remain stay in place.
        keep_borders : bool, default False
            Border vertices stay as they are.
        keep_features : bool, default False
            Folds above `feature_angle` stay.
        feature_angle : float, default 40.0
            Degrees between the normals of two triangles, from 0 to 180.
        no_crossings : bool, default False
            No more triangles pass through each other than before. Takes up to ten times as long.
        fit : bool, default False
            At the end vertices move once more to where they fit best. Takes up to six times as long.
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        dict
            ``before`` and ``after``, numbers of triangles; ``made_manifold``; ``distance``, proved, or -1.0 without a limit.
        """
        keywords = dict(
            triangles=triangles,
            max_distance=max_distance,
            move_vertices=move_vertices,
            keep_borders=keep_borders,
            keep_features=keep_features,
            feature_angle=feature_angle,
            no_crossings=no_crossings,
            fit=fit,
        )
        with heard(progress) as listener, self._change():
            return self._handle.reduce(keywords, listener)

    def collapse(
        self,
        max_edge_length: float,
        max_angle: float,
        *,
        manifold: bool = True,
        no_crossings: bool = True,
        progress: Progress = None,
    ) -> int:
        """Collapses vertices onto neighbours, cheapest first, as long as both limits allow it.

        Parameters
        ----------
        max_edge_length : float
            A vertex collapses onto a neighbour at most this far away.
        max_angle : float
            No normal around it turns by more than this many degrees.
        manifold, no_crossings : bool, default True
            A manifold mesh stays manifold; no more triangles pass through each other than before.
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        int
            How many triangles were removed.
        """
        length = _arrays.number(max_edge_length, "max_edge_length")
        angle = _arrays.number(max_angle, "max_angle")
        with heard(progress) as listener, self._change():
            return self._handle.collapse(length, angle, dict(manifold=manifold, no_crossings=no_crossings), listener)

    def smooth(
        self,
        method: str = "taubin",
        rounds: int = 10,
        *,
        keep_borders: bool = True,
        pass_band: float = 0.01,
        edge_angle: float = 25.0,
        no_crossings: bool = False,
        progress: Progress = None,
    ) -> Report:
        """Smooths the mesh without shrinking it.

        Parameters
        ----------
        method : {"taubin", "bilateral"}
            For round shapes, or for shapes with sharp edges.
        rounds : int, default 10
            Below 1 nothing is done.
        keep_borders : bool, default True
            Border vertices stay; else they are smoothed along the border.
        pass_band : float, default 0.01
            For "taubin": above 0, at most 0.3. The higher, the more bumps remain.
        edge_angle : float, default 25.0
            For "bilateral": folds of more than twice this many degrees are edges. Above 0, at most 180.
        no_crossings : bool, default False
            No more triangles pass through each other than before. Takes up to ten times as long.
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        dict
            ``made_manifold``, ``mean_move`` and ``held``: how often a vertex wasn't moved in a round.
        """
        keywords = dict(
            method=_choice(method, "method", METHODS),
            rounds=rounds,
            keep_borders=keep_borders,
            pass_band=pass_band,
            edge_angle=edge_angle,
            no_crossings=no_crossings,
        )
        with heard(progress) as listener, self._change():
            return self._handle.smooth(keywords, listener)

    def laplacian(
        self, rounds: int, *, manifold: bool = True, no_crossings: bool = True, progress: Progress = None
    ) -> None:
        """Moves every vertex that isn't on a border to the mean of its neighbours, which shrinks the mesh.

        Parameters
        ----------
        rounds : int
            Below 1 no vertex moves.
        manifold, no_crossings : bool, default True
            As for `collapse`.
        progress : callable or True, optional
            See `reconstruct`.
        """
        number = _arrays.whole(rounds, "rounds")
        with heard(progress) as listener, self._change():
            self._handle.laplacian(number, dict(manifold=manifold, no_crossings=no_crossings), listener)

    def flip(
        self,
        annealing: bool = False,
        *,
        manifold: bool = True,
        no_crossings: bool = True,
        progress: Progress = None,
    ) -> None:
        """Flips edges where that makes the surface smoother; vertices stay in place.

        Parameters
        ----------
        annealing : bool, default False
            Leaves local minima, in about thirty times the time.
        manifold, no_crossings : bool, default True
            As for `collapse`.
        progress : callable or True, optional
            See `reconstruct`.
        """
        annealing = _arrays.flag(annealing, "annealing")
        with heard(progress) as listener, self._change():
            self._handle.flip(annealing, dict(manifold=manifold, no_crossings=no_crossings), listener)

    def fill(
        self, max_edges: int, *, manifold: bool = True, no_crossings: bool = True, progress: Progress = None
    ) -> int:
        """Closes holes of at most so many edges, with triangles between the vertices that are there.

        Parameters
        ----------
        max_edges : int
            Below 3 nothing is done. The outer border of an open surface is a hole like any other.
        manifold, no_crossings : bool, default True
            As for `collapse`.
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        int
            How many holes were closed.
        """
        number = _arrays.whole(max_edges, "max_edges")
        with heard(progress) as listener, self._change():
            return self._handle.fill(number, dict(manifold=manifold, no_crossings=no_crossings), listener)

    def make_manifold(self, no_crossings: bool = False, *, progress: Progress = None) -> Report:
        """Makes the mesh manifold and oriented. One that is stays as it is.

        Parameters
        ----------
        no_crossings : bool, default False
            Flat triangles stay where their removal would make others pass through each other.
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        dict
            What was done: ``flat``, ``duplicates``, ``membranes``, ``splinters``, ``turned``, ``new_vertices``, ``cuts`` and
            ``closed``.
        """
        no_crossings = _arrays.flag(no_crossings, "no_crossings")
        with heard(progress) as listener, self._change():
            return self._handle.make_manifold(no_crossings, listener)

    def remove_crossings(self, *, progress: Progress = None) -> int:
        """Lowers the number of pairs of triangles that pass through each other, mostly to nearly none.

        Parameters
        ----------
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        int
            How many are left.
        """
        with heard(progress) as listener, self._change():
            return self._handle.remove_crossings(listener)

    def fit(
        self,
        points: Any,
        *,
        cell_edge: float = 0.0,
        noise: bool = True,
        no_crossings: bool = True,
        nan_policy: str = "omit",
        progress: Progress = None,
    ) -> Report:
        """Moves the mesh to where points say that the surface is, with sharp edges and without noise.

        Parameters
        ----------
        points : array_like, shape (n, 3)
            Those that the mesh was made of, or others of the same surface. float64 in C order is used where it lies.
        cell_edge : float, default 0.0
            Edge of the cells that the mesh was made on; 0 estimates it.
        noise : bool, default True
            Takes noise out; else all that the points show is detail.
        no_crossings : bool, default True
            No pair of triangles passes through each other that doesn't before: around those that would, the mesh stays as
            it is.
        nan_policy : {"omit", "raise"}
            See `reconstruct`.
        progress : callable or True, optional
            See `reconstruct`.

        Returns
        -------
        dict
            What was done: ``points`` that took part, their ``point_spacing``, the ``noise``, and more.
        """
        keywords = dict(cell_edge=cell_edge, noise=noise, no_crossings=no_crossings)
        with heard(progress) as listener, self._change():
            return self._handle.fit(_arrays.points(points, "points", nan_policy), keywords, listener)

    def _change(self) -> _Change:
        return _Change(self)

    # ---- Files and other packages

    def write(
        self,
        path: _arrays.PathLike,
        *,
        ascii: bool = False,
        precision: str = "auto",
        normals: bool = False,
        stl_binary: bool = False,
        attributes: Optional[Mapping[str, Any]] = None,
    ) -> None:
        """Writes the mesh: .ply, .stl, .obj, .off, or .list, a drawing for the Geomview viewer.

        Parameters
        ----------
        path : path-like
            A failure leaves an older file as it was.
        ascii : bool, default False
            A .ply as text.
        precision : {"auto", "single", "double"}
            "auto" is single where that moves no vertex by more than a thousandth of an edge.
        normals : bool, default False
            Normals of vertices in an .obj.
        stl_binary : bool, default False
            An .stl as bytes, in single precision.
        attributes : mapping of str to array_like, optional
            Columns with a number for each of `vertices`, such as `transfer` makes. A .ply holds all of them, an .obj or
            .off colours and normals; a warning names those that the file can't hold.

        Raises
        ------
        FileError
            The file can't be written.
        """
        keywords = dict(
            ascii=ascii, precision=_choice(precision, "precision", PRECISIONS), normals=normals, stl_binary=stl_binary
        )
        columns = None if attributes is None else _arrays.attributes(attributes, len(self.vertices))
        self._handle.write(_arrays.path(path), keywords, columns)

    def to_trimesh(self) -> Any:
        """Makes a mesh of the package trimesh, with copies of the arrays.

        Returns
        -------
        trimesh.Trimesh
            The same vertices and triangles, in the same order.
        """
        trimesh = _package("trimesh", "to_trimesh")
        return trimesh.Trimesh(vertices=self.vertices.copy(), faces=self.triangles.copy(), process=False)

    def to_open3d(self) -> Any:
        """Makes a mesh of the package Open3D, with copies of the arrays.

        Returns
        -------
        open3d.geometry.TriangleMesh
            The same vertices and triangles, in the same order.
        """
        open3d = _package("open3d", "to_open3d")
        return open3d.geometry.TriangleMesh(
            open3d.utility.Vector3dVector(self.vertices.copy()),  # it refuses arrays that can't be written
            open3d.utility.Vector3iVector(self.triangles.copy()),
        )

    def to_vtk(self) -> Any:
        """Makes a mesh of the package VTK, with copies of the arrays.

        Returns
        -------
        vtkPolyData
            The same vertices and triangles, in the same order.
        """
        model = _package("vtkmodules.vtkCommonDataModel", "to_vtk")
        arrays = _package("vtkmodules.util.numpy_support", "to_vtk")
        points = _package("vtkmodules.vtkCommonCore", "to_vtk").vtkPoints()
        points.SetData(arrays.numpy_to_vtk(self.vertices, deep=True))
        cells = model.vtkCellArray()
        cells.SetData(3, arrays.numpy_to_vtk(self.triangles.ravel(), deep=True))
        data = model.vtkPolyData()
        data.SetPoints(points)
        data.SetPolys(cells)
        return data

    def to_pyvista(self) -> Any:
        """Makes a mesh of the package PyVista, with copies of the arrays.

        Returns
        -------
        pyvista.PolyData
            The same vertices and triangles, in the same order.
        """
        return _package("pyvista", "to_pyvista").PolyData(self.to_vtk())

    @classmethod
    def from_trimesh(cls: Type[M], mesh: Any, *, join: bool = True) -> M:
        """Makes a mesh of a ``trimesh.Trimesh``. It is cleaned up, see `Mesh`.

        Parameters
        ----------
        mesh : trimesh.Trimesh
        join : bool, default True
            Vertices at one place become one.

        Returns
        -------
        Mesh
        """
        _require_like(mesh, "trimesh.Trimesh", "vertices", "faces")
        return cls(mesh.vertices, mesh.faces, join=join)

    @classmethod
    def from_open3d(cls: Type[M], mesh: Any, *, join: bool = True) -> M:
        """Makes a mesh of an ``open3d.geometry.TriangleMesh``. It is cleaned up, see `Mesh`.

        Parameters
        ----------
        mesh : open3d.geometry.TriangleMesh
        join : bool, default True
            Vertices at one place become one.

        Returns
        -------
        Mesh
        """
        _require_like(mesh, "open3d.geometry.TriangleMesh", "vertices", "triangles")
        return cls(mesh.vertices, mesh.triangles, join=join)

    @classmethod
    def from_vtk(cls: Type[M], mesh: Any, *, join: bool = True) -> M:
        """Makes a mesh of a ``vtkPolyData``. It is cleaned up, see `Mesh`.

        Parameters
        ----------
        mesh : vtkPolyData
            Its polygons and strips become triangles.
        join : bool, default True
            Vertices at one place become one.

        Returns
        -------
        Mesh
        """
        return cls._from_vtk(mesh, "vtkPolyData", "from_vtk", join)

    @classmethod
    def from_pyvista(cls: Type[M], mesh: Any, *, join: bool = True) -> M:
        """Makes a mesh of a ``pyvista.PolyData``. It is cleaned up, see `Mesh`.

        Parameters
        ----------
        mesh : pyvista.PolyData
            Its polygons and strips become triangles.
        join : bool, default True
            Vertices at one place become one.

        Returns
        -------
        Mesh
        """
        return cls._from_vtk(mesh, "pyvista.PolyData", "from_pyvista", join)

    @classmethod
    def _from_vtk(cls: Type[M], mesh: Any, wanted: str, function: str, join: bool) -> M:
        import numpy as np

        join = _arrays.flag(join, "join")
        _require_like(mesh, wanted, "GetPoints", "GetPolys", "GetStrips")
        arrays = _package("vtkmodules.util.numpy_support", function)
        triangulation = _package("vtkmodules.vtkFiltersCore", function).vtkTriangleFilter()
        triangulation.PassLinesOff()
        triangulation.PassVertsOff()
        triangulation.SetInputData(mesh)
        triangulation.Update()
        data = triangulation.GetOutput()
        if data.GetNumberOfPoints() == 0:  # there is no array of them
            return cls(np.empty((0, 3)), [], join=join)
        corners = arrays.vtk_to_numpy(data.GetPolys().GetConnectivityArray()).reshape(-1, 3)
        return cls(arrays.vtk_to_numpy(data.GetPoints().GetData()), corners, join=join)

    # ---- Copies

    def copy(self: M) -> M:
        """Copies the mesh.

        Returns
        -------
        Mesh
            Another one that is the same, to the last bit.
        """
        return self._of(self._handle.copy(), copy.deepcopy(self._report))

    def __copy__(self: M) -> M:
        return self.copy()

    def __deepcopy__(self: M, memo: Dict[int, Any]) -> M:
        return self.copy()

    def __reduce__(self) -> Tuple[Any, ...]:
        return _restored, (type(self), self.vertices, self.triangles, self._handle.side(), self._report)


class _Change:
    """While a mesh changes; afterwards, whatever happened, its arrays are made anew."""

    def __init__(self, mesh: Mesh) -> None:
        self.mesh = mesh

    def __enter__(self) -> None:
        pass

    def __exit__(self, *_: Any) -> None:
        self.mesh._cache = None


def _restored(cls: Type[M], vertices: Any, triangles: Any, side: float, report: Optional[Report]) -> M:
    """What pickle calls: the same mesh, without the clean-up of the constructor."""
    indices = _arrays.indices(triangles, len(vertices))
    return cls._of(_kel.Mesh.restored(_arrays.points(vertices, "vertices"), indices, side), report)


def _package(name: str, function: str) -> Any:
    """A module of another package, for a function that can't do without it."""
    import importlib

    package = name.partition(".")[0].replace("vtkmodules", "vtk")
    try:
        return importlib.import_module(name)
    except ImportError as error:
        raise ImportError(f"{function}() needs the package {package}, which can't be imported: {error}", name=name) from error


def _require_like(mesh: Any, wanted: str, *members: str) -> None:
    if not all(hasattr(mesh, member) for member in members):
        raise TypeError(f"mesh must be a {wanted}, not {type(mesh).__name__}")


Mesh.__module__ = "kel"
