"""Surface reconstruction from unordered points.

A point cloud, as a scanner delivers it, becomes a manifold triangle mesh: points in any order, no normals, noise and uneven
density allowed.

>>> points = kel.read_points("scan.xyz")
>>> mesh = kel.reconstruct(points)
>>> mesh.vertices, mesh.triangles
>>> mesh.write("mesh.ply")

Coordinates and lengths are in the unit of the points, angles in degrees. Points are arrays of shape (n, 3): float32, float64
or integers, of any layout and stride, or sequences of such rows. The same points always give the same mesh.

Other Python threads run while the library works. Ctrl-C ends a run with KeyboardInterrupt, and an exception in a progress
function ends it and comes out as it is. Nothing is printed: warnings are Python warnings of the class `KelWarning`,
failures are exceptions of the class `Error`, wrong arguments are a TypeError or a ValueError.
"""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Dict, Iterable, Mapping, Optional, Tuple

from . import _arrays, _kel
from ._errors import Error, FileError, KelWarning
from ._mesh import Mesh
from ._progress import Progress, heard

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

__all__ = [
    "Error",
    "FileError",
    "KelWarning",
    "Mesh",
    "cloud",
    "melt",
    "read_mesh",
    "read_points",
    "read_scan",
    "read_triangles",
    "reconstruct",
    "set_num_threads",
    "spacing",
    "write_points",
]
__version__ = _kel.version()


def reconstruct(
    points: Any,
    spacing: Optional[float] = None,
    *,
    factor: float = 1.1,
    origin: Any = None,
    outliers: bool = True,
    even: bool = True,
    laplacian: bool = False,
    grow: int = 0,
    careful_growth: bool = True,
    manifold: bool = True,
    min_piece_area: float = 30.0,
    max_pinhole_edges: int = 8,
    max_hole_edges: int = 0,
    no_crossings: bool = True,
    fit: bool = True,
    denoise: bool = True,
    threads: int = 0,
    nan_policy: str = "omit",
    progress: Progress = None,
) -> Mesh:
    """Makes a mesh of points.

    Parameters
    ----------
    points : array_like, shape (n, 3)
        In any order, with repeats; not changed. float64 in C order is used where it lies.
    spacing : float, optional
        Edge of a grid cell. Without it, `factor` times the estimated spacing of the points.
    factor : float, default 1.1
        Cell edge as a multiple of the estimated spacing of the points. More gives fewer triangles and bridges sparse places.
    origin : array_like, shape (3,), optional
        A corner of a cell: runs with the same spacing and origin have the same cells.
    outliers : bool, default True
        Leaves out points far from all others, and strays near the surface.
    even : bool, default True
        Adds points where the sampling is sparser than the grid.
    laplacian : bool, default False
        Smooths noisy points before the grid is filled.
    grow : int, default 0
        Steps of gap closing; 0 leaves gaps open.
    careful_growth : bool, default True
        What gap closing adds must make the border much shorter.
    manifold : bool, default True
        Makes the mesh manifold and oriented.
    min_piece_area : float, default 30.0
        Pieces of a smaller area, in squares of the cell edge, are dropped; the largest stays.
    max_pinhole_edges : int, default 8
        Closes holes of at most that many edges, not the outer border of a piece; 0: none.
    max_hole_edges : int, default 0
        Closes all holes of at most that many edges; 0: none.
    no_crossings : bool, default True
        Removes self-intersections.
    fit : bool, default True
        Moves the mesh to where the points say that the surface is, with sharp edges and without noise.
    denoise : bool, default True
        Makes the surface of very noisy points again, of the points as they'd be without noise.
    threads : int, default 0
        Above 0: as `set_num_threads`, for the whole process. The mesh doesn't depend on it.
    nan_policy : {"omit", "raise"}
        Points with a coordinate that isn't finite are left out with a warning, or are a ValueError.
    progress : callable or True, optional
        Called with the name of the run and a fraction from 0.0 to 1.0, some 30 to 200 times, and again with the same fraction
        while workers are busy. An exception in it ends the run and comes out of this function. It can't start a run. True
        shows a bar on standard error, by tqdm where that is installed.

    Returns
    -------
    Mesh
        Its `Mesh.report` says what was done.

    Raises
    ------
    Error
        Nothing came of the points: there are none, too few, or the spacing far exceeds the size of the cloud; or the cloud
        needs more than some two million cells along an axis.

    Examples
    --------
    >>> mesh = kel.reconstruct(points, factor=1.5, progress=True)
    >>> mesh.report["cell_edge"]
    0.0312
    """
    keywords = dict(
        spacing=0.0 if spacing is None else spacing,
        factor=factor,
        outliers=outliers,
        even=even,
        laplacian=laplacian,
        grow=grow,
        careful_growth=careful_growth,
        manifold=manifold,
        min_piece_area=min_piece_area,
        max_pinhole_edges=max_pinhole_edges,
        max_hole_edges=max_hole_edges,
        no_crossings=no_crossings,
        fit=fit,
        denoise=denoise,
        threads=threads,
    )
    corner = _arrays.origin(origin)
    with heard(progress) as listener:
        return Mesh._of(*_kel.reconstruct(_arrays.points(points, "points", nan_policy), keywords, corner, listener))


def melt(
    triangles: Any,
    spacing: float,
    *,
    feature_angle: float = 10.0,
    complete: bool = True,
    manifold: bool = True,
    max_pinhole_edges: int = 8,
    max_hole_edges: int = 0,
    threads: int = 0,
    progress: Progress = None,
) -> Mesh:
    """Makes a clean mesh of a triangle soup.

    Orientations, holes, double walls and edges of many triangles don't matter. Triangles of the result are about as large as
    a cell, and parts within a cell or two of each other merge.

    Parameters
    ----------
    triangles : tuple, list or array_like
        A pair (vertices, triangles) of arrays of the shapes (n, 3) and (m, 3), or the corners as one array of the shape
        (m, 3, 3) or (3 m, 3). A list of two is a pair, too, but of two arrays of the shape (3, 3) the corners of two
        triangles. The corners are copied for the time of the call.
    spacing : float
        Edge of a grid cell.
    feature_angle : float, default 10.0
        Edges stay sharp when the normals of their triangles differ by more than this many degrees.
    complete : bool, default True
        Meshes also cells of which triangles cut off only a sliver.
    manifold : bool, default True
        Makes the mesh manifold, without crumbs at its rims.
    max_pinhole_edges : int, default 8
        Closes holes of at most that many edges; of a manifold mesh also those that are nowhere wider than two cells, but no
        outer borders. With 0 it closes none.
    max_hole_edges, threads, progress
        See `reconstruct`.

    Returns
    -------
    Mesh
        Its `Mesh.report` says what was done.

    Raises
    ------
    Error
        No triangle is left.
    """
    keywords = dict(
        spacing=spacing,
        feature_angle=feature_angle,
        complete=complete,
        manifold=manifold,
        max_pinhole_edges=max_pinhole_edges,
        max_hole_edges=max_hole_edges,
        threads=threads,
    )
    with heard(progress) as listener:
        return Mesh._of(*_kel.melt(_arrays.corners(triangles), keywords, listener))


def cloud(
    triangles: Any, spacing: float, feature_angle: float = 30.0, *, progress: Progress = None
) -> npt.NDArray[np.float64]:
    """Makes evenly spread points of a triangle soup: one for each cell that it touches.

    Parameters
    ----------
    triangles : tuple, list or array_like
        See `melt`.
    spacing : float
        Edge of a grid cell.
    feature_angle : float, default 30.0
        Points lie on edges where the normals of the triangles differ by more than this many degrees.
    progress : callable or True, optional
        See `reconstruct`.

    Returns
    -------
    ndarray, shape (n, 3), float64
    """
    edge = _arrays.number(spacing, "spacing")
    angle = _arrays.number(feature_angle, "feature_angle")
    with heard(progress) as listener:
        return _kel.cloud(_arrays.corners(triangles), edge, angle, listener).array()


def spacing(points: Any, *, nan_policy: str = "omit", progress: Progress = None) -> float:
    """Estimates the mean spacing of points.

    Parameters
    ----------
    points : array_like, shape (n, 3)
        In any order. Copied for the time of the call.
    nan_policy, progress
        See `reconstruct`.

    Returns
    -------
    float
        A length; 1.0 when all points are at one place.
    """
    with heard(progress) as listener:
        return _kel.spacing(_arrays.points(points, "points", nan_policy), listener)


def read_points(path: _arrays.PathLike, *, classes: Optional[Iterable[int]] = None) -> npt.NDArray[np.float64]:
    """Reads points: .xyz, .txt, .asc, .bin, .ply, .las, .pcd, .pts, .ptx, .csv, or the vertices of .obj and .off.

    Parameters
    ----------
    path : path-like
        The content of the file counts more than its name.
    classes : sequence of int, optional
        Of a LAS file, reads only points of these classes, from 0 to 255, such as 2 for ground.

    Returns
    -------
    ndarray, shape (n, 3), float64

    Raises
    ------
    FileNotFoundError
        There is no such file.
    FileError
        The file can't be read.
    """
    numbers = _arrays.classes(classes)
    return _kel.read_points(_arrays.existing(path), numbers).array()


def read_scan(
    path: _arrays.PathLike, *, classes: Optional[Iterable[int]] = None
) -> Tuple[npt.NDArray[np.float64], Dict[str, npt.NDArray[Any]]]:
    """Reads points with what they carry: colours, normals, intensities, classes and any other columns of numbers.

    Parameters
    ----------
    path : path-like
        As for `read_points`. Columns come from .ply, .las, .pcd, .pts, .ptx, .csv, .obj, .off and text.
    classes : sequence of int, optional
        As for `read_points`.

    Returns
    -------
    points : ndarray, shape (n, 3), float64
    attributes : dict of str to ndarray, shape (n,)
        In the types and the order of the file. Floating point numbers that aren't known are NaN; a column of whole numbers of
        which some aren't known is a masked array. "red", "green" and "blue" are a colour, "nx", "ny" and "nz" a normal,
        "class", "classification" and "label" classes.

    Raises
    ------
    FileNotFoundError
        There is no such file.
    FileError
        The file can't be read.

    Examples
    --------
    >>> points, attributes = kel.read_scan("scan.las", classes=[2])
    >>> mesh = kel.reconstruct(points)
    >>> mesh.write("mesh.ply", attributes=mesh.transfer(points, attributes))
    """
    numbers = _arrays.classes(classes)
    points, attributes = _kel.read_scan(_arrays.existing(path), numbers)
    return points.array(), _arrays.columns(attributes)


def write_points(path: _arrays.PathLike, points: Any, attributes: Optional[Mapping[str, Any]] = None) -> None:
    """Writes points: .xyz, .txt, .asc, .bin, .ply, .las, or .list, a drawing for the Geomview viewer.

    Parameters
    ----------
    path : path-like
        A failure leaves an older file as it was. Text has 17 digits; a .ply is as precise as it needs to be.
    points : array_like, shape (n, 3)
        Copied for the time of the call.
    attributes : mapping of str to array_like, shape (n,), optional
        Columns of numbers, see `read_scan`. A .ply holds all of them; a .las, too, as extra bytes where it has no field that
        they fit into, up to 341 columns; a text a colour or else a normal. A warning names those that the file can't hold.
        Masked values aren't known.

    Raises
    ------
    FileError
        The file can't be written.
    """
    held = _arrays.points(points)
    held.write(_arrays.path(path), _arrays.attributes(attributes, len(held.array())))


def read_mesh(path: _arrays.PathLike, *, join: bool = True) -> Mesh:
    """Reads a mesh: .ply, .stl, .obj or .off. It is cleaned up, see `Mesh`.

    Parameters
    ----------
    path : path-like
        The content of the file counts more than its name.
    join : bool, default True
        Vertices at one place become one; those of an .stl always do.

    Returns
    -------
    Mesh

    Raises
    ------
    FileNotFoundError
        There is no such file.
    FileError
        The file can't be read, or no triangle is left.
    """
    join = _arrays.flag(join, "join")
    return Mesh._of(_kel.read_mesh(_arrays.existing(path), join))


def read_triangles(path: _arrays.PathLike) -> npt.NDArray[np.float64]:
    """Reads the triangles of a .ply, .stl, .obj or .off file as they are: a soup for `melt` and `cloud`.

    Parameters
    ----------
    path : path-like
        The content of the file counts more than its name.

    Returns
    -------
    ndarray, shape (m, 3, 3), float64
        Three corners for each triangle.

    Raises
    ------
    FileNotFoundError
        There is no such file.
    FileError
        The file can't be read.
    """
    return _kel.read_corners(_arrays.existing(path)).array().reshape(-1, 3, 3)


def set_num_threads(num_threads: int) -> None:
    """Sets how many threads the library uses, in the whole process. No result depends on it.

    Parameters
    ----------
    num_threads : int
        0: one for each processor; not negative.
    """
    _kel.set_num_threads(_arrays.whole(num_threads, "num_threads"))
