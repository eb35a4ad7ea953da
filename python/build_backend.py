"""A build backend for `pip install --no-build-isolation .` that needs
nothing from a package index: CMake builds the extension module (target
sprig_python, without the tests, tools and examples) and installs the
package's component into a staging folder, which becomes the wheel."""

import base64
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import sysconfig
import tempfile
import zipfile

SOURCE = pathlib.Path(__file__).resolve().parent.parent
NAME = "sprig"


def _version():
    text = (SOURCE / "CMakeLists.txt").read_text()
    return re.search(r"project\(sprig VERSION ([0-9.]+)", text).group(1)


def _tag():
    version = f"{sys.version_info.major}{sys.version_info.minor}"
    platform = sysconfig.get_platform().replace("-", "_").replace(".", "_")
    return f"cp{version}-cp{version}-{platform}"


def _metadata():
    return (f"Metadata-Version: 2.1\nName: {NAME}\nVersion: {_version()}\n"
            "Summary: Sprites on a stage with pens, stamps and pixel-exact collisions; "
            "headless turtle graphics\nRequires-Python: >=3.8\nRequires-Dist: numpy\n")


def _stage_package(staging):
    build = pathlib.Path(staging) / "build"
    generator = ["-G", "Ninja"] if shutil.which("ninja") else []
    subprocess.run(["cmake", "-S", str(SOURCE), "-B", str(build), *generator,
                    "-DCMAKE_BUILD_TYPE=Release", "-DSPRIG_BUILD_TESTS=OFF",
                    "-DSPRIG_BUILD_TOOLS=OFF", "-DSPRIG_BUILD_EXAMPLES=OFF",
                    f"-DPython3_EXECUTABLE={sys.executable}",
                    "-DSPRIG_PYTHON_INSTALL_DIR=wheel"], check=True)
    subprocess.run(["cmake", "--build", str(build), "--target", "sprig_python", "-j",
                    os.environ.get("SPRIG_BUILD_JOBS", "2")], check=True)
    root = pathlib.Path(staging) / "root"
    subprocess.run(["cmake", "--install", str(build), "--component", "python", "--prefix",
                    str(root)], check=True)
    return root / "wheel"


def _dist_info(name_version, tag):
    return {
        f"{name_version}.dist-info/METADATA": _metadata().encode(),
        f"{name_version}.dist-info/WHEEL": (f"Wheel-Version: 1.0\nGenerator: sprig build_backend\n"
                                            f"Root-Is-Purelib: false\nTag: {tag}\n").encode(),
    }


def _record_line(path, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{path},sha256={digest},{len(data)}"


def get_requires_for_build_wheel(config_settings=None):
    return []


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    name_version = f"{NAME}-{_version()}"
    for path, data in _dist_info(name_version, _tag()).items():
        target = pathlib.Path(metadata_directory) / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_bytes(data)
    return f"{name_version}.dist-info"


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    name_version, tag = f"{NAME}-{_version()}", _tag()
    wheel_name = f"{name_version}-{tag}.whl"
    with tempfile.TemporaryDirectory() as staging:
        package = _stage_package(staging)
        files = {str(p.relative_to(package)): p.read_bytes()
                 for p in sorted(package.rglob("*")) if p.is_file()}
        files.update(_dist_info(name_version, tag))
        record = f"{name_version}.dist-info/RECORD"
        lines = [_record_line(path, data) for path, data in files.items()] + [f"{record},,"]
        with zipfile.ZipFile(pathlib.Path(wheel_directory) / wheel_name, "w",
                             zipfile.ZIP_DEFLATED) as wheel:
            for path, data in files.items():
                wheel.writestr(path, data)
            wheel.writestr(record, "\n".join(lines) + "\n")
    return wheel_name
