"""The web addresses that the host's intrusion detection has condemned."""
from .texts import Overflow, field_text
from .urls import normalise


def trimmed(text):
    text = text[1:] if text.startswith(b'/') else text
    return (text[:-1] if text.endswith(b'/') else text).lower()


def key_of(host):
    host = trimmed(host)
    return host[4:] if host.startswith(b'www.') else host


class BlockedList:
    def __init__(self):
        self.pairs = set()

    def clear(self):
        self.pairs = set()

    def add(self, host, text):
        host, text = field_text(host, 1024), field_text(text, 1024)
        if not host:
            return
        key, path = key_of(host), trimmed(text)
        at = path.find(key) if key else -1
        if at >= 0:
            path = path[at + len(key):]
        try:
            self.pairs.add((key, normalise(path[:1023].split(b' http/1.', 1)[0])))
        except Overflow:
            return

    def has(self, host, path):
        try:
            return (key_of(host), normalise(trimmed(path))) in self.pairs
        except Overflow:
            return False
