"""What the TV is playing, and control of its sound service.

What is playing, as numpy arrays:

    import audvik

    with audvik.Listener() as sound:
        for block in sound.blocks():        # int16, of the shape (frames, channels)
            ...

Control, and what the service has to say:

    with audvik.Client() as tv:
        info = tv.cmdVolumeSet(field2=30, expect=audvik.onVolumeInfoNotify)
        tv.on(audvik.onMuteInfoNotify, print)

Client has a method for each command; there is a class for each record and each notification: see
help(audvik.Client) and help(audvik.interface), or `soundctl list`. Fields have numbers, and the
names that a names file gives them: set the environment variable AUDVIK_NAMES, or call use_names().

The sound service is expected at 127.0.0.1:12321, or where the environment variable AUDVIK_SERVICE
says. Everything may be used from any thread.
"""

from . import interface as interface
from ._client import Client as Client
from ._client import Notifications as Notifications
from ._listener import Blocks as Blocks
from ._listener import Format as Format
from ._listener import FormatWarning as FormatWarning
from ._listener import Listener as Listener
from ._listener import OverrunWarning as OverrunWarning
from ._native import version as __version__
from ._records import Record as Record
from .interface import *
from .interface import Notification as Notification
from .interface import use_names as use_names

for _name in (Client, Notifications, Blocks, Format, FormatWarning, Listener, OverrunWarning, Record,
              Notification):
    _name.__module__ = __name__
del _name
