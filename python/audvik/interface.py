"""Every record, notification and command of the sound interface.

All of it is made from the interface's description, the one that `soundctl list --json` prints: a
command that is added to the library is here by itself.
"""

from __future__ import annotations

import functools
import inspect
import json
import os
from collections.abc import Callable, Sequence
from inspect import Parameter
from typing import Any, Optional, TypeVar

from . import _native
from ._records import Record, to_json

AnyNotification = TypeVar("AnyNotification", bound="Notification")
Description = dict[str, Any]  # as audvik-json(5) has it

#: The records, by name.
records: dict[str, type[Record]] = {}
#: The notifications, in the interface's order.
notifications: list[type[Notification]] = []


class Notification(Record):
    """What the service says. Its fields are those of the record that it carries."""

    __slots__ = ()
    _index = -1


class Commands:
    """A method for each command.

    The arguments are the fields of the command, by position or by name, or the record that has
    them. A command is sent and not waited for, but for the notification that `expect` names: it is
    returned, or TimeoutError is raised when none comes within `timeout` seconds.
    """

    def _send(self, command: int, arguments: Record,
              expect: Optional[type[AnyNotification]], timeout: float) -> Optional[AnyNotification]:
        raise NotImplementedError


def use_names(path: str) -> None:
    """Gives fields the names, units and ranges of a file, which audvik-json(5) describes.

    Both names of a field work then. To be called before the first Listener or Client; at import,
    it is done for the file that the environment variable AUDVIK_NAMES names.
    """
    _native.use_names(path)
    _build()


def _describe_type(field: Description) -> str:
    if field["type"] == "record":
        return str(field["record"])
    if field["type"] == "array":
        return f"{field['count']} of {_describe_type(field['element'])}"
    text = str(field["type"])
    return text + (f" from {field['least']} to {field['most']}" if "least" in field else "")


def _describe_field(field: Description) -> str:
    title = f", {field['title']}" if "title" in field else ""
    unit = f" ({field['unit']})" if "unit" in field else ""
    return f"    {field['name']}{title}: {_describe_type(field)}{unit}"


def _describe(summary: str, fields: list[Description]) -> str:
    return "\n".join([summary, *([""] if fields else []), *map(_describe_field, fields)])


def _type_of(field: Description) -> Any:
    if field["type"] == "record":
        return records[field["record"]]
    if field["type"] == "array":
        return tuple[_type_of(field["element"]), ...]  # type: ignore[misc]
    return {"bool": bool, "string": str}.get(field["type"], int)


def _parameter(field: Description) -> Parameter:
    annotation, default = _type_of(field), {"bool": False, "string": ""}.get(field["type"], 0)
    if field["type"] == "record":
        default = {}
    if field["type"] == "array":
        annotation, default = Sequence[annotation.__args__[0]], ()
    return Parameter(field["name"], Parameter.POSITIONAL_OR_KEYWORD, default=default,
                     annotation=annotation)


def _property(index: int, field: Description) -> property:
    def get(self: Record) -> Any:
        value = self._values.get(index)
        return records[value.record]._of(value) if isinstance(value, _native.Values) else value

    def set_(self: Record, value: Any) -> None:
        self._values.set(index, to_json(value))

    get.__annotations__["return"] = _type_of(field)
    return property(get, set_, doc=_describe_field(field).strip())


def _fill(record: type[Record], summary: str, make: Callable[[], _native.Values],
          fields: list[Description]) -> None:
    """Gives a class its fields, again when they have got other names."""
    record.__doc__ = _describe(summary, fields)
    record.__match_args__ = tuple(field["name"] for field in fields)
    record._shown = tuple(field.get("title", field["name"]) for field in fields)
    record._make = staticmethod(make)
    record.__signature__ = inspect.Signature(  # type: ignore[attr-defined]
        [_parameter(field) for field in fields])
    for index, field in enumerate(fields):
        for name in (field["name"], field.get("title")):
            # A user's name hides nothing that every record has.
            if name is not None and not hasattr(Record, name):
                setattr(record, name, _property(index, field))


def _declare(name: str, base: type[Any]) -> type[Any]:
    """Makes the class unless it is there."""
    return globals().setdefault(  # type: ignore[no-any-return]
        name, type(name, (base,), {"__slots__": (), "__module__": __name__}))


def _declare_record(name: str, make: Callable[[], _native.Values],
                    fields: list[Description]) -> type[Record]:
    _declare_inner_records(fields)
    records[name] = _declare(name, Record)
    _fill(records[name], f"The record {name}.", make, fields)
    return records[name]


def _declare_inner_records(fields: list[Description]) -> None:
    for field in fields:
        field = field.get("element", field)
        if field["type"] == "record":
            make = functools.partial(_native.inner_record, field["record"])
            _declare_record(field["record"], make, field["fields"])


def _declare_notification(index: int, message: Description) -> None:
    make = functools.partial(_native.arguments_of_notification, index)
    if "record" in message:
        _declare_record(message["record"], make, message["fields"])
    notification = _declare(message["name"], Notification)
    notification._index = index
    verb = {"reports": "Reports what {} has set.", "answers": "Answers {}.",
            "streams": "Comes as long as {} has switched it on."}[message["relation"]]
    summary = verb.format(message["command"])
    if "record" in message:
        summary += f" Carries {message['record']}."
    _fill(notification, summary, make, message["fields"])
    if notification not in notifications:
        notifications.append(notification)


def _declare_command(index: int, message: Description, answers: list[str]) -> None:
    name = message["name"]
    make = functools.partial(_native.arguments_of_command, index)
    if "record" in message:
        arguments = _declare_record(message["record"], make, message["fields"])
    else:
        arguments = type(name, (Record,), {"__slots__": ()})
        _fill(arguments, "", make, message["fields"])

    def send(self: Commands, *values: Any, expect: Optional[type[AnyNotification]] = None,
             timeout: float = 1.0, **fields: Any) -> Optional[AnyNotification]:
        is_record = len(values) == 1 and not fields and isinstance(values[0], arguments)
        return self._send(index, values[0] if is_record else arguments(*values, **fields), expect,
                          timeout)

    signature = inspect.signature(send)
    parameters = signature.parameters
    send.__signature__ = signature.replace(parameters=[  # type: ignore[attr-defined]
        parameters["self"], *map(_parameter, message["fields"]), parameters["expect"],
        parameters["timeout"]])
    send.__name__, send.__qualname__ = name, f"Commands.{name}"
    summary = f"Sends {name}."
    if "record" in message:
        summary = f"Sends {name}, which carries {message['record']}."
    if answers:
        summary += f" What it brings about: {', '.join(answers)}."
    send.__doc__ = _describe(summary, message["fields"])
    send.arguments = arguments  # type: ignore[attr-defined]
    setattr(Commands, name, send)


def _build() -> None:
    description = json.loads(_native.describe())
    for index, message in enumerate(description["notifications"]):
        _declare_notification(index, message)
    for index, message in enumerate(description["commands"]):
        answers = [notification["name"] for notification in description["notifications"]
                   if notification["command"] == message["name"]]
        _declare_command(index, message, answers)


if "AUDVIK_NAMES" in os.environ:
    _native.use_names(os.environ["AUDVIK_NAMES"])
_build()

__all__ = [*records, *(notification.__name__ for notification in notifications)]
