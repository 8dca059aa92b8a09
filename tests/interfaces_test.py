"""Holds the C interface against the C++ one: each field of the option and report structs is carried over, by name. Each
function in C is called by a test and is a symbol of the Debian package, which has the version of the build in its names."""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
mapping = (root / "src_lib/api/cOptions.h").read_text() + (root / "src_lib/api/kel_c.cpp").read_text()
# What has another form in C: the listener and the flag are fields of their own type, the steps have functions.
elsewhere = {"origin", "pListener", "pStop", "vSteps"}
faults, num_fields = [], 0
for header in sorted((root / "include/kel").glob("*.h")):
    for name, body in re.findall(r"^struct (\w+(?:Options|Report|Flaws)) \{\n(.*?)^\};", header.read_text(), re.M | re.S):
        lists = re.findall(rf"forEach\w+\((?:const )?{name}& \w+,.*?^\}}", mapping, re.M | re.S)
        fields = re.findall(r"^    (?!using)[\w:<>*]+(?: [\w:<>*]+)* (\w+)(?: = .*?)?;", body, re.M)
        num_fields += len(fields)
        for field in fields:
            found = re.search(rf"\w+\.{field}\b", "".join(lists))
            if not found and not (field in elsewhere and re.search(rf"[.\"]{field}\b", mapping)):
                faults.append(f"{name}::{field} has no field in C")
if num_fields < 60:
    faults.append(f"only {num_fields} fields found: the structs are written in another way")

header = re.sub("//.*", "", (root / "include/kel_c.h").read_text())
functions = set(re.findall(r"^[\w* ]+?\b(kel_\w+)\(", header, re.M))
tests = (root / "tests/c_interface_test.cpp").read_text()

version = re.search(r"^project\(kel VERSION ([\d.]+) ", (root / "CMakeLists.txt").read_text(), re.M).group(1)
soversion = re.search(r" SOVERSION ([\d.]+)\)", (root / "src_lib/CMakeLists.txt").read_text()).group(1)
if not version.startswith(f"{soversion}."):
    faults.append(f"the version is {version}, but that of the binary interface {soversion}")
debian = root / "packaging/debian"
symbols_file = next(debian.glob("libkel*.symbols"))
symbols = set(re.findall(r"^ (kel_\w+)@", symbols_file.read_text(), re.M))
if not (debian / "changelog").read_text().startswith(f"kel ({version}) "):
    faults.append(f"packaging: the newest entry of changelog isn't of {version}")
named = {"control": f"\nPackage: libkel{soversion}\n", symbols_file.name: f"libkel.so.{soversion} libkel{soversion} #MINVER#\n"}
faults += [f"packaging: {file} lacks {text!r}" for file, text in named.items() if text not in (debian / file).read_text()]
for file in [*filter(pathlib.Path.is_file, debian.iterdir()), root / "CONTRIBUTING.md"]:
    others = set(re.findall(r"libkel(?:\.so\.)?(\d+(?:\.\d+)*)", file.name + " " + file.read_text())) - {soversion}
    faults += [f"{file.name} names version {other} of the library" for other in sorted(others)]

faults += [f"no test calls {name}" for name in sorted(functions) if not re.search(rf"\b{name}\b", tests)]
faults += [f"{name}: only in one of kel_c.h and the symbols file" for name in sorted(functions ^ symbols)]
if len(functions) < 50:
    faults.append(f"only {len(functions)} functions found: they are declared in another way")
print("\n".join(faults) or f"{num_fields} fields, all of them in C; {len(functions)} functions")
sys.exit(bool(faults))
