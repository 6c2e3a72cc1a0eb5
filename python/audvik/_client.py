from __future__ import annotations

import os
import sys
import threading
from collections.abc import AsyncIterator, Callable, Iterator
from typing import Any, Optional

from . import _native
from ._closing import Closing
from ._records import Record
from ._waiting import Taker
from .interface import AnyNotification, Commands, Notification, notifications


class Notifications:
    """Notifications as they come, for `for` and for `async for`, until close()."""

    def __init__(self, inbox: _native.Inbox) -> None:
        self._inbox = inbox
        self._taker = Taker[tuple[int, _native.Values]](inbox)

    def take(self, timeout: Optional[float] = None) -> Optional[Notification]:
        """Waits for the next one: None when none came in time, or will ever come."""
        return _notification(self._taker.take(timeout))

    @property
    def closed(self) -> bool:
        """Whether no more will come."""
        return self._inbox.closed

    @property
    def overruns(self) -> int:
        """How many were lost since nobody took those before them: 10,000 may wait."""
        return self._inbox.overruns

    def close(self) -> None:
        """Ends the iteration behind what has come."""
        self._inbox.close()

    def __iter__(self) -> Iterator[Notification]:
        while (heard := self.take()) is not None:
            yield heard

    async def __aiter__(self) -> AsyncIterator[Notification]:
        while (heard := _notification(await self._taker.take_async())) is not None:
            yield heard

    def __del__(self) -> None:
        self.close()


def _notification(heard: Optional[tuple[int, _native.Values]]) -> Optional[Notification]:
    return None if heard is None else notifications[heard[0]]._of(heard[1])


class Client(Closing, Commands):
    """Control of the sound service: a method for each command, and what the service has to say.

    >>> with audvik.Client() as tv:
    ...     info = tv.cmdVolumeSet(field2=30, expect=audvik.onVolumeInfoNotify)

    It may be made before there is a service; a command without one raises ConnectionRefusedError.
    """

    def __init__(self) -> None:
        self._native = _native.Client()
        self._callbacks: dict[type[Notification], list[Callable[[Any], object]]] = {}
        self._delivery: Optional[Notifications] = None

    def notifications(self, *wanted: type[Notification]) -> Notifications:
        """What the service says from now on: the notifications of these classes, or all."""
        inbox = _native.Inbox([each._index for each in wanted])
        self._native.listen(inbox)
        return Notifications(inbox)

    def expect(self, notification: type[AnyNotification], timeout: float = 1.0) -> AnyNotification:
        """Waits for the next notification of the class from now on.

        To wait for what a command brings about, give the command `expect` instead.
        """
        return self._answer(self.notifications(notification), notification, timeout)

    def on(self, notification: type[AnyNotification],
           callback: Callable[[AnyNotification], object]) -> None:
        """Has a function called with each notification of the class.

        All callbacks of a client are called on one thread of its own, in the order of the
        notifications. They may take their time, send commands, expect notifications and close the
        client. What they raise goes to threading.excepthook, and the next notification is delivered.
        """
        self._callbacks.setdefault(notification, []).append(callback)
        if self._delivery is None:
            self._delivery = self.notifications()
            threading.Thread(target=_deliver, args=(self._delivery, self._callbacks),
                             name="audvik callbacks", daemon=True).start()

    def close(self) -> None:
        """Hears nothing any more, and calls no callback; one that is running is not waited for."""
        self._native.close()

    def _send(self, command: int, arguments: Record,
              expect: Optional[type[AnyNotification]], timeout: float) -> Optional[AnyNotification]:
        answers = None if expect is None else self.notifications(expect)
        status = self._native.send(command, arguments._values)
        if status < 0:
            raise OSError(-status, f"no command reaches a sound service at "
                          f"{_native.service_address()} ({os.strerror(-status)}); start one, for "
                          "example sound-service, or say with AUDVIK_SERVICE where it is")
        if answers is None or expect is None:
            return None
        return self._answer(answers, expect, timeout)

    def _answer(self, answers: Notifications, expected: type[AnyNotification],
                timeout: float) -> AnyNotification:
        answer = answers.take(timeout)
        if answers.closed:
            raise RuntimeError("the client is closed")
        if not isinstance(answer, expected):
            raise TimeoutError(f"no {expected.__name__} came within {timeout:g} s")
        return answer


def _deliver(heard: Notifications,
             callbacks: dict[type[Notification], list[Callable[[Any], object]]]) -> None:
    for notification in heard:
        for callback in callbacks.get(type(notification), []):
            if heard.closed:
                return
            try:
                callback(notification)
            except Exception:
                threading.excepthook(threading.ExceptHookArgs(
                    [*sys.exc_info(), threading.current_thread()]))
