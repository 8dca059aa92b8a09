#!/usr/bin/env python3
"""clang-tidy on all but tests and benchmarks. Many sources are read as one unit, so that common headers are read once: that
takes a tenth of the time. Sources whose private names clash go into different units. Where they clash nevertheless, the
sources of a unit are read in halves, and so on."""
import concurrent.futures
import contextlib
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
FOLDERS = ("src_lib", "apps", "examples", "fuzz", "python/src")
FILTER = rf"--header-filter=^{root}/(include|{'|'.join(FOLDERS)})/"  # sources are headers of the unit that includes them
LARGEST = 48  # sources in a unit, so that there are some for each processor
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
    for folder in FOLDERS:
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
        # That sources are included is only so here.
        command = ["clang-tidy", "--quiet", f"--config-file={root}/.clang-tidy", "--checks=-bugprone-suspicious-include", FILTER]
        done = subprocess.run([*command, unit.name, "--", *FLAGS], capture_output=True, text=True)
    if len(sources) > 1 and "clang-diagnostic-error" in done.stdout:
        half = len(sources) // 2
        return all([tidy(sources[:half]), tidy(sources[half:])])
    print(done.stdout, end="", flush=True)
    if done.returncode:
        print(done.stderr, file=sys.stderr)
    return done.returncode == 0


def sees_faults():
    """Whether a fault in a source would be found: the unit that includes it is a file elsewhere."""
    with tempfile.NamedTemporaryFile("w", suffix=".cpp", dir=root / "examples") as source, contextlib.redirect_stdout(None), \
            contextlib.redirect_stderr(None):
        source.write("int* WrongName() { return 0; }\n")
        source.flush()
        return not tidy([source.name])


if not sees_faults():
    sys.exit("clang-tidy finds nothing in sources")
with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    sys.exit(not all(list(pool.map(tidy, units()))))
