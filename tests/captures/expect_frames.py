#!/usr/bin/env python3
"""Works out what the packet scan and the SMB monitor should find in the bundled captures, as a second opinion.

usage: expect_frames.py POLICY CAPTURE...     one JSON line per frame with an attack, then one per file

Attacks come from the frames' bytes and the policy, files from what a dissector found (smb_creates.jsonl).
"""
import ipaddress
import json
import struct
import sys
import tomllib
from pathlib import Path

FOLDER = Path(__file__).parent
SERVICES = {3389: 23, 445: 25, 1433: 27, 1434: 27, 3306: 28}
BRUTE_FORCE = 'Bruteforce attack by Malicious IP detected'
EXCLUDED, EMPTIED = 20, 4


def frames(file):
    data, at, number = Path(file).read_bytes(), 24, 0
    while at < len(data):
        length = struct.unpack_from('<I', data, at + 8)[0]
        number += 1
        yield number, data[at + 16:at + 16 + length]
        at += 16 + length


class Tcp:
    """An untagged IPv4 frame of a TCP segment."""
    def __init__(self, frame):
        ip = 14 + (frame[14] & 15) * 4
        self.source, self.target = (str(ipaddress.ip_address(frame[i:i + 4])) for i in (26, 30))
        self.sport, self.dport = struct.unpack_from('>HH', frame, ip)
        self.flags = frame[ip + 13]
        self.payload = frame[ip + (frame[ip + 12] >> 4) * 4:14 + struct.unpack_from('>H', frame, 16)[0]]

    @staticmethod
    def of(frame):
        return Tcp(frame) if frame[12:14] == b'\x08\x00' and frame[23] == 6 and not frame[20] & 0x3F else None


def this_machine(file):
    """Who opened the first connection."""
    for _, frame in frames(file):
        if (tcp := Tcp.of(frame)) and tcp.flags & 0x12 == 0x02:
            return tcp.source
    return None


def is_attacker(policy, address):
    """Only addresses that the policy names in full, with every category counting."""
    return any(site['address'] == address and 2 in site['categories'] for site in policy.get('sites', []))


def signature(policy, frame, local_port):
    for entry in policy.get('packet_signatures', []):
        data = entry['text'].encode() if 'text' in entry else bytes.fromhex(entry['hex'])
        if entry.get('port', 0) in (0, local_port) and data in frame:
            return entry
    return None


def blocked_address(tcp):
    """Key form of host and path, and how it is printed."""
    lines = tcp.payload.decode('latin-1').split('\r\n')
    if not lines[0].endswith(('HTTP/1.1', 'HTTP/1.0')):
        return None
    host = next((line[5:].strip() for line in lines if line.lower().startswith('host:')), '').split(':')[0]
    target = lines[0].split(' ')[1]
    path = target.split('?')[0].split('#')[0]
    while '//' in path:
        path = path.replace('//', '/')
    return (host.lower().removeprefix('www.'), path.lower()), host + target


def attacks(policy, file):
    local, reported, found = this_machine(file), set(), []
    if not policy['features']['intrusion_prevention']:
        return found
    for number, frame in frames(file):
        tcp = Tcp.of(frame)
        inbound = not tcp or tcp.source != local
        line = {'type': 'attack', 'frame': number, 'direction': 'inbound' if inbound else 'outbound'}
        local_port = None
        if tcp:
            ends = [(tcp.source, tcp.sport), (tcp.target, tcp.dport)]
            (remote, _), (_, local_port) = ends if inbound else ends[::-1]
            (client, client_port), (server, server_port) = ends if tcp.sport >= tcp.dport else ends[::-1]
            line['flow'] = {'client': client, 'client_port': client_port, 'server': server, 'server_port': server_port}
        number_of_rule = min(tcp.sport, tcp.dport) if tcp else 0
        rule = next((rule for rule in policy.get('ids_rules', []) if rule['id'] == number_of_rule), None)
        texts = {'rule': rule['id'], 'rule_name': rule['name'], 'description': rule['description'],
                 'details': rule['details']} if rule else {'rule': 0, 'rule_name': '', 'description': '', 'details': ''}
        empty = {'rule_name': '', 'description': '', 'details': ''}
        if local_port in SERVICES and is_attacker(policy, remote):
            line |= {'verdict': 'blocked', 'reason': SERVICES[local_port]} | texts
            line |= empty if remote in reported else {'description': BRUTE_FORCE}
            reported.add(remote)
        elif (entry := signature(policy, frame, local_port)) and entry.get('block', True):
            is_let_pass = rule is not None and rule.get('excluded', False)
            line |= {'verdict': 'allowed' if is_let_pass else 'blocked',
                     'reason': EXCLUDED if is_let_pass else entry['reason']} | texts
            line |= empty if entry['reason'] == EMPTIED else {}
        else:
            continue
        if line['verdict'] == 'blocked' and tcp and not inbound and (address := blocked_address(tcp)):
            line['address'], line['blocked_address'] = address
        found.append(line)
    return found


def files(file):
    """Creates that a server granted, other than opening.

    Not followed: a name of 260 bytes or more over SMB2, and names over SMB1 that are not UTF-16.
    """
    by_number = dict(frames(file))
    for text in (FOLDER / 'smb_creates.jsonl').read_text().splitlines():
        create = json.loads(text)
        frame = by_number.get(create['frame'], b'')
        if create['capture'] != Path(file).name or create['status'] or create['action'] == 1 or not (
                tcp := Tcp.of(frame)) or create['version'] == 2 and len(create['file'].encode('utf-16-le')) >= 260 or (
                create['version'] == 1 and not tcp.payload[4 + 11] & 0x80):
            continue
        action = {2: 'created', 3: 'replaced'}.get(create['action'], 'superseded')
        yield {'type': 'file', 'frame': create['frame'], 'flow': {'client': tcp.target, 'server': tcp.source},
               'share': create['share'], 'file': create['file'], 'action': action}


def main():
    policy = tomllib.loads(Path(sys.argv[1]).read_text())
    for capture in sys.argv[2:]:
        for line in [*attacks(policy, capture), *files(capture)]:
            line.pop('address', None)
            print(json.dumps(line, ensure_ascii=False))


if __name__ == '__main__':
    main()
