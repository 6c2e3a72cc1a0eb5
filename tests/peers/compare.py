"""Checks that what one peer sent is what the other received.

usage: compare.py BATCH ANSWERS SERVICE-LOG PCM
"""

import json
import math
import struct
import sys


def read(path):
    with open(path, encoding="utf-8") as file:
        return [json.loads(line) for line in file]


def tone(frames, rate=8000, hertz=440):
    for frame in range(frames):
        exact = 16384 * math.sin(2 * math.pi * (frame * hertz % rate) / rate)
        sample = int(math.copysign(math.floor(abs(exact) + 0.5), exact))
        yield from (sample, sample)


def main():
    batch, answers, log = map(read, sys.argv[1:4])
    received = [line for line in log if "command" in line]
    sent = [line for line in log if "notification" in line]
    faults = []
    if len(received) < len(batch):
        faults.append(f"{len(batch)} commands were sent, {len(received)} received")
    for ours, theirs in zip(batch, received):
        if (ours["command"], ours["arguments"]) != (theirs["command"], theirs["arguments"]):
            faults.append(f"sent {ours}, received {theirs}")
    expected = [line["expect"] for line in batch if "expect" in line]
    if [answer["notification"] for answer in answers] != expected:
        faults.append("not every notification came")
    for answer in answers:
        if not any(answer["notification"] == line["notification"] and
                   answer["arguments"] == line["arguments"] for line in sent):
            faults.append(f"received {answer}, which was not sent")
    with open(sys.argv[4], "rb") as file:
        pcm = file.read()
    if pcm != b"".join(struct.pack("<h", sample) for sample in tone(8000)):
        faults.append(f"the recording of {len(pcm)} bytes is not the tone that was played")
    print(f"{len(batch)} commands, {len(answers)} notifications, {len(pcm)} bytes of audio")
    for fault in faults:
        print(fault, file=sys.stderr)
    sys.exit(1 if faults else 0)


main()
