#!/usr/bin/env python3
"""promises.py [LINE...]: breaks the code on purpose and sees whether the tests notice.

Each line of promises.txt is a plausible fault: a source file, a sed -E command that changes exactly one line of it, and the
test program that must fail then. Every fault is applied alone to a copy of the tree, built and tested, and taken back. With
numbers of lines of promises.txt only these are tried. Status 1 when a fault survives, no longer applies or doesn't compile.
"""
import concurrent.futures
import os
import pathlib
import queue
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPIES = ROOT / "build/promises"
JOBS = min(2, os.cpu_count())
SECONDS_A_TEST = 180  # a fault that makes a test hang is noticed as well


def read_promises(wanted):
    promises = []
    for number, line in enumerate((ROOT / "tests/promises.txt").read_text().splitlines(), 1):
        if line.strip() and not line.startswith("#") and (not wanted or number in wanted):
            file, rest = line.split(" | ", 1)
            command, test = rest.rsplit(" | ", 1)  # the command may hold bars
            promises.append((number, file.strip(), command.strip(), test.strip()))
    return promises


def run(command, folder, seconds=None):
    """The exit status, and what was printed; 124 after the time is up."""
    # Paths relative to the copy: what the compiler cache knows of one copy holds for all.
    environment = dict(os.environ, CCACHE_BASEDIR=str(folder), CCACHE_NOHASHDIR="1", GTEST_FAIL_FAST="1")
    try:
        done = subprocess.run(command, cwd=folder, env=environment, timeout=seconds, text=True, errors="replace",
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    except subprocess.TimeoutExpired:
        return 124, ""
    return done.returncode, done.stdout


def copy_tree(folder):
    """Files that didn't change keep their times, so that a copy from an earlier run is built on."""
    listed = subprocess.check_output(["git", "ls-files", "-co", "--exclude-standard"], cwd=ROOT, text=True).splitlines()
    for name in listed:
        source, target = ROOT / name, folder / name
        if not source.exists():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists() or target.read_bytes() != source.read_bytes():
            shutil.copy(source, target)


def build(folder, tests):
    return run(["cmake", "--build", "build/dev", "--target", "kel", *tests], folder)


def test_program(folder, test):
    return run([str(folder / "build/dev/tests" / test)], folder / "build/dev/tests", SECONDS_A_TEST)


def prepare(folder, tests):
    """A copy that is built, with tests that pass."""
    copy_tree(folder)
    run(["cmake", "--preset", "dev", "-DKEL_BUILD_BENCHMARKS=OFF", "-DKEL_TEST_PACKAGING=OFF",
         "-DCMAKE_LINK_DEPENDS_NO_SHARED=ON", "-DCMAKE_COMPILE_WARNING_AS_ERROR=OFF"], folder)
    status, output = build(folder, tests)
    if status != 0:
        sys.exit(f"the copy in {folder} doesn't build:\n{output[-3000:]}")


def judge(folder, file, command, test):
    """What became of one fault: '' when the test noticed it."""
    source = folder / file
    if not source.exists():
        return "no such file"
    before = source.read_text()
    status, after = run(["sed", "-E", command, file], folder)
    if status != 0:
        return "sed: " + after.strip()
    old, new = before.splitlines(), after.splitlines()
    if len(old) != len(new) or sum(a != b for a, b in zip(old, new)) != 1:
        return "doesn't change exactly one line"
    try:
        source.write_text(after)
        status, output = build(folder, [test])
        if status != 0:
            errors = [line for line in output.splitlines() if "error" in line]
            return "doesn't compile: " + (errors or [""])[0]
        return "SURVIVED" if test_program(folder, test)[0] == 0 else ""
    finally:
        source.write_text(before)


def main():
    promises = read_promises({int(number) for number in sys.argv[1:]})
    tests = sorted({test for *_, test in promises})
    folders = queue.Queue()
    for job in range(JOBS):
        prepare(COPIES / str(job), tests)
        folders.put(COPIES / str(job))
    for test in tests:
        if test_program(COPIES / "0", test)[0] != 0:
            sys.exit(f"{test} fails without any fault")

    def attempt(promise):
        number, file, command, test = promise
        folder = folders.get()
        start = time.monotonic()
        verdict = judge(folder, file, command, test)
        folders.put(folder)
        print(f"{number:4} {time.monotonic() - start:6.1f} s  {verdict or 'noticed'}: {file} | {command} | {test}", flush=True)
        return verdict

    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        broken = [verdict for verdict in pool.map(attempt, promises) if verdict]
    print(f"{len(promises) - len(broken)} of {len(promises)} faults are noticed")
    sys.exit(bool(broken))


main()
