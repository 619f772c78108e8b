"""The tables that parental control makes of a profile's site rules, and the search in them."""
from . import addresses
from .texts import crc32, ends_there, field_text

LABELS = 10


class HostEntry:
    def __init__(self, text, kind, flag, extra, paths):
        self.text, self.kind, self.flag, self.extra, self.paths = text, kind, flag, extra, paths


class AddressEntry:
    def __init__(self, record, kind, flag, paths):
        self.record, self.kind, self.flag, self.paths = record, kind, flag, paths


class SiteTables:
    def __init__(self, rules):
        self.hosts = []
        self.addresses = []
        for rule in rules:
            host = self.add_rule(rule)
            for number in rule.addresses:
                self.add_address(host, number)

    def add_rule(self, rule):
        text = field_text(rule.host, 256).lower()
        path = field_text(rule.path, 1024).lower()
        entry = next((entry for entry in reversed(self.hosts) if entry.text == text), None)
        if entry is None:
            entry = HostEntry(text, rule.kind, rule.flag, rule.extra, [])
            self.hosts.append(entry)
        else:
            if rule.flag == 1:
                entry.flag = 1
            if rule.kind not in (2, 4):
                entry.kind = 1
        if path:
            entry.paths.append(path)
        return entry

    def add_address(self, host, number):
        if number[0] == 0:
            record = addresses.ipv4(number[1:5][::-1])
            second = b'0x%x' % int.from_bytes(number[1:5], 'little')
        else:
            record = addresses.ipv6(number[1:])
            second = b'[' + addresses.groups(number[1:]) + b'].'
        # A list without paths stays without them: a later first path of the host does not reach its addresses.
        paths = host.paths if host.paths else []
        for text in (addresses.usual_text(record), second):
            self.hosts.append(HostEntry(text, host.kind, host.flag, 0, paths))
        self.addresses.append(AddressEntry(record, host.kind, host.flag, paths))


def in_paths(paths, path):
    """The rule of the path lists."""
    return any(path.startswith(node) and (ends_there(path, len(node), b'/') or node.endswith(b'/')) for node in paths)


def labels(host):
    """The names whose hashes are looked up, or None when the host has none."""
    if not host or host.startswith(b'.') or host.endswith(b'.'):
        return None
    if addresses.is_literal(host):
        return [host]
    parts = host.split(b'.')
    return [b'.'.join(parts[at:]) for at in range(len(parts))][:LABELS]


def applies(entry, host):
    at = host.find(entry.text) if entry.text else -1
    return at >= 0 and (at == 0 or host[at - 1] in b'/.') and ends_there(host, at + len(entry.text), b'/:')


def host_matches(tables, host, looked_up, path, mode):
    names = labels(looked_up)
    if names is None:
        return None
    for index, name in enumerate(names):
        for entry in tables.hosts:
            if crc32(entry.text) != crc32(name) or not applies(entry, host):
                continue
            if entry.extra == 1:
                return True
            if index == 0:
                if (entry.kind == 2 and mode == 3) or (entry.flag == 1 and entry.kind != 2):
                    return True
                if mode != 3 and entry.kind != 2 and in_paths(entry.paths, path):
                    return True
    return False


def matches_exactly(tables, host, path, address, mode):
    """True or False, or None when the search could not run."""
    if not tables.hosts:
        return None
    if host:
        found = host_matches(tables, host, host, path, mode)
        if not found:
            # The colons in the brackets of an IPv6 literal are no port's.
            start = host.index(b']') if host.startswith(b'[') and b']' in host else 0
            short = min((host.index(mark, start) for mark in (b':', b'/') if mark in host[start:]), default=len(host))
            if short < len(host) and found is not None:
                found = host_matches(tables, host, host[:short], path, mode) or found
        if found or found is None:
            return found
    if not addresses.is_literal(host):
        return False
    entry = next((entry for entry in tables.addresses if addresses.same(entry.record, address)), None)
    if entry is None:
        return False
    if (entry.flag == 2 and mode == 3) or (entry.kind == 1 and entry.flag != 2):
        return True
    return mode != 3 and entry.flag != 2 and in_paths(entry.paths, path)


def matches(tables, host, path, address, mode):
    """With "www." and without it."""
    mode = 3 if mode == 4 else mode
    if matches_exactly(tables, host, path, address, mode):
        return True
    if host.startswith(b'www.'):
        return bool(matches_exactly(tables, host[4:][:259], path, address, mode))
    if host.startswith(b'www'):
        return False
    if len(host) + 4 >= 260:
        return False
    return bool(matches_exactly(tables, b'www.' + host, path, address, mode))
