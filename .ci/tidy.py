#!/usr/bin/env python3
"""clang-tidy on all of src_lib and apps. The sources of a module are read as one unit, so that common headers are read once:
that takes a tenth of the time. Where unnamed namespaces of a module clash, its sources are read in halves, and so on."""
import concurrent.futures
import pathlib
import re
import subprocess
import sys
import tempfile

root = pathlib.Path(__file__).resolve().parent.parent
library = root / "src_lib"
FOLDERS = [library, *(path for path in library.rglob("*") if path.is_dir())]
FLAGS = ["-std=c++20", "-xc++", "-isystem/usr/include/lib3mf", f"-I{root}/include", *(f"-I{folder}" for folder in FOLDERS)]
FILTER = rf"--header-filter=^{root}/(apps|include|src_lib)/.*"


def groups():
    """The sources by module, as docs/modules.txt has them."""
    units, sources = {}, {}
    for line in (root / "docs/modules.txt").read_text().splitlines():
        if match := re.match(r"(\w+):", line):
            module = match[1]
        elif line.startswith("    "):
            units |= dict.fromkeys(line.split(), module)
    for file in sorted(library.rglob("*.cpp")):
        relative = file.relative_to(library)
        sources.setdefault(units.get(str(relative.with_suffix("")), relative.parts[0]), []).append(file)
    return [*sources.values(), sorted((root / "apps").rglob("*.cpp"))]


def tidy(sources):
    """Prints what is found, and says whether nothing is."""
    with tempfile.NamedTemporaryFile("w", suffix=".cpp") as unit:
        unit.write("".join(f'#include "{file}"\n' for file in sources))
        unit.flush()
        together = ["clang++", "-fsyntax-only", unit.name, *FLAGS]
        if len(sources) > 1 and subprocess.run(together, capture_output=True).returncode != 0:
            half = len(sources) // 2
            return all([tidy(sources[:half]), tidy(sources[half:])])
        # That sources are included is only so here.
        command = ["clang-tidy", "--quiet", f"--config-file={root}/.clang-tidy", "--checks=-bugprone-suspicious-include", FILTER]
        done = subprocess.run([*command, unit.name, "--", *FLAGS], capture_output=True, text=True)
    print(done.stdout, end="", flush=True)
    if done.returncode:
        print(done.stderr, file=sys.stderr)
    return done.returncode == 0


with concurrent.futures.ThreadPoolExecutor(2) as pool:
    sys.exit(not all(list(pool.map(tidy, groups()))))
