#!/usr/bin/env python3
"""python_overhead.py [--points N] [--runs N] [--threads N] [PROGRAM]: what a reconstruction costs in Python beside the program.

PROGRAM is kel, by default that of build/release; PYTHONPATH leads to the module of the same build. Both read the same points,
evenly spread over a sphere, reconstruct, and write the mesh, each run in a process of its own and in turn. The module also
makes the arrays of the mesh, which are counted. A third row is Python that only reads the points. Prints a Markdown table:
processor time (user and system) and peak memory, means of all runs and their range. Fails when the meshes differ.
"""
import argparse
import os
import pathlib
import subprocess
import sys
import tempfile

ROOT = pathlib.Path(__file__).resolve().parent.parent

# This process makes no points: the peak of a child is at least what its parent had.
MAKE_POINTS = """
import sys, numpy as np, kel
points = np.random.default_rng(1).normal(size=(int(sys.argv[1]), 3))
kel.write_points(sys.argv[2], points / np.linalg.norm(points, axis=1)[:, None])
"""
READ = """
import sys, kel
points = kel.read_points(sys.argv[1])
"""
RECONSTRUCT = READ + """
mesh = kel.reconstruct(points, threads=int(sys.argv[3]))
arrays = points, mesh.vertices, mesh.triangles
mesh.write(sys.argv[2])
print(sum(array.nbytes for array in arrays))
"""


def measured(command):
    """Seconds of processor time, MiB at the peak, and what was printed."""
    child = subprocess.Popen(list(map(str, command)), stdout=subprocess.PIPE, text=True)
    printed = child.stdout.read()
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    if child.returncode != 0:
        sys.exit(f"{command[0]} failed with status {child.returncode}")
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss / 1024, printed


def summary(values, form):
    return f"{sum(values) / len(values):{form}} ({min(values):{form}} to {max(values):{form}})"


def main():
    parser = argparse.ArgumentParser(description=__doc__.partition("\n\n")[2])
    parser.add_argument("program", nargs="?", default=ROOT / "build/release/apps/kel/kel", type=pathlib.Path)
    parser.add_argument("--points", type=int, default=1_000_000)
    parser.add_argument("--runs", type=int, default=3)
    parser.add_argument("--threads", type=int, default=1)
    wanted = parser.parse_args()
    python = (sys.executable, "-c")
    with tempfile.TemporaryDirectory() as folder:
        scan, by_program, by_module = (pathlib.Path(folder) / name for name in ("scan.ply", "program.ply", "module.ply"))
        subprocess.run([*python, MAKE_POINTS, str(wanted.points), str(scan)], check=True)
        commands = {
            "the program": (wanted.program, "reconstruct", scan, by_program, "--threads", wanted.threads),
            "the module": (*python, RECONSTRUCT, scan, by_module, wanted.threads),
            "Python, points read alone": (*python, READ, scan),
        }
        runs = {name: [] for name in commands}
        for _ in range(wanted.runs):
            for name, command in commands.items():
                runs[name].append(measured(command))
        if by_program.read_bytes() != by_module.read_bytes():
            sys.exit("the program and the module make different meshes")
    print(f"{wanted.points} points, threads: {wanted.threads}, runs: {wanted.runs}\n")
    print("| | Processor time, s | Peak memory, MiB |\n| --- | --- | --- |")
    for name, results in runs.items():
        seconds, peaks, _ = zip(*results)
        print(f"| {name} | {summary(seconds, '.2f')} | {summary(peaks, '.0f')} |")
    print(f"\nThe arrays of the points and of the mesh in Python: {int(runs['the module'][0][2]) / 2**20:.0f} MiB.")


main()
