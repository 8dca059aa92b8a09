"""Holds the includes of src_lib against docs/modules.txt: every file has a module, every include goes to the same module or to
one that it may use, which stands above it in the list, by its bare name, no units include each other in a circle, what lies
aside is included only from there and by the classes that have operations which no public function reaches, and members of a
class are defined in its own module, but for what draws it."""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
source = root / "src_lib"
SPATIAL = ("octree/", "curve/", "tarn_locate3/")  # folders of the root, whose headers are included by their path
HAVE_ASIDE = {"Hole", "Hole_show", "HoleToCCD", "Holex", "Top", "TopMelt"}
DEFINED_ABOVE = re.compile(r"draw/\w+\.cpp|api/aside/Hole_mesh\.cpp")  # members that need more than their class may use
uses, units, faults = {}, {}, []
for line in (root / "docs/modules.txt").read_text().splitlines():
    if match := re.match(r"(\w+):(.*)", line):
        module, below = match[1], match[2].split()
        faults += [f"{module} may not use {name}, which doesn't stand above it" for name in below if name not in uses]
        uses[module] = {module, *below}
    elif line.startswith("    "):
        units |= dict.fromkeys(line.split(), module)


def module_of(file):
    relative = file.relative_to(source)
    return units.get(str(relative.with_suffix("")), relative.parts[0] if relative.parts[0] in uses else None)


files = [file for file in source.rglob("*") if file.suffix in (".h", ".cpp")]
faults += [f"{file} has no module" for file in files if module_of(file) is None]
faults += [f"there is no {unit}" for unit in units if not any((source / unit).with_suffix(end) in files for end in (".h", ".cpp"))]
headers = {file.name: file for file in files if file.suffix == ".h"}
for file in files:
    if file.suffix == ".h" or DEFINED_ABOVE.fullmatch(str(file.relative_to(source))):
        continue
    for name in set(re.findall(r"^(?=\S).*?\b([A-Z]\w+)::~?\w+\(", file.read_text(), re.MULTILINE)):
        if f"{name}.h" in headers and module_of(headers[f"{name}.h"]) != module_of(file):
            faults.append(f"{file.name} ({module_of(file)}) defines members of {name} ({module_of(headers[f'{name}.h'])})")
graph = {}  # header and source of one name are one unit
for file in files:
    for path, name in re.findall(r'#\s*include\s*["<](.*/)?([^">]*)[">]', file.read_text()):
        if name not in headers or path == "kel/":
            continue
        if path and path not in SPATIAL:
            faults.append(f"{file.name} includes {path}{name} by its path")
        graph.setdefault(file.stem, set()).add(headers[name].stem)
        if module_of(headers[name]) not in uses.get(module_of(file), set()):
            faults.append(f"{file.name} ({module_of(file)}) may not include {name} ({module_of(headers[name])})")
        if headers[name].parent.name == "aside" and file.parent.name != "aside" and file.stem not in HAVE_ASIDE:
            faults.append(f"{file.name} may not include {name}, which lies aside")


def peel(edges):
    """Takes out, again and again, the units that lead to none of those left."""
    while leaves := [unit for unit, below in edges.items() if not any(other in edges for other in below - {unit})]:
        for unit in leaves:
            del edges[unit]
    return edges


above = {unit: {other for other, below in graph.items() if unit in below} for unit in peel(dict(graph))}
if circles := peel(above):
    faults.append("circles among these: " + " ".join(sorted(circles)))
print("\n".join(faults) or f"{len(files)} files in {len(uses)} modules, no arrow up, no circle")
sys.exit(bool(faults))
