"""The records that the companion modules deliver. Each knows its own bytes: encode(memory) gives them with the pointers
in them, as {offset: name of a block}, after it has put what they point to into the memory."""
import struct
from dataclasses import dataclass, field

from .texts import crc32


class Memory:
    """Blocks of memory that point to each other, in the order in which they have to be made."""

    def __init__(self, prefix=''):
        self.prefix = prefix
        self.blocks = []

    def add(self, data, pointers=None):
        name = f'{self.prefix}{len(self.blocks)}'
        self.blocks.append((name, bytes(data), pointers or {}))
        return name


def padded(text, size):
    if len(text) > size:
        raise ValueError('a field is too long')
    return text + bytes(size - len(text))


def chain(memory, nodes, next_offset):
    """The first of a list of nodes; each node is its bytes and its pointers."""
    following = None
    for data, pointers in reversed(nodes):
        pointers = dict(pointers)
        if following is not None:
            pointers[next_offset] = following
        following = memory.add(data, pointers)
    return following


def counted(memory, count, size, items):
    """The count and the array of items, which are bytes and pointers, as a record of 12 bytes."""
    data, pointers = b'', {}
    for item, inside in items:
        pointers.update({len(data) + at: name for at, name in inside.items()})
        data += padded(item, size)
    record = struct.pack('<IQ', count, 0)
    return record, {4: memory.add(data, pointers)} if items else {}


@dataclass(frozen=True)
class Plain:
    """A record without pointers."""
    data: bytes

    def encode(self, memory):
        return self.data, {}


@dataclass(frozen=True)
class UrlList:
    entries: tuple = ()

    def encode(self, memory):
        return counted(memory, len(self.entries), 1024, [(entry, {}) for entry in self.entries])


@dataclass(frozen=True)
class Site:
    """Of the malicious list, with (name, path) as threats, or of the phishing list, with paths."""
    host: bytes
    whole: int = 1
    paths: tuple = ()


@dataclass(frozen=True)
class SiteList:
    threats: bool
    sites: tuple = ()

    def in_order(self):
        return sorted(self.sites, key=lambda site: crc32(site.host))

    def encode(self, memory):
        items = []
        for site in self.in_order():
            if self.threats:
                nodes = [(padded(name, 50) + padded(path, 200) + bytes(8), {}) for name, path in site.paths]
            else:
                nodes = [(padded(path, 1024) + bytes(8), {}) for path in site.paths]
            first = chain(memory, nodes, 250 if self.threats else 1024)
            pointers = {5: memory.add(site.host + b'\0')}
            if first is not None:
                pointers[13] = first
            items.append((struct.pack('<BIQQ', site.whole, crc32(site.host), 0, 0), pointers))
        return counted(memory, len(items), 21, items)


@dataclass(frozen=True)
class UserUrl:
    host: bytes
    path: bytes = b''
    host_only: int = 1
    kind: int = 1
    subdomains: int = 1


def user_list(memory, urls):
    nodes = [(padded(url.host, 256) + padded(url.path, 1024) +
              bytes([url.host_only, url.kind, url.subdomains]) + bytes(5 + 8), {}) for url in urls]
    first = chain(memory, nodes, 1288)
    return struct.pack('<IQ', len(urls), 0), {} if first is None else {4: first}


@dataclass(frozen=True)
class SiteRule:
    host: bytes
    path: bytes = b''
    flag: int = 1
    kind: int = 1
    extra: int = 0
    addresses: tuple = ()  # of 17 bytes, an IPv4 address as a little-endian number


@dataclass(frozen=True)
class Profile:
    sid: bytes = b''
    profile_switch: int = 0
    block_list_switch: int = 0
    category_switch: int = 0
    schedule_switch: int = 0
    schedule_suspended: int = 0
    controlled: int = 0
    exempt: int = 0
    schedule_mode: int = 0
    grid: bytes = bytes(168)
    allowance: tuple = (0,) * 7
    schedule: tuple = ((),) * 7  # for each day its ranges of four numbers
    blocked_categories: tuple = ()
    rules: tuple = ()
    allowed: tuple = ()
    schedule_allowed: tuple = ()

    def encode(self, memory):
        leading = bytearray(386)
        leading[0:len(self.sid)] = self.sid
        for at, value in ((73, self.profile_switch), (78, self.block_list_switch), (79, self.category_switch),
                          (80, self.schedule_switch), (91, self.schedule_suspended), (201, self.controlled),
                          (202, self.exempt), (203, self.schedule_mode)):
            leading[at] = value
        leading[204:372] = self.grid
        struct.pack_into('<7H', leading, 372, *self.allowance)
        data, pointers = bytes(leading), {}

        def append(part, inside):
            nonlocal data
            pointers.update({len(data) + at: name for at, name in inside.items()})
            data += part

        for day in self.schedule:
            append(*counted(memory, len(day), 16, [(struct.pack('<4I', *times), {}) for times in day]))
        append(*counted(memory, len(self.blocked_categories), 2,
                        [(struct.pack('<H', number), {}) for number in self.blocked_categories]))
        append(struct.pack('<IQ', 0, 0), {})
        nodes = []
        for rule in self.rules:
            inside = {1287: memory.add(b''.join(rule.addresses))} if rule.addresses else {}
            nodes.append((padded(rule.host, 256) + padded(rule.path, 1024) +
                          struct.pack('<BBBIQQ', rule.flag, rule.kind, rule.extra, len(rule.addresses), 0, 0), inside))
        first = chain(memory, nodes, 1295)
        append(bytes(8), {} if first is None else {0: first})
        append(*user_list(memory, self.allowed))
        append(*user_list(memory, self.schedule_allowed))
        return data, pointers


@dataclass(frozen=True)
class Parental:
    mode: int = 0
    prompt: bytes = bytes(2)
    strictness: int = 0
    profiles: tuple = ()
    count: int = -1  # -1 = that of the profiles

    def encode(self, memory):
        items = [profile.encode(memory) for profile in self.profiles]
        count = len(items) if self.count < 0 else self.count
        record, pointers = counted(memory, count, 526, items)
        head = bytes(192) + bytes([self.mode]) + self.prompt + bytes([self.strictness])
        return head + record + bytes(380), {196 + at: name for at, name in pointers.items()}


@dataclass(frozen=True)
class IdsRule:
    number: int
    excluded: int = 0
    name: bytes = b''  # of UTF-16 units, as the following
    description: bytes = b''
    details: bytes = b''
    systems: tuple = ()

    def encode(self, memory):
        data = (struct.pack('<HB', self.number, self.excluded) + padded(self.name, 100) +
                padded(self.description, 300) + padded(self.details, 800) + bytes(3950) +
                bytes([len(self.systems)]) + bytes(237 + 8 + 8))
        systems = b''.join(bytes([system, 0]) for system in self.systems)
        return data, {5391: memory.add(systems)} if systems else {}


@dataclass(frozen=True)
class IdsRules:
    rules: tuple = ()
    extra: int = 0

    def encode(self, memory):
        record, pointers = counted(memory, len(self.rules), 5407, [rule.encode(memory) for rule in self.rules])
        moved = {5: name for name in pointers.values()}
        return record[:4] + bytes([self.extra]) + record[4:], moved


@dataclass(frozen=True)
class DnsAnswer:
    name: bytes
    addresses: tuple  # of 17 bytes
    count: int

    def data(self):
        return struct.pack('<H', self.count) + padded(self.name, 256) + padded(b''.join(self.addresses[:2]), 34)


@dataclass(frozen=True)
class DnsCache:
    count: int = 0
    index: int = 0
    answers: tuple = ()

    def encode(self, memory):
        data = b''.join(answer.data() for answer in self.answers)
        pointers = {4: memory.add(padded(data, max(len(data), 292 * self.count)))} if data else {}
        return struct.pack('<HHQ', self.count, self.index, 0), pointers


@dataclass(frozen=True)
class SavedSession:
    sid: bytes
    tag: int
    name: bytes  # of UTF-16 units
    last_update: int
    ticks: int
    blocked: int

    def data(self):
        return (padded(self.sid, 64) + struct.pack('<I', self.tag) + padded(self.name, 520) +
                struct.pack('<qIB', self.last_update, self.ticks, self.blocked))


@dataclass(frozen=True)
class SavedSessions:
    records: tuple = ()
    is_kept: bool = False  # as it was saved: it has an address, also without records

    def encode(self, memory):
        return counted(memory, len(self.records), 601, [(record.data(), {}) for record in self.records])


def is_empty(record):
    """Every byte of the record is 0, as a module that takes it back sees it."""
    if getattr(record, 'is_kept', False):
        return False
    data, pointers = record.encode(Memory())
    return not any(data) and not pointers


EMPTY = {
    'bpStatus': Plain(b'\0'), 'apStatus': Plain(b'\0'), 'cloudStatus': Plain(b'\1'), 'agentStatus': Plain(b'\0'),
    'idsIpsStatus': Plain(bytes(3)), 'idsIpsSettings': Plain(bytes(91)), 'bpPrompt': Plain(bytes(2)),
    'apPrompt': Plain(bytes(2)), 'bpSettings': SiteList(True), 'apSettings': SiteList(False),
    'bpUserWhiteList': UrlList(), 'bpInternalWhiteList': UrlList(), 'wsInternalWhiteList': UrlList(),
    'idsSettings': IdsRules(), 'pcSettings': Parental(), 'dnsCache': DnsCache(), 'systemControl': SavedSessions(),
    'disabledFeatures': Plain(bytes(64)), 'serverAddress': Plain(bytes(520)), 'categories': Plain(bytes(16)),
    'categoryCount': Plain(bytes(2)), 'malicious': Plain(b'\0'), 'httpsBlock': Plain(b'\0'),
    'packetVerdict': Plain(bytes(1231)), 'firstCallNotesPassed': Plain(b'\0'), 'keepsSessions': Plain(b'\0'),
}
