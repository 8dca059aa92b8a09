#!/usr/bin/env python3
"""clang-tidy on all but tests and benchmarks. Many sources are read as one unit, so that common headers are read once: that
takes a tenth of the time. Sources whose private names clash go into different units. Where they clash nevertheless, the
sources of a unit are read in halves, and so on."""
import concurrent.futures
import os
import pathlib
import re
import subprocess
import sys
import sysconfig
import tempfile

root = pathlib.Path(__file__).resolve().parent.parent
library = root / "src_lib"
INCLUDES = [root / "include", root / "tests", root / "apps/kel", library, *(path for path in library.rglob("*") if path.is_dir())]
FLAGS = ["-std=c++20", "-xc++", '-DKEL_VERSION=""', "-isystem/usr/include/lib3mf", f"-isystem{sysconfig.get_path('include')}",
         *(f"-I{folder}" for folder in INCLUDES)]
LARGEST = 48  # sources in a unit: more take no less time, and much memory
DECLARED = re.compile(r"^(?:struct|class|enum|enum class|union) (\w+)|^using (?!namespace).*?(\w+)(?:;| =)|"
                      r"^(?!using)[\w:][\w:<>,&*\[\] ]*[ &*](\w+)(?: =|[({\[;])", re.MULTILINE)
PRIVATE = re.compile(r"^namespace \{\n(.*?)^\}  // namespace$|^(using (?!namespace)[^\n]*|int main\([^\n]*)$", re.MULTILINE | re.DOTALL)


def declared(text):
    """The names outside of functions and classes: what declares them begins at the margin."""
    return {name for match in DECLARED.findall(text) for name in match if name}


def units():
    """Lists of sources of which none gives a name of its own to what another one declares, too, or has from a header."""
    common = set().union(*(declared(header.read_text()) for header in root.rglob("*.h")))
    packed = []
    for folder in ("src_lib", "apps", "examples", "fuzz", "python/src"):
        for source in sorted((root / folder).rglob("*.cpp")):
            text = source.read_text()
            own = declared("\n".join(part for parts in PRIVATE.findall(text) for part in parts))
            others = common & set(re.findall(r"\w+", text)) - own
            for unit in packed:
                if len(unit["sources"]) < LARGEST and not unit["own"] & (own | others) and not unit["others"] & own:
                    break
            else:
                unit = {"sources": [], "own": set(), "others": set()}
                packed.append(unit)
            unit["own"] |= own
            unit["others"] |= others
            unit["sources"].append(source)
    return [unit["sources"] for unit in packed]


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
        command = ["clang-tidy", "--quiet", f"--config-file={root}/.clang-tidy", "--checks=-bugprone-suspicious-include"]
        done = subprocess.run([*command, unit.name, "--", *FLAGS], capture_output=True, text=True)
    print(done.stdout, end="", flush=True)
    if done.returncode:
        print(done.stderr, file=sys.stderr)
    return done.returncode == 0


with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    sys.exit(not all(list(pool.map(tidy, units()))))
