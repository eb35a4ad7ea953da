"""Animated PNG files from RGBA frames (numpy arrays), for browsers and
image viewers; a viewer without animation shows the first frame."""

from __future__ import annotations

import os
import struct
import tempfile
import zlib

import numpy as np


def _chunk(kind: bytes, data: bytes) -> bytes:
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


class AnimatedPng:
    """Frames of one size, each shown for delay_ms milliseconds, looping for
    ever. Each frame is compressed as it is added; only that is kept."""

    def __init__(self, delay_ms: int = 100) -> None:
        if not 0 <= delay_ms <= 65535:
            raise ValueError(f"AnimatedPng: delay_ms {delay_ms} is outside 0 to 65535")
        self.delay_ms = delay_ms
        self._size: tuple[int, int] | None = None
        self._frames: list[bytes] = []

    def __len__(self) -> int:
        return len(self._frames)

    def add(self, frame: np.ndarray) -> None:
        """Adds an (height, width, 4) uint8 RGBA frame."""
        if not isinstance(frame, np.ndarray) or frame.dtype != np.uint8:
            raise TypeError("AnimatedPng.add: the frame must be a uint8 numpy array")
        if frame.ndim != 3 or frame.shape[2] != 4 or frame.shape[0] < 1 or frame.shape[1] < 1:
            raise ValueError(f"AnimatedPng.add: the frame must be height x width x 4, not {frame.shape}")
        size = (frame.shape[1], frame.shape[0])
        if self._size is None:
            self._size = size
        elif size != self._size:
            raise ValueError(f"AnimatedPng.add: a {size[0]} x {size[1]} frame in an animation "
                             f"of {self._size[0]} x {self._size[1]}")
        # Each row: filter byte 0 (none), then its RGBA bytes.
        rows = np.zeros((frame.shape[0], 1 + 4 * frame.shape[1]), np.uint8)
        rows[:, 1:] = frame.reshape(frame.shape[0], -1)
        self._frames.append(zlib.compress(rows.tobytes(), 6))

    def to_bytes(self) -> bytes:
        if self._size is None:
            raise ValueError("AnimatedPng: no frames")
        width, height = self._size
        out = [b"\x89PNG\r\n\x1a\n",
               _chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 6, 0, 0, 0)),
               _chunk(b"acTL", struct.pack(">II", len(self._frames), 0))]
        sequence = 0
        for index, data in enumerate(self._frames):
            out.append(_chunk(b"fcTL", struct.pack(">IIIIIHHBB", sequence, width, height, 0, 0,
                                                   self.delay_ms, 1000, 0, 0)))
            sequence += 1
            if index == 0:
                out.append(_chunk(b"IDAT", data))
            else:
                out.append(_chunk(b"fdAT", struct.pack(">I", sequence) + data))
                sequence += 1
        out.append(_chunk(b"IEND", b""))
        return b"".join(out)

    def save(self, path: str | os.PathLike) -> None:
        """Writes the file whole or not at all."""
        data = self.to_bytes()
        path = os.fspath(path)
        fd, temporary = tempfile.mkstemp(dir=os.path.dirname(os.path.abspath(path)), suffix=".tmp")
        try:
            # mkstemp makes the file private; give it a new file's permissions.
            mask = os.umask(0)
            os.umask(mask)
            os.chmod(fd, 0o666 & ~mask)
            with os.fdopen(fd, "wb") as file:
                file.write(data)
            os.replace(temporary, path)
        except BaseException:
            if os.path.exists(temporary):
                os.unlink(temporary)
            raise
