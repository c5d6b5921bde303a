#!/usr/bin/env python3
"""check_numbers.py OBJDUMP DEF DLL... [--by PROGRAM]: each DLL exports each call of DEF by its number there and nothing else;
PROGRAM imports from that DLL by number alone, and nothing that is not in DEF."""
import os
import re
import subprocess
import sys

objdump, definition, *rest = sys.argv[1:]
program = None
if "--by" in rest:
    at = rest.index("--by")
    program = rest[at + 1]
    rest = rest[:at]

wanted = {}
library = None
for line in open(definition, encoding="ascii"):
    if line.startswith("LIBRARY"):
        library = line.split()[1].removesuffix(".dll") + ".dll"
    m = re.match(r"\s+(\w+)\s+@(\d+)", line)
    if m:
        wanted[int(m.group(2))] = m.group(1)
breaches = [] if wanted else [f"{definition} names no call"]


def dump(path):
    return subprocess.run([objdump, "-p", path], capture_output=True, text=True, check=True).stdout


for dll in rest:
    text = dump(dll)
    base = int(re.search(r"Ordinal Base\s+(\d+)", text).group(1))
    names = text.split("[Ordinal/Name Pointer] Table")[1].split("\n\n")[0]
    found = {int(n) + base: name for n, name in re.findall(r"\[\s*(\d+)\](?:\s+\+base\[\s*\d+\])?(?:\s+[0-9a-f]+)?\s+(\w+)", names)}
    if found != wanted:
        for number in sorted(set(found) | set(wanted)):
            if found.get(number) != wanted.get(number):
                breaches.append(f"{dll}: number {number} is {found.get(number)}, not {wanted.get(number)}")

if program:
    block = re.search(rf"DLL Name: {re.escape(library)}\n(.*?)\n\n", dump(program), re.S)
    rows = re.findall(r"^\s+([0-9a-f]+)\s+(.*)$", block.group(1), re.M) if block else []
    rows = [(int(thunk, 16), what) for thunk, what in rows if len(thunk) == 16]
    if not rows:
        breaches.append(f"{program} imports nothing from {library}")
    for thunk, what in rows:
        if not thunk >> 63:
            breaches.append(f"{program} imports by name from {library}: {what}")
        elif thunk & 0xFFFF not in wanted:
            breaches.append(f"{program} imports number {thunk & 0xFFFF}, which {os.path.basename(definition)} does not have")

print("\n".join(breaches))
sys.exit(1 if breaches else 0)
