"""Requests and URLs: from the first bytes of a connection to host, path and URL, and the plain lists of URLs."""
from .texts import ENDS, Overflow, begins, ends_there, field_text, fit, without_slash

REQUEST = 2047  # so many bytes of a request are seen
HOST = 260
URL = 1024


class Refused(Exception):
    """The text is none of the expected form."""


def normalise(path):
    begins_with_slash = path.startswith(b'/')
    path = path.split(b'?', 1)[0].split(b'#', 1)[0]
    kept = bytearray()
    for at, letter in enumerate(path):
        if letter != ord('/') or at == 0 or path[at - 1] != ord('/'):
            kept.append(letter)
    kept = bytes(kept[:URL - 1])
    return kept if begins_with_slash else fit(b'/' + kept, URL)


def seen(data):
    """What a search for texts sees of a request: a part of it, up to its first NUL."""
    return data[:REQUEST].split(b'\0', 1)[0]


def parse_http(data):
    """(host, path, display URL); raises Refused or Overflow."""
    request = seen(data)
    for method in (b'GET ', b'POST ', b'CONNECT '):
        if request.startswith(method):
            break
    else:
        raise Refused
    connects = method == b'CONNECT '
    start = len(method)
    end = request.find(b' HTTP/1.', start)
    if end < 0:
        raise Refused
    target = fit(request[start:end], URL)
    if connects:
        target = target.split(b':', 1)[0]
    for scheme in (b'http://', b'ftp://', b'https://'):
        if begins(target, scheme):
            target = target[len(scheme):]
            break
    at = request.find(b'Host: ')
    if at < 0:
        raise Refused
    end = request.find(b'\r\n', at + 6)
    if end <= at + 6:
        raise Refused
    value = fit(request[at + 6:end], HOST)
    url = fit(b'https://' + value if connects else value, URL)
    host = value[:value.index(b']') + 1] if b']' in value else value.split(b':', 1)[0]
    if target == b'/':
        return host.lower(), b'', url
    host = host.strip(b'.')
    path = target[len(host):] if begins(target, host) else target
    stays = connects and path == b''
    path = normalise(path)
    if not stays:
        url = fit(url + path, URL)
    return host.lower(), path.lower(), url


def parse_ftp(data):
    """(path to match, path to show)."""
    command = seen(data)
    for word in (b'RETR ', b'CWD '):
        if word in command:
            break
    else:
        if b'LIST' in command:
            return b'/', b'/'
        raise Refused
    if not command.startswith(word):
        raise Refused
    rest = command[len(word):]
    end = rest.find(b'\r\n')
    if end == 0:
        raise Refused
    if end > 0:
        rest = rest[:end]
        if not rest.startswith(b'/'):
            rest = b'/' + rest
    shown = fit(rest, URL)
    return shown.lower(), shown


def published(entries):
    """The entries of a list of URLs as scans read them."""
    return [without_slash(field_text(entry, URL)) for entry in entries]


def in_url_list(entries, url):
    for entry in entries:
        if entry.startswith(b'*'):
            wanted = entry[1:]
            at = url.lower().find(wanted.lower()) if wanted else -1
        else:
            wanted = entry
            at = 0 if wanted and begins(url, wanted) else -1
        if at >= 0 and ends_there(url, at + len(wanted), ENDS):
            return True
    return False


def in_user_white_list(entries, host_and_path):
    return any(entry and begins(host_and_path, entry) and ends_there(host_and_path, len(entry), b'/')
               for entry in entries)


def is_domain(host, pattern, subdomains):
    at = host.lower().find(pattern.lower()) if pattern else -1
    if at <= 0:
        return at == 0
    if subdomains != 1:
        return False
    return at + len(pattern) == len(host) and (host[at - 1] == ord('.') or pattern.startswith(b'.'))


class UserList:
    """One of the two user lists of a profile."""

    def __init__(self, urls):
        self.urls = [(field_text(url.host, 256), without_slash(field_text(url.path, URL)), url) for url in urls]

    def has_host(self, host, path, mode):
        for pattern, listed, url in self.urls:
            if url.host_only == 1:
                if is_domain(host, pattern, url.subdomains) and (url.kind != 2 or mode in (3, 4)):
                    return True
            elif is_domain(host, pattern, 0) and begins(path, listed) and ends_there(path, len(listed)):
                return True
        return False

    def has_url(self, url_text, mode):
        for pattern, listed, url in self.urls:
            if url.host_only == 1:
                if is_domain(url_text, pattern, url.subdomains) and (url.kind != 2 or mode in (3, 4)):
                    return True
            elif pattern and begins(url_text, pattern):
                rest = url_text[len(pattern):]
                if begins(rest, listed) and ends_there(rest, len(listed)):
                    return True
        return False


__all__ = ['Overflow', 'Refused']
