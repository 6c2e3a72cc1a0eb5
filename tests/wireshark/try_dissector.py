#!/usr/bin/env python3
"""Has tshark read datagrams through the dissector.

usage: try_dissector.py vectors DISSECTOR INTERFACE.json VECTORS
       try_dissector.py capture DISSECTOR SOUND-SERVICE SOUNDCTL

vectors  Every message, from bytes that were made without the code: each field has to have its name
         and its value. Then the same bytes cut short and with more behind them.
capture  What a service and a client really say, captured while they do.

Exits with 77 where tshark cannot try it, and says why.
"""

import json
import os
import pathlib
import re
import socket
import struct
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
PORT = 12321
DATA = 3


def skip(reason):
    print("skipped:", reason)
    sys.exit(SKIPPED)


def tshark(dissector, capture, *options):
    # A client's port may happen to be one that another dissector claims.
    result = subprocess.run(
        ["tshark", "-X", f"lua_script:{dissector}", "-o", "udp.try_heuristic_first:TRUE", "-r",
         capture, *options], check=True,
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
    if "there cannot be two protocols" in result.stderr:
        skip("another audvik dissector is installed; remove audvik-tools")
    return result.stdout


def datagram(kind, sequence, message=b"", version=1):
    return struct.pack(">4sBBHQIII", b"LMQ2", version, kind, 0, 0x0102030405060708, sequence, 7,
                       256) + message


def write_capture(path, datagrams):
    """IPv4 packets without a link layer (link type 101) in a pcap file."""
    with open(path, "wb") as file:
        file.write(struct.pack("<IHHIIII", 0xA1B2C3D4, 2, 4, 0, 0, 65535, 101))
        for content in datagrams:
            udp = struct.pack(">HHHH", 40000, PORT, 8 + len(content), 0) + content
            ip = struct.pack(">BBHHHBBH4s4s", 0x45, 0, 20 + len(udp), 0, 0, 64, 17, 0,
                             b"\x7f\0\0\1", b"\x7f\0\0\1") + udp
            file.write(struct.pack("<IIII", 0, 0, len(ip), len(ip)) + ip)


def read_vectors(path):
    messages = {}
    for line in pathlib.Path(path).read_text().splitlines():
        if line.startswith("#") or not line:
            continue
        if line.startswith(" "):
            messages[name] += bytes.fromhex(line)
        else:
            name = line
            messages[name] = b""
    return messages


def scalars(field, path):
    """The field's scalars in order: (path, type)."""
    if field["type"] == "record":
        for member in field["fields"]:
            yield from scalars(member, f"{path}.{member['name']}")
    elif field["type"] == "array":
        yield from field["count"] * list(scalars(field["element"], path))
    else:
        yield path, field["type"]


def expected_fields(message):
    """By path: the values that the vectors give a message's fields, as tshark prints them."""
    fields = {}
    paths = [s for f in message["fields"]
             for s in scalars(f, f"audvik.{message['name']}.{f['name']}")]
    for n, (path, kind) in enumerate(paths):
        word = (0xBFBEC5D4 + n * 0x03050709) % 2**32
        byte = (0xFE - n * 0x25) % 2**8
        value = {
            "uint32": word, "int32": word - 2**32 * (word >> 31),
            "int64": word - 2**32 * (word >> 31), "uint8": byte, "int8": byte - 2**8 * (byte >> 7),
            "bool": n + 1 >> 1 & 1,
            "string": "" if n == 2 else "zero"}[kind]  # tshark prints up to a zero byte
        fields.setdefault(path, []).append(str(value))
    return fields


def shown_fields(tree, prefix):
    """By path: the values in what tshark prints as JSON."""
    fields = {}
    for key, value in tree.items():
        for entry in value if isinstance(value, list) else [value]:
            if isinstance(entry, dict):
                for path, values in shown_fields(entry, prefix).items():
                    fields.setdefault(path, []).extend(values)
            elif key.startswith(prefix):
                fields.setdefault(key, []).append(entry)
    return fields


def try_vectors(dissector, interface, vectors):
    described = json.loads(pathlib.Path(interface).read_text())
    described = {m["name"]: m for m in described["commands"] + described["notifications"]}
    messages = read_vectors(vectors)
    assert messages.keys() == described.keys()
    with tempfile.TemporaryDirectory() as folder:
        capture = pathlib.Path(folder, "capture")
        write_capture(capture, [datagram(DATA, n, m) for n, m in enumerate(messages.values())])
        packets = json.loads(
            tshark(dissector, capture, "-T", "json", "--no-duplicate-keys"))
        for n, ((name, message), packet) in enumerate(
                zip(described.items(), packets, strict=True)):
            layers = packet["_source"]["layers"]
            assert layers["audvik"].items() >= {
                "audvik.session": "0x0102030405060708", "audvik.sequence": str(n),
                "audvik.acknowledge": "7", "audvik.credit": "256",
                "audvik.message": message["id"]}.items(), layers
            assert "malformed" not in json.dumps(layers), layers
            shown = shown_fields(layers["audvik"], f"audvik.{name}.")
            assert shown == expected_fields(message), (shown, expected_fields(message))
        print(f"{len(packets)} messages, each field with its name and value")

        write_capture(capture, [datagram(kind, 0) for kind in (1, 2, 4, 5, 6, 7)])
        lines = tshark(dissector, capture).splitlines()
        kinds = [line.split()[-1] for line in lines]
        assert kinds == ["HELLO", "WELCOME", "ACK", "PING", "BYE", "RESET"], lines

        wrong = [datagram(1, 5), datagram(9, 0), datagram(4, 0, b"x"), datagram(DATA, 0, b"short"),
                 datagram(DATA, 0, bytes(24))]
        for message in messages.values():
            wrong += [datagram(DATA, 0, message + b"x")]
            wrong += [datagram(DATA, 0, message[:-1])] if len(message) > 24 else []
        write_capture(capture, wrong)
        found = tshark(dissector, capture, "-Y", "audvik.malformed").splitlines()
        assert len(found) == len(wrong), (len(found), len(wrong), found)
        assert "Lua Error" not in tshark(dissector, capture, "-V")
        print(f"{len(wrong)} malformed datagrams, each shown as that")

        write_capture(capture, [datagram(DATA, 0, version=2), b"LMQ2", b"something else" * 3])
        assert tshark(dissector, capture, "-Y", "audvik") == ""


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(what, process, stream):
    while what not in (line := stream.readline()):
        if not line:
            process.wait()
            return False
    return True


def try_capture(dissector, service, soundctl):
    address = f"127.0.0.1:{free_port()}"
    with tempfile.TemporaryDirectory() as folder:
        os.environ.update(AUDVIK_SERVICE=address, XDG_RUNTIME_DIR=folder)
        capture = pathlib.Path(folder, "capture")
        port = address.split(":")[1]
        watcher = subprocess.Popen(
            ["tshark", "-i", "lo", "-f", f"udp port {port}", "-w", capture, "-P", "-l"],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if not wait_for("Capturing on", watcher, watcher.stderr):
            skip("tshark may not capture on the loopback device here")
        player = subprocess.Popen([service, "--tone", "440"], stderr=subprocess.PIPE, text=True)
        assert wait_for("listening on", player, player.stderr)
        # "Capturing on" comes a moment before it captures. With the second request that it has seen
        # it has all that belongs to the first.
        send = [soundctl, "send", "cmdVolumeSet", "1", "30", "--expect", "onVolumeInfoNotify"]
        end = time.monotonic() + 20
        while time.monotonic() < end and not (
                capture.exists() and capture.read_bytes().count(b"\x28\x67\x12\x36") > 1):
            subprocess.run(send, check=True, stdout=subprocess.DEVNULL)
            time.sleep(0.05)
        player.terminate()
        player.wait()
        watcher.terminate()
        watcher.communicate()
        lines = tshark(dissector, capture).splitlines()
        print("\n".join(lines[:8]))
        for wanted in (r"audvik \d+ HELLO", "WELCOME", "DATA 0 cmdVolumeSet",
                       r"DATA \d+ onVolumeInfoNotify", "BYE"):
            assert any(re.search(wanted, line) for line in lines), wanted
        volume = tshark(dissector, capture, "-Y", "audvik.onVolumeInfoNotify.field2 == 30")
        assert "onVolumeInfoNotify" in volume
        assert tshark(dissector, capture, "-Y", "udp and (!audvik or audvik.malformed)") == ""


{"vectors": try_vectors, "capture": try_capture}[sys.argv[1]](*sys.argv[2:])
