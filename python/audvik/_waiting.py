"""Waiting for what the transport's thread has put into a mailbox."""

from __future__ import annotations

import asyncio
import select
import time
from typing import Generic, Optional, Protocol, TypeVar

Item = TypeVar("Item", covariant=True)


class Mailbox(Protocol[Item]):
    def fileno(self) -> int: ...
    def pop(self) -> Optional[Item]: ...
    @property
    def closed(self) -> bool: ...


class Taker(Generic[Item]):
    """Takes items out of a mailbox, in the order in which they came."""

    def __init__(self, mailbox: Mailbox[Item]) -> None:
        self._mailbox = mailbox

    def take(self, timeout: Optional[float] = None) -> Optional[Item]:
        """Waits for the next item: None when none came in time, or will ever come."""
        end = _end(timeout)
        poll = select.poll()
        poll.register(self._mailbox.fileno(), select.POLLIN)
        while (item := self._mailbox.pop()) is None:
            left = _left(end)
            if left == 0 or self._mailbox.closed:
                return self._mailbox.pop()  # what came just before
            poll.poll(None if left is None else 1000 * left)
        return item

    async def take_async(self, timeout: Optional[float] = None) -> Optional[Item]:
        end = _end(timeout)
        while (item := self._mailbox.pop()) is None:
            left = _left(end)
            if left == 0 or self._mailbox.closed:
                return self._mailbox.pop()
            await _readable(self._mailbox.fileno(), left)
        return item


def _end(timeout: Optional[float]) -> Optional[float]:
    return None if timeout is None else time.monotonic() + timeout


def _left(end: Optional[float]) -> Optional[float]:
    return None if end is None else max(0.0, end - time.monotonic())


async def _readable(descriptor: int, timeout: Optional[float]) -> None:
    loop = asyncio.get_running_loop()
    is_readable: asyncio.Future[None] = loop.create_future()

    def wake() -> None:
        if not is_readable.done():
            is_readable.set_result(None)

    loop.add_reader(descriptor, wake)
    try:
        await asyncio.wait([is_readable], timeout=timeout)
    finally:
        loop.remove_reader(descriptor)
