"""The weekly schedule: its list of intervals, and the worker that keeps the flag."""
WEEK = 10080


class Unbuildable(Exception):
    """A range of the schedule ends before it begins."""


def intervals_of(days):
    """Intervals of minutes of the week, in order; overlapping ones are one."""
    listed = []
    for day, ranges in enumerate(days):
        for start_hour, start_minute, end_hour, end_minute in ranges:
            if start_hour >= 24 or end_hour > 23 or start_minute > 59 or end_minute > 59:
                continue
            start = (day * 24 + start_hour) * 60 + start_minute
            end = (day * 24 + end_hour) * 60 + end_minute
            if end <= start:
                raise Unbuildable
            if (end_hour, end_minute) == (23, 59):
                end += 1
            insert(listed, start, end)
    return listed


def insert(listed, start, end):
    if not listed:
        listed.append([start, end])
        return
    at = 0
    while at < len(listed) and start > listed[at][0]:
        at += 1
    if at == len(listed):
        last = listed[-1]
        if last[1] < start:
            listed.append([start, end])
        else:
            last[1] = max(last[1], end)
        return
    node = listed[at]
    if node[0] == start:
        node[1] = max(node[1], end)
        return
    if at > 0 and start <= listed[at - 1][1]:
        listed[at - 1][1] = max(listed[at - 1][1], end)
        return
    if end < node[0]:
        # In front of the first one an interval is lost, as it always was.
        if at > 0:
            listed.insert(at, [start, end])
        return
    node[0] = start
    node[1] = max(node[1], end)


class Worker:
    """The schedule flag, and the thread that writes it."""

    def __init__(self, clock):
        self.clock = clock
        self.flag = 0
        self.runs = False
        self.state = 'none'
        self.intervals = None

    def start(self, profile):
        if profile is None or not profile.schedule_switch or not profile.profile_switch or \
                profile.schedule_suspended == 1:
            self.flag = 1
            return
        self.flag = 0
        self.runs = True
        try:
            self.intervals = intervals_of(profile.schedule)
        except Unbuildable:
            self.end(2)
            return
        if not self.intervals:
            self.end(3)
            return
        self.turn()

    def end(self, code):
        self.flag = 0
        self.intervals = None
        self.state = f'ended:{code}'

    def turn(self):
        now, second = self.clock.minute_of_week(), self.clock.second
        for start, end in self.intervals:
            if start > now:
                flag, minutes = 0, start - now
                break
            if now < end:
                flag, minutes = 1, end - now
                break
        else:
            flag, minutes = 0, self.intervals[0][0] - now + WEEK
        self.flag = flag
        self.state = f'waits:{(minutes * 60 - second) * 1000}'

    def wake(self):
        if self.intervals is not None:
            self.turn()

    def stop(self):
        if not self.runs:
            return
        self.runs = False
        if self.intervals is not None:
            self.end(0)
