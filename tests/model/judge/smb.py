"""The SMB monitor: from a frame to the message, and what it remembers of both versions of the protocol."""
import struct

from .texts import Record, wide_text

UNITS = 260


class Cut(Exception):
    """A field lies past the end of the frame."""


class Message:
    """The bytes from the message's header on; a read past their end raises Cut."""

    def __init__(self, data):
        self.data = data

    def read(self, offset, form):
        size = struct.calcsize('<' + form)
        return struct.unpack('<' + form, self.part(offset, size))[0]

    def part(self, offset, size):
        if size != 0 and offset + size > len(self.data):
            raise Cut  # what is empty lies nowhere
        return self.data[offset:offset + size]


class Tables:
    """Requests that wait for their answers, and the trees of each session or client."""

    def __init__(self):
        self.pending = {}
        self.trees = {}

    def park(self, key, is_tree, name):
        self.pending.setdefault(key, (is_tree, wide_text(name + b'\0\0', UNITS)))


class Smb:
    def __init__(self):
        self.clear()

    def clear(self):
        self.one, self.two = Tables(), Tables()

    def scan(self, frame):
        found = Record(1058)
        found.put(0, 'I', 1)
        try:
            return int(self.dispatch(frame, found)), found
        except Cut:
            return 0, found

    def dispatch(self, frame, found):
        whole = Message(frame)
        if whole.part(12, 2) != b'\x08\0':
            return False
        header = (whole.read(14, 'B') & 15) * 4
        if whole.read(23, 'B') != 6:
            return False
        source, destination = whole.part(26, 4), whole.part(30, 4)
        tcp = 14 + header
        if 445 not in struct.unpack('>HH', whole.part(tcp, 4)):
            return False
        offset = (whole.read(tcp + 12, 'B') >> 4) * 4
        if (len(frame) - header - offset) & 0xFFFF == 14:
            return False
        start = tcp + offset + 4
        kind = whole.read(start, 'B')
        message = Message(frame[start:])
        if kind == 0xFE:
            return self.track_two(message, source, destination, found)
        if kind == 0xFF:
            return self.track_one(message, source, destination, found)
        return True

    # ---- SMB2 ----

    def track_two(self, message, source, destination, found):
        command = message.read(12, 'H')
        if command not in (2, 3, 4, 5):
            return True
        answers = message.read(16, 'I') & 1
        if not answers:
            return True if command in (2, 4) else self.request_two(message, command)
        message.part(0, 48)
        status, number = message.read(8, 'I'), message.read(24, 'Q')
        tree, session = message.read(36, 'I'), message.read(40, 'Q')
        if command in (2, 4):
            return end(self.two, session, tree if command == 4 else None)
        action = message.read(68, 'I') if command == 5 and status == 0 else None
        return answer(self.two, number, status, session, tree, action, (source, destination), found)

    def request_two(self, message, command):
        if message.read(8, 'I') != 0:
            return False
        if command == 3:
            size, at = message.read(70, 'H'), 72
        else:
            structure = message.read(64, 'H')
            if structure < 11:
                raise Cut
            size, at = message.read(64 + structure - 11, 'H'), 64 + structure - 1
        if size >= 260:
            return True
        name = message.part(at, size)
        self.two.park(message.read(24, 'Q'), command == 3, name[:size // 2 * 2])
        return True

    # ---- SMB1 ----

    def track_one(self, message, source, destination, found):
        command = message.read(4, 'B')
        if command not in (0x71, 0x74, 0x75, 0xA2):
            return True
        answers = message.read(9, 'B') & 0x80
        if not answers:
            return True if command in (0x71, 0x74) else self.request_one(message, command)
        message.part(0, 32)
        status, tree, number = message.read(5, 'I'), message.read(24, 'I'), message.read(30, 'H')
        if command in (0x71, 0x74):
            return end(self.one, destination, tree if command == 0x71 else None)
        action = message.read(40, 'I') if command == 0xA2 and status == 0 else None
        return answer(self.one, number, status, destination, tree, action, (source, destination), found)

    def request_one(self, message, command):
        if message.read(5, 'I') != 0:
            return False
        number = message.read(30, 'H')
        if command == 0x75:
            at = 33 + 2 * message.read(32, 'B') + 2 + message.read(39, 'H')
            name = b''
            while len(name) < 2 * (UNITS - 1):
                unit = message.part(at + len(name), 2)
                if unit == b'\0\0':
                    break
                name += unit
        else:
            size, count = message.read(38, 'H'), message.read(81, 'H')
            if size > count:
                return True
            name = message.part(83 + count % 2, size)[:size // 2 * 2]
        self.one.park(number, command == 0x75, name)
        return True


def end(tables, owner, tree):
    """The end of a tree, or of everything of its owner."""
    if owner not in tables.trees:
        return False
    if tree is None:
        del tables.trees[owner]
        return True
    return tables.trees[owner].pop(tree, None) is not None


def answer(tables, number, status, owner, tree, action, ends, found):
    """action is None unless the answer is one to a create."""
    if number not in tables.pending:
        return False
    is_tree, name = tables.pending.pop(number)
    if status != 0:
        return False
    trees = tables.trees.setdefault(owner, {})
    if is_tree:
        trees.setdefault(tree, name)
        return True
    if tree not in trees:
        return False
    if action is not None and action != 1:
        report(trees[tree], name, action, ends, found)
    return True


def report(share, name, action, ends, found):
    if action in (2, 3, 4, 5):
        found.put(1056, 'H', 1 if action == 2 else 2)
    found.put(0, 'II', 7, 16)
    found.put_bytes(8, ends[0] + ends[1])
    found.put_wide(16, share, UNITS)
    found.put_wide(536, name, UNITS)
