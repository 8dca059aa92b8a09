#!/usr/bin/env python3
"""promises.py [--check | LINE...]: breaks the code on purpose and sees whether the tests notice.

Each line of promises.txt is a plausible fault: a source file, a sed -E command that changes exactly one line of it, and the
test program that must fail then. With numbers of lines of promises.txt only these are tried; --check, which takes seconds, says
only whether each still changes one line. Status 1 when a fault survives, no longer applies or doesn't compile.

The tests are built once, by the preset quick, where the functions of the library can be replaced (KEL_INTERPOSABLE). A fault
costs what it takes to compile the broken source, in a copy of the tree: its functions go into a small library that is loaded
before the whole one, and so are called instead of those there. Of a broken header all sources that include it are taken, or
where these are many and the test program includes it, that program alone. A test program that holds the broken source itself
or includes the header, or the program kel that a test starts, is linked anew. A fault is noticed when a test fails that passes
with the source as it was, compiled and loaded the same way.
"""
import concurrent.futures
import json
import os
import pathlib
import queue
import re
import shlex
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/quick"
WORK = ROOT / "build/faults"
WHOLE = WORK / "whole"  # the library and the tests as they were built
JOBS = min(2, os.cpu_count())
SECONDS_A_TEST = 600  # a fault that makes a test hang is noticed as well
MANY = 40  # a header that more sources include is broken in the test program alone, if that includes it


class BuildError(Exception):
    """What a compiler or linker has against a source."""


def read_promises(wanted):
    for number, line in enumerate((ROOT / "tests/promises.txt").read_text().splitlines(), 1):
        if line.strip() and not line.startswith("#") and (not wanted or number in wanted):
            file, rest = line.split(" | ", 1)
            command, test = rest.rsplit(" | ", 1)  # the command may hold bars
            yield number, file.strip(), command.strip(), test.strip()


def run(command, folder, seconds=None, **variables):
    """The exit status, and what was printed; 124 after the time is up."""
    try:
        done = subprocess.run(list(map(str, command)), cwd=folder, env=dict(os.environ, **variables), timeout=seconds,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    except subprocess.TimeoutExpired as late:
        return 124, (late.stdout or b"").decode(errors="replace")
    return done.returncode, done.stdout.decode(errors="replace")


def prepare(tests):
    """Builds the tests and keeps them, and gives each job a copy of the sources."""
    for command in (["cmake", "--preset", "quick"], ["cmake", "--build", "--preset", "quick", "--target", "kel", *tests]):
        status, output = run(command, ROOT, CCACHE_BASEDIR=str(ROOT), CCACHE_NOHASHDIR="1")
        if status != 0:
            sys.exit(output[-3000:])
    shutil.rmtree(WORK, ignore_errors=True)
    WHOLE.mkdir(parents=True)
    for file in [*(BUILD / "src_lib").glob("libkel.so*"), *(BUILD / "tests" / test for test in tests)]:
        shutil.copy(file, WHOLE, follow_symlinks=False)
    for job in range(JOBS):
        for folder in ("include", "src_lib", "tests", "apps"):
            shutil.copytree(ROOT / folder, WORK / str(job) / folder)


def flags_for(target, job):
    """How sources of a target are compiled, in a job's copy of the tree."""
    entries = json.loads((BUILD / "compile_commands.json").read_text())
    command = next(entry["command"] for entry in entries if f"/{target}.dir/" in entry["command"])
    words = shlex.split(command.replace(str(ROOT), str(job)))
    # Optimising takes longer than it saves; and each source without a fault is compiled for the first of its faults alone.
    launcher = [name for name in ["ccache"] if shutil.which(name)]
    return [*launcher, *words[:words.index("-o")], "-O0", "-w", "-Wno-error"]


def including(file):
    """The sources that include a header, be it through others: of the library and the tests."""
    files = [path for folder in ("src_lib", "tests") for path in (ROOT / folder).rglob("*") if path.suffix in (".h", ".cpp")]
    names = {path: set(re.findall(r'#include "(?:.*/)?(.*)"', path.read_text())) for path in files}
    headers = {pathlib.Path(file).name}
    while more := {path.name for path in files if path.suffix == ".h" and names[path] & headers} - headers:
        headers |= more
    return [path.relative_to(ROOT) for path in files if path.suffix == ".cpp" and names[path] & headers]


def broken_sources(file, test):
    """What is to be compiled anew for a broken file: sources of the library, and of the test program or of kel."""
    path = pathlib.Path(file)
    if path.suffix == ".cpp":
        return ([path], []) if path.parts[0] == "src_lib" else ([], [path])
    sources = including(file)
    library = [source for source in sources if source.parts[0] == "src_lib"]
    own = [source for source in sources if source == pathlib.Path("tests", f"{test}.cpp")]
    return ([] if own and len(library) > MANY else library), own


def holds(target, source):
    """Whether the source is one of the target's own."""
    entries = json.loads((BUILD / "compile_commands.json").read_text())
    return any(entry["file"] == str(ROOT / source) and f"/{target}.dir/" in entry["command"] for entry in entries)


def require(command, folder, **variables):
    status, output = run(command, folder, **variables)
    if status != 0:
        raise BuildError(([line for line in output.splitlines() if "error" in line] or [output])[0])


def compiled(source, target, job):
    """The object of a source of the target."""
    made = job / f"{source.stem}.o"
    require([*flags_for(target, job), "-o", made, "-c", job / source], job, CCACHE_BASEDIR=str(job), CCACHE_NOHASHDIR="1")
    return made


def linked(target, replacement, job):
    """The program of a target, linked anew: what it has from the replaced source comes from the replacement."""
    _, command = run(["ninja", "-t", "commands", "-s", target], BUILD)
    words = [word for word in shlex.split(command) if word not in (":", "&&") and not word.endswith(f"/{replacement.stem}.cpp.o")]
    program = job / pathlib.Path(target).name
    words[words.index("-o") + 1] = str(program)
    # The first of several definitions is taken: that of the replacement, not that of a packed source.
    first = next((i for i, word in enumerate(words) if word.endswith(".o")), words.index("-o"))
    words[first:first] = ["-Wl,--allow-multiple-definition", replacement]
    require(words, BUILD)
    return program


def build(job, file, test):
    """The test program, and the variables that make it take the broken code. Raises BuildError."""
    library, own = broken_sources(file, test)
    if not library and not own:
        raise BuildError(f"no source of the library or of {test} includes {file}")
    program, variables = WHOLE / test, {}
    if library:
        objects = [compiled(source, "kel", job) for source in library]
        variables["LD_PRELOAD"] = str(job / "broken.so")
        require(["c++", "-shared", "-o", job / "broken.so", *objects, f"-L{WHOLE}", "-lkel"], job)
    for source in own:
        if holds(test, source):
            program = linked(f"tests/{test}", compiled(source, test, job), job)
        else:
            variables["KEL_PROGRAM"] = str(linked("apps/kel/kel", compiled(source, "kel_program", job), job))
    return program, variables


def failing_test(program, variables, name="*"):
    """The first test that fails, or the one in which the program ends; '' when all pass."""
    status, output = run([program, f"--gtest_filter={name}"], WHOLE, SECONDS_A_TEST, GTEST_FAIL_FAST="1",
                         LD_LIBRARY_PATH=str(WHOLE), **variables)
    names = re.findall(r"^\[  FAILED  \] ([\w.]+)", output, re.MULTILINE)
    begun = re.findall(r"^\[ RUN      \] ([\w.]+)", output, re.MULTILINE)
    return "" if status == 0 else [*names, *begun[-1:], output.strip()][0]


def break_source(folder, file, command):
    """The source with the fault and '', or what is wrong with the promise."""
    if not (folder / file).exists():
        return "", "no such file"
    status, after = run(["sed", "-E", command, file], folder)
    if status != 0:
        return "", "sed: " + after.strip()
    old, new = (folder / file).read_text().splitlines(), after.splitlines()
    if len(old) != len(new) or sum(a != b for a, b in zip(old, new)) != 1:
        return "", "doesn't change exactly one line"
    return after, ""


def judge(job, file, command, test):
    """What became of one fault: the test that noticed it, and '', or what is wrong."""
    source = job / file
    after, fault = break_source(job, file, command)
    if fault:
        return "", fault
    before = source.read_text()
    source.write_text(after)
    try:
        name = failing_test(*build(job, file, test))
    except BuildError as error:
        return "", f"doesn't compile: {error}"
    finally:
        source.write_text(before)
    if not name:
        return "", "SURVIVED"
    return name, "fails without the fault, too: " + name if failing_test(*build(job, file, test), name) else ""


def check():
    """Status 1 when a promise no longer applies."""
    stale = 0
    for number, file, command, test in read_promises(set()):
        fault = break_source(ROOT, file, command)[1]
        if not fault and not (ROOT / "tests" / f"{test}.cpp").exists():
            fault = "no such test"
        if fault:
            print(f"{number:4} {fault}:", " | ".join((file, command, test)))
            stale = 1
    return stale


def main():
    if sys.argv[1:] == ["--check"]:
        sys.exit(check())
    promises = list(read_promises({int(number) for number in sys.argv[1:]}))
    prepare(sorted({test for *_, test in promises}))
    jobs = queue.Queue()
    for job in range(JOBS):
        jobs.put(WORK / str(job))

    def attempt(promise):
        number, *fault = promise
        job = jobs.get()
        start = time.monotonic()
        try:
            name, verdict = judge(job, *fault)
        finally:
            jobs.put(job)
        print(f"{number:4} {time.monotonic() - start:6.1f} s  {verdict or 'noticed by ' + name}:", " | ".join(fault), flush=True)
        return verdict

    with concurrent.futures.ThreadPoolExecutor(JOBS) as pool:
        broken = [verdict for verdict in pool.map(attempt, promises) if verdict]
    print(f"{len(promises) - len(broken)} of {len(promises)} faults are noticed")
    sys.exit(bool(broken))


main()
