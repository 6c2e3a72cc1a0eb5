"""Runs the measuring programs, in turns, and reads what they say."""

import contextlib
import json
import os
import pathlib
import re
import signal
import socket
import subprocess
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parent.parent
PROGRAMS = TOP / "build/native/bin"
LIBRARIES = TOP / "build/native/lib"

# The service plays these when nothing else is said.
SILENT = []
STARTING_SECONDS = 60  # under valgrind, on a busy machine


def free_address():
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return f"127.0.0.1:{probe.getsockname()[1]}"


def environment(address, folder):
    return dict(os.environ, AUDVIK_SERVICE=address, XDG_RUNTIME_DIR=str(folder))


def read_answer(output):
    return json.loads(output.strip().splitlines()[-1])  # the library may print lines before


class Service:
    """A sound-service that runs, perhaps under a tool."""

    def __init__(self, arguments, folder, tool=(), extra=None):
        self.environment = environment(free_address(), folder)
        self.process = subprocess.Popen(
            [*tool, PROGRAMS / "sound-service", *arguments], stderr=subprocess.PIPE, text=True,
            env=dict(self.environment, **(extra or {})))
        for line in self.process.stderr:
            if "listening on" in line:
                break
        else:
            raise SystemExit("the sound-service did not start")
        self.process.stderr.close()  # it serves all the same

    def waits(self):
        return voluntary_switches(self.process.pid)

    def end(self):
        self.process.send_signal(signal.SIGTERM)
        self.process.wait()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.end()


def voluntary_switches(process):
    """How often the threads of a process have waited."""
    total = 0
    for status in pathlib.Path(f"/proc/{process}/task").glob("*/status"):
        with contextlib.suppress(FileNotFoundError):
            total += int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", status.read_text(),
                                   re.MULTILINE)[1])
    return total


def run(program, *arguments, env=None, tool=()):
    """Runs a measuring program; returns what it says as JSON."""
    command = [*map(str, tool), str(PROGRAMS / program), *map(str, arguments)]
    done = subprocess.run(command, env=env, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        raise SystemExit(f"{' '.join(command)}: {done.stderr.strip()}")
    return read_answer(done.stdout)


def with_service(service_arguments, program, *arguments):
    with tempfile.TemporaryDirectory() as folder, Service(service_arguments, folder) as service:
        return run(program, *arguments, env=service.environment)


def alone(program, *arguments):
    with tempfile.TemporaryDirectory() as folder:
        return run(program, *arguments, env=environment(free_address(), folder))


class Operation:
    """Something that a host does with a service any number of times."""

    def __init__(self, name, service, program, *arguments):
        self.name = name
        self.service = service
        self.program = program
        self.arguments = arguments

    def command(self, count):
        return [count if argument == "COUNT" else argument for argument in self.arguments]


def per_operation(measure, count):
    """What an operation costs each process, by the difference between many and few."""
    few, many = measure(count), measure(3 * count)
    return {side: (many[side] - few[side]) / (2 * count) for side in few}


def waits(operation, count):
    """Waits of the service's threads. The host's own are in its answer."""
    with tempfile.TemporaryDirectory() as folder, \
            Service(operation.service, folder) as service:
        host = subprocess.Popen(
            [PROGRAMS / operation.program, *map(str, operation.command(count))],
            env=service.environment, stdout=subprocess.DEVNULL)
        # The last look at the host comes when it has ended but has not been waited for.
        _, status, usage = os.wait4(host.pid, 0)
        if status != 0:
            raise SystemExit(f"{operation.name}: the host failed")
        return {"host": usage.ru_nvcsw, "service": service.waits()}


def system_calls(operation, count):
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        files = {side: folder / side for side in ("host", "service")}
        tools = {side: ["strace", "-D", "-f", "-c", "-o", file] for side, file in files.items()}
        with Service(operation.service, folder, tools["service"]) as service:
            run(operation.program, *operation.command(count), env=service.environment,
                tool=tools["host"])
            service.end()
            return {side: traced_calls(file) for side, file in files.items()}


def traced_calls(file):
    """The tracer writes when the process has ended."""
    limit = time.monotonic() + STARTING_SECONDS
    while time.monotonic() < limit:
        if file.exists() and (total := re.search(r"(\d+)\s+(?:\d+ )?total$", file.read_text(),
                                                 re.MULTILINE)):
            return int(total[1])
        time.sleep(0.02)
    raise SystemExit(f"{file}: strace has not counted")


def allocations(operation, count):
    with tempfile.TemporaryDirectory() as folder:
        folder = pathlib.Path(folder)
        files = {side: folder / side for side in ("host", "service")}
        extra = {side: {"LD_PRELOAD": str(LIBRARIES / "libcount-allocations.so"),
                        "AUDVIK_ALLOCATIONS": str(file)} for side, file in files.items()}
        with Service(operation.service, folder, extra=extra["service"]) as service:
            run(operation.program, *operation.command(count),
                env=dict(service.environment, **extra["host"]))
        return {side: int.from_bytes(file.read_bytes(), "little") for side, file in files.items()}


def instructions(operation, count):
    """Of the host, in user space."""
    with tempfile.TemporaryDirectory() as folder, Service(operation.service, folder) as service:
        done = subprocess.run(
            ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null",
             PROGRAMS / operation.program, *map(str, operation.command(count))],
            env=service.environment, capture_output=True, text=True, check=True)
        return {"host": int(re.search(r"Collected : (\d+)", done.stderr)[1])}


def idle_waits(seconds):
    """Waits a second of a host and a service that are connected and have nothing to say."""
    with tempfile.TemporaryDirectory() as folder, Service(SILENT, folder) as service, \
            listening(service) as host:
        return waits_a_second(seconds, {"host": host.pid, "service": service.process.pid})


def waits_while_stopped(seconds):
    """Waits a second of a service at full speed whose client has been stopped."""
    with tempfile.TemporaryDirectory() as folder, \
            Service(["--tone", "440", "--fast"], folder) as service, listening(service) as host:
        host.send_signal(signal.SIGSTOP)
        time.sleep(0.5)
        return waits_a_second(seconds, {"service": service.process.pid})["service"]


@contextlib.contextmanager
def listening(service):
    host = subprocess.Popen([PROGRAMS / "soak-host", "0"], env=service.environment,
                            stdout=subprocess.DEVNULL)
    time.sleep(1.5)
    try:
        yield host
    finally:
        host.kill()
        host.wait()


def waits_a_second(seconds, processes):
    before = {side: voluntary_switches(process) for side, process in processes.items()}
    time.sleep(seconds)
    return {side: (voluntary_switches(process) - before[side]) / seconds
            for side, process in processes.items()}
