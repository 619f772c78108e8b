#!/usr/bin/env python3
"""Draws the icons of the extension into icons/: a shield with a lake, blue while the filter answers, grey otherwise."""
import math
import struct
import zlib
from pathlib import Path

FOLDER = Path(__file__).resolve().parent / 'icons'
SIZES = (16, 32, 48, 128)
LOOKS = {'on': ((0x3B, 0x82, 0xC4), (0x1C, 0x4E, 0x86)), 'off': ((0xA8, 0xAE, 0xB6), (0x7C, 0x84, 0x8E))}
SAMPLES = 4  # by row and column of a pixel


def in_shield(x, y):
    """Of the unit square: straight sides that bend to a point at the bottom."""
    if not 0.06 <= y <= 0.96:
        return False
    top = 0.06 + 0.10 * abs(x - 0.5) / 0.40  # lower at the sides
    if y < top:
        return False
    half = 0.40 if y < 0.5 else 0.40 * math.sqrt(max(0.0, 1 - ((y - 0.5) / 0.46) ** 1.7))
    return abs(x - 0.5) <= half


def is_white(x, y):
    """A mountain and two waves below it."""
    if 0.26 <= y <= 0.50 and abs(x - 0.5) <= (y - 0.26) * 0.95:
        return True
    return any(abs(y - level - 0.022 * math.sin(x * 4.2 * math.pi)) < 0.032 and abs(x - 0.5) < reach
               for level, reach in ((0.60, 0.27), (0.73, 0.19)))


def pixel(column, row, size, look):
    light, dark = LOOKS[look]
    red = green = blue = alpha = 0.0
    for i in range(SAMPLES * SAMPLES):
        x = (column + (i % SAMPLES + 0.5) / SAMPLES) / size
        y = (row + (i // SAMPLES + 0.5) / SAMPLES) / size
        if not in_shield(x, y):
            continue
        colour = (255, 255, 255) if is_white(x, y) else [a + (b - a) * y for a, b in zip(light, dark)]
        red, green, blue, alpha = red + colour[0], green + colour[1], blue + colour[2], alpha + 1
    if not alpha:
        return bytes(4)
    return bytes(round(value / alpha) for value in (red, green, blue)) + bytes([round(255 * alpha / SAMPLES ** 2)])


def chunk(kind, data):
    return struct.pack('>I', len(data)) + kind + data + struct.pack('>I', zlib.crc32(kind + data))


def png(size, look):
    rows = b''.join(b'\0' + b''.join(pixel(column, row, size, look) for column in range(size)) for row in range(size))
    header = struct.pack('>IIBBBBB', size, size, 8, 6, 0, 0, 0)
    return b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', header) + chunk(b'IDAT', zlib.compress(rows, 9)) + chunk(b'IEND', b'')


def main():
    FOLDER.mkdir(exist_ok=True)
    for look in LOOKS:
        for size in SIZES if look == 'on' else SIZES[:3]:
            (FOLDER / f'{look}-{size}.png').write_bytes(png(size, look))


if __name__ == '__main__':
    main()
