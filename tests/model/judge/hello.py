"""The server name of a TLS ClientHello."""
import struct


def server_name(data):
    """The name, empty without one, or None when the hello is refused."""
    length = len(data)
    if length < 5 or data[0] != 22 or length < 11 or data[5] != 1 or data[9:11] == b'\3\0' or length < 44:
        return None
    session = data[43]
    if session >= 128 or 45 + session > length or 46 + session > length:
        return None
    ciphers = struct.unpack_from('>H', data, 44 + session)[0]
    methods_at = 46 + session + ciphers
    if 45 + session + ciphers + 2 > length:
        return None
    methods = data[methods_at]
    start = 45 + session + ciphers + 2 + methods + 2
    if methods >= 128 or start > length:
        return None
    size = struct.unpack_from('>H', data, start - 2)[0]
    if start + size > length:
        return None
    consumed = 0
    while consumed < size:
        at = start + consumed
        if at + 4 > length:
            return b''
        kind, extent = struct.unpack_from('>HH', data, at)
        if kind == 0 and extent != 0:
            if at + 9 > length:
                return None
            count = struct.unpack_from('>H', data, at + 7)[0]
            if count >= 260 or at + 9 + count > length:
                return None
            return data[at + 9:at + 9 + count].split(b'\0', 1)[0]
        consumed += 4 + extent
    return b''
