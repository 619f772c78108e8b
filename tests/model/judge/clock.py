"""The clock of a script, which stands until the script moves it, and the calendar: local time is UTC."""
import calendar
import struct
from datetime import datetime, timezone


class Clock:
    """The eight words of the system's local time."""

    def __init__(self, year=2026, month=3, day=4, hour=12, minute=0, second=0):
        self.set(year, month, day, hour, minute, second)

    def set(self, year, month, day, hour, minute, second, milliseconds=0):
        moment = datetime(year, month, day, hour, minute, second)
        self.weekday = (moment.weekday() + 1) % 7
        self.date = (year, month, day)
        self.hour, self.minute, self.second, self.milliseconds = hour, minute, second, milliseconds

    def words(self):
        year, month, day = self.date
        return year, month, self.weekday, day, self.hour, self.minute, self.second, self.milliseconds

    def data(self):
        return struct.pack('<8H', *self.words())

    def seconds(self):
        return calendar.timegm((*self.date, self.hour, self.minute, self.second))

    def minute_of_week(self):
        return (self.weekday * 24 + self.hour) * 60 + self.minute


def midnight(date):
    """Seconds at the beginning of a day, or None for a date that is none."""
    year, month, day = date
    if year < 1900 or not 1 <= month <= 12 or not 1 <= day <= 31:
        return None
    return calendar.timegm((year, month, day, 0, 0, 0))


def date_of(seconds):
    moment = datetime.fromtimestamp(seconds, timezone.utc)
    return moment.year, moment.month, moment.day
