from __future__ import annotations

import abc
from typing import TypeVar

Self = TypeVar("Self", bound="Closing")


class Closing(abc.ABC):
    """Is closed at the end of a `with`, and when nobody refers to it any more."""

    @abc.abstractmethod
    def close(self) -> None:
        ...

    def __enter__(self: Self) -> Self:
        return self

    def __exit__(self, *exception: object) -> None:
        self.close()

    def __del__(self) -> None:
        if hasattr(self, "_native"):
            self.close()
