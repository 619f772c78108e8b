"""Hosts, paths and lists of them that lie near each other, so that rules meet at their edges."""
from judge.settings import UserUrl

HOSTS = (b'example.org', b'www.example.org', b'shop.example', b'a.b.c.example.net', b'example.net', b'192.0.2.7',
         b'203.0.113.5', b'youtube.com', b'x.org', b'manage.example', b'[2001:db8::1]', b'wwwexample.org', b'10.1.2.3')
PATHS = (b'', b'/', b'/x', b'/x/y', b'/Login', b'/login/', b'/a//b', b'/x?q=1', b'/x#f', b'//x//y?q#f', b'/x.', b'?q',
         b'/watch', b'/deep/er/path')
# Other forms of addresses, and texts that are nearly one.
LITERALS = (b'0xc0000207', b'0xcb007105', b'192.0.519', b'0300.0.2.7', b'3221225991', b'203.0.113.256', b'1.2.3.4.5',
            b'255.255.255.255', b'2001:db8::1', b'1:2', b'08.1.1.1', b'x' * 63 + b'.example',
            b'a.b.c.d.e.f.g.h.i.j.k.l.org')
# About as long as the fields and buffers that they come into.
LONG_HOSTS = tuple(b'l' * count for count in (251, 252, 254, 255, 256, 257, 259))
NUMBERS = (2, 3, 5, 7, 9, 40)


def flip_case(rng, text):
    return bytes(letter ^ 0x20 if chr(letter).isalpha() and rng.random() < 0.5 else letter for letter in text)


def near(rng, text):
    """The text itself, or one that differs from it by little."""
    way = rng.randrange(14)
    if way == 0:
        return b'www.' + text
    if way == 1:
        return text.removeprefix(b'www.')
    if way == 2:
        return flip_case(rng, text)
    if way == 3:
        return b'sub.' + text
    if way == 4:
        return b'bad' + text
    if way == 5:
        return text + b'x'
    if way == 6:
        return text.partition(b'.')[2] or text
    if way == 7:
        return text + b'.'
    return text


def host(rng):
    way = rng.random()
    return rng.choice(HOSTS) if way < 0.96 else rng.choice(LITERALS) if way < 0.985 else rng.choice(LONG_HOSTS)


def path(rng):
    way = rng.randrange(12)
    if way == 0:
        return flip_case(rng, rng.choice(PATHS))
    if way == 1:
        return rng.choice(PATHS) + rng.choice((b'/', b'x', b'?', b'#'))
    return rng.choice(PATHS)


def long_text(rng, capacity):
    """Of a length at a bound of the field."""
    return b'l' * max(0, capacity + rng.choice((-2, -1, 0, 1)))


def listed_url(rng):
    """An entry of a list of URLs."""
    way = rng.randrange(14)
    if way == 0:
        return b'*' + near(rng, host(rng))
    if way == 1:
        return near(rng, host(rng)) + path(rng)
    if way == 2:
        return b''
    if way == 3:
        return rng.choice((b'*', b'/', b'*/', b'*.org', b'*x'))
    if way == 4:
        return long_text(rng, 1023)
    if way == 5:
        return flip_case(rng, host(rng)) + b'/'
    return near(rng, host(rng))


def user_url(rng):
    return UserUrl(b'' if rng.random() < 0.05 else rng.choice((near(rng, host(rng))[:256], b'203.0.113.5', b'203.0')),
                   rng.choice(PATHS) if rng.random() < 0.6 else b'/x/', rng.choice((0, 1, 1, 1, 2)),
                   rng.choice((0, 1, 1, 2, 2, 3)), rng.choice((0, 1, 1, 2)))


def address(rng):
    """A record of 17 bytes, often at an edge of the private ranges."""
    way = rng.randrange(12)
    if way == 0:
        return b'\1' + bytes.fromhex('20010db8000000000000000000000001')
    if way == 1:
        return b'\1' + rng.choice((b'\xfd', b'\xfc')) + bytes(14) + b'\1'
    if way == 2:
        edges = (0x0A000000, 0x0A000001, 0x0AFFFFFE, 0x0AFFFFFF, 0xAC0FFFFF, 0xAC100000, 0xAC100001, 0xAC1FFFFF,
                 0xC0A80000, 0xC0A80001, 0xC0A8FFFE, 0xC0A8FFFF, 0xA9FE0000, 0xA9FE0001, 0xA9FEFFFF)
        return b'\0' + rng.choice(edges).to_bytes(4, 'big') + bytes(12)
    if way == 3:
        return b'\0' + bytes((192, 0, 2, 7)) + bytes(12)
    return b'\0' + bytes((203, 0, 113, rng.choice((5, 6)))) + bytes(12)
