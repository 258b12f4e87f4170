"""Makes the wheel for `pip install .`: what CMake installs, as one folder. With the module come the library, the host kit
and, if its packages are found, the tool. pip calls build_wheel() and needs nothing else for that."""
import base64
import hashlib
import os
import pathlib
import re
import subprocess
import sysconfig
import zipfile

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD = ROOT / "build/wheel"
TREE = BUILD / "tree"
OPTIONS = {
    "CMAKE_BUILD_TYPE": "Release",
    "CMAKE_INSTALL_PREFIX": TREE,
    "CMAKE_INSTALL_LIBDIR": "zeto",
    "CMAKE_INSTALL_BINDIR": "zeto/bin",
    "ZETO_PYTHON_DIR": ".",
    "ZETO_BUILD_TESTS": "OFF",
    "ZETO_BUILD_BENCH": "OFF",
    "ZETO_BUILD_EXAMPLES": "OFF",
}


def _cmake(*words):
    subprocess.run(["cmake", *map(str, words)], check=True)


def _files():
    """Path in the wheel and file. Wheels hold no links: a library goes in under the name that others look for."""
    for path in sorted((TREE / "zeto").rglob("*")):
        if path.is_file() and (path.is_symlink() or not re.search(r"\.so\.\d+\.", path.name)):
            yield str(path.relative_to(TREE)), path


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    _cmake("-S", ROOT, "-B", BUILD, *(f"-D{name}={value}" for name, value in OPTIONS.items()))
    _cmake("--build", BUILD, "--parallel", os.cpu_count() or 1)
    _cmake("-E", "rm", "-rf", TREE)
    for component in ("library", "tool", "python"):
        _cmake("--install", BUILD, "--component", component)

    version = re.search(r'^__version__ = "(.*)"$', (ROOT / "python/zeto/_defaults.py").read_text(), re.MULTILINE)[1]
    tag = "py3-none-" + re.sub(r"[.-]", "_", sysconfig.get_platform())
    info = f"zeto-{version}.dist-info"
    texts = {
        f"{info}/METADATA": f"Metadata-Version: 2.1\nName: zeto\nVersion: {version}\nLicense: Apache-2.0\n"
                            "Summary: Ultrasonic sensing in a phone's voice path\n"
                            "Requires-Python: >=3.11\nRequires-Dist: numpy\n",
        f"{info}/WHEEL": f"Wheel-Version: 1.0\nGenerator: libzeto\nRoot-Is-Purelib: false\nTag: {tag}\n",
        f"{info}/LICENSE": (ROOT / "LICENSE").read_text(),
    }
    contents = [(name, path.read_bytes(), path.stat().st_mode) for name, path in _files()]
    contents += [(name, text.encode(), 0o100644) for name, text in texts.items()]
    record = ""
    for name, data, _ in contents:
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        record += f"{name},sha256={digest},{len(data)}\n"
    contents.append((f"{info}/RECORD", f"{record}{info}/RECORD,,\n".encode(), 0o100644))

    wheel = f"zeto-{version}-{tag}.whl"
    with zipfile.ZipFile(pathlib.Path(wheel_directory) / wheel, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, data, mode in contents:
            entry = zipfile.ZipInfo(name)
            entry.external_attr = mode << 16
            entry.compress_type = zipfile.ZIP_DEFLATED
            archive.writestr(entry, data)
    return wheel
