#!/usr/bin/env python3
"""Writes the benchmark's records as the alternatives want them, and the code that fills them in.

usage: make_schemas.py HEADERS_FOLDER OUTPUT_FOLDER

bench.proto and bench.fbs hold each record; bench_fields.h copies one to and from a message of
Protocol Buffers, and makes a struct of FlatBuffers' and reads it.
"""

import pathlib
import re
import sys

RECORDS = ["soundParams_t", "soundDap_t", "soundDTSVirtualXParams_t"]
SCALARS = {  # in the header, in Protocol Buffers, in FlatBuffers
    "std::uint8_t": ("uint32", "ubyte"), "std::int8_t": ("int32", "byte"),
    "std::uint32_t": ("fixed32", "uint"), "std::int32_t": ("sfixed32", "int"),
    "std::int64_t": ("int64", "long"), "bool": ("bool", "bool"), "std::string": ("bytes", "string")}


def read_records(folder):
    """Returns a list of (field name, type, count or None) by record."""
    records = {}
    for header in sorted(folder.glob("*_records.h")):
        for name, body in re.findall(r"struct (\w+) \{(.*?)\};", header.read_text(), re.DOTALL):
            fields = []
            for declared, names in re.findall(r"((?:std::)?\w+(?:<.*?>)?)\s+([^;]+);", body):
                array = re.fullmatch(r"std::array<(.*), (\d+)>", declared)
                for field in names.replace("\n", " ").split(","):
                    fields.append((field.strip(), array[1] if array else declared,
                                   int(array[2]) if array else None))
            records[name] = fields
    return records


def with_nested(records, name, found):
    for _, declared, _ in records[name]:
        if declared not in SCALARS and declared not in found:
            with_nested(records, declared, found)
    found.append(name)
    return found


def proto(name, fields):
    lines = [f"message {name} {{"]
    for number, (field, declared, count) in enumerate(fields, 1):
        kind = SCALARS[declared][0] if declared in SCALARS else declared
        lines.append(f"  {'repeated ' if count else ''}{kind} {field} = {number};")
    return "\n".join(lines + ["}", ""])


def fbs(name, fields):
    lines = [f"struct {name} {{"]
    for field, declared, count in fields:
        kind = SCALARS[declared][1] if declared in SCALARS else declared
        lines.append(f"  {field}: {f'[{kind}:{count}]' if count else kind};")
    return "\n".join(lines + ["}", ""])


def to_proto(field, declared, count):
    if count:
        return (f"to.clear_{field}(); for (auto const each : from.{field}) to.add_{field}(each);")
    if declared in SCALARS:
        return f"to.set_{field}(from.{field});"
    return f"copyFields(from.{field}, *to.mutable_{field}());"


def from_proto(field, declared, count):
    if count:
        return (f"std::copy_n(from.{field}().begin(), "
                f"std::min<std::size_t>(from.{field}().size(), {count}), to.{field}.begin());")
    if declared in SCALARS:
        return f"to.{field} = static_cast<{declared}>(from.{field}());"
    return f"copyFields(from.{field}(), to.{field});"


def to_flat(field, declared, count):
    if count:
        return f"flatbuffers::span<{declared} const, {count}>(from.{field})"
    return f"from.{field}" if declared in SCALARS else f"makeStruct(from.{field})"


def from_flat(field, declared, count):
    if count:
        return (f"for (std::uint16_t i = 0; i < {count}; ++i) "
                f"to.{field}[i] = from.{field}()->Get(i);")
    if declared in SCALARS:
        return f"to.{field} = from.{field}();"
    return f"copyFields(from.{field}(), to.{field});"


def copy(source, target, lines):
    return [f"inline void copyFields({source} const& from, {target}& to) {{",
            *(f"    {line}" for line in lines), "}"]


def glue(name, fields):
    lines = copy(f"sound::{name}", f"bench_pb::{name}", [to_proto(*field) for field in fields])
    lines += copy(f"bench_pb::{name}", f"sound::{name}", [from_proto(*field) for field in fields])
    if not has_strings(fields):
        lines += [f"inline bench_fb::{name} makeStruct(sound::{name} const& from) {{",
                  f"    return bench_fb::{name}({', '.join(to_flat(*field) for field in fields)});",
                  "}"]
        lines += copy(f"bench_fb::{name}", f"sound::{name}",
                      [from_flat(*field) for field in fields])
    return "\n".join(lines + [""])


def has_strings(fields):
    return any(declared == "std::string" for _, declared, _ in fields)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    headers, output = map(pathlib.Path, sys.argv[1:])
    records = read_records(headers)
    names = []
    for name in RECORDS:
        with_nested(records, name, names)
    output.mkdir(parents=True, exist_ok=True)
    (output / "bench.proto").write_text(
        'syntax = "proto3";\npackage bench_pb;\n' +
        "".join(proto(name, records[name]) for name in names))
    (output / "bench.fbs").write_text(
        "namespace bench_fb;\n" + "".join(fbs(name, records[name]) for name in names
                                          if not has_strings(records[name])))
    (output / "bench_fields.h").write_text(
        "// Made by bench/make_schemas.py.\n#pragma once\n\n#include <algorithm>\n\n"
        '#include "bench.pb.h"\n#include "bench_generated.h"\n#include "sound/records.h"\n\n'
        "namespace bench {\n" + "".join(glue(name, records[name]) for name in names) +
        "}  // namespace bench\n")


main()
