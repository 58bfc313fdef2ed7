"""Draws loading-icon.png: twelve white strokes in a circle, each fainter than the one before it, on nothing.

usage: make_loading_icon.py OUTPUT.png
"""
import math
import struct
import sys
import zlib

SIZE, STROKES, SAMPLES = 120, 12, 4
INNER, OUTER, HALF_WIDTH = 0.24, 0.44, 0.035  # parts of the size


def coverage(x, y):
    """The opacity of a point, 0 to 1; strokes have round ends."""
    best = 0.0
    for stroke in range(STROKES):
        angle = 2 * math.pi * stroke / STROKES
        along = x * math.sin(angle) - y * math.cos(angle)
        across = x * math.cos(angle) + y * math.sin(angle)
        beyond = along - min(max(along, INNER), OUTER)
        if math.hypot(beyond, across) <= HALF_WIDTH:
            best = max(best, 0.15 + 0.85 * stroke / (STROKES - 1))
    return best


rows = b""
for row in range(SIZE):
    rows += b"\0"
    for column in range(SIZE):
        points = [((column + (i + 0.5) / SAMPLES) / SIZE - 0.5, (row + (j + 0.5) / SAMPLES) / SIZE - 0.5)
                  for i in range(SAMPLES) for j in range(SAMPLES)]
        alpha = sum(coverage(x, y) for x, y in points) / len(points)
        rows += bytes([255, 255, 255, round(255 * alpha)])


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


with open(sys.argv[1], "wb") as file:
    file.write(b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", SIZE, SIZE, 8, 6, 0, 0, 0)) +
               chunk(b"IDAT", zlib.compress(rows, 9)) + chunk(b"IEND", b""))
