"""The packet scan: attackers on services of this machine, then the packet signatures."""
import struct

from . import addresses
from .texts import Record, wide_text

SERVICES = {445: 25, 1433: 27, 1434: 27, 3306: 28, 3389: 23}
MESSAGE = 'Bruteforce attack by Malicious IP detected'.encode('utf-16-le')


def considered(numbers, strictness):
    """The leading categories that count."""
    limit = {1: 2, 2: 3, 3: 1}.get(strictness, len(numbers))
    return numbers[:limit]


class Packets:
    def __init__(self, modules):
        self.modules = modules
        self.reported = []  # as long as the library is loaded
        self.insertions = 0
        self.forget()

    def forget(self):
        self.enabled = 0
        self.alert = 0
        self.rules = []

    def scan(self, frame, rule, inbound, strictness):
        verdict = Record(1231)
        verdict.put(0, 'I', 1)
        if self.enabled == 0:
            return verdict
        found = self.attacker(frame, inbound, strictness)
        if found is not None:
            self.report(verdict, frame, rule, *found)
        else:
            self.ask_signatures(verdict, frame, rule, inbound)
        return verdict

    def attacker(self, frame, inbound, strictness):
        """(local end, remote end, whether it is known); an end is its address and its port."""
        if len(frame) < 34 or frame[12:14] != b'\x08\0' or frame[23] != 6:
            return None
        tcp = 14 + (frame[14] & 15) * 4
        if tcp + 4 > len(frame):
            return None
        ports = struct.unpack_from('>HH', frame, tcp)
        source, destination = (frame[26:30], ports[0]), (frame[30:34], ports[1])
        local, remote = (destination, source) if inbound else (source, destination)
        if local[1] not in SERVICES:
            return None
        if remote[0] in self.reported:
            return local, remote, True
        if not self.is_malicious(remote[0], strictness):
            return None
        if self.insertions >= 5000:
            self.insertions = 0
            self.reported = []
        self.reported.append(remote[0])
        self.insertions += 1
        return local, remote, False

    def is_malicious(self, address, strictness):
        if not self.modules.has('sitecls.dll'):
            return False
        succeeded, numbers = self.modules.categories(addresses.dotted(address), 0)
        self.modules.release_categories(numbers)
        return succeeded and numbers is not None and 2 in considered(numbers, strictness)

    def report(self, verdict, frame, rule, local, remote, is_known):
        verdict.put(0, 'II', 4, SERVICES[local[1]])
        verdict.put(10, 'BBB', 1, 1, 1 if local[1] == 3389 else 0)
        verdict.put(13, 'HH', remote[1], local[1])
        verdict.put_bytes(17, local[0] + remote[0] + frame[6:12])
        self.describe(verdict, rule, True)
        verdict.put_wide(131, MESSAGE, 150)
        if is_known:
            self.empty_texts(verdict)

    def ask_signatures(self, verdict, frame, rule, inbound):
        modules = self.modules
        if not modules.has('pktsig.dll'):
            return
        modules.note(f'PKSScanPacket {len(frame)} {rule} {inbound}')
        if modules.result('PKSScanPacket') == 0:
            return
        verdict.bytes[:] = modules.answers['packetVerdict'].data
        action, reason = verdict.get(0, 'I'), verdict.get(4, 'I')
        if action == 2:
            verdict.put(0, 'I', 1)
        if action != 0:
            return
        verdict.put(0, 'I', 4)
        verdict.put(10, 'BB', self.alert, 1)
        self.describe(verdict, rule, False)
        if reason == 4:
            self.empty_texts(verdict)

    def describe(self, verdict, number, keeps_verdict):
        rule = next((rule for rule in self.rules if rule.number == number), None)
        if rule is None:
            return
        if rule.excluded == 1 and not keeps_verdict:
            verdict.put(0, 'II', 1, 20)
        verdict.put(8, 'H', number)
        verdict.put_wide(31, wide_text(rule.name, 50), 50)
        verdict.put_wide(131, wide_text(rule.description, 150), 150)
        verdict.put_wide(431, wide_text(rule.details, 400), 400)

    @staticmethod
    def empty_texts(verdict):
        for offset, count in ((31, 50), (131, 150), (431, 400)):
            verdict.put_bytes(offset, bytes(count))


def dropped_row(frame):
    """The row of the connection that a frame belongs to, or None when it is no TCP."""
    if frame[23] != 6:
        return None
    tcp = 14 + (frame[14] & 15) * 4
    return struct.pack('<I4s2sxx4s2sxx', 12, frame[26:30], frame[tcp:tcp + 2], frame[30:34], frame[tcp + 2:tcp + 4])
