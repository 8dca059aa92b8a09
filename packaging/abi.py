"""What check-abi.sh needs beside abidiff.

abi.py stubs: turns kel_c.h, on standard input, into a C source that defines each of its functions, without a body. Compiled,
it has the ABI that the header promises, and nothing of what the handles hold.
abi.py judge KEL_C_H: reads abidiff's report from standard input, and fails unless all that it says is that structs which begin
with their size got more fields at their end.
"""
import re
import sys

FUNCTION = r"^((?:const )?\w+[ *]+kel_\w+\([^;{}]*\));"
HARMLESS = [
    r"(?:Functions|Variables) changes summary: 0 Removed, .*",
    r"\d+ functions? with some indirect sub-type changes?:",
    r"\[C\] 'function .*' at .* has some (?:indirect )?sub-type changes:",
    r"parameter \d+ of type '.*' has sub-type changes:",
    r"in pointed to type '.*'(?: at .*)?:",
    r"in unqualified underlying type '.*'(?: at .*)?:",
    r"underlying type 'struct (\w+)' at .* changed:",
    r"type size changed from \d+ to \d+ \(in bits\)",
    r"\d+ data member insertions?:",
    r"'.*', at offset \d+ \(in bits\) at .*",
    r"(?:unqualified underlying|pointed to) type '.*' changed at .*, as reported earlier",
    r"",
]


def judge(header):
    sized = set(re.findall(r"typedef struct (kel_\w+) \{\s*size_t size;", header))
    faults = []
    for line in map(str.strip, sys.stdin):
        found = next((m for m in (re.fullmatch(pattern, line) for pattern in HARMLESS) if m), None)
        struct = found and found.re.groups == 1 and found[1]
        if not found or (struct and struct not in sized):
            faults.append(line)
    print("\n".join(faults) or "Programs that were compiled before go on working")
    return bool(faults)


if sys.argv[1] == "stubs":
    source, count = re.subn(FUNCTION, r"\1 { __builtin_trap(); }", sys.stdin.read(), flags=re.M)
    if count < 50:
        sys.exit(f"only {count} functions found: they are declared in another way")
    print(source)
else:
    with open(sys.argv[2]) as file:
        sys.exit(judge(re.sub("//.*", "", file.read())))
