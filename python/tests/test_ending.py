"""However a process ends, it neither hangs nor crashes, and prints nothing of the library's."""

import pytest
from conftest import run_python

HEAD = """
import asyncio, gc, numpy, sys, threading, time
import audvik

def send_for_ever():
    tv = audvik.Client()
    while True:
        tv.cmdVolumeSet(1, 1, expect=audvik.onVolumeInfoNotify, timeout=100)

def read_for_ever():
    for block in audvik.Listener().blocks():
        pass

tv, sound = audvik.Client(), audvik.Listener()
"""


@pytest.mark.parametrize("wait", [
    "tv.expect(audvik.onMuteInfoNotify, timeout=100)",
    "[None for block in audvik.Listener(rate=1, channels=1).blocks()]",
    "sound.close(); tv.close(); threading.Event().wait()",
    "async def main():\n    async for _ in tv.notifications(audvik.onMuteInfoNotify): pass"
    "\nasyncio.run(main())",
])
def test_ctrl_c_ends_every_wait(service, wait):
    status, output, errors = run_python(f"{HEAD}\nprint('waits', flush=True)\n{wait}",
                                        interrupt_after="waits")
    assert status == -2 and output == ""
    assert errors.splitlines()[-1] == "KeyboardInterrupt"


@pytest.mark.parametrize("ending", [
    "",
    "sys.exit()",
    # Daemons that hold the interpreter's lock, want it, and wait without it.
    "for run in 2 * [send_for_ever, read_for_ever]: threading.Thread(target=run, daemon=True).start()"
    "\ntime.sleep(0.5)",
    # A callback that never returns, and one that is told what it holds must go.
    "tv.on(audvik.onVolumeInfoNotify, lambda info: time.sleep(100)); tv.cmdVolumeSet(1, 1)"
    "\ntime.sleep(0.2)",
    """
class Holder:
    def __init__(self):
        self.tv, self.sound = audvik.Client(), audvik.Listener()
        self.tv.on(audvik.onVolumeInfoNotify, self.on_volume)
    def on_volume(self, info):
        self.sound.close()
        del self.sound, self.tv
        gc.collect()
        done.set()
done = threading.Event()
holder = Holder()
holder.tv.cmdVolumeSet(1, 1)
assert done.wait(10)
""",
    # Blocks and records outlive what they came from.
    "block = next(iter(sound.blocks()))\ndel sound\nassert block.any()"
    "\ninfo = tv.cmdVolumeSet(1, 2, expect=audvik.onVolumeInfoNotify)\ndel tv\nassert info.field2 == 2",
    # Many come and go while sound is delivered.
    "for _ in range(300):\n    with audvik.Listener() as each, audvik.Client() as client:\n"
    "        client.on(audvik.onAudioDataNotify, lambda each: None)",
])
def test_leaving_is_always_possible(service, ending):
    assert run_python(f"{HEAD}\n{ending}\nprint('left')") in [(0, "left\n", ""), (0, "", "")]
