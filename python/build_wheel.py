"""Builds the package for pip, with CMake from the tree around it and nothing from a network.

The wheel holds the libraries, too, beside the module that needs them.
"""

import base64
import hashlib
import pathlib
import re
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

TREE = pathlib.Path(__file__).resolve().parent.parent


def version():
    return re.search(r"project\(audvik VERSION ([\d.]+)", (TREE / "CMakeLists.txt").read_text())[1]


def run(*words):
    subprocess.run(["cmake", *map(str, words)], check=True)


def install(folder):
    """Builds what goes into the wheel, and puts it there."""
    with tempfile.TemporaryDirectory() as build:
        run("-S", TREE, "-B", build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_UNITY_BUILD=ON", "-DBUILD_TESTING=OFF", f"-DAUDVIK_PYTHON={sys.executable}",
            "-DAUDVIK_PYTHON_FOLDER:STRING=.", "-DCMAKE_INSTALL_LIBDIR:STRING=audvik",
            "-DCMAKE_INSTALL_RPATH=$ORIGIN")
        run("--build", build, "--target", "python-stubs")
        for component in ("runtime", "python"):
            run("--install", build, "--component", component, "--prefix", folder, "--strip")


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    tag = f"cp{sys.version_info[0]}{sys.version_info[1]}"
    platform = re.sub(r"[-.]", "_", sysconfig.get_platform())
    metadata = f"audvik-{version()}.dist-info"
    files = {
        f"{metadata}/METADATA": f"Metadata-Version: 2.1\nName: audvik\nVersion: {version()}\n"
                                "Requires-Python: >=3.9\nRequires-Dist: numpy\n",
        f"{metadata}/WHEEL": f"Wheel-Version: 1.0\nGenerator: audvik\nRoot-Is-Purelib: false\n"
                             f"Tag: {tag}-{tag}-{platform}\n",
    }
    with tempfile.TemporaryDirectory() as folder:
        install(folder)
        contents = {f"audvik/{path.name}": path.read_bytes()
                    for path in pathlib.Path(folder, "audvik").iterdir() if path.is_file()}
    contents |= {name: text.encode() for name, text in files.items()}
    record = f"{metadata}/RECORD"
    lines = [f"{name},sha256={digest(data)},{len(data)}" for name, data in contents.items()]
    contents[record] = "\n".join([*lines, f"{record},,", ""]).encode()
    wheel = f"audvik-{version()}-{tag}-{tag}-{platform}.whl"
    with zipfile.ZipFile(pathlib.Path(wheel_directory, wheel), "w", zipfile.ZIP_DEFLATED) as file:
        for name, data in contents.items():
            file.writestr(name, data)
    return wheel


def digest(data):
    return base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
