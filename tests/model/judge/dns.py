"""DNS messages, and the ring of the answers that were seen."""
import struct

from . import addresses
from .settings import DnsAnswer
from .texts import field_text

SLOTS = 3000


class Unreadable(Exception):
    """The message is none that can be read."""


def read_name(data, at, capacity):
    """(name, bytes on the wire)."""
    name, position, start = b'', 0, at
    while True:
        if at >= len(data):
            raise Unreadable
        count = data[at]
        at += 1
        if count == 0:
            break
        if position + count >= capacity or at + count > len(data):
            raise Unreadable
        name += data[at:at + count] + b'.'
        position += count + 1
        at += count
    if not name:
        raise Unreadable
    return name[:-1], at - start


def parse(data):
    """(queried name, addresses)."""
    if not 13 <= len(data) <= 2047 or data[2:4] in (b'\0\0', b'\x80\0'):
        raise Unreadable
    answers = struct.unpack_from('>H', data, 6)[0]
    name, size = read_name(data, 12, 256)
    at = 12 + size + 4
    if at > len(data):
        raise Unreadable
    first, second = [], []
    for _ in range(answers):
        if at >= len(data):
            raise Unreadable
        at += 2 if data[at] & 0xC0 == 0xC0 else read_name(data, at, 260)[1]
        if at + 10 > len(data):
            raise Unreadable
        kind, extent = struct.unpack_from('>H6xH', data, at)
        at += 10
        if kind == 1:
            if at + 4 > len(data):
                raise Unreadable
            first.append(addresses.ipv4(data[at:at + 4]))
        elif kind == 28:
            if at + extent > len(data):
                raise Unreadable
            if extent == 16:
                second.append(addresses.ipv6(data[at:at + 16]))
        at += extent
        if at > len(data):
            raise Unreadable
    return name.split(b'\0', 1)[0], first + second


class Ring:
    """It is there from the load of the settings to their release; before and after, nothing is kept."""

    def __init__(self, is_there):
        self.is_there = is_there
        self.slots = {}
        self.index = 0

    def restore(self, saved):
        if not 1 <= saved.count <= SLOTS or not saved.answers:
            return
        for slot in range(saved.count):
            if slot < len(saved.answers):
                self.slots[slot] = saved.answers[slot]
        self.index = saved.index if saved.index <= SLOTS else saved.index % SLOTS

    def store(self, name, found):
        if not self.is_there:
            return
        self.index %= SLOTS
        self.slots[self.index] = DnsAnswer(name, tuple(found[:2]), len(found))
        self.index += 1

    def name_of(self, address):
        """The newest name that resolved to the address, or None."""
        if self.index == 0:
            return None
        for slot in list(range(self.index - 1, -1, -1)) + list(range(SLOTS - 1, self.index - 1, -1)):
            answer = self.slots.get(slot)
            if answer is None:
                continue
            kept = (list(answer.addresses) + [bytes(17), bytes(17)])[:min(answer.count, 2)]
            if any(addresses.same(record, address) for record in kept):
                return field_text(answer.name, 256)
        return None
