"""A capture with one of everything that the library does not look into and no bundled capture has."""
import struct


def pcap(frames):
    header = struct.pack('<IHHIIII', 0xA1B2C3D4, 2, 4, 0, 0, 262144, 1)
    return header + b''.join(struct.pack('<IIII', 1_700_000_000 + number, 0, len(frame), original or len(frame)) + frame
                             for number, (frame, original) in enumerate(frames))


def ethernet(kind, packet):
    return bytes(12) + struct.pack('>H', kind) + packet


def ipv4(protocol, content, fragment=0):
    return struct.pack('>BBHHHBBH4s4s', 0x45, 0, 20 + len(content), 0, fragment, 64, protocol, 0,
                       bytes([192, 0, 2, 1]), bytes([198, 51, 100, 1])) + content


def tcp(source, target, sequence, payload):
    return ethernet(0x0800, ipv4(6, struct.pack('>HHIIHHHH', source, target, sequence, 1, 0x5018, 1024, 0, 0) + payload))


def udp(source, target):
    return ethernet(0x0800, ipv4(17, struct.pack('>HHHH', source, target, 12, 0) + bytes(4)))


def hello(name, hides_name):
    def extension(kind, content):
        return struct.pack('>HH', kind, len(content)) + content
    names = struct.pack('>HBH', len(name) + 3, 0, len(name)) + name
    extensions = extension(0, names) + (extension(0xFE0D, bytes(40)) if hides_name else b'')
    body = (struct.pack('>H', 0x0303) + bytes(32) + b'\0' + struct.pack('>HH', 2, 0x1301) + b'\x01\0' +
            struct.pack('>H', len(extensions)) + extensions)
    handshake = b'\x01' + struct.pack('>I', len(body))[1:] + body
    return struct.pack('>BHH', 22, 0x0301, len(handshake)) + handshake


def content():
    plain = hello(b'two.example', False)
    frames = [tcp(50000, 443, 1, hello(b'cover.example', True)), tcp(50001, 443, 1, plain[:40]),
              tcp(50001, 443, 41, plain[40:]), tcp(50002, 80, 1, b'PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n'),
              tcp(50006, 445, 1, struct.pack('>II', 60, 0xFC534D42) + bytes(56)),
              udp(50003, 443), udp(50004, 123), ethernet(0x0800, ipv4(17, bytes(20), 0x2000)),
              ethernet(0x8864, bytes(30)), ethernet(0x0806, bytes(28)), ethernet(0x0800, b'\x45\0')]
    return pcap([(frame, None) for frame in frames] + [(udp(50005, 443), 1000)])
