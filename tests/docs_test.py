"""Holds the pages against what they speak of: links lead to files, docs/program.md has every command and option of the program,
docs/api.md every public function and class, docs/architecture.md every header, and no file that isn't there. The README stays
short, and each page on a stage ends in what to do when something goes wrong."""
import pathlib
import re
import sys

root = pathlib.Path(__file__).resolve().parent.parent
faults = []
for page in [*root.glob("*.md"), *root.glob("docs/*.md")]:
    for link in re.findall(r"\]\(([^)#]+)[^)]*\)", page.read_text()):
        if "://" not in link and not (page.parent / link).exists():
            faults.append(f"{page.name}: no file {link}")


def require(words, page, what):
    text = (root / page).read_text()
    if not words:
        faults.append(f"found no {what} to look for")
    faults.extend(f"{page} lacks the {what} {word}" for word in sorted(words) if not re.search(rf"(?<![\w-]){word}(?![\w-])", text))


program = "".join(file.read_text() for file in (root / "apps/kel").glob("*.cpp"))
require(set(re.findall(r'add_subcommand\(\s*"(\w+)"', program)), "docs/program.md", "command")
require(set(re.findall(r'add_(?:option|flag)\w*(?:<\w+>)?\(\s*"(--?[\w-]+)"', program)), "docs/program.md", "option")
headers = "".join(file.read_text() for file in (root / "include/kel").glob("*.h"))
functions = set(re.findall(r"^(?:\w[\w:]* )+(\w+)\(", headers, re.MULTILINE)) - {"crossProduct", "isFinitePoint", "getFileType"}
families = {name for name in functions if re.match(r"(read|write)Points", name)} - {"readPoints_auto", "writePoints_auto"}
require(functions - families - {"writeList"}, "docs/api.md", "function")
files = {file.name for file in root.rglob("*") if "build" not in file.relative_to(root).parts[:-1]}
require({file.name for folder in ("src_lib", "apps") for file in (root / folder).rglob("*.h")}, "docs/architecture.md", "header")
named = set(re.findall(r"`(?:\w+/)*([\w.]+\.(?:h|cpp|py|sh|txt))`", (root / "docs/architecture.md").read_text()))
faults += [f"docs/architecture.md names {name}, which isn't there" for name in sorted(named - files) if not name.startswith("X")]
STAGES = ("spacing", "points", "gap-closing", "extraction", "fit", "manifold", "melt", "post-processing")
for stage in STAGES:
    if re.findall("^## (.*)", (root / f"docs/{stage}.md").read_text(), re.MULTILINE)[-1] != "Troubleshooting":
        faults.append(f"docs/{stage}.md doesn't end in Troubleshooting")
if len((root / "README.md").read_text().splitlines()) > 90:
    faults.append("README.md has more than 90 lines")
print("\n".join(faults) or "All pages agree")
sys.exit(bool(faults))
