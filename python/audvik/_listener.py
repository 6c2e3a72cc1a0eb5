from __future__ import annotations

import asyncio
import errno
import time
import warnings
from collections.abc import AsyncIterator, Iterator
from typing import TYPE_CHECKING, NamedTuple, Optional

from . import _native
from ._closing import Closing
from ._waiting import Taker

if TYPE_CHECKING:
    import numpy
    import numpy.typing

    Block = numpy.typing.NDArray[numpy.int16]

# In seconds: how long a service may be silent before it is asked whether it is still there.
_SILENCE = 1.0


class Format(NamedTuple):
    rate: int
    channels: int


class FormatWarning(UserWarning):
    """The sound is not what it is taken for."""


class OverrunWarning(UserWarning):
    """Blocks were lost because they were not read in time."""


class Listener(Closing):
    """What the sound service plays.

    >>> with audvik.Listener() as sound:
    ...     for block in sound.blocks():
    ...         print(numpy.abs(block).max())

    rate, channels  what the sound is, where the service does not say it: 48000 and 2 if left out.
                    When the service or the pace of the blocks contradicts, there is a FormatWarning
    wait            wait for a service to come, and to come back, instead of raising
                    ConnectionRefusedError and ConnectionResetError
    queue           how many seconds of sound may wait to be read; blocks that find no room are
                    counted in `overruns`, and there is an OverrunWarning
    """

    def __init__(self, rate: Optional[int] = None, channels: Optional[int] = None, *, wait: bool = False,
                 queue: float = 20.0) -> None:
        is_given = rate is not None or channels is not None
        told = Format(48000 if rate is None else rate, 2 if channels is None else channels)
        for name, value, most in zip(Format._fields, told,
                                     (_native.HIGHEST_RATE, _native.MOST_CHANNELS)):
            if not 1 <= value <= most:
                raise ValueError(f"{name}: {value} is not from 1 to {most}")
        self._wait = wait
        self._reported = 0  # of the overruns
        self._native = _native.Sound(*told, is_given, queue)
        self._taker = Taker[bytearray](self._native)
        self._native.start()
        if not self._native.enable() and not wait:
            self.close()
            raise ConnectionRefusedError(
                errno.ECONNREFUSED, f"no sound service at {_native.service_address()}; start one, "
                "for example sound-service FILE, say with AUDVIK_SERVICE where it is, or wait=True")

    def blocks(self, idle: Optional[float] = None) -> Blocks:
        """The blocks as they come, for `for` and for `async for`.

        Each is an array of int16 of the shape (frames, channels), and the reader's own. It ends
        when nothing has come for `idle` seconds, or behind what had come before close().
        """
        return Blocks(self, idle)

    def format(self, timeout: Optional[float] = None) -> Format:
        """Waits for the first block, with which it is known what the sound is.

        Raises TimeoutError when none comes in time.
        """
        end = None if timeout is None else time.monotonic() + timeout
        while self._native.format is None:
            if end is not None and time.monotonic() >= end:
                raise TimeoutError(f"no sound came within {timeout:g} s")
            time.sleep(0.01)
        return Format(*self._native.format)

    @property
    def overruns(self) -> int:
        """Blocks that were lost because they were not read in time."""
        return self._native.overruns

    @property
    def lost(self) -> int:
        """Blocks that the service has announced and that could not be taken, overruns included."""
        return self._native.lost

    def close(self) -> None:
        """Takes no more sound. When it returns, no block is being taken."""
        self._native.close()

    def _check_service(self) -> None:
        """After a silence: asking for sound again changes nothing but tells whether it is there."""
        if not self._native.enable() and not self._wait:
            raise ConnectionResetError(
                errno.ECONNRESET, f"the sound service at {_native.service_address()} has gone")

    def _block(self, samples: bytearray) -> Block:
        import numpy  # only now, so that those who only control need not have it

        self._warn()
        return numpy.frombuffer(samples, numpy.dtype("<i2")).reshape(-1, self.format().channels)

    def _warn(self) -> None:
        overruns = self._native.overruns
        if overruns > self._reported:
            warnings.warn(f"{overruns - self._reported} blocks were lost: what came before them was "
                          "not read in time", OverrunWarning, stacklevel=5)
            self._reported = overruns
        news = self._native.news()
        if news is not None:
            warnings.warn(news, FormatWarning, stacklevel=5)


class Blocks:
    """An iteration over what a listener hears."""

    def __init__(self, listener: Listener, idle: Optional[float]) -> None:
        self._listener = listener
        self._idle = idle

    def __iter__(self) -> Iterator[Block]:
        heard = time.monotonic()
        while (slice_ := self._slice(heard)) > 0:
            samples = self._listener._taker.take(slice_)
            if samples is not None:
                yield self._listener._block(samples)
                heard = time.monotonic()
            elif self._listener._native.closed:
                return
            elif slice_ == _SILENCE:
                self._listener._check_service()

    async def __aiter__(self) -> AsyncIterator[Block]:
        heard = time.monotonic()
        while (slice_ := self._slice(heard)) > 0:
            samples = await self._listener._taker.take_async(slice_)
            if samples is not None:
                yield self._listener._block(samples)
                heard = time.monotonic()
            elif self._listener._native.closed:
                return
            elif slice_ == _SILENCE:
                await asyncio.to_thread(self._listener._check_service)

    def _slice(self, heard: float) -> float:
        """How long to wait for the next block at most; 0 for not at all."""
        if self._idle is None:
            return _SILENCE
        return min(_SILENCE, max(0.0, heard + self._idle - time.monotonic()))
