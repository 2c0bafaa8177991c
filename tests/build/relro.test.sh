#!/usr/bin/env bash
# Every program and library the build links can be loaded: the dynamic loader makes the
# read-only-after-relocation range read-only with one mprotect over its pages, which fails
# ("cannot apply additional memory protection after relocation") when a page of it is not part
# of a loaded segment. Some linkers start that range at a thread-local section lying before the
# first writable segment, so whether it loads depends on where the text happens to end; the
# range must start inside a segment, whatever the layout.
set -euo pipefail
src="$1"; bin="$2"
exec python3 - "$bin" <<'PY'
import os, subprocess, sys

bin = sys.argv[1]
page = os.sysconf("SC_PAGE_SIZE")

def segments(path):
    out = subprocess.run(["readelf", "-lW", path], capture_output=True, text=True).stdout
    for line in out.splitlines():
        fields = line.split()
        if fields and fields[0] in ("LOAD", "GNU_RELRO"):
            yield fields[0], int(fields[2], 16), int(fields[5], 16)

def elf(path):
    with open(path, "rb") as f:
        return f.read(4) == b"\x7fELF"

files = []
for folder in ("bin", "lib"):  # lib holds the optional modules in folders of their own
    for root, _, names in os.walk(os.path.join(bin, folder)):
        for name in sorted(names):
            path = os.path.join(root, name)
            if os.path.isfile(path) and not os.path.islink(path) and elf(path):
                files.append(path)
if not files:
    sys.exit(f"no programs or libraries under {bin}")

problems = []
for path in files:
    segs = list(segments(path))
    loads = [(start, start + size) for kind, start, size in segs if kind == "LOAD"]
    def loaded(address):
        return any(start <= address < end for start, end in loads)
    def pages_loaded(first, last):
        covered = [(s // page * page, -(-e // page) * page) for s, e in loads]
        return all(any(s <= p < e for s, e in covered) for p in range(first, last, page))
    for kind, start, size in segs:
        if kind == "GNU_RELRO" and size:
            first, last = start // page * page, (start + size) // page * page
            if not loaded(start):
                problems.append(f"{path}: read-only-after-relocation range starts at {start:#x}, outside every loaded segment")
            elif not pages_loaded(first, last):
                problems.append(f"{path}: read-only-after-relocation pages {first:#x}-{last:#x} are not all loaded")
print(f"checked {len(files)} programs and libraries")
if problems:
    sys.exit("\n".join(problems))
PY
