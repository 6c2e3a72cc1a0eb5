#!/usr/bin/env python3
"""Draws what the TV plays: time, frequency and level.

usage: spectrogram.py PICTURE [--seconds S]    as PNG, SVG or PDF
"""

import argparse

import audvik
import matplotlib
import numpy

matplotlib.use("Agg")  # needs no display
import matplotlib.pyplot  # noqa: E402


def record(seconds):
    """Samples from -1 to 1, channels mixed, and their rate."""
    with audvik.Listener() as sound:
        rate, _ = sound.format()
        blocks, missing = [], round(seconds * rate)
        for block in sound.blocks(idle=2):
            blocks.append(block[:missing])
            missing -= len(blocks[-1])
            if missing == 0:
                break
    return numpy.concatenate(blocks).mean(axis=1) / 32768, rate


def draw(samples, rate, path):
    figure, axes = matplotlib.pyplot.subplots(figsize=(9, 4), layout="constrained")
    _, _, _, image = axes.specgram(samples + 1e-9 * numpy.random.randn(samples.size), NFFT=1024,
                                   Fs=rate, noverlap=768, scale="dB", vmin=-100, cmap="magma")
    axes.set(xlabel="time (s)", ylabel="frequency (Hz)", ylim=(0, min(rate / 2, 12000)))
    figure.colorbar(image, label="level (dB)")
    figure.savefig(path, dpi=100)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("picture")
    parser.add_argument("--seconds", type=float, default=5)
    arguments = parser.parse_args()
    samples, rate = record(arguments.seconds)
    draw(samples, rate, arguments.picture)
    print(f"{arguments.picture}: {samples.size / rate:.1f} s at {rate} Hz")


if __name__ == "__main__":
    main()
