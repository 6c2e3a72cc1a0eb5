#!/usr/bin/env python3
"""Writes type stubs of what cannot be read from the package's sources: of the module in C++, and of
what the package makes from the interface's description. They come from the built package itself.

usage: make_stubs.py FOLDER    where the package lies, for the stubs, too
"""

import inspect
import pathlib
import re
import sys
import typing

FOLDER = pathlib.Path(sys.argv[1])
sys.path.insert(0, str(FOLDER))

import audvik._native  # noqa: E402
import audvik.interface  # noqa: E402

INTERFACE_HEAD = '''\
from collections.abc import Mapping, Sequence
from typing import Any, Optional, TypeVar, overload

from ._records import Record

AnyNotification = TypeVar("AnyNotification", bound=Notification)
records: dict[str, type[Record]]
notifications: list[type[Notification]]

def use_names(path: str) -> None: ...

class Notification(Record):
    _index: int
'''

COMMANDS_HEAD = '''
class Commands:
    def _send(self, command: int, arguments: Record, expect: Optional[type[AnyNotification]],
              timeout: float) -> Optional[AnyNotification]: ...
'''

# A command is waited for or not.
ENDINGS = ("expect: None = ..., timeout: float = ...) -> None",
           "expect: type[AnyNotification], timeout: float = ...) -> AnyNotification")


def native_signature(function):
    """As pybind11 writes it into the documentation."""
    line = function.__doc__.strip().splitlines()[0]
    line = line.replace("audvik._native.", "").replace("object", "Any")
    return re.sub(r"\b(Tuple|List)\[", lambda match: match[1].lower() + "[", line)


def native_members(owner, indent):
    for name, value in vars(owner).items():
        if inspect.isclass(value):
            yield f"\nclass {name}:"
            yield from native_members(value, "    ")
        elif isinstance(value, property):
            yield f"{indent}@property"
            yield f"{indent}def {name}{native_signature(value.fget)}: ..."
        elif callable(value) and f"{name}(" in (value.__doc__ or ""):
            yield f"{indent}def {native_signature(value)}: ..."
        elif type(value) in (int, str) and not name.startswith("_"):
            yield f"{indent}{name}: {type(value).__name__}"


def type_name(annotation):
    if typing.get_origin(annotation) is None:
        return annotation.__name__
    arguments = ["..." if each is ... else type_name(each) for each in typing.get_args(annotation)]
    return f"{typing.get_origin(annotation).__name__}[{', '.join(arguments)}]"


def parameters(fields):
    """Records and dicts are taken for fields that are records, and any sequence for arrays."""
    for field in fields:
        accepted = type_name(field.annotation)
        if issubclass(typing.get_origin(field.annotation) or field.annotation, audvik.Record):
            accepted += " | Mapping[str, Any]"
        yield f"{field.name}: {accepted} = ..., "


def record_members(record):
    fields = inspect.signature(record).parameters.values()
    yield f"    def __init__(self, {''.join(parameters(fields))}) -> None: ..."
    for field in fields:
        prop = vars(record)[field.name]
        name = type_name(prop.fget.__annotations__["return"])
        yield f"    @property\n    def {field.name}(self) -> {name}: ..."
        yield f"    @{field.name}.setter\n    def {field.name}(self, value: {name}) -> None: ..."


def command_overloads(name, command):
    fields = list(inspect.signature(command).parameters.values())[1:-2]
    takes = ["self, " + "".join(parameters(fields)) + "*, "]
    if command.arguments.__name__ != name:
        takes.append(f"self, record: {command.arguments.__name__}, /, *, ")
    for take in takes:
        for ending in ENDINGS:
            yield f"    @overload\n    def {name}({take}{ending}: ..."


def interface_stub():
    interface = audvik.interface
    yield INTERFACE_HEAD
    for record in [*interface.records.values(), *interface.notifications]:
        yield f"class {record.__name__}({record.__bases__[0].__name__}):"
        yield from record_members(record)
    yield COMMANDS_HEAD
    for name, command in vars(interface.Commands).items():
        if hasattr(command, "arguments"):
            yield from command_overloads(name, command)


def write(name, head, lines):
    text = "\n".join([*head, *lines]).replace(", ) ->", ") ->")
    (FOLDER / "audvik" / f"{name}.pyi").write_text(text + "\n")


write("_native", ["from typing import Any, Optional\n"], native_members(audvik._native, ""))
write("interface", [], interface_stub())
