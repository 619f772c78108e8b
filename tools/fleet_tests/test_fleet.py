"""The events of two machines on their way: tarnhost, rsyslog, rsyslog, PostgreSQL, and the questions of docs/fleet.md."""
import collections
import json
import re
import socket
import subprocess
import tempfile
import unittest
from pathlib import Path

from services import Database, LogDaemon, free_port, wait_until

ROOT = Path(__file__).resolve().parents[2]
SHIPPED = ROOT / 'examples' / 'fleet'
TARNHOST = (ROOT / 'cmake' / 'wine-run', ROOT / 'build' / 'windows' / 'bin' / 'tarnhost.exe')
CAPTURES = {'desk-1': ('http_wget_and_others.pcap', 'tls_curl.pcap'), 'desk-2': ('dns_basic.pcap', 'tls_curl.pcap')}
MAP = '10.20.30.10=192.0.2.10'  # a server that rules look at
# What no capture here has: a text that wants to be more than a text.
HOSTILE = {'type': 'verdict', 'version': 1, 'written': '2026-01-02T03:04:05.000000Z', 'verdict': 'blocked',
           'host': "a.example'; DROP TABLE tarn_events; --", 'path': '/\0\\u0000"\\', 'reason': 2,
           'reason_text': 'malicious site', 'latency_ns': 5000,
           'entry': {'list': 'malicious_sites', 'text': 'a.example', 'file': 'tarn-policy.toml', 'line': 3}}
# What a tarnhost that is killed in the middle of a line leaves, and what else is no event.
EVENT = '{"type": "error", "version": 1, "written": "2026-01-02T03:04:06.000000Z", "text": "%s"}'
LONG = 'x' * 91_000
MOST = 1 << 20  # bytes of a line
UNTAKEN = [
    b'{"type": "verdict", "version": 1, "wri' + (EVENT % 'joined to half a line').encode(),
    b'{"type": "error", "version": 1, "text": "no time"}',
    b'{"type": "error", "version": 1, "written": "yesterday"}',
    b'{"version": 1, "written": "2026-01-02T03:04:06.000000Z"}',
    b'[1, 2]',
    b'a line of somebody else, with a \'quote\' and a \\',
    b'{"type": "error", "text": "cut in a letter: \xc3',
    b'{"type": "error", "text": "bytes of zero: \0\0"',
    b'[' * 200_000,
]
EMPTY = [b'', b'   ']
TOO_LONG = EVENT % ('y' * (MOST + 100_000))


def queries():
    parts = re.split(r'^-- name: (\w+)$', (SHIPPED / 'queries.sql').read_text(encoding='utf-8'), flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


def at(event, *names):
    for name in names:
        event = event.get(name, {}) if isinstance(event, dict) else {}
    return '' if event == {} else str(event)


class Fleet(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(prefix='fleet-')
        cls.addClassCleanup(folder.cleanup)
        place = Path(folder.name)
        place.chmod(0o755)
        cls.events = {}
        for machine, captures in CAPTURES.items():
            (place / f'{machine}.events').mkdir()
            files = [ROOT / 'tests' / 'captures' / name for name in captures]
            text = subprocess.run([*TARNHOST, '--json', '--map', MAP, 'replay', *files], capture_output=True, text=True,
                                  check=True).stdout
            if machine == 'desk-2':
                text += json.dumps(HOSTILE) + '\n'
                text += EVENT % LONG + '\n'
            cls.events[machine] = [json.loads(line) for line in text.splitlines()]
            lines = text.encode().splitlines()
            if machine == 'desk-2':  # in the middle of the others
                lines[20:20] = [*UNTAKEN, *EMPTY, TOO_LONG.encode()]
            (place / f'{machine}.text').write_bytes(b'\n'.join(lines) + b'\n')
        cls.database = cls.enterClassContext(Database(place / 'database'))
        cls.database.ask((SHIPPED / 'table.sql').read_text(encoding='utf-8'))
        port = free_port()
        central = LogDaemon(place / 'central', SHIPPED / 'central.conf',
                            {'10514': str(port), '0.0.0.0': '127.0.0.1', 'postgresql:///tarn': cls.database.connection})
        machines = [LogDaemon(place / machine, SHIPPED / 'machine.conf',
                              {'/var/log/tarn': f'{place}/{machine}.events', '10514': str(port),
                               'logs.example': '127.0.0.1'}, f'global(localHostname="{machine}")\n')
                    for machine in CAPTURES]
        cls.wrong = [daemon.check() for daemon in (central, *machines)]
        cls.enterClassContext(central)
        wait_until('the central log daemon listens', lambda: cls.answers(port))
        for machine in machines:
            cls.enterClassContext(machine)
        for machine in CAPTURES:
            (place / f'{machine}.text').rename(place / f'{machine}.events' / 'today.jsonl')
        cls.count = sum(len(events) for events in cls.events.values())
        wait_until('all events are in the table', lambda: cls.rows() >= cls.count, 120)

    @staticmethod
    def answers(port):
        with socket.socket() as probe:
            return probe.connect_ex(('127.0.0.1', port)) == 0

    @classmethod
    def rows(cls):
        return int(cls.database.ask('SELECT count(*) FROM tarn_events;')[0][0])

    def all(self, wanted):
        """Machine and event of each that is wanted."""
        return [(machine, event) for machine, events in self.events.items() for event in events if wanted(event)]

    def answer(self, name):
        return self.database.ask("SET timezone = 'UTC';" + queries()[name])

    def test_rsyslog_finds_nothing_wrong_with_the_configurations(self):
        self.assertEqual(self.wrong, ['', '', ''])

    def test_every_event_arrives_once_and_whole(self):
        self.assertEqual(self.rows(), self.count)
        for machine, events in self.events.items():
            rows = self.database.ask(f"SELECT event FROM tarn_events WHERE machine = '{machine}' ORDER BY id;")
            kept = json.dumps(events).replace('\\u0000', '\\ufffd')
            self.assertEqual([json.loads(row[0]) for row in rows], json.loads(kept))

    def test_what_is_no_event_is_kept_apart_and_stops_nothing(self):
        rows = self.database.ask('SELECT machine, why, line FROM tarn_rejected ORDER BY id;')
        self.assertEqual({row[0] for row in rows}, {'desk-2'})
        self.assertTrue(all(row[1] for row in rows))
        lines = [row[2] for row in rows]
        for told, kept in zip(UNTAKEN, lines):
            begin = re.split(rb'[\0-\x1f\x80-\xff]', told)[0].decode()
            self.assertTrue(kept.startswith(begin), f'{kept[:80]} is not {begin[:80]}')
        cut = lines[len(UNTAKEN):]
        self.assertTrue(cut and TOO_LONG.startswith(cut[0]), [line[:80] for line in cut])
        self.assertGreater(len(cut[0]), MOST - 1000)

    def test_rejected_by_machine(self):
        times = sum(int(row[2]) for row in self.answer('rejected_by_machine'))
        self.assertGreaterEqual(times, len(UNTAKEN) + 1)
        self.assertEqual(times, int(self.database.ask('SELECT count(*) FROM tarn_rejected;')[0][0]))

    def test_top_blocked_sites(self):
        times = collections.Counter()
        machines = collections.defaultdict(set)
        for machine, event in self.all(lambda event: event['type'] == 'verdict' and event['verdict'] == 'blocked'):
            times[event['host']] += 1
            machines[event['host']].add(machine)
        expected = sorted(((host, str(count), str(len(machines[host]))) for host, count in times.items()),
                          key=lambda row: (-int(row[1]), row[0]))[:20]
        self.assertGreater(len(expected), 1)
        self.assertEqual(self.answer('top_blocked_sites'), expected)

    def test_blocked_by_whom_and_why(self):
        times = collections.Counter(
            (machine, at(event, 'reason_text'), at(event, 'entry', 'file'), at(event, 'entry', 'line'))
            for machine, event in self.all(lambda event: event.get('verdict') == 'blocked'))
        self.assertGreater(len(times), 1)
        self.assertEqual({row[:5] for row in self.answer('blocked_by_whom_and_why')},
                         {(*key, str(count)) for key, count in times.items()})

    def test_entries_by_last_hit(self):
        times = collections.Counter((at(event, 'entry', 'file'), at(event, 'entry', 'line'), at(event, 'entry', 'text'))
                                    for _, event in self.all(lambda event: 'entry' in event))
        self.assertIn(('tarn-policy.toml', '3', 'a.example'), times)
        self.assertEqual({row[:4] for row in self.answer('entries_by_last_hit')},
                         {(*key, str(count)) for key, count in times.items()})

    def test_not_examined_by_machine(self):
        times = collections.Counter((machine, event['what'])
                                    for machine, event in self.all(lambda event: event['type'] == 'not_examined'))
        self.assertEqual(set(self.answer('not_examined_by_machine')),
                         {(*key, str(count)) for key, count in times.items()})

    def test_latency_by_machine_and_day(self):
        rows = self.answer('latency_by_machine_and_day')
        timed = collections.Counter()
        for machine, event in self.all(lambda event: 'latency_ns' in event and event['type'] != 'stats'):
            timed[machine, (event.get('time') or event['written'])[:10]] += 1
        self.assertEqual({(row[0], row[1]): int(row[2]) for row in rows}, dict(timed))
        self.assertTrue(all(float(row[3]) <= float(row[4]) for row in rows))


if __name__ == '__main__':
    unittest.main()
