"""Texts as the library's records hold them, and the records themselves as bytes."""
import struct
import zlib

PATTERN = 0xCD  # what the caller's records are full of before a call
ENDS = b'/?#'


class Overflow(Exception):
    """A text does not fit into its buffer."""


def fit(text, capacity):
    """The text, when it fits with its NUL."""
    if len(text) >= capacity:
        raise Overflow
    return text


def field_text(field, capacity):
    """The text of a fixed field: up to its NUL; without one, the last byte counts as the NUL."""
    return bytes(field)[:capacity - 1].split(b'\0', 1)[0]


def wide_text(field, capacity):
    """The same of UTF-16 units, as bytes of an even number."""
    units = bytes(field)[:2 * (capacity - 1)]
    for at in range(0, len(units) - 1, 2):
        if units[at:at + 2] == b'\0\0':
            return units[:at]
    return units[:len(units) // 2 * 2]


def begins(text, start):
    return text[:len(start)].lower() == start.lower()


def ends_there(text, at, ends=ENDS):
    """The text is over at this place, or one of these characters stands there."""
    return at >= len(text) or text[at] in ends


def crc32(text):
    return zlib.crc32(text) & 0xFFFFFFFF


def without_slash(text):
    return text[:-1] if text.endswith(b'/') else text


class Record:
    """A record of the caller's, full of the pattern."""

    def __init__(self, size):
        self.bytes = bytearray([PATTERN]) * size

    def put(self, offset, form, *values):
        struct.pack_into('<' + form, self.bytes, offset, *values)

    def put_bytes(self, offset, data):
        self.bytes[offset:offset + len(data)] = data

    def put_text(self, offset, text, capacity):
        self.put_bytes(offset, fit(text, capacity) + b'\0')

    def put_wide(self, offset, text, capacity):
        """As many units as fit, and the NUL."""
        self.put_bytes(offset, text[:2 * (capacity - 1)] + b'\0\0')

    def get(self, offset, form):
        return struct.unpack_from('<' + form, self.bytes, offset)[0]
