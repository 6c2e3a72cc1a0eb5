"""Tests a sound service, with pytest: each step of the volume is set and must be reported.

    sound-service --tone 440 &
    pytest test_volume.py
"""

import audvik
import pytest


@pytest.fixture(scope="module")
def tv():
    with audvik.Client() as tv:
        yield tv


@pytest.mark.parametrize("step", range(101))
def test_each_volume_step_is_reported(tv, step):
    info = tv.cmdVolumeSet(field1=1, field2=step, expect=audvik.onVolumeInfoNotify)
    assert info.field2 == step


def test_everybody_hears_it(tv):
    with audvik.Client() as other:
        heard = other.notifications(audvik.onVolumeInfoNotify)
        tv.cmdVolumeSet(field1=1, field2=42)
        assert heard.take(timeout=1) == audvik.soundVolumeInfo_t(field1=1, field2=42)


@pytest.mark.parametrize("wrong", [-1, 2**32, 1.5, "loud"])
def test_what_is_no_volume_is_not_sent(tv, wrong):
    with pytest.raises(ValueError):
        tv.cmdVolumeSet(field2=wrong)
