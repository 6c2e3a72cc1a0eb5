import math
import os
import pathlib
import re
import subprocess
import sys

import numpy
import pytest
from conftest import sound_service

EXAMPLES = pathlib.Path(__file__).parent.parent / "examples"
sys.path.insert(0, str(EXAMPLES))


def run(*words, **options):
    return subprocess.run([sys.executable, *words], check=True, capture_output=True, text=True,
                          timeout=60, **options).stdout


@pytest.mark.parametrize("rate", [48000, 44100])
def test_loudness_is_that_of_the_standard(rate):
    import loudness

    # 997 Hz at full scale in one channel is -3.01 LUFS by definition; a tone of -23 LUFS with long
    # pauses is as loud as without them.
    time = numpy.arange(4 * rate) / rate
    tone = numpy.sin(2 * math.pi * 997 * time)
    full = loudness.Loudness(rate, 1)
    full.add(tone[:, None] * 32767)
    assert full.over(3) == pytest.approx(-3.01, abs=0.02)
    stereo = loudness.Loudness(rate, 2)
    quiet = numpy.stack(2 * [tone * 10 ** (-23 / 20)], axis=1) * 32768
    for block in (quiet, 0 * quiet, 0 * quiet, quiet):
        stereo.add(block)
    assert stereo.integrated() == pytest.approx(-23.0, abs=0.2)
    # What is not heard counts less.
    low = loudness.Loudness(rate, 1)
    low.add(numpy.sin(2 * math.pi * 30 * time)[:, None] * 32767)
    assert low.over(3) < -10


def test_loudness_is_shown_live():
    with sound_service("--tone", "1000"):
        output = run(EXAMPLES / "loudness.py", "--seconds", "2")
    last = output.strip().splitlines()[-1]
    times = re.fullmatch(r" *2\.\d s +momentary +(-?[\d.]+) +short-term +\1 +integrated +\1 LUFS", last)
    assert times, output


def test_a_spectrogram_is_drawn(tmp_path):
    pytest.importorskip("matplotlib", reason="matplotlib is missing; script/bootstrap python")
    with sound_service("--tone", "1000"):
        run(EXAMPLES / "spectrogram.py", "tone.png", "--seconds", "1", cwd=tmp_path,
            env={**os.environ, "MPLCONFIGDIR": str(tmp_path)})
    import matplotlib.image

    picture = matplotlib.image.imread(tmp_path / "tone.png")
    # A bright line at a twelfth of the height of the axes, and dark above it.
    bright = picture[:, 100:600, :3].sum(axis=2).mean(axis=1) > 2
    assert picture.shape == (400, 900, 4)
    assert 0 < bright[280:345].sum() < 65


def test_a_service_is_tested(service):
    output = run("-m", "pytest", "-q", "-p", "no:cacheprovider", EXAMPLES / "test_volume.py")
    assert "106 passed" in output
