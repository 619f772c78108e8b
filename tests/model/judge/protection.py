"""Browsing protection: the lists of malicious and phishing sites, and the action against the program that asked."""
from .texts import begins, crc32, ends_there, field_text
from .sites import in_paths

REASON = 'Browsing Protection Malicious URL'.encode('utf-16-le')
LIMIT = 100


class ListedSites:
    """A published list: sites in the order of their hashes."""

    def __init__(self, record):
        self.sites = [(site.host, site.whole, site.paths) for site in record.in_order()]
        self.hashes = [crc32(host) for host, _, _ in self.sites]

    def entries(self, host):
        return [site for site, value in zip(self.sites, self.hashes) if value == crc32(host) and site[0] == host]


def threat_of(listed, host, path):
    """The name of the threat, or None."""
    for _, whole, threats in listed.entries(host[4:] if host.startswith(b'www.') else host):
        nodes = [(field_text(name, 50), field_text(node, 200)) for name, node in threats]
        if path not in (b'', b'/'):
            for name, node in nodes:
                if node not in (b'', b'/') and begins(path, node) and \
                        (node.endswith(b'/') or ends_there(path, len(node))):
                    return name
        if whole == 1:
            return next((name for name, node in nodes if node in (b'', b'/')), b'')
    return None


def is_phishing(listed, host, path):
    return any(whole == 1 or in_paths([field_text(node, 1024) for node in nodes], path)
               for _, whole, nodes in listed.entries(host))


class Protection:
    """Which programs were acted on, and which never are."""

    def __init__(self, modules, machine):
        self.modules, self.machine = modules, machine
        self.clear()

    def clear(self):
        self.excluded = []
        self.acted_on = set()

    def begin(self):
        self.clear()
        self.excluded = self.machine.excluded_browsers()

    def act(self, process, url):
        """Against this process alone: the other one of the scripts does not exist."""
        facts, modules = self.machine.facts, self.modules
        if process != facts.process or not self.machine.is_installed:
            return
        if any(name in facts.path.lower() for name in self.excluded) or facts.path in self.acted_on:
            return
        if len(self.acted_on) >= LIMIT:
            self.acted_on = set()
        if not modules.load('isolate.dll'):
            return
        self.acted_on.add(facts.path)
        shown = ''.join(letter if ord(letter) < 128 else '?' for letter in facts.path)
        modules.note(f'ZRQuarantineFile 0 2 {shown}')
        modules.note(b'for ' + bytes(byte if byte < 128 else ord('?') for byte in url))
        modules.saved['quarantine'] = b'\2\0\0\0\1\1' + REASON + bytes(200 - len(REASON))
        modules.unload('isolate.dll')
