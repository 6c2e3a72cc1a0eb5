"""The package, its stubs and the examples, as a type checker sees them."""

import pathlib
import subprocess
import sys

import audvik
import pytest

pytest.importorskip("mypy", reason="mypy is missing; script/bootstrap python installs it")

PACKAGE = pathlib.Path(audvik.__file__).parent
EXAMPLES = pathlib.Path(__file__).parent.parent / "examples"
RIGHT = """
import audvik
import numpy

volume = audvik.soundVolumeParams_t(1, field2=30)
volume.field2 += 1
with audvik.Client() as tv:
    heard: int = tv.cmdVolumeSet(volume, expect=audvik.onVolumeInfoNotify).field2
    tv.on(audvik.onAudiolinkTestInfoNotify, lambda test: print(test.field1.upper()))
    for notification in tv.notifications():
        if isinstance(notification, audvik.onAudioDataNotify):
            path: str = notification.field1
with audvik.Listener(rate=44100) as sound:
    for block in sound.blocks(idle=1):
        block.astype(float)
"""
WRONG = """
import audvik

audvik.soundVolumeParams_t("1")
audvik.soundVolumeParams_t(field6=1)
tv = audvik.Client()
tv.cmdVolumeSet(1)
tv.cmdVolumeSet(1).field2
tv.cmdVolumeSet(audvik.soundMuteParams_t())
tv.cmdVolumeSet(1, expect=audvik.onVolumeInfoNotify).field5
tv.on(audvik.onVolumeInfoNotify, lambda info: print(info.field5))
tv.cmdNothing()
audvik.Listener(44100, 2, 1)
"""


def check(*words, folder):
    return subprocess.run([sys.executable, "-m", "mypy", f"--cache-dir={folder}",
                           "--python-executable", sys.executable, *words], cwd=folder,
                          env={"MYPYPATH": str(PACKAGE.parent)}, capture_output=True, text=True).stdout


def test_types_are_checked(tmp_path):
    (tmp_path / "right.py").write_text(RIGHT)
    (tmp_path / "wrong.py").write_text(WRONG)
    for words in (["--strict", str(PACKAGE), "right.py"],
                  ["--check-untyped-defs", "--ignore-missing-imports",
                   *map(str, EXAMPLES.glob("*.py"))]):
        found = check(*words, folder=tmp_path)
        assert found.startswith("Success"), found
    found = check("--strict", "wrong.py", folder=tmp_path)
    lines = {int(line.split(":")[1]) for line in found.splitlines() if ": error:" in line}
    assert lines == {4, 5, 8, 9, 10, 11, 12, 13}, found
