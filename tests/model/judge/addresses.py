"""Addresses: records of 17 bytes, their texts, and which of them are private."""
import socket
import struct

PRIVATE = ((0x0A000001, 0x0AFFFFFF), (0xAC100001, 0xAC1FFFFF), (0xC0A80001, 0xC0A8FFFF), (0xA9FE0001, 0xA9FEFFFF))


def ipv4(data):
    return b'\0' + bytes(data) + bytes(12)


def ipv6(data):
    return b'\1' + bytes(data)


def same(one, other):
    if one[0] != other[0]:
        return False
    return one[1:5] == other[1:5] if one[0] != 1 else one[1:] == other[1:]


def is_private(record):
    if record[0] == 1:
        return record[1] == 0xFD
    number = struct.unpack('>I', record[1:5])[0]
    return any(low <= number < high for low, high in PRIVATE)


def dotted(data):
    return '.'.join(str(byte) for byte in data[:4]).encode()


def groups(data):
    return b':'.join(b'%02x%02x' % (data[at], data[at + 1]) for at in range(0, 16, 2))


def scan_text(record):
    """As the URL scan writes it: an IPv6 address in eight groups."""
    return groups(record[1:]) if record[0] == 1 else dotted(record[1:5])


def usual_text(record):
    return socket.inet_ntop(socket.AF_INET6, record[1:]).encode() if record[0] == 1 else dotted(record[1:5])


def number_of(part):
    base = 10
    if part[:2].lower() == b'0x':
        part, base = part[2:], 16
    elif part.startswith(b'0') and len(part) > 1:
        part, base = part[1:], 8
    digits = b'0123456789abcdef'[:base]
    if not part or any(letter not in digits for letter in part.lower()):
        return None
    return int(part, base)


def is_ipv4_literal(text):
    """The forms of one to four parts, each decimal, octal or hexadecimal."""
    parts = [number_of(part) for part in text.split(b'.')]
    if len(parts) > 4 or None in parts:
        return False
    last = (1 << (8 * (5 - len(parts)))) - 1
    if parts[-1] > last or any(part > 255 for part in parts[:-1]):
        return False
    number = parts[-1]
    for at, part in enumerate(parts[:-1]):
        number |= part << (24 - 8 * at)
    return number != 0xFFFFFFFF


def is_ipv6_literal(text):
    try:
        socket.inet_pton(socket.AF_INET6, text.decode('latin-1'))
    except (OSError, ValueError):
        return False
    return True


def is_literal(text):
    return is_ipv4_literal(text) or is_ipv6_literal(text)
