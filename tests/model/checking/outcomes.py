"""How a call ended, in a word, and which ends a long run has to have met."""
import struct
from collections import Counter


def outcome(step, answer):
    name, fields = step['call'], answer.fields
    if fields['result'] == '0' and name not in ('WSShutDown',):
        return 'false'
    if name in ('WSScanUrl', 'WSWebExtScanUrl'):
        allow, reason = struct.unpack_from('<II', fields['verdict'])
        return f'{"block" if allow == 0 else "allow" if allow == 1 else "stopped"} {reason}'
    if name == 'WSScanPacket':
        action, reason = struct.unpack_from('<II', fields['verdict'])
        return f'action {action}' + (f' reason {reason}' if reason in (20, 23, 25, 27, 28) else '')
    if name == 'WSScanSMBPacket':
        return 'file event' if fields['found'][0] == 7 else 'nothing'
    if name == 'WSScanLogonEventForPCCTRL':
        return 'allow' if fields['verdict'][0] == 1 else 'block'
    if name == 'WSSettingsChanged':
        return f'kind {step["kind"]}'
    return 'done' if name == 'WSShutDown' else 'true'


# A run of so many calls that lacks one of these has tested less than it says.
ENOUGH = 9000
EXPECTED = {
    'WSInit': ('true', 'false'), 'WSDeinit': ('true',), 'WSShutDown': ('done',),
    'WSSettingsChanged': ('false', *(f'kind {kind}' for kind in range(9))),
    'WSUpdateSettingsChanged': ('true', 'false'),
    'WSScanUrl': ('false', 'allow 26', 'stopped 26', 'allow 8', 'allow 9',
                  *(f'block {reason}' for reason in (0, 1, 2, 5, 6, 7, 15, 22))),
    'WSWebExtScanUrl': ('false', 'allow 26', 'allow 8', 'allow 9', *(f'block {reason}' for reason in (0, 1, 2, 6, 7))),
    'WSGetUrlScanFeatureStatus': ('true',),
    'WSScanPacket': ('action 1', 'action 4', 'action 1 reason 20',
                     *(f'action 4 reason {reason}' for reason in (23, 25, 27, 28))),
    'WSDropConnection': ('true', 'false'), 'WSAddURLToIDSBlockedList': ('true',),
    'WSScanLogonEventForPCCTRL': ('allow', 'block', 'false'), 'WSScanSMBPacket': ('file event', 'nothing', 'false'),
}


class Outcomes:
    def __init__(self):
        self.counts = {}

    def hear(self, step, answer):
        if step['call'] in EXPECTED:
            self.counts.setdefault(step['call'], Counter())[outcome(step, answer)] += 1

    def total(self):
        return sum(sum(counts.values()) for counts in self.counts.values())

    def missing(self):
        """What a run of this length should have met: every export, and in a long one every common end."""
        lacking = [name for name in EXPECTED if name not in self.counts]
        if self.total() >= ENOUGH:
            lacking += [f'{name}: {end}' for name, ends in EXPECTED.items() for end in ends
                        if name in self.counts and end not in self.counts[name]]
        return lacking
