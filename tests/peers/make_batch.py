"""Prints a soundctl batch that sends every command with values of its own in every field.

usage: make_batch.py SOUNDCTL
"""

import itertools
import json
import subprocess
import sys


def value(field, numbers):
    kind = field["type"]
    if kind == "array":
        return [value(field["element"], numbers) for _ in range(field["count"])]
    if kind == "record":
        return {member["name"]: value(member, numbers) for member in field["fields"]}
    number = next(numbers)
    if kind == "string":
        return "" if number % 3 == 1 else f"z\u00e4hler\u0000 {number}"
    if kind == "bool":
        return number % 2 == 0
    # Bytes that all differ, in the field's range.
    word = 0x7E8DA4C3 + number * 0x03050709
    return field["least"] + word % (field["most"] - field["least"] + 1)


def main():
    listing = subprocess.run([sys.argv[1], "list", "--json"], check=True, capture_output=True)
    interface = json.loads(listing.stdout)
    answers = {answer["command"]: answer["name"] for answer in interface["notifications"]}
    for command in interface["commands"]:
        command["type"] = "record"
        line = {"command": command["name"], "arguments": value(command, itertools.count())}
        if command["name"] in answers:
            line.update(expect=answers[command["name"]], timeout=10)
        print(json.dumps(line))


main()
