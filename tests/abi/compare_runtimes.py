#!/usr/bin/env python3
"""Holds what script/abi prints on standard input to the runtimes of sets that are ten years old.

usage: compare_runtimes.py BOUNDS

Every line "newest FAMILY_1.2.3" must be one of BOUNDS, or older than that of its family.
"""

import sys


def versions(lines):
    found = {}
    for line in lines:
        family, version = line.split()[-1].rsplit("_", 1)
        found[family] = tuple(map(int, version.split(".")))
    return found


with open(sys.argv[1], encoding="utf-8") as bounds:
    allowed = versions(bounds)
needed = versions(line for line in sys.stdin if line.startswith("newest "))
if not needed:
    sys.exit("no line of what was read says which runtimes are needed")
too_new = sorted(family for family, version in needed.items() if version > allowed.get(family, ()))
for family in too_new:
    version = ".".join(map(str, needed[family]))
    print(f"{family}_{version} is newer than {sys.argv[1]} allows; "
          "readelf --dyn-syms -W shows the symbols that need it", file=sys.stderr)
sys.exit(bool(too_new))
