"""What callers pass, checked and brought into the form that the library takes. Each error names the argument and what it got.

NumPy is imported when the first array is needed: ``import kel`` takes no longer than it must.
"""

from __future__ import annotations

import os
from collections.abc import Mapping
from typing import TYPE_CHECKING, Any, Dict, NoReturn, Tuple, Union

from . import _kel
from ._errors import FileError

if TYPE_CHECKING:
    import numpy as np
    import numpy.typing as npt

PathLike = Union[str, bytes, "os.PathLike[Any]"]


def _got(array: npt.NDArray[Any]) -> str:
    return f"but its shape is {array.shape} and its dtype {array.dtype}"


def _array(value: Any, name: str) -> npt.NDArray[Any]:
    """Any array or sequence of numbers as an array, without a copy where it is one."""
    import numpy as np

    if isinstance(value, np.ma.MaskedArray):
        value = np.ma.filled(value.astype(np.float64), np.nan)  # type: ignore[no-untyped-call]
    try:
        array = np.asarray(value)
    except (TypeError, ValueError) as error:  # rows of different lengths
        raise ValueError(f"{name} must be an array of numbers, but numpy says: {error}") from None
    if array.dtype.kind not in "fiu":
        raise TypeError(f"{name} must hold numbers (float32, float64 or integers), {_got(array)}")
    return array


def _coordinates(array: npt.NDArray[Any]) -> npt.NDArray[Any]:
    """In native single or double precision; other numbers become doubles."""
    import numpy as np

    if array.dtype in (np.dtype(np.float32), np.dtype(np.float64)):
        return array
    return array.astype(np.float64)


def _rows(value: Any, name: str) -> npt.NDArray[Any]:
    array = _array(value, name)
    if array.ndim == 1 and array.size == 0:
        array = array.reshape(0, 3)
    if array.ndim != 2 or array.shape[1] != 3:
        raise ValueError(f"{name} must have the shape (n, 3), {_got(array)}")
    return array


def _require_finite(array: npt.NDArray[Any], name: str, nan_policy: str) -> None:
    import numpy as np

    if nan_policy not in ("omit", "raise"):
        raise ValueError(f'nan_policy must be "omit" or "raise", not {nan_policy!r}')
    if nan_policy == "raise":
        finite = np.isfinite(array).all(axis=1)
        if not finite.all():
            raise ValueError(f"{name} has {int((~finite).sum())} rows that aren't finite, first row {int(finite.argmin())}")


def points(value: Any, name: str = "points", nan_policy: str = "omit") -> _kel.Points:
    """Points in the memory of the library."""
    array = _coordinates(_rows(value, name))
    _require_finite(array, name, nan_policy)
    return _kel.Points(array)


def indices(value: Any, num_vertices: int, name: str = "triangles") -> npt.NDArray[np.int32]:
    """Three positions of vertices for each triangle."""
    import numpy as np

    array = _rows(value, name)
    if array.size == 0:
        return np.empty((0, 3), dtype=np.int32)
    if array.dtype.kind not in "iu":
        raise TypeError(f"{name} must hold integers, {_got(array)}")
    low, high = int(array.min()), int(array.max())
    if low < 0 or high >= num_vertices:
        wrong = low if low < 0 else high
        raise ValueError(f"{name} names vertex {wrong}, but there are {num_vertices} vertices, counted from 0")
    return np.ascontiguousarray(array, dtype=np.int32)


def _is_pair(value: Any) -> bool:
    """Whether triangles are given as vertices and indices. A list of two 3 x 3 arrays is two triangles."""
    import numpy as np

    if not isinstance(value, (tuple, list)) or len(value) != 2:
        return False
    try:
        return isinstance(value, tuple) or np.ndim(value[0]) == 2 and not np.shape(value[0]) == np.shape(value[1]) == (3, 3)
    except (TypeError, ValueError):  # no numbers; who makes an array of it says what is wrong
        return False


def corners(value: Any, name: str = "triangles") -> _kel.Points:
    """The corners of triangles, from a pair (vertices, triangles) or from an array (m, 3, 3) or (3 m, 3)."""
    if _is_pair(value):
        vertices = _rows(value[0], f"{name}[0]")
        triangles = indices(value[1], len(vertices), f"{name}[1]")
        return _kel.corners(_kel.Points(_coordinates(vertices)), triangles)
    array = _array(value, name)
    if array.ndim == 3 and array.shape[1:] == (3, 3):
        array = array.reshape(-1, 3)
    if array.ndim != 2 or array.shape[1] != 3 or len(array) % 3 != 0:
        raise ValueError(
            f"{name} must be a pair (vertices, triangles), or have the shape (m, 3, 3) or (3 m, 3), {_got(array)}"
        )
    return _kel.Points(_coordinates(array))


def attributes(value: Any, rows: int) -> _kel.Attributes | None:
    """Columns in the memory of the library, from a mapping of names to arrays with a number for each row."""
    if value is None:
        return None
    if not isinstance(value, Mapping):
        _refuse(value, "attributes", "a mapping of names to arrays")
    columns = _kel.Attributes()
    for name, column in value.items():
        columns.set(_column_name(name), *_column(column, f"attributes[{name!r}]", rows))
    return columns


def _column_name(name: Any) -> bytes:
    if not isinstance(name, str):
        _refuse(name, "a name in attributes", "str")
    try:
        encoded = name.encode("utf-8", "surrogateescape")
    except UnicodeEncodeError:
        encoded = b""
    if not encoded or b"\0" in encoded:
        raise ValueError(f"attributes has the name {name!r}, which is empty, or no text")
    return encoded


def _column(value: Any, name: str, rows: int) -> Tuple[npt.NDArray[Any], npt.NDArray[np.uint8] | None]:
    """The numbers of a column and which of them are masked: contiguous, in a type that the library has."""
    import numpy as np

    try:
        # numpy's own getdata() takes what others keep in an attribute _data for an array.
        array: npt.NDArray[Any] = value.data if isinstance(value, np.ma.MaskedArray) else np.asarray(value)
    except (TypeError, ValueError) as error:  # rows of different lengths
        raise ValueError(f"{name} must be an array of numbers, but numpy says: {error}") from None
    if array.dtype.kind not in "biuf":
        raise TypeError(f"{name} must hold numbers or truth values, {_got(array)}")
    if array.shape != (rows,):
        raise ValueError(f"{name} must have the shape ({rows},), {_got(array)}")
    dtype = array.dtype.newbyteorder("=")
    if dtype.kind == "b":
        dtype = np.dtype(np.uint8)
    elif dtype.kind == "f" and dtype.itemsize not in (4, 8):
        dtype = np.dtype(np.float64)
    missing = None
    if isinstance(value, np.ma.MaskedArray):
        missing = np.ascontiguousarray(np.ma.getmaskarray(value), dtype=np.uint8)  # type: ignore[no-untyped-call]
    return np.ascontiguousarray(array, dtype=dtype), missing


def columns(attributes: _kel.Attributes) -> Dict[str, npt.NDArray[Any]]:
    """Columns as arrays, without a copy. Whole numbers of which some aren't known are masked."""
    import numpy as np

    result: Dict[str, npt.NDArray[Any]] = {}
    for name, values, missing in attributes.columns():
        if missing is not None:
            values = np.ma.MaskedArray(values, missing.astype(bool))  # type: ignore[no-untyped-call]
        result[name.decode("utf-8", "surrogateescape")] = values
    return result


def classes(value: Any) -> list[int]:
    """Classes of points; none for all."""
    if value is None:
        return []
    try:
        numbers = [whole(number, "a class in classes") for number in value]
    except TypeError:
        raise TypeError(f"classes must be a sequence of whole numbers, not {value!r}") from None
    if not numbers:
        raise ValueError("classes is empty, which leaves no points; None reads all")
    return numbers


def origin(value: Any) -> list[float] | None:
    """A corner of the grid."""
    if value is None:
        return None
    array = _array(value, "origin")
    if array.shape != (3,):
        raise ValueError(f"origin must have the shape (3,), {_got(array)}")
    return [float(coordinate) for coordinate in array]


def number(value: Any, name: str) -> float:
    """A double."""
    if isinstance(value, (str, bytes)):  # float() would read them
        _refuse(value, name, "a number")
    try:
        return float(value)
    except (TypeError, ValueError):
        _refuse(value, name, "a number")


def whole(value: Any, name: str) -> int:
    """An integer that fits into 32 bits."""
    if isinstance(value, bool) or not hasattr(value, "__index__"):
        _refuse(value, name, "a whole number")
    result = int(value.__index__())
    if not -(2**31) <= result < 2**31:
        raise ValueError(f"{name} is {result}, which is out of range")
    return result


def flag(value: Any, name: str) -> bool:
    """True or False."""
    if not isinstance(value, bool) and type(value).__name__ != "bool_":
        _refuse(value, name, "True or False")
    return bool(value)


def _refuse(value: Any, name: str, wanted: str) -> NoReturn:
    raise TypeError(f"{name} must be {wanted}, not {type(value).__name__}")


def path(value: Any) -> bytes:
    """The name of a file, as the system takes it."""
    try:
        name = os.fsencode(value)
    except TypeError:
        raise TypeError(f"path must be str, bytes or os.PathLike, not {type(value).__name__}") from None
    if b"\0" in name:
        raise ValueError("path has a null character in it")
    return name


def existing(value: Any) -> bytes:
    """The same of a file that is there; else FileNotFoundError, or FileError with what else the system says against it."""
    name = path(value)
    try:
        os.stat(name)
    except FileNotFoundError:
        raise
    except OSError as error:
        raise FileError(error.errno, error.strerror, os.fsdecode(name)) from None
    return name
