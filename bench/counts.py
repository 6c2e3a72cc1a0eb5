#!/usr/bin/env python3
"""Holds what operations cost, in counts, to a file: system calls, allocations, waits, instructions.

usage: counts.py FILE             fails when one costs more than the file says, by over 5 %
       counts.py --record FILE    writes the file

Counts depend on the machine's mood a little, through timers: the least of up to three runs is
taken. Exits with 77, and says why, when strace or valgrind is missing.
"""

import json
import pathlib
import shutil
import sys

import measure

MARGIN = 1.05
# What a timer adds over a run, on a busy machine.
SLACK = 0.1
TRIES = 3

ROUND_TRIP = measure.Operation("round trip", measure.SILENT, "exchange", "audvik", "COUNT")
BLOCK = measure.Operation(  # in real time, 187.5 a second
    "block", ["--tone", "440", "--block", "1024"], "blocks", "audvik", "COUNT", 1024)

IDLE_SECONDS = 8

KINDS = {"system calls": measure.system_calls, "allocations": measure.allocations,
         "waits": measure.waits, "instructions": measure.instructions}


def costs(operation, repetitions, kinds):
    """What to call for each kind."""
    return {kind: lambda kind=kind: measure.per_operation(
        lambda times: KINDS[kind](operation, times), repetitions) for kind in kinds}


COUNTS = {
    # How often a thread waits while messages follow each other is a matter of its luck.
    "round trip": costs(ROUND_TRIP, 500, ["system calls", "allocations", "instructions"]),
    "block in real time": costs(BLOCK, 200, KINDS),
    "idle second": {"waits": lambda: measure.idle_waits(IDLE_SECONDS)}}


def all_counts():
    return {operation: {kind: count() for kind, count in kinds.items()}
            for operation, kinds in COUNTS.items()}


def record():
    """The most of several runs: what is within the machine's mood is no fault."""
    runs = [all_counts() for _ in range(TRIES)]
    return {operation: {kind: {side: max(run[operation][kind][side] for run in runs)
                               for side in sides} for kind, sides in kinds.items()}
            for operation, kinds in runs[0].items()}


def is_within(value, limit):
    return value <= max(limit * MARGIN, limit + SLACK)


def hold(operation, kind, limits):
    """Returns what is too much, as text."""
    least = {}
    for _ in range(TRIES):
        for side, value in COUNTS[operation][kind]().items():
            least[side] = min(value, least.get(side, value))
        if all(is_within(least[side], limits[side]) for side in limits):
            break
    for side, value in least.items():
        print(f"{operation}, {kind}, {side}: {value:.2f}, at most {limits[side]:.2f}")
    return [f"{operation}: {value:.2f} {kind} of the {side}, where {limits[side]:.2f} were expected"
            for side, value in least.items() if not is_within(value, limits[side])]


def main():
    if len(sys.argv) not in (2, 3) or (len(sys.argv) == 3 and sys.argv[1] != "--record"):
        sys.exit(__doc__)
    for tool in ("strace", "valgrind"):
        if shutil.which(tool) is None:
            print(f"Skipped: {tool} is not there; script/bootstrap bench installs it")
            sys.exit(77)
    file = pathlib.Path(sys.argv[-1])
    if len(sys.argv) == 3:
        file.write_text(json.dumps(record(), indent=1) + "\n")
        return
    wrong = [fault for operation, kinds in json.loads(file.read_text()).items()
             for kind, limits in kinds.items() for fault in hold(operation, kind, limits)]
    if wrong:
        sys.exit("\n".join([*wrong, "if it has to be: bench/counts.py --record bench/counts.json"]))


if __name__ == "__main__":
    main()
