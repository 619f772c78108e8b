"""The sessions of accounts: what is kept of each, and whether it may use the machine now."""
import struct

from . import clock as calendar_of
from .settings import SavedSession
from .texts import Record, wide_text

ENTERING = (1, 4, 5, 7)  # events that enter an account
JUDGED = (0, 1, 4, 5, 7, 9)


class BadDate(Exception):
    """The date of the last event is none."""


def identifier_of(sid):
    """The bytes of an identifier that counts, or None."""
    if sid[0] != 1 or sid[1] > 15 or 8 + 4 * sid[1] > 64:
        return None
    return bytes(sid[:8 + 4 * sid[1]])


class Account:
    def __init__(self, sid, tag, name, date, seconds):
        self.sid, self.tag, self.name = bytes(sid), tag, name
        self.date, self.seconds = date, seconds
        self.session = self.ticks = self.blocked = 0
        self.rules = None  # the profile that applies

    def take_rules(self, parental):
        identifier = identifier_of(self.sid)
        self.rules = None
        if parental is None or identifier is None:
            return
        if parental.mode == 1:
            self.rules = parental.first
        else:
            self.rules = next((profile for profile in parental.profiles
                               if profile.sid[:len(identifier)] == identifier), None)

    def saved(self):
        return SavedSession(self.sid, self.tag, self.name, self.seconds, self.ticks, self.blocked)


class Sessions:
    def __init__(self, modules, clock):
        self.modules, self.clock = modules, clock
        self.accounts = []
        self.is_saved = True  # and emptied, with nothing since

    def rebuild(self, parental, cell):
        self.accounts = []
        self.is_saved = False
        record = self.modules.read('ReadPCSystemControlSettings', cell)
        if record is None:
            return
        for saved in record.records:
            is_dated = saved.last_update > 0
            account = Account(saved.sid.ljust(64, b'\0'), saved.tag, wide_text(saved.name, 260),
                              calendar_of.date_of(saved.last_update) if is_dated else (0, 0, 0),
                              saved.last_update if is_dated else 0)
            account.ticks, account.blocked = saved.ticks, saved.blocked
            account.take_rules(parental)
            self.accounts.append(account)
        self.modules.release('ReleasePCSystemControlSettings', record)

    def save_and_clear(self):
        if not self.is_saved:
            self.modules.write_sessions([account.saved() for account in self.accounts])
        self.accounts = []
        self.is_saved = True

    def record(self, event, parental):
        """The account of the event, or None when it could not be recorded."""
        code, session = struct.unpack_from('<II', event)
        sid = event[8:72]
        identifier = identifier_of(sid)
        if identifier is None:
            return None
        account = self.find(identifier)
        is_new = account is None
        if is_new:
            if code not in ENTERING:
                return None
            account = Account(sid, struct.unpack_from('<I', event, 72)[0], wide_text(event[76:596], 260),
                              self.clock.date, self.clock.seconds())
            account.take_rules(parental)
        account.session = session
        before, now = calendar_of.midnight(account.date), calendar_of.midnight(self.clock.date)
        if before is None:
            raise BadDate
        if int((now - before) / 86400) != 0:
            account.ticks = 0
        elif code == 0:
            account.ticks += 1
        account.date, account.seconds = self.clock.date, self.clock.seconds()
        if is_new:
            self.accounts.append(account)
        self.is_saved = False
        return account

    def find(self, identifier):
        return next((account for account in self.accounts if account.sid[:len(identifier)] == identifier), None)

    def judge(self, event, parental):
        """(result, verdict)."""
        verdict = Record(601)
        verdict.put(0, 'II', 1, 19)
        verdict.put_bytes(9, event[4:8])
        try:
            account = self.record(event, parental)
        except BadDate:
            return 0, verdict
        if account is None:
            return 0, verdict
        code = struct.unpack_from('<I', event)[0]
        if code in (2, 3):
            account.blocked = 0
        if code not in JUDGED or self.is_allowed(account):
            return 1, verdict
        account.blocked = 1
        verdict.put(0, 'I', 0)
        verdict.put(8, 'B', 0)
        verdict.put_bytes(13, account.sid)
        verdict.put(77, 'I', account.tag)
        verdict.put_wide(81, account.name, 260)
        return 1, verdict

    def is_allowed(self, account):
        rules, clock = account.rules, self.clock
        if rules is None or rules.controlled == 0 or rules.exempt == 1:
            return True
        if rules.schedule_mode == 1:
            return rules.grid[clock.hour * 7 + clock.weekday] != 0
        return rules.allowance[clock.weekday] > account.ticks // 60
