#!/usr/bin/env python3
"""Shows how loud the TV is, by EBU R 128: momentary (400 ms), short-term (3 s) and integrated.

usage: loudness.py [--seconds S]    until Ctrl-C, or until S seconds of sound have come
"""

import argparse
import math

import audvik
import numpy

STEP = 0.1  # seconds; the momentary loudness takes 4 of them, the short-term 30
ABSOLUTE_GATE, RELATIVE_GATE = -70.0, -10.0


def poles(k, q):
    a0 = 1 + k / q + k * k
    return numpy.array([a0, 2 * (k * k - 1), 1 - k / q + k * k]) / a0


def filters(rate):
    """Those of ITU-R BS.1770, at any rate: a shelf for the head, and a high-pass."""
    k, q = math.tan(math.pi * 1681.974450955533 / rate), 0.7071752369554196
    high = 10 ** (3.999843853973347 / 20)
    band = high**0.4996667741545416
    shelf = [high + band * k / q + k * k, 2 * (k * k - high), high - band * k / q + k * k]
    yield numpy.array(shelf) / (1 + k / q + k * k), poles(k, q)
    yield numpy.array([1, -2, 1]), poles(math.tan(math.pi * 38.13547087602444 / rate),
                                         0.5003270373238773)


def k_weighting(rate, length):
    """The filters' response at the frequencies of a Fourier transform."""
    z = numpy.exp(-2j * math.pi * numpy.arange(length // 2 + 1) / length)
    response = numpy.ones(z.size)
    for zeros, its_poles in filters(rate):
        response = response * numpy.polyval(zeros[::-1], z) / numpy.polyval(its_poles[::-1], z)
    return response


class Loudness:
    def __init__(self, rate, channels):
        self._size = round(STEP * rate)
        self._samples = numpy.zeros((0, channels))
        self._length = 1 << rate.bit_length()  # longer than the filters ring
        self._filter = k_weighting(rate, self._length)[:, None]
        self._tail = numpy.zeros((self._length, channels))
        self._energies = []  # of each step, all channels together

    def add(self, block):
        """Takes samples; says whether there is something new to show."""
        self._samples = numpy.concatenate([self._samples, block / 32768])
        before = len(self._energies)
        while len(self._samples) >= self._size:
            self._step(self._samples[:self._size])
            self._samples = self._samples[self._size:]
        return len(self._energies) > before

    def _step(self, samples):
        spectrum = numpy.fft.rfft(samples, self._length, axis=0) * self._filter
        self._tail += numpy.fft.irfft(spectrum, self._length, axis=0)
        self._energies.append(numpy.square(self._tail[:self._size]).mean(axis=0).sum())
        self._tail = numpy.roll(self._tail, -self._size, axis=0)
        self._tail[-self._size:] = 0

    def over(self, seconds):
        """Of the last seconds, in LUFS."""
        return lufs(numpy.mean(self._energies[-round(seconds / STEP):]))

    def integrated(self):
        """Of all, without the pauses."""
        steps = numpy.convolve(self._energies, numpy.full(4, 0.25), "valid") \
            if len(self._energies) >= 4 else numpy.zeros(0)
        steps = steps[steps > energy(ABSOLUTE_GATE)]
        if steps.size:
            steps = steps[steps > energy(lufs(steps.mean()) + RELATIVE_GATE)]
        return lufs(steps.mean()) if steps.size else -math.inf


def lufs(energy):
    return 10 * math.log10(energy) - 0.691 if energy > 0 else -math.inf


def energy(lufs):
    return 10 ** ((lufs + 0.691) / 10)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--seconds", type=float, default=math.inf)
    seconds = parser.parse_args().seconds
    with audvik.Listener() as sound:
        rate, channels = sound.format()
        loudness, frames = Loudness(rate, channels), 0
        try:
            for block in sound.blocks():
                frames += len(block)
                if loudness.add(block):
                    print(f"\r{frames / rate:6.1f} s   momentary {loudness.over(0.4):6.1f}   "
                          f"short-term {loudness.over(3):6.1f}   "
                          f"integrated {loudness.integrated():6.1f} LUFS", end="", flush=True)
                if frames >= seconds * rate:
                    break
        except KeyboardInterrupt:
            pass
        print()


if __name__ == "__main__":
    main()
