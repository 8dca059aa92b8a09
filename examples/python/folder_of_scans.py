"""Makes a mesh of each scan in a folder, some at a time, and prints a table.

usage: folder_of_scans.py FOLDER_OF_POINTS FOLDER_OF_MESHES

The library gives up Python's lock while it works, so a pool of threads is all it takes.
"""
import pathlib
import sys
from concurrent.futures import ThreadPoolExecutor

import kel

FORMATS = {".xyz", ".txt", ".asc", ".ply", ".las", ".pcd", ".pts", ".ptx", ".csv"}

source, target = map(pathlib.Path, sys.argv[1:3])
target.mkdir(parents=True, exist_ok=True)


def work(scan):
    """A line of the table. A scan that can't be used doesn't stop the others."""
    try:
        mesh = kel.reconstruct(kel.read_points(scan))
        mesh.write(target / (scan.stem + ".ply"))
    except kel.Error as error:
        return f"{scan.name:20} {error}"
    info = mesh.info()
    return f"{scan.name:20} {mesh.report['points']:9} points {info['triangles']:9} triangles, closed: {info['closed']}"


scans = sorted(path for path in source.iterdir() if path.suffix.lower() in FORMATS)
with ThreadPoolExecutor(max_workers=2) as pool:
    for line in pool.map(work, scans):
        print(line)
