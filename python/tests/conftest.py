"""Shared helpers of the Python package's tests: a small PNG reader and the quorin command."""
import os
import struct
import subprocess
import zlib

import numpy as np
import pytest

import quorin


def read_png(path):
    """The pixels of an 8-bit, non-interlaced RGB or RGBA PNG, as a (height, width, channels) array."""
    data = open(path, "rb").read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    pos, idat = 8, b""
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            width, height, depth, colour, _, _, interlace = struct.unpack(">IIBBBBB", body)
            assert depth == 8 and colour in (2, 6) and interlace == 0
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    channels = 3 if colour == 2 else 4
    raw = zlib.decompress(idat)
    stride = width * channels
    out = np.zeros((height, stride), np.int32)
    prev = np.zeros(stride, np.int32)
    for y in range(height):
        kind, row = raw[y * (stride + 1)], np.frombuffer(raw, np.uint8, stride, y * (stride + 1) + 1).astype(np.int32)
        cur = np.zeros(stride, np.int32)
        for x in range(stride):
            a = cur[x - channels] if x >= channels else 0
            b = prev[x]
            c = prev[x - channels] if x >= channels else 0
            if kind == 0:
                pred = 0
            elif kind == 1:
                pred = a
            elif kind == 2:
                pred = b
            elif kind == 3:
                pred = (a + b) // 2
            else:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                pred = a if pa <= pb and pa <= pc else (b if pb <= pc else c)
            cur[x] = (row[x] + pred) & 0xFF
        out[y] = cur
        prev = cur
    return out.reshape(height, width, channels).astype(np.uint8)


def to_bytes(image, channels=3):
    """8-bit values of float pixels as the PNG writer makes them: q = trunc(v * 255 + 0.5) in
    double precision; q with bit 8 set saturates at 255, otherwise its low eight bits count."""
    q = np.trunc(image[..., :channels].astype(np.float64) * 255.0 + 0.5).astype(np.int64)
    return np.where(q & 0x100, 255, q & 0xFF).astype(np.uint8)


@pytest.fixture
def quorin_command():
    path = os.environ.get("QUORIN_COMMAND")
    if not path or not os.path.exists(path):
        pytest.skip("the quorin command is not built")

    def run(*args):
        done = subprocess.run([path, *map(str, args)], capture_output=True, text=True)
        assert done.returncode == 0, done.stderr
        return done

    return run


@pytest.fixture
def project():
    with quorin.Project() as p:
        yield p
