"""Whole scripts: lives of the library, one after the other, with calls and changes in them."""
import struct

from judge.modules import FUNCTIONS
from judge.settings import Plain
from judge.texts import crc32

from . import answers, frames, names, traffic

OWN_FILES = ('setrd.dll', 'statrd.dll', 'sitecls.dll', 'pktsig.dll', 'tlsinsp.dll', 'urlsig.dll', 'isolate.dll',
             'agentst.dll', 'OPTSTORE.DLL')
SCRIPTED_RESULTS = (
    'ReadWSInternalWhiteList', 'ReadBPSettings', 'ReadIDSSettings', 'ReadAPSettings', 'ReadBPInternalWhiteList',
    'ReadBPStatus', 'ReadIDSIPSStatus', 'ReadPCSettings', 'ReadAPStatus', 'ReadBPUserWhiteList',
    'ReadWebSecCloudStatus', 'ReadDNSCacheSettings', 'ReadIDSIPSSettings', 'ReadBPReportPromptStatus',
    'ReadAPReportPromptStatus', 'ReadPCSystemControlSettings', 'ReadDisableFeaturesSettings', 'SCGetURLCategories',
    'SCGetCategoryName', 'PKSScanPacket', 'TiScanHttpsPacket', 'WSCheckURLMaliciousPattern', 'GetYALStatus',
    'WritePCSystemControlSettings', 'ReadEPSServerIP', 'SetTcpEntry', 'ZRQuarantineFile', 'ResetBPUserWhitelist')
STARTING_RESULTS = ('SCInit', 'PKSInit', 'IntializeSSL', 'WSInitUrlsig')
CLOCKS = ((2026, 3, 1, 0, 0, 0), (2026, 3, 4, 12, 0, 0), (2026, 3, 4, 11, 59, 59), (2026, 3, 7, 23, 59, 30),
          (2026, 3, 8, 0, 0, 1), (2026, 3, 4, 13, 0, 0), (2026, 12, 31, 23, 59, 0), (2027, 1, 1, 0, 0, 0),
          (2028, 2, 29, 10, 0, 0))
PRODUCT = 'PRODCONF.DAT'


def product_data(right=True):
    record = bytearray(2642)
    record[2634:2636] = 5, 1
    return bytes(4) + struct.pack('<I', crc32(record) ^ (0 if right else 1)) + bytes(record)


class Script:
    """The steps of one seed, as a stream without an end."""

    def __init__(self, rng, facts):
        self.rng = rng
        self.own_sid = facts.sid
        self.own_file = facts.path.rsplit('\\', 1)[-1]
        self.tags = 0
        self.white = []  # what the user lets pass
        self.is_whole = True  # every module is there and does what it is asked

    def steps(self):
        yield {'do': 'agent', 'name': 'HOSTASVC501.EXE'}
        while True:
            yield from self.life()

    def chance(self, probability):
        return self.rng.random() < probability

    # ---- Lives ----

    def life(self):
        rng = self.rng
        if self.chance(0.7):
            yield {'do': 'unload'}
            yield {'do': 'reset'}
            yield {'do': 'load'}
            yield from self.machine()
            if self.chance(0.1):
                yield from self.calls(2)
        yield from self.clock()
        chosen = answers.all_answers(rng, self.own_sid)
        self.white = [entry for entry in chosen['bpUserWhiteList'].entries if entry[:1] not in (b'', b'*')]
        for field, value in chosen.items():
            yield {'do': 'answer', 'field': field, 'value': value}
        self.is_whole = not self.chance(0.25)
        if not self.is_whole:
            yield from self.trouble()
        yield {'call': 'WSInit', 'mode': rng.choice((0, 1, 1, 1, 2)),
               'cell': None if self.chance(0.02) else rng.choice((0, 0, 7))}
        yield from self.calls(rng.randint(20, 90))
        if self.chance(0.8):
            yield {'call': 'WSDeinit', 'cell': rng.choice((0, 7, None))}
        if self.chance(0.1):
            yield from self.calls(2)

    def machine(self):
        rng = self.rng
        if self.chance(0.3):
            yield {'do': 'service', 'value': rng.choice((0, 1, 1))}
            yield {'do': 'file', 'name': PRODUCT, 'data': rng.choice((product_data(), product_data(),
                                                                      product_data(False), product_data()[:100]))}
        if self.chance(0.6):
            yield {'do': 'file', 'name': 'dnsblock.ini', 'data': b'[WEB_SECURITY]\r\nBLOCK_URL_IN_DNS=%d\r\n' %
                   rng.choice((0, 1, 1, 2))}
        if self.chance(0.2):
            yield {'do': 'file', 'name': 'proxyep.dat', 'data': rng.choice((
                bytes(((byte - 15) & 255) ^ 7 for byte in rng.choice((b'1\0', b'2\0', b'3\0', b'11'))) + bytes(8),
                b'', b'x'))}
        if self.chance(0.3):
            own = self.own_file.encode()
            listed = rng.choice((b'nobody.exe', own, own.upper(), b'a|' + own, b'||driver', b'n' * 49 + b'|' + own,
                                 b'n' * 50 + b'|' + own, own + b'|' + b'n' * 50))
            yield {'do': 'file', 'name': 'browskip.ini', 'data': b'[BROWSER_EXCLUSION_LIST]\r\nCOUNT=%d\r\nNAMES=%s\r\n'
                   % (rng.choice((0, 1, 2, 3)), listed)}

    def clock(self):
        rng = self.rng
        time = rng.choice(CLOCKS) if self.chance(0.7) else (2026, 3, rng.randint(1, 28), rng.randrange(24),
                                                           rng.randrange(60), rng.randrange(60))
        yield {'do': 'clock', 'time': (*time, rng.choice((0, 999)))}

    def trouble(self):
        """Modules that do not load, lack a function or fail."""
        rng = self.rng
        way = rng.randrange(4)
        if way == 0:
            yield {'do': 'refuse', 'name': rng.choice(OWN_FILES)}
        elif way == 1:
            yield {'do': 'hide', 'name': rng.choice(FUNCTIONS[rng.choice(OWN_FILES[:7])])}
        elif way == 2:
            yield {'do': 'result', 'function': rng.choice(STARTING_RESULTS), 'value': 0}
        for _ in range(rng.randint(1, 3)):
            yield {'do': 'result', 'function': rng.choice(SCRIPTED_RESULTS), 'value': 0}

    def calls(self, count):
        for _ in range(count):
            yield from self.one()

    def one(self):
        rng = self.rng
        if self.chance(0.12):
            for field, value in answers.categories(rng).items():
                yield {'do': 'answer', 'field': field, 'value': value}
        if self.chance(0.03):
            yield {'do': 'answer', 'field': 'packetVerdict', 'value': answers.packet_verdict(rng)}
        if self.chance(0.01):
            yield {'do': 'result', 'function': rng.choice(SCRIPTED_RESULTS), 'value': rng.choice((0, 1))}
        if self.chance(0.01):
            yield {'do': 'result', 'function': 'SCGetURLCategories', 'value': 0}
            yield from self.scan_url()
            yield from self.scan_extension()
            yield {'do': 'result', 'function': 'SCGetURLCategories', 'value': 1}
        way = rng.choices((self.scan_url, self.scan_extension, self.scan_packet, self.smb, self.logon, self.add_url,
                           self.small, self.change), (50, 14, 10, 3, 8, 3, 3, 3))[0]
        yield from way()

    # ---- Calls ----

    def nulls(self, letters):
        return self.rng.choice(letters) if self.chance(0.005) else '-'

    def scan_url(self):
        rng = self.rng
        kind = rng.choices((1, 2, 3, 4, 0, 5, 255), (40, 12, 25, 6, 1, 1, 1))[0]
        port = rng.choice((80, 443, 21, 8080))
        if self.chance(0.12):
            data, port = traffic.dns(rng), 53
        else:
            data = {2: traffic.ftp, 3: traffic.hello}.get(kind, traffic.http)(rng)
        yield self.request(data, port, kind)

    def request(self, data, port, kind):
        return {'call': 'WSScanUrl', 'process': 'self' if self.chance(0.93) else 0xFFFFFFF1, 'data': data,
                'address': names.address(self.rng), 'port': port >> 8 | (port & 255) << 8,
                'stop': self.rng.choice((0,) * 18 + (1, 2)), 'kind': kind, 'nulls': self.nulls('rdzvp')}

    def scan_extension(self):
        rng = self.rng
        data = traffic.extension_url(rng)
        if self.white and self.chance(0.15):
            data = b'https://' + rng.choice(self.white)[:1000] + rng.choice((b'', b'/', b'/x')) + b'\0'
        yield {'call': 'WSWebExtScanUrl', 'process': 'self', 'data': data, 'address': bytes(17),
               'port': 0, 'stop': rng.choice((0, 1)), 'kind': 3 if self.chance(0.95) else rng.choice((1, 2, 4, 0)),
               'nulls': self.nulls('rdvp')}

    def scan_packet(self):
        frame, inbound = frames.packet(self.rng)
        yield {'call': 'WSScanPacket', 'frame': frame, 'rule': self.rng.randrange(6), 'inbound': inbound,
               'nulls': self.nulls('fzv')}

    def smb(self):
        for frame in frames.conversation(self.rng):
            yield {'call': 'WSScanSMBPacket', 'frame': frame, 'direction': self.rng.randrange(2),
                   'nulls': self.nulls('fzv')}

    def logon(self):
        rng = self.rng
        sid = bytearray((self.own_sid if self.chance(0.4) else answers.other_sid(rng)).ljust(64, b'\xEE'))
        if self.chance(0.04):
            sid[rng.randrange(2)] = rng.choice((0, 2, 14, 15, 16))
        name = ''.join(rng.choice('abcDEF') for _ in range(rng.choice((0, 3, 8, 259, 260))))
        code = rng.choice((0, 0, 0, 1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 0xFFFFFFFF))
        if self.chance(0.15):
            yield from self.clock()
        self.tags += 1
        codes = (1,) + (0,) * 62 if self.chance(0.01) else (1, code) if self.chance(0.3) else (code,)
        for code in codes:
            event = struct.pack('<II', code, rng.randrange(4)) + bytes(sid) + struct.pack('<I', self.tags)
            event += name.encode('utf-16-le').ljust(520, b'\0')
            yield {'call': 'WSScanLogonEventForPCCTRL', 'event': event, 'nulls': self.nulls('ev')}

    def add_url(self):
        rng = self.rng
        if self.chance(0.02):
            yield {'call': 'WSAddURLToIDSBlockedList', 'host': None, 'text': None}
            return
        host = names.near(rng, names.host(rng))
        host = rng.choice((host, host, host, b'/' + host + b'/', b'', names.long_text(rng, 1023)))
        text = rng.choice((b'', b'', host)) + names.path(rng) + rng.choice((b'', b'', b' HTTP/1.1', b'/ HTTP/1.0'))
        yield {'call': 'WSAddURLToIDSBlockedList', 'host': host[:1024],
               'text': text[:1024] if self.chance(0.95) else names.long_text(rng, 1023)}
        for _ in range(rng.randrange(3)):
            path = text.removeprefix(host).split(b' ', 1)[0] if self.chance(0.7) else names.path(rng)
            yield self.request(b'GET ' + path + b' HTTP/1.1\r\nHost: ' + names.near(rng, host) + b'\r\n\r\n',
                               80, rng.choice((1, 4)))

    def small(self):
        rng = self.rng
        way = rng.randrange(7)
        if way == 6:
            yield {'do': 'installed', 'value': 0}
            yield {'call': 'WSSettingsChanged', 'kind': rng.choice((0, 1, 4, 6, 8)), 'passed': (1, 2, 3)}
            yield {'call': 'WSUpdateSettingsChanged', 'mask': rng.choice((0, 4, 0x1000))}
            if self.chance(0.3):
                yield {'call': 'WSInit', 'mode': 1, 'cell': 0}
            yield {'do': 'installed', 'value': 1}
        elif way < 2:
            yield {'call': 'WSGetUrlScanFeatureStatus', 'nulls': 's' if self.chance(0.1) else '-'}
        elif way < 4:
            frame = frames.packet(rng)[0] if self.chance(0.95) else b''
            yield {'call': 'WSDropConnection', 'frame': frame.ljust(90, b'\0') if frame else b''}
        elif way == 4:
            yield {'call': 'wake'}
        else:
            yield {'call': 'WSShutDown', 'passed': tuple(rng.randrange(1000) for _ in range(4))}

    def change(self):
        rng = self.rng
        fresh = answers.all_answers(rng, self.own_sid)
        for field in rng.sample(sorted(fresh), rng.randint(0, 5)):
            if field not in ('categories', 'categoryCount'):
                yield {'do': 'answer', 'field': field, 'value': fresh[field]}
        if self.chance(0.4):
            yield from self.clock()
        if not self.is_whole and self.chance(0.5):
            yield from self.trouble()
        if self.chance(0.35):
            mask = 0 if self.chance(0.05) else 1 << rng.choice((0, 1, 2, 3, 4, 5, 6, 7, 12))
            if self.chance(0.2):
                mask |= rng.randrange(0x2000)
            yield {'call': 'WSUpdateSettingsChanged', 'mask': None if self.chance(0.03) else mask}
            return
        tells = self.is_whole and self.chance(0.5)
        if tells:
            yield {'do': 'answer', 'field': 'firstCallNotesPassed', 'value': Plain(b'\1')}
        yield {'call': 'WSSettingsChanged', 'kind': rng.choice((0, 1, 2, 3, 4, 4, 5, 6, 7, 8, 8, 9)),
               'passed': tuple(rng.randrange(1, 1000) for _ in range(3))}
        if tells:
            yield {'do': 'answer', 'field': 'firstCallNotesPassed', 'value': Plain(b'\0')}
