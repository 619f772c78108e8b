"""The library's own copy of the parental-control settings."""
from .sites import SiteTables
from .urls import UserList


class ProfileCopy:
    def __init__(self, profile):
        for name in ('profile_switch', 'block_list_switch', 'category_switch', 'schedule_switch',
                     'schedule_suspended', 'controlled', 'exempt', 'schedule_mode', 'grid', 'allowance', 'schedule',
                     'blocked_categories'):
            setattr(self, name, getattr(profile, name))
        self.identifier = profile.sid.ljust(68, b'\0')
        self.sid = self.identifier
        self.tables = SiteTables(profile.rules)
        self.allowed_list = UserList(profile.allowed)
        self.schedule_list = UserList(profile.schedule_allowed)


class ParentalCopy:
    def __init__(self, record):
        self.mode, self.prompt, self.strictness = record.mode, record.prompt, record.strictness
        profiles = record.profiles[:1] if self.mode == 1 else record.profiles
        if self.mode != 1 and record.count >= 0:
            profiles = profiles[:record.count]
        self.profiles = [ProfileCopy(profile) for profile in profiles]
        self.first = self.profiles[0] if self.profiles else None
