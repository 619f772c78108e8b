"""The scripted companion modules: what they answer, what they note, which of them are loaded."""
import struct

from . import settings

FUNCTIONS = {
    'setrd.dll': ('ReadWSInternalWhiteList', 'ReadBPSettings', 'ReadIDSSettings', 'ReleaseIDSSettings',
                  'ReleaseWSInternalWhiteList', 'ReleaseBPSettings', 'ReadAPSettings', 'ReleaseAPSettings',
                  'ReadBPInternalWhiteList', 'ReleaseBPInternalWhiteList'),
    'statrd.dll': ('ReadBPStatus', 'ReadIDSIPSStatus', 'ReadPCSettings', 'ReleasePCSettings', 'ReadAPStatus',
                   'ReadBPUserWhiteList', 'ResetBPUserWhitelist', 'ReleaseBPUserWhiteList', 'ReadWebSecCloudStatus',
                   'ReadDNSCacheSettings', 'WriteDNSCacheSettings', 'ReleaseDNSCacheSettings', 'ReadIDSIPSSettings',
                   'ReleaseIDSIPSSettings', 'ReadBPReportPromptStatus', 'ReadAPReportPromptStatus',
                   'ReadPCSystemControlSettings', 'ReleasePCSystemControlSettings', 'WritePCSystemControlSettings',
                   'ReadEPSServerIP'),
    'sitecls.dll': ('SCInit', 'SCDeinit', 'SCGetURLCategories', 'SCGetCategoryName', 'SCReleaseCategories',
                    'SCSaveCacheFile'),
    'pktsig.dll': ('PKSInit', 'PKSDeinit', 'PKSScanPacket'),
    'tlsinsp.dll': ('IntializeSSL', 'DeIntializeSSL', 'TiScanHttpsPacket', 'TiShowPopup'),
    'urlsig.dll': ('WSCheckURLMaliciousPattern', 'WSInitUrlsig', 'WSDeInitUrlsig'),
    'isolate.dll': ('ZRQuarantineFile',),
    'OPTSTORE.DLL': ('ReadDisableFeaturesSettings',),
    'agentst.dll': ('GetYALStatus',),
}

ANSWER_OF = {
    'ReadWSInternalWhiteList': 'wsInternalWhiteList', 'ReadBPSettings': 'bpSettings', 'ReadIDSSettings': 'idsSettings',
    'ReadAPSettings': 'apSettings', 'ReadBPInternalWhiteList': 'bpInternalWhiteList', 'ReadBPStatus': 'bpStatus',
    'ReadIDSIPSStatus': 'idsIpsStatus', 'ReadPCSettings': 'pcSettings', 'ReadAPStatus': 'apStatus',
    'ReadBPUserWhiteList': 'bpUserWhiteList', 'ReadWebSecCloudStatus': 'cloudStatus',
    'ReadDNSCacheSettings': 'dnsCache', 'ReadIDSIPSSettings': 'idsIpsSettings',
    'ReadBPReportPromptStatus': 'bpPrompt', 'ReadAPReportPromptStatus': 'apPrompt',
    'ReadPCSystemControlSettings': 'systemControl', 'ReadDisableFeaturesSettings': 'disabledFeatures',
}
KEPT_SESSIONS = 16  # so many records of a save are kept


class Modules:
    def __init__(self):
        self.loaded = set()
        self.refused = set()
        self.hidden = set()
        self.lines = []
        self.passed = None  # the host's values behind the next call's own arguments
        self.saved = {}
        self.unreleased = 0
        self.reset()

    def reset(self):
        self.answers = dict(settings.EMPTY)
        self.results = {}
        self.kept_sessions, self.kept_count = [], None
        self.refused.clear()
        self.hidden.clear()
        self.unreleased = 0

    def set_answer(self, field, value):
        self.answers[field] = value
        if field == 'systemControl':
            self.kept_count = None

    def note(self, line):
        self.lines.append(line if isinstance(line, bytes) else line.encode())

    def result(self, function):
        return self.results.get(function, 1)

    def byte(self, field):
        return self.answers[field].data[0]

    def has(self, file):
        return file in self.loaded

    # ---- Loading ----

    def load(self, file):
        """Loads a module and binds its functions; a function that is missing unloads it."""
        if file in self.refused:
            return False
        self.note(f'load {file}')
        for function in FUNCTIONS[file]:
            if function in self.hidden and function != 'ReadAPReportPromptStatus':
                self.note(f'unload {file}')
                return False
        self.loaded.add(file)
        if file == 'statrd.dll':
            self.reads_ap_prompt = 'ReadAPReportPromptStatus' not in self.hidden
        return True

    def unload(self, file):
        self.loaded.discard(file)
        self.note(f'unload {file}')

    # ---- Calls ----

    def pass_on(self, function):
        """Where the host's own values are looked for: the first call of a settings change tells them."""
        if self.byte('firstCallNotesPassed') == 0:
            return
        self.answers['firstCallNotesPassed'] = settings.Plain(b'\0')
        values = self.passed or (0, 0, 0)
        self.note(f'{function} passed {values[0]} {values[1]} {values[2]}')

    def read(self, function, cell=None):
        """What the read delivers, or None when it failed. A failed read puts a number into the error cell."""
        file = next(file for file, functions in FUNCTIONS.items() if function in functions)
        if not self.has(file) or (function == 'ReadAPReportPromptStatus' and not self.reads_ap_prompt):
            return None
        self.pass_on(function)
        self.note(function)
        if self.result(function) == 0:
            if cell is not None:
                cell[0] = 1234
            return None
        return self.answers[ANSWER_OF[function]]

    def read_byte(self, function, cell=None, otherwise=0):
        found = self.read(function, cell)
        return otherwise if found is None else found.data[0]

    def release(self, function, record):
        file = 'setrd.dll' if function in FUNCTIONS['setrd.dll'] else 'statrd.dll'
        if not self.has(file):
            return
        self.pass_on(function)
        self.note(f'{function} {"empty" if settings.is_empty(record) else "record"}')

    def write_dns(self, ring):
        if not self.has('statrd.dll'):
            return
        self.pass_on('WriteDNSCacheSettings')
        self.note('WriteDNSCacheSettings error 0')
        names = b''.join(settings.padded(ring.slots[slot].name, 256) if slot in ring.slots else bytes(256)
                         for slot in range(4))
        self.saved['dns'] = (3000, ring.index, names) if ring.is_there else (0, 0, b'')

    def write_sessions(self, records):
        if not self.has('statrd.dll'):
            return False
        self.pass_on('WritePCSystemControlSettings')
        self.kept_sessions[:len(records)] = records
        del self.kept_sessions[KEPT_SESSIONS:]
        count = min(len(records), KEPT_SESSIONS)
        if self.byte('keepsSessions') != 0:
            self.kept_count = count
        if self.kept_count is not None:
            # The kept records stand where every save puts its own.
            self.answers['systemControl'] = settings.SavedSessions(tuple(self.kept_sessions[:self.kept_count]), True)
        self.saved['sessions'] = (len(records), b''.join(record.data() for record in records[:KEPT_SESSIONS]))
        self.note(f'WritePCSystemControlSettings {len(records)}')
        return self.result('WritePCSystemControlSettings') != 0

    def categories(self, text, mode):
        """(whether it succeeded, the numbers, None without an array). The array has to be released."""
        self.note(b'SCGetURLCategories ' + text + f' {mode}'.encode())
        count = struct.unpack('<H', self.answers['categoryCount'].data)[0]
        succeeded = self.result('SCGetURLCategories') != 0
        if count == 0:
            return succeeded, None
        self.unreleased += 1
        return succeeded, struct.unpack(f'<{count}H', self.answers['categories'].data[:2 * count])

    def release_categories(self, numbers):
        if numbers is None:
            return
        self.note('SCReleaseCategories')
        self.unreleased -= 1

    def category_name(self, number):
        if not self.has('sitecls.dll'):
            return b''
        self.note(f'SCGetCategoryName {number} 100')
        return 'Scripted'.encode('utf-16-le') if self.result('SCGetCategoryName') != 0 else b''

    def is_malicious_pattern(self, kind, host, path, port):
        self.note(b'WSCheckURLMaliciousPattern ' + f'{kind} '.encode() + host + b' ' + path + f' {port}'.encode())
        return self.result('WSCheckURLMaliciousPattern') != 0 and self.byte('malicious') != 0

    def blocks_https(self, process, text, address, port, length):
        self.note(f'TiScanHttpsPacket {process} '.encode() + text + f' {address} {port} {length}'.encode())
        return self.result('TiScanHttpsPacket') != 0 and self.byte('httpsBlock') != 0
