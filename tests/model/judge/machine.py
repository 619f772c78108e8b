"""What the machine says: the version of the system, the install folder's files, the managed client."""
import struct

from .texts import crc32

CODES_OF_IDENTIFIER = {
    50: (50017, 50018, 50019, 50028),
    51: (50015, 50016, *range(50003, 50013), 50014),
    52: (50013,),
    60: (50001, 50026, 50002, 50029),
    61: (50030, 50031, 50032, 50033),
    62: (50034, 50035, 50036, 50037),
    63: (50038, 50039, 50040),
    100: (50041, 50042, 50043, 50046, 50047, 50048, 50049),
}


def classify(major, minor, build, product, architecture):
    """The code of the systems that a 64-bit program may meet today; 0 is every other one."""
    is_64 = architecture in (6, 7, 9, 10)
    is_workstation = product == 1
    if (major, minor) == (10, 0):
        if is_workstation:
            return (50042 if build < 22000 else 50049) if is_64 else (50041 if build < 22000 else 50048)
        if is_64:
            return 50043 if build < 17623 else 50046 if build < 20285 else 50047
    if (major, minor) == (6, 3):
        if is_workstation:
            return 50039 if is_64 else 50038
        if is_64:
            return 50040
    codes = {2: (50034, 50035, 50036, 50037), 1: (50032, 50033, 50030, 50031), 0: (50001, 50026, 50002, 50029)}
    if major == 6 and minor in codes:
        return codes[minor][(0 if is_workstation else 2) + (1 if is_64 else 0)]
    return 0


class Facts:
    """What the other side says of its process."""

    def __init__(self, line):
        words = dict(word.split('=', 1) for word in line.split())
        self.process = int(words['pid'])
        self.sid = bytes.fromhex(words['sid'])
        self.user = b'' if words['user'] == '-' else bytes.fromhex(words['user'])
        self.path = bytes.fromhex(words['path']).decode('utf-16-le')
        version = [int(part) for part in words['windows'].split(',')]
        self.code = classify(*version)
        self.system = next((number for number, codes in CODES_OF_IDENTIFIER.items() if self.code in codes), None)
        self.may_inspect = version[3] not in (2, 3) and self.code != 50013


class Machine:
    def __init__(self, facts, clock):
        self.facts, self.clock = facts, clock
        self.agents = set()
        self.reset()
        self.forget_process()

    def reset(self):
        self.files = {}
        self.is_installed = True
        self.has_service = False

    def forget_process(self):
        self.has_checked_product = False

    # ---- Product and managed client ----

    def product_version(self):
        data = self.files.get('PRODCONF.DAT') if self.is_installed else None
        if data is None:
            return None
        if not self.has_checked_product:
            if len(data) < 8 or struct.unpack_from('<I', data, 4)[0] != crc32(data[8:]):
                return None
            self.has_checked_product = True
        if len(data) < 8 + 2642:
            return None
        return data[8 + 2634], data[8 + 2635]

    def is_managed(self):
        version = self.product_version()
        return version is not None and 'HOSTASVC%d%02d.EXE' % version in self.agents and self.has_service and \
            version == (5, 1)

    # ---- Ini files, and the switch of the proxy ----

    def ini(self, file, section, key):
        """The value's text, or None."""
        inside = False
        for line in self.files.get(file, b'').split(b'\r\n'):
            if line.startswith(b'['):
                inside = line.lower() == b'[' + section.encode().lower() + b']'
            elif inside and b'=' in line:
                name, value = line.split(b'=', 1)
                if name.strip().lower() == key.encode().lower():
                    return value.strip()
        return None

    def ini_number(self, file, section, key):
        text = self.ini(file, section, key) or b''
        digits = bytearray()
        for letter in text:
            if letter not in b'0123456789':
                break
            digits.append(letter)
        return int(digits or b'0')

    def proxy_forbids(self):
        data = self.files.get('proxyep.dat')
        if data is None:
            return False
        if len(data) < 2:
            return True
        unit = bytes(((byte ^ 7) + 15) & 255 for byte in data[:2])
        return unit in (b'1\0', b'2\0')

    def excluded_browsers(self):
        if not self.is_installed:
            return []
        count = self.ini_number('browskip.ini', 'BROWSER_EXCLUSION_LIST', 'COUNT')
        names = self.ini('browskip.ini', 'BROWSER_EXCLUSION_LIST', 'NAMES') or b''
        listed = []
        for name in names.split(b'|'):
            if len(listed) == count:
                break
            if len(name) >= 50:
                return []
            if name:
                listed.append(name.lower().decode('latin-1'))
        return listed
