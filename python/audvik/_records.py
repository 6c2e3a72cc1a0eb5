"""What all records have in common."""

from __future__ import annotations

import json
import operator
from collections.abc import Iterable, Mapping
from typing import Any, ClassVar, TypeVar

from . import _native

AnyRecord = TypeVar("AnyRecord", bound="Record")


def to_json(value: Any) -> str:
    return json.dumps(value, default=_plain, allow_nan=False)


def _plain(value: Any) -> Any:
    """What JSON does not know: records, numpy's arrays and numbers, ranges and the like."""
    if isinstance(value, Record):
        return value.to_dict()
    if hasattr(value, "tolist"):
        return value.tolist()
    if hasattr(value, "__index__"):
        return operator.index(value)
    if isinstance(value, Iterable):
        return list(value)
    raise TypeError(f"{value!r} is nothing that a field can be")


class Record:
    """Fields of the sound interface: a record, or the arguments of a message that has none.

    Fields are given by position or by name; those left out are zero or empty. A value that does
    not fit raises ValueError, which says the field, the value and what is accepted. An array is
    read as a tuple and set from any sequence, with zeros for what that does not have. A field that
    is a record is read as a part of this one, and set from a record or a dict.
    """

    __slots__ = ("_values",)
    __match_args__: ClassVar[tuple[str, ...]] = ()  # the fields
    __hash__ = None  # type: ignore[assignment]  # it changes
    _shown: ClassVar[tuple[str, ...]] = ()  # their names to show
    _make: ClassVar[Any]  # makes its values

    def __init__(self, *values: Any, **fields: Any) -> None:
        self._values = self._make()
        given = dict(zip(self.__match_args__, values))
        if len(given) < len(values) or given.keys() & fields.keys():
            raise TypeError(f"{type(self).__name__} takes {len(self.__match_args__)} fields, each "
                            "by position or by name")
        if given or fields:
            self._values.update(to_json({**given, **fields}))

    @classmethod
    def _of(cls: type[AnyRecord], values: _native.Values) -> AnyRecord:
        record = cls.__new__(cls)
        record._values = values
        return record

    def to_dict(self) -> dict[str, Any]:
        """The fields, as soundctl writes them in JSON."""
        fields: dict[str, Any] = json.loads(self._values.json())
        return fields

    @classmethod
    def from_dict(cls: type[AnyRecord], fields: Mapping[str, Any]) -> AnyRecord:
        """The reverse of to_dict(); fields that are missing are zero or empty."""
        return cls(**fields)

    def __eq__(self, other: object) -> bool:
        if not isinstance(other, Record) or self._values.record != other._values.record:
            return NotImplemented
        # Those without a record's name are as alike as their messages.
        is_alike = self._values.record != "" or type(self) is type(other)
        return is_alike and self._values.json() == other._values.json()

    def __repr__(self) -> str:
        fields = zip(self._shown, self.__match_args__)
        return (f"{type(self).__name__}("
                + ", ".join(f"{shown}={getattr(self, name)!r}" for shown, name in fields) + ")")

    def __reduce__(self) -> tuple[Any, ...]:
        return type(self).from_dict, (self.to_dict(),)
