import asyncio
import glob
import os
import time
import warnings
import wave

import audvik
import numpy
import pytest
from conftest import HOST, sound_service


def write_noise(path, rate, channels, seconds):
    samples = numpy.random.default_rng(1).integers(
        -32768, 32768, (int(rate * seconds), channels)).astype("<i2")
    with wave.open(str(path), "wb") as file:
        file.setparams((channels, 2, rate, 0, "NONE", ""))
        file.writeframes(samples.tobytes())
    return samples


@pytest.mark.parametrize("rate, channels", [(22050, 1), (48000, 2)])
def test_sound_arrives_sample_for_sample(tmp_path, rate, channels):
    samples = write_noise(tmp_path / "noise.wav", rate, channels, 1.5)
    with sound_service(str(tmp_path / "noise.wav")), audvik.Listener() as sound, \
            warnings.catch_warnings():
        warnings.simplefilter("error")
        assert sound.format(timeout=10) == (rate, channels)
        blocks = list(sound.blocks(idle=2))
        assert sound.lost == 0
    assert {block.dtype for block in blocks} == {numpy.dtype("int16")}
    assert all(block.flags.writeable for block in blocks)
    assert numpy.array_equal(numpy.concatenate(blocks), samples)


def test_async_for_leaves_the_loop_free(service):
    async def main():
        ticks = 0

        async def tick():
            nonlocal ticks
            while True:
                await asyncio.sleep(0.01)
                ticks += 1

        ticking = asyncio.create_task(tick())
        with audvik.Listener() as sound, audvik.Client() as tv:
            heard = tv.notifications(audvik.onVolumeInfoNotify)
            blocks = 0
            async for block in sound.blocks():
                blocks += 1
                if blocks == 10:
                    break
            tv.cmdVolumeSet(1, 30)
            async for notification in heard:
                assert notification.field2 == 30
                heard.close()
            with pytest.raises(asyncio.TimeoutError):
                unheard = tv.notifications(audvik.onVolumeInfoNotify)
                await asyncio.wait_for(anext(aiter(unheard)), 0.3)
        ticking.cancel()
        return ticks

    assert asyncio.run(main()) > 10


def test_a_reader_that_does_not_read_costs_only_itself(service):
    with audvik.Listener(queue=0.1) as idle, audvik.Listener() as busy, audvik.Client() as tv:
        reading = iter(busy.blocks())
        while idle.overruns < 5:
            next(reading)
            assert tv.cmdVolumeSet(1, 1, expect=audvik.onVolumeInfoNotify, timeout=10)
        assert busy.lost == 0 and idle.lost == idle.overruns
        with pytest.warns(audvik.OverrunWarning, match=r"^\d+ blocks were lost"):
            next(iter(idle.blocks()))
        idle.close()
        assert 2 <= len(list(idle.blocks())) <= 4  # of 21 ms, which were there before
        next(reading)  # the other's sound goes on


def test_a_wrong_format_does_not_stay_unnoticed(tmp_path):
    write_noise(tmp_path / "noise.wav", 22050, 1, 1)
    with sound_service(str(tmp_path / "noise.wav"), "--loop"):
        note, = glob.glob(f"{os.environ['XDG_RUNTIME_DIR']}/**/format", recursive=True)
        os.unlink(note)
        with audvik.Listener(rate=44100, channels=1) as sound:
            with pytest.warns(audvik.FormatWarning,
                              match=r"44100 Hz, 1 channel, but the pace is that of 2.*rate= and channels="):
                started = time.monotonic()
                for _ in sound.blocks():
                    if time.monotonic() - started > 4:
                        break
            assert sound.format() == (44100, 1)


def test_a_service_that_goes_is_missed_or_waited_for():
    with pytest.raises(ConnectionRefusedError, match=f"no sound service at {HOST}"):
        while True:  # an earlier test's may just be going
            audvik.Listener()
    with audvik.Listener(wait=True) as patient:
        for _ in range(2):
            with sound_service("--tone", "440") as service:
                impatient = audvik.Listener()
                assert next(iter(patient.blocks(idle=10))).any()
                service.kill()
                with pytest.raises(ConnectionResetError):
                    list(impatient.blocks())
            while any(True for _ in patient.blocks(idle=0.5)):
                pass


@pytest.mark.parametrize("wrong", [{"rate": 0}, {"channels": 33}])
def test_impossible_formats_are_refused(wrong):
    with pytest.raises(ValueError):
        audvik.Listener(**wrong)
