"""The first bytes of connections, and messages of DNS servers: well-formed, odd, cut and flipped."""
import struct

from . import names


def damaged(rng, data):
    """The bytes themselves mostly; else cut short, with a bit flipped or with a NUL in them."""
    way = rng.randrange(24)
    if way == 0:
        return data[:rng.randrange(len(data) + 1)]
    if way == 1 and data:
        at = rng.randrange(len(data))
        return data[:at] + bytes((data[at] ^ (1 << rng.randrange(8)),)) + data[at + 1:]
    if way == 2 and data:
        at = rng.randrange(len(data))
        return data[:at] + b'\0' + data[at:]
    return data


def http(rng):
    host, path = names.near(rng, names.host(rng)), names.path(rng)
    value = host
    way = rng.randrange(20)
    if way == 0:
        value += b':8080'
    elif way == 1:
        value = names.long_text(rng, rng.choice((255, 256, 259, 260)))
    elif way == 2:
        value = rng.choice((b'', b':80', b'.', b'..x..', b'[::1]:80', b'[', b']'))
    target = path
    way = rng.randrange(20)
    if way == 0:
        target = b'http://' + host + path
    elif way == 1:
        target = rng.choice((b'FTP://', b'https://', b'HTTP://')) + names.flip_case(rng, host) + path
    elif way == 2:
        target = b'/' + names.long_text(rng, rng.choice((1022, 1023, 760, 765)))
    method = rng.choice((b'POST ', b'POST ', b'PUT ', b'get ')) if rng.random() < 0.12 else b'GET '
    if rng.random() < 0.05:
        method, target = b'CONNECT ', rng.choice((host, host + b':443', host + b':443/x', host + path, b'/'))
    version = b' HTTP/1.1\r\n' if rng.random() < 0.97 else rng.choice((b' HTTP/2\r\n', b' http/1.1\r\n', b'\r\n'))
    name = b'Host: ' if rng.random() < 0.97 else rng.choice((b'host: ', b'Host:', b'X: 1\r\nHost: '))
    head = b'' if rng.random() < 0.98 else b'X: ' + b'y' * rng.choice((1900, 2020, 2040, 2060)) + b'\r\n'
    return damaged(rng, method + target + version + head + name + value + b'\r\n\r\n')


def ftp(rng):
    way = rng.randrange(14)
    if way == 0:
        return damaged(rng, rng.choice((b'LIST', b'LIST -la\r\n', b' LIST\r\n', b'USER x\r\n', b'CWD\r\n')))
    if way == 1:
        return rng.choice((b' RETR /x\r\n', b'CWD /x\r\nRETR y\r\n', b'RETR \r\n', b'CWD '))
    command = rng.choice((b'RETR ', b'CWD ', b'retr ')) if way == 2 else rng.choice((b'RETR ', b'CWD '))
    argument = rng.choice((b'', b'/')) + names.path(rng).lstrip(b'/')
    if way == 3:
        argument = rng.choice((b'', b'/')) + names.long_text(rng, rng.choice((1022, 1023)))
    return damaged(rng, command + argument + (b'' if way == 4 else b'\r\n'))


def hello(rng):
    name = names.near(rng, names.host(rng))
    way = rng.randrange(20)
    if way == 0:
        name = names.long_text(rng, rng.choice((255, 259, 260)))
    extensions = b''
    if rng.random() < 0.4:
        extensions += struct.pack('>HH', rng.choice((10, 43, 0)), 0 if rng.random() < 0.5 else 3)
        extensions += b'abc' if extensions[3] else b''
    if way not in (1, 2, 3):
        size = len(name) if rng.random() < 0.96 else len(name) + rng.choice((-1, 1, 300))
        data = struct.pack('>HBH', len(name) + 3, 0, max(0, size)) + name
        extensions += struct.pack('>HH', 0, len(data)) + data
    if rng.random() < 0.3:
        extensions += struct.pack('>HH', 16, 2) + b'h2'
    session = rng.choice((0, 32, 127, 128)) if rng.random() < 0.1 else 32
    methods = rng.choice((1, 2, 127, 128)) if rng.random() < 0.1 else 1
    extent = len(extensions) + (rng.choice((-1, 1, 2)) if rng.random() < 0.05 else 0)
    body = rng.choice((b'\3\3', b'\3\1', b'\3\0')) if rng.random() < 0.1 else b'\3\3'
    body += bytes(32) + bytes((session,)) + bytes(session) + struct.pack('>H', 4) + bytes(4)
    body += bytes((methods,)) + bytes(methods) + struct.pack('>H', max(0, extent)) + extensions
    return damaged(rng, b'\x16\3\1' + struct.pack('>H', len(body) + 4) + b'\1\0' + struct.pack('>H', len(body)) + body)


def dns_name(name):
    return b''.join(bytes((len(label) & 255,)) + label for label in name.split(b'.')) + b'\0'


def dns(rng):
    name = names.near(rng, names.host(rng)).strip(b'.') or b'x'
    if rng.random() < 0.05:
        labels = [b'l' * 62] * rng.choice((3, 4)) + [b'l' * rng.choice((1, 2, 3, 60, 62, 63, 65, 66))]
        name = b'.'.join(labels)
    flags = rng.choice((0, 0x8000, 0x8180)) if rng.random() < 0.1 else 0x8180
    answers = []
    for _ in range(rng.choice((0, 1, 1, 1, 2, 3))):
        owner = rng.choice((b'\xc0\x0c', b'\xc1\x0c'))
        if rng.random() < 0.2:
            owner = rng.choice((dns_name(name), b'\0', dns_name(b'other.example')))
        record = names.address(rng)
        kind, data = (28, record[1:]) if record[0] == 1 else (1, record[1:5])
        if rng.random() < 0.1:
            kind, data = rng.choice(((5, b'\1x\0'), (28, bytes(15)), (28, bytes(17)), (1, bytes(3)), (1, bytes(6)),
                                     (28, b'')))
        answers.append(owner + struct.pack('>HHIH', kind, 1, 60, len(data)) + data)
    count = len(answers) + (rng.choice((-1, 1)) if rng.random() < 0.05 else 0)
    message = struct.pack('>HHHHHH', 7, flags, 1, max(0, count), 0, 0)
    message += dns_name(name) + b'\0\1\0\1' + b''.join(answers)
    if rng.random() < 0.02:
        message = message.ljust(rng.choice((2047, 2048)), b'\0')
    return damaged(rng, message)


def extension_url(rng):
    """With its NUL, behind which something stands."""
    scheme = rng.choice((b'https://', b'https://', b'https://', b'HTTPS://', b'x://', b'', b'[://', b'http:/'))
    if rng.random() < 0.7:
        scheme = b'https://'
    url = scheme + names.near(rng, names.host(rng)) + rng.choice((b'', b'', b':8443')) + names.path(rng)
    way = rng.randrange(30)
    if way == 0:
        url = b'https://' + names.long_text(rng, rng.choice((259, 260, 255))) + names.path(rng)
    elif way == 1:
        url = b'https://x.org/' + names.long_text(rng, 1023 - 14)
    return url + b'\0rest'
