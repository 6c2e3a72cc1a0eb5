"""Prints a soundctl batch that sends every command with values of its own in every field.

usage: make_batch.py SOUNDCTL MESSAGES.DEF
"""

import itertools
import json
import re
import subprocess
import sys


def split(fields):
    """Splits "a uint32, b {x bool, y bool}" at the outer commas."""
    depth, start = 0, 0
    for i, letter in enumerate(fields):
        depth += (letter == "{") - (letter == "}")
        if letter == "," and depth == 0:
            yield fields[start:i].strip()
            start = i + 1
    yield fields[start:].strip()


def value(kind, numbers):
    array = re.fullmatch(r"(.*)\[(\d+)\]", kind)
    if array:
        return [value(array[1], numbers) for _ in range(int(array[2]))]
    if kind.startswith("{"):
        return arguments(kind[1:-1], numbers)
    number = next(numbers)
    word = (0x7E8DA4C3 + number * 0x03050709) & 0xFFFFFFFF
    if kind == "string":
        return "" if number % 3 == 1 else f"z\u00e4hler\u0000 {number}"
    if kind == "bool":
        return number % 2 == 0
    if kind == "uint8":
        return word & 0xFF
    if kind == "int8":
        return (word & 0xFF) - 128
    return word - 2**32 if kind.startswith("int") and word >= 2**31 else word


def arguments(fields, numbers):
    result = {}
    for entry in split(fields):
        names, kind = entry.split(" ", 1)
        first, _, last = names.partition("-")
        for number in range(int(first[5:]), int((last or first)[5:]) + 1):
            result[f"field{number}"] = value(kind, numbers)
    return result


def main():
    listing = subprocess.run([sys.argv[1], "list"], check=True, capture_output=True, text=True)
    with open(sys.argv[2], encoding="utf-8") as file:
        answers = {f"cmd{command}": f"on{name}Notify" for name, command in re.findall(
            r"^AUDVIK_NOTIFICATION\((\w+), \w+, (\w+)", file.read(), re.MULTILINE)}
    command = None
    batch = []
    for line in listing.stdout.splitlines():
        name = re.match(r"0x\w+  (\w+)\(", line)
        if name:
            command = {"command": name[1], "arguments": {}}
            if name[1].startswith("cmd"):
                batch.append(command)
                if name[1] in answers:
                    command.update(expect=answers[name[1]], timeout=10)
        else:
            fields = line.strip().split(";")[0]
            command["arguments"] = arguments(fields, itertools.count())
    for command in batch:
        print(json.dumps(command))


main()
