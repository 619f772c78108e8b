"""Ethernet frames: connections to services, and SMB conversations with their requests and answers."""
import struct

ADDRESSES = tuple(bytes((198, 51, 100, last)) for last in range(1, 6))
PORTS = (3389, 1433, 1434, 445, 3306, 80, 139)
NAMES = ('a.txt', 'Dir\\b.doc', 'c', 'x' * 64, 'x' * 65, '\u00e9\u4e2d', '')


def frame(rng, source, destination, source_port, destination_port, payload, proto=6, ether=0x0800):
    options = rng.choice((0, 4, 8)) if rng.random() < 0.1 else 0
    tcp_options = rng.choice((0, 12)) if rng.random() < 0.3 else 0
    head = bytes((2, 0, 0, 0, 0, 1, 2, 0, 0, 0, 0, rng.randrange(9))) + struct.pack('>H', ether)
    ip = bytes((0x45 + options // 4, 0)) + struct.pack('>H', 40 + options + tcp_options + len(payload)) + bytes(5)
    ip += bytes((proto, 0, 0)) + source + destination + bytes(options)
    tcp = struct.pack('>HH', source_port, destination_port) + bytes(8)
    tcp += bytes(((5 + tcp_options // 4) << 4, 24)) + bytes(6)
    return head + ip + tcp + bytes(tcp_options) + payload


def damaged(rng, data):
    way = rng.randrange(30)
    if way == 0:
        return data[:rng.randrange(len(data) + 1)]
    if way == 1:
        at = rng.randrange(len(data))
        return data[:at] + bytes((data[at] ^ (1 << rng.randrange(8)),)) + data[at + 1:]
    if way == 2:
        return data[:-rng.choice((1, 2, 3))]
    return data


def packet(rng):
    inbound = rng.random() < 0.7
    local, remote = bytes((192, 168, 1, 2)), rng.choice(ADDRESSES)
    here, there = rng.choice(PORTS), rng.randrange(1024, 65536)
    ends = (remote, local, there, here) if inbound else (local, remote, here, there)
    proto = 17 if rng.random() < 0.05 else 6
    ether = 0x86DD if rng.random() < 0.05 else 0x0800
    return damaged(rng, frame(rng, *ends, bytes(rng.choice((0, 10))), proto, ether)), int(inbound)


def wide(text):
    return text.encode('utf-16-le')


class Smb2:
    """A client's conversation with a server; numbers are few, so that conversations meet."""

    def __init__(self, rng):
        self.rng = rng
        self.number = rng.randrange(4)
        self.session, self.tree = rng.randrange(3), rng.randrange(3)

    def message(self, command, answers, body, status=0):
        flags = 1 if answers else 0
        return (b'\xfeSMB' + struct.pack('<HHIHHIIQIIQ', 64, 0, status, command, 1, flags, 0, self.number, 0xFEFF,
                                         self.tree, self.session) + bytes(16) + body)

    def steps(self):
        rng = self.rng
        share = wide(rng.choice(('\\\\srv\\share', '\\\\srv\\' + 's' * 123, '\\\\srv\\' + 's' * 124)))
        connect = struct.pack('<HHHH', 9, 0, 72, len(share)) + share
        name = wide(rng.choice(NAMES)) if rng.random() < 0.85 else wide('n' * 129) + b'y' * rng.choice((0, 1, 2, 3))
        size = rng.choice((57, 57, 57, 57, 11, 10, 40, 63))
        before = bytearray(max(size - 1, 12))
        struct.pack_into('<H', before, 0, size)
        if size >= 11:
            struct.pack_into('<H', before, size - 11, len(name))
        if size == 11:
            struct.pack_into('<H', before, 0, len(name))  # the length stands in the size's own place
        create = bytes(before) + name
        action = rng.choice((0, 1, 2, 2, 3, 4, 5, 6))
        created = struct.pack('<HHI', 89, 0, action) + bytes(80)
        failed = rng.random() < 0.1
        yield self.message(3, False, connect), True
        yield self.message(3, True, bytes(16)), False
        for _ in range(rng.randint(1, 3)):
            self.number = rng.randrange(4)
            yield self.message(5, False, create, 1 if rng.random() < 0.05 else 0), True
            yield self.message(5 if rng.random() < 0.95 else 3, True, created, 0xC0000022 if failed else 0), False
        if rng.random() < 0.3:
            yield self.message(rng.choice((2, 4)), rng.random() < 0.8, b'\4\0\0\0'), False
        if rng.random() < 0.1:
            yield self.message(rng.choice((0, 1, 6, 16)), rng.random() < 0.5, bytes(8)), False


class Smb1:
    def __init__(self, rng):
        self.rng = rng
        self.number, self.tree = rng.randrange(3), rng.randrange(3)

    def message(self, command, answers, body, status=0):
        return (b'\xffSMB' + bytes((command,)) + struct.pack('<IB', status, 0x80 if answers else 0) + bytes(14) +
                struct.pack('<IHH', self.tree, 0, self.number) + body)

    def steps(self):
        rng = self.rng
        share = wide('\\\\srv\\' + rng.choice(('share', 's' * 252, 's' * 253, 's' * 300))) + rng.choice((b'\0\0', b''))
        password = rng.choice((0, 1, 24))
        connect = bytes((4,)) + bytes(6) + struct.pack('<H', password) + bytes(2) + bytes(password) + share + bytes(4)
        name = wide(rng.choice(NAMES + ('n' * 259, 'n' * 260)))
        pad = rng.choice((0, 1))
        count = len(name) + pad + rng.choice((0, 0, 0, 1, -3))
        create = bytes((24,)) + bytes(5) + struct.pack('<H', len(name)) + bytes(41) + struct.pack('<H', max(0, count))
        create += bytes(count % 2) + name + bytes(2)
        created = bytes((34,)) + bytes(7) + struct.pack('<I', rng.choice((0, 1, 2, 2, 3, 5, 9))) + bytes(60)
        yield self.message(0x75, False, connect), True
        yield self.message(0x75, True, bytes(3)), False
        for _ in range(rng.randint(1, 3)):
            self.number = rng.randrange(3)
            yield self.message(0xA2, False, create, 1 if rng.random() < 0.05 else 0), True
            yield self.message(0xA2 if rng.random() < 0.95 else 0x75, True, created,
                               0xC0000022 if rng.random() < 0.1 else 0), False
        if rng.random() < 0.3:
            yield self.message(rng.choice((0x71, 0x74)), rng.random() < 0.8, bytes(3)), False
        if rng.random() < 0.1:
            yield self.message(0x2E, False, bytes(8)), False


def conversation(rng):
    """Frames in their order; at times one is lost, damaged or of another kind."""
    client, server = rng.choice(ADDRESSES[:2]), bytes((192, 0, 2, 9))
    port = rng.randrange(1024, 65536)
    for message, from_client in (Smb2 if rng.random() < 0.6 else Smb1)(rng).steps():
        if rng.random() < 0.04:
            continue
        payload = struct.pack('>I', len(message)) + message
        if rng.random() < 0.03:
            payload = rng.choice((b'', b'\0', bytes(4), bytes(4) + b'\xfd' + bytes(60), bytes(6)))
        ends = (client, server, port, 445) if from_client else (server, client, 445, port)
        if rng.random() < 0.02:
            ends = (client, server, port, 139)
        proto = 17 if rng.random() < 0.02 else 6
        ether = rng.choice((0x86DD, 0x8100)) if rng.random() < 0.02 else 0x0800
        yield damaged(rng, frame(rng, *ends, payload, proto, ether))
