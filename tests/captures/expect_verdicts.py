#!/usr/bin/env python3
"""Works out what the bundled captures' requests should be answered, as a second opinion on tarn.dll.

usage: expect_verdicts.py POLICY OLD=NEW CAPTURE...     one JSON line per request, in the order of frames

Reads the dissected payloads beside this file and a policy, follows the order of rules as the library documents it,
and shares no code with it. Only what bundled policies and captures need is here.
"""
import ipaddress
import json
import struct
import sys
import tomllib
from pathlib import Path

import expect_frames

FOLDER = Path(__file__).parent
MALICIOUS, PHISHING = 2, 3


def ascii_lower(text):
    return ''.join(chr(ord(c) + 32) if 'A' <= c <= 'Z' else c for c in text)


# ---- Requests ----

def normalise(path):
    path = path.split('?')[0].split('#')[0]
    while '//' in path:
        path = path.replace('//', '/')
    return (path if path.startswith('/') else '/' + path)[:1023]


def parse_http(data):
    """Host, path and display URL; None when the request is none that the library parses."""
    text = data[:2047].replace('\0', ' ')
    for method in ('GET ', 'POST ', 'CONNECT '):
        if text.startswith(method):
            break
    else:
        return None
    end = text.find(' HTTP/1.', len(method))
    at = text.find('Host: ')
    line_end = text.find('\r\n', at)
    if end < 0 or end - len(method) >= 1024 or at < 0 or line_end < 0:
        return None
    target, value = text[len(method):end], text[at + 6:line_end]
    if not value or len(value) >= 260:
        return None
    if method == 'CONNECT ':
        target = target.split(':')[0]
    for scheme in ('http://', 'ftp://', 'https://'):
        if ascii_lower(target).startswith(scheme):
            target = target[len(scheme):]
            break
    url = 'https://' + value if method == 'CONNECT ' else value
    host = value[:value.index(']') + 1] if ']' in value else value.split(':')[0]
    if target == '/':
        return ascii_lower(host), '', url
    host = host.strip('.')
    if ascii_lower(target).startswith(ascii_lower(host)):
        target = target[len(host):]
    path = normalise(target)
    if not (method == 'CONNECT ' and not target):
        url += path
    return (ascii_lower(host), ascii_lower(path), url) if len(url) < 1024 else None


def parse_ftp(data):
    """Match path and display path."""
    text = data[:2047].split('\0')[0]
    command = 'RETR ' if 'RETR ' in text else 'CWD '
    if command not in text:
        return ('/', '/') if 'LIST' in text else None
    if not text.startswith(command):
        return None
    argument, line_end, _ = text[len(command):].partition('\r\n')
    if line_end and not argument:
        return None
    if line_end and not argument.startswith('/'):
        argument = '/' + argument
    return (ascii_lower(argument), argument) if len(argument) < 1024 else None


def server_name(data):
    """Of a ClientHello; '' without one, None for one that is refused."""
    try:
        if len(data) < 44 or data[0] != 22 or data[5] != 1 or data[9:11] == b'\x03\x00' or data[43] > 127:
            return None
        at = 44 + data[43]
        at += 2 + struct.unpack_from('>H', data, at)[0]
        at += 1 + data[at]
        end = at + 2 + struct.unpack_from('>H', data, at)[0]
        if end > len(data):
            return None
        at += 2
        while at < end:
            kind, length = struct.unpack_from('>HH', data, at)
            if kind == 0 and length:
                size = struct.unpack_from('>H', data, at + 7)[0]
                return data[at + 9:at + 9 + size].decode('latin-1')
            at += 4 + length
        return ''
    except (struct.error, IndexError):
        return None


def dns_name(data, at):
    labels = []
    while data[at]:
        labels.append(data[at + 1:at + 1 + data[at]].decode('latin-1'))
        at += 1 + data[at]
    return '.'.join(labels), at + 1


def parse_dns(data):
    """Name and addresses of a response; None when it does not parse."""
    try:
        flags, _, answers = struct.unpack_from('>HHH', data, 2)
        if not 13 <= len(data) <= 2047 or flags in (0, 0x8000):
            return None
        name, at = dns_name(data, 12)
        at += 4
        if not name or len(name) >= 255 or at > len(data):
            return None
        found = []
        for _ in range(answers):
            at = at + 2 if data[at] >= 0xC0 else dns_name(data, at)[1]
            kind, _, _, length = struct.unpack_from('>HHIH', data, at)
            at += 10 + length
            if at > len(data):
                return None
            if (kind, length) in ((1, 4), (28, 16)):
                found.append(ipaddress.ip_address(data[at - length:at]))
        return name, sorted(found, key=lambda address: address.version)
    except (struct.error, IndexError):
        return None


# ---- Matching ----

def ends_at(text, at, ends):
    return at == len(text) or text[at] in ends


def listed(entries, url):
    for entry in entries:
        entry, url_folded = ascii_lower(entry.removesuffix('/')), ascii_lower(url)
        at = url_folded.find(entry[1:]) if entry.startswith('*') else (0 if url_folded.startswith(entry) else -1)
        if at >= 0 and ends_at(url, at + len(entry.removeprefix('*')), '/?#'):
            return True
    return False


def user_listed(entries, url):
    return any(ascii_lower(url).startswith(ascii_lower(entry.removesuffix('/'))) and
               ends_at(url, len(entry.removesuffix('/')), '/') for entry in entries)


def private(address):
    if address.version == 6:
        return address.packed[0] == 0xFD
    return any(low < int(address) < high for low, high in (
        (0x0A000000, 0x0AFFFFFF), (0xAC100000, 0xAC1FFFFF), (0xC0A80000, 0xC0A8FFFF), (0xA9FE0000, 0xA9FEFFFF)))


def categories(policy, url):
    url = ascii_lower(url.split('://', 1)[-1].split('?')[0].split('#')[0])
    host, slash, path = url.partition('/')
    host, path = host.split(':')[0].rstrip('.'), slash + path
    while host:
        places = []
        for site in policy.get('sites', []):
            site_host, slash, site_path = ascii_lower(site['address']).partition('/')
            if site_host == host and path.startswith(slash + site_path):
                places.append((len(slash + site_path), site['categories']))
        if places:
            return max(places)[1]
        if host.replace('.', '').isdigit() or '.' not in host:
            break
        host = host.partition('.')[2]
    return []


def matches(pattern, text):
    if '*' not in pattern:
        return pattern in text
    first, *middle, last = pattern.split('*')
    if not text.startswith(first) or not text.endswith(last):
        return False
    text = text[len(first):len(text) - len(last)]
    for part in middle:
        if part not in text:
            return False
        text = text[text.index(part) + len(part):]
    return True


def malicious_site(policy, host, path):
    """The name of the threat, or None."""
    for site in policy.get('malicious_sites', []):
        if site['host'] != host.removeprefix('www.'):
            continue
        threats = [(t['name'], ascii_lower(t['path'])) for t in site.get('threats', [])]
        if path not in ('', '/'):
            for name, start in threats:
                if start not in ('', '/') and path.startswith(start) and (
                        start.endswith('/') or ends_at(path, len(start), '/?#')):
                    return name
        if site.get('whole_site', True):
            return site.get('threat', '')
    return None


def phishing_site(policy, host, path):
    return any(site['host'] == host and (site.get('whole_site', True) or any(
        path.startswith(start) and (start.endswith('/') or ends_at(path, len(start), '/'))
        for start in site.get('paths', []))) for site in policy.get('phishing_sites', []))


def blocked_site(profile, host, path):
    """A parental rule for the host, a domain above it, or the host with or without its "www."."""
    for name in (host, host.removeprefix('www.') if host.startswith('www.') else 'www.' + host):
        for rule in profile.get('blocked_sites', []):
            start = ascii_lower(rule.get('path', ''))
            if rule.get('subdomains', False) and (name == rule['host'] or name.endswith('.' + rule['host'])):
                return True
            if name == rule['host'] and (not start and rule.get('whole_site', True) or start and (
                    path.startswith(start) and (start.endswith('/') or ends_at(path, len(start), '/')))):
                return True
    return False


# ---- The rules, in their order ----

def blocks(blocked, host, path):
    bare = path.removeprefix('/').removesuffix('/')
    return (host.removeprefix('www.'), ascii_lower(normalise(bare))) in blocked


def judge(policy, request, blocked=()):
    kind, remote, data = request['kind'], request['remote'], request['data']
    allowed = ('allowed', 26, '')
    if kind == 'dns':
        return allowed if parse_dns(data) else None  # None: the library gives no verdict
    features, lists = policy['features'], policy.get('white_lists', {})
    parental = policy.get('parental', {})
    profile = (parental.get('users') or [{}])[0] if parental.get('mode') == 1 else {}
    host = path = url = ''
    if kind == 'http':
        host, path, url = parse_http(data.decode('latin-1')) or ('', '', '')
    elif kind == 'ftp':
        path, display = parse_ftp(data.decode('latin-1')) or ('', '')
        if path:
            host, url = str(remote), str(remote) + display
    else:
        host = url = ascii_lower(server_name(data) or '')
        if not host:
            return allowed
    site = host + path
    if site and listed(lists.get('web_security', []), site):
        return allowed
    if profile.get('schedule', {}).get('on'):
        return ('blocked', 5, None)  # the bundled schedule has no time at all; the text is the clock's
    if kind == 'tls':
        url = 'https://' + site
    if profile.get('block_list') and profile.get('profile', True) and host and blocked_site(profile, host, path):
        return ('blocked', 6, site)
    if private(remote):
        return allowed
    white = user_listed(lists.get('user', []), site)
    if features['browsing_protection'] and (threat := malicious_site(policy, host, path)) is not None:
        return ('allowed', 9, f'{threat}: {site}') if white else ('blocked', 2, f'{threat}: {site}')
    if features['anti_phishing'] and phishing_site(policy, host, path):
        return ('allowed', 8, site) if white else ('blocked', 0, site)
    if features['intrusion_prevention'] and blocks(blocked, host, path):
        return ('blocked', 22, site)
    if kind == 'tls' and features['https_inspection'] and \
            host in policy.get('https_inspection', {}).get('blocked_hosts', []):
        return ('blocked', 15, site)
    if not url or not profile:
        return allowed
    if url.startswith('['):
        return None
    found = categories(policy, url)
    considered = found[:{1: 2, 2: 3, 3: 1}.get(parental.get('strictness', 0), len(found))]
    for number, feature, block, pardon in ((MALICIOUS, 'browsing_protection', 1, 9), (PHISHING, 'anti_phishing', 0, 8)):
        if number in considered and features[feature]:
            if listed(lists.get('browsing_protection', []), site):
                return allowed
            return ('allowed', pardon, url) if white else ('blocked', block, url)
    if not found and features['browsing_protection']:
        if any(matches(pattern, site) for pattern in policy.get('malicious_patterns', [])):
            text = 'Malicious Url: ' + site
            white = white or listed(lists.get('browsing_protection', []), site)
            return ('allowed', 9, text) if white else ('blocked', 2, text)
    if profile.get('categories') and profile.get('profile', True):
        for number in considered:
            if number in profile.get('blocked_categories', []) and number not in (MALICIOUS, PHISHING):
                name = policy.get('category_names', {}).get(str(number), '')
                return ('blocked', 7, f'category {number} ({name}): {url}')
    return allowed


# ---- What tarnhost takes for a request, and how it names it ----

METHODS = ('GET', 'HEAD', 'POST', 'PUT', 'DELETE', 'CONNECT', 'OPTIONS', 'TRACE', 'PATCH')


def view(kind, data):
    text = data.decode('utf-8', 'replace')
    if kind == 'dns':
        return dns_name(data, 12)[0] if data[12:13] != b'\0' else '', ''
    if kind == 'tls':
        return server_name(data) or '', ''
    lines = text.replace('\r\n', '\n').split('\n')
    if kind == 'ftp':
        return '', lines[0]
    headers = lines[1:lines.index('', 1)] if '' in lines[1:] else lines[1:]
    host = next((line[5:].strip(' \t') for line in headers if line.lower().startswith('host:')), '')
    target = lines[0].split(' ', 1)[1].rsplit(' HTTP/', 1)[0]
    scheme, colon, rest = target.partition('://')
    if colon and '/' not in scheme:
        size = min([rest.index(c) for c in '/?#' if c in rest], default=len(rest))
        host, target = host or rest[:size], rest[size:]
    return host, target


def kind_of(data, port):
    method, blank, _ = data[:25].partition(b' ')
    word = method.decode('latin-1')
    line = data.split(b'\n')[0]
    if blank and (word in METHODS or word.replace('-', 'a').isalpha() and word.isascii() and
                  b' HTTP/1.' in line[len(word) + 1:]):
        return 'http'
    if data[:2] == b'\x16\x03' and data[5:6] == b'\x01':
        return 'tls'
    return 'ftp' if port == 21 else None


def ftp_turns(capture):
    """What each FTP client sends until the server speaks; the dissected payloads are single segments."""
    file = (FOLDER / capture).read_bytes()
    turns, open_turns, at, number = [], {}, 24, 0
    while at < len(file):
        length = struct.unpack_from('<I', file, at + 8)[0]
        frame = file[at + 16:at + 16 + length]
        at, number = at + 16 + length, number + 1
        if frame[12:14] != b'\x08\x00' or frame[23] != 6:
            continue
        tcp = 14 + (frame[14] & 15) * 4
        source, target = struct.unpack_from('>HH', frame, tcp)
        data = frame[tcp + (frame[tcp + 12] >> 4) * 4:14 + struct.unpack_from('>H', frame, 16)[0]]
        addresses = [str(ipaddress.ip_address(frame[i:i + 4])) for i in (26, 30)]
        if data and source == 21:
            open_turns.pop((addresses[1], target), None)
        elif data and target == 21:
            turn = open_turns.setdefault((addresses[0], source), dict(
                kind='ftp', frame=number, src=addresses[0], sport=source, dst=addresses[1], dport=21, data=b''))
            if not turn['data']:
                turns.append(turn)
            turn['data'] += data
    return turns


def requests(capture):
    found = ftp_turns(capture) if capture.startswith('ftp_') else []
    for file in ('first', 'later', 'other_first'):
        for line in (FOLDER / f'{file}_payloads.jsonl').read_text().splitlines():
            part = json.loads(line)
            if part['capture'] != capture or part['kind'] == 'ftp':
                continue
            data = bytes.fromhex(part['payload_hex'])
            if part['kind'] == 'dns':  # over UDP: the server is the sender
                if part['transport'] == 'udp':
                    found.append(dict(kind='dns', frame=part['frame'], src=part['dst'], sport=part['dport'],
                                      dst=part['src'], dport=53, data=data))
            elif kind := kind_of(data, part['dport']):
                found.append({**part, 'kind': kind, 'data': data})
    return sorted(found, key=lambda request: (request['frame'], request['sport']))


def main():
    policy = tomllib.loads(Path(sys.argv[1]).read_text())
    old, new = sys.argv[2].split('=')
    for capture in sys.argv[3:]:
        attacks = expect_frames.attacks(policy, FOLDER / Path(capture).name)
        for request in requests(Path(capture).name):
            request['remote'] = ipaddress.ip_address(new if request['dst'] == old else request['dst'])
            blocked = [attack['address'] for attack in attacks
                         if 'address' in attack and attack['frame'] <= request['frame']]
            verdict = judge(policy, request, blocked)
            host, path = view(request['kind'], request['data'])
            line = {'frame': request['frame'], 'flow': {'client': request['src'], 'client_port': request['sport']},
                    'host': host, 'path': path, 'verdict': verdict[0] if verdict else 'none'}
            if verdict:
                line |= {'reason': verdict[1]} | ({'rule_text': verdict[2]} if verdict[2] is not None else {})
            print(json.dumps(line, ensure_ascii=False))


if __name__ == '__main__':
    main()
