"""From a scan to a mesh and a picture of it, step by step as in a notebook.

usage: scan_to_picture.py [POINTS [MESH [PICTURE]]]

Without a file of points it scans a torus. The picture needs matplotlib; without that only the mesh is written.
"""
import sys

import numpy as np

import kel

points_file = sys.argv[1] if len(sys.argv) > 1 else None
mesh_file = sys.argv[2] if len(sys.argv) > 2 else "mesh.ply"
picture_file = sys.argv[3] if len(sys.argv) > 3 else "mesh.png"

# The scan: 8000 points in no order, with a little noise, and some that belong to nothing.
if points_file is None:
    random = np.random.default_rng(7)
    u, v = random.uniform(0.0, 2.0 * np.pi, (2, 8000))
    ring = 2.0 + np.cos(u)
    points = np.column_stack([ring * np.cos(v), ring * np.sin(v), np.sin(u)])
    points += random.normal(scale=0.01, size=points.shape)
    points = np.vstack([points, random.uniform(-3.0, 3.0, (20, 3))])
else:
    points = kel.read_points(points_file)
print(f"{len(points)} points, about {kel.spacing(points):.3g} apart")

# The mesh. Its report says what was done.
mesh = kel.reconstruct(points)
report = mesh.report
print(f"{report['strays'] + report['far_outliers']} outliers left out, noise of {report['fit']['noise']:.2g} taken out")
for name, seconds in report["steps"]:
    print(f"  {name:10} {seconds:6.3f} s")

# How good it is.
info = mesh.info(crossings=True)
print(f"{info['triangles']} triangles, area {info['area']:.2f}, manifold: {info['manifold']}, closed: {info['closed']}")

# A fifth of the triangles is enough to look at.
mesh.reduce(info["triangles"] // 5)
mesh.write(mesh_file)
print(f"{mesh_file}: {len(mesh.triangles)} triangles")

try:
    import matplotlib
except ImportError:
    print("no picture: matplotlib isn't installed")
    sys.exit()
matplotlib.use("Agg")
import matplotlib.pyplot as plt  # noqa: E402

axes = plt.figure(figsize=(6, 6)).add_subplot(projection="3d")
axes.plot_trisurf(*mesh.vertices.T, triangles=mesh.triangles, color="tan", edgecolor="none")
axes.set_aspect("equal")
axes.set_axis_off()
plt.savefig(picture_file, dpi=100)
print(picture_file)
