#!/usr/bin/env python3
"""Prints the dissector for the interface that `soundctl list --json` describes.

usage: make_dissector.py INTERFACE.json DISSECTOR.lua
"""

import json
import sys


def to_lua(value, indent=""):
    if not isinstance(value, (dict, list)):
        return json.dumps(value)
    inner = indent + "  "
    if isinstance(value, dict):
        entries = [f"{key} = {to_lua(entry, inner)}" for key, entry in value.items()]
    else:
        entries = [to_lua(entry, inner) for entry in value]
    if not entries:
        return "{}"
    return "{\n" + "".join(f"{inner}{entry},\n" for entry in entries) + indent + "}"


with open(sys.argv[1], encoding="utf-8") as file:
    interface = json.load(file)
with open(sys.argv[2], encoding="utf-8") as file:
    print(file.read().replace("INTERFACE", to_lua(interface), 1), end="")
