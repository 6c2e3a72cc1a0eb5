"""A sound service for each test that wants one, at an address of this process's own."""

import contextlib
import ipaddress
import os
import signal
import socket
import subprocess
import sys
import tempfile
import time

import pytest


# An address that no other process uses: a port which is free there stays free.
HOST = str(ipaddress.ip_address(0x7F400000 + os.getpid()))


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind((HOST, 0))
        return probe.getsockname()[1]


# Where the library, once started, looks for the rest of the process.
os.environ["AUDVIK_SERVICE"] = f"{HOST}:{free_port()}"
# Where services have their pipes.
RUNTIME_FOLDER = tempfile.TemporaryDirectory()
os.environ["XDG_RUNTIME_DIR"] = RUNTIME_FOLDER.name


def plain_environment():
    """Programs in C++ bring their sanitizers themselves."""
    return {name: value for name, value in os.environ.items() if name != "LD_PRELOAD"}


@contextlib.contextmanager
def started(words, says, **options):
    """A program that has printed something, until the end of the block."""
    with subprocess.Popen(words, stderr=subprocess.PIPE, text=True, **options) as process:
        try:
            lines = []
            while not lines or says not in lines[-1]:
                lines.append(process.stderr.readline())
                assert lines[-1], f"{words[0]} ended: {''.join(lines)}"
            yield process
        finally:
            process.terminate()


@contextlib.contextmanager
def sound_service(*words):
    with started(["sound-service", *words], "listening on", env=plain_environment()) as service:
        yield service


@pytest.fixture
def service():
    with sound_service("--tone", "440") as service:
        yield service


def soundctl(*words):
    return subprocess.run(["soundctl", *words], check=True, env=plain_environment(),
                          capture_output=True, text=True).stdout


def run_python(program, *words, interrupt_after=None):
    """Runs a program to its end, which must come within time. Returns status, output, errors."""
    process = subprocess.Popen([sys.executable, "-c", program, *words], text=True,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE)
    try:
        if interrupt_after is not None:
            assert process.stdout.readline() == interrupt_after + "\n"
            time.sleep(0.2)  # on its way into the wait
            process.send_signal(signal.SIGINT)
        output, errors = process.communicate(timeout=30)
    finally:
        process.kill()
    return process.returncode, output, errors
