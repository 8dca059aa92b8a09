"""The C interface from Python's ctypes, as from any language that can call C. For work in Python use the package kel.

usage: mesh_by_ctypes.py LIBKEL [MESH]
"""
import ctypes
import sys

kel = ctypes.CDLL(sys.argv[1])
kel.kel_last_error.restype = ctypes.c_char_p


def check(status):
    if status != 0:
        sys.exit(kel.kel_last_error().decode())


# Points on a grid over a saddle.
rows = [(x / 20, y / 20, (x / 20) ** 2 - (y / 20) ** 2) for x in range(-20, 21) for y in range(-20, 21)]
numbers = (ctypes.c_double * (3 * len(rows)))(*(number for row in rows for number in row))

points, mesh = ctypes.c_void_p(), ctypes.c_void_p()
check(kel.kel_points_create(numbers, ctypes.c_size_t(len(rows)), ctypes.byref(points)))
check(kel.kel_reconstruct(points, None, None, ctypes.byref(mesh)))
if len(sys.argv) > 2:
    check(kel.kel_mesh_write(mesh, sys.argv[2].encode(), None))

num_vertices, num_triangles = ctypes.c_size_t(), ctypes.c_size_t()
check(kel.kel_mesh_sizes(mesh, ctypes.byref(num_vertices), ctypes.byref(num_triangles)))
print(num_vertices.value, "vertices,", num_triangles.value, "triangles")
kel.kel_mesh_free(mesh)
kel.kel_points_free(points)
