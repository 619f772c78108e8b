"""Every line that a command prints with --json is an event by docs/events.schema.json, and each kind of event occurs."""
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

import made_capture

ROOT = Path(__file__).resolve().parent.parent.parent
BIN = ROOT / 'build' / 'windows' / 'bin'
CAPTURES = ROOT / 'tests' / 'captures'
SCHEMA = json.loads((ROOT / 'docs' / 'events.schema.json').read_text(encoding='utf-8'))
EVERYDAY = {'verdict', 'attack', 'file', 'logon', 'not_examined', 'policy', 'error', 'stats'}  # shown by an example
LONG_AGO = 1_000_000_000  # a policy that was written then is at rest
GRID = '''[parental]
mode = 2
[[parental.users]]
account = "{account}"
controlled = true
use_hour_grid = true
'''


CASES = '''[[case]]
name = "as expected"
url = "http://lantern.example/redirect"
expect = "blocked"
[[case]]
name = "different"
url = "http://bank.example/"
expect = "blocked"
'''


def validate(lines):
    """What tools/events.py says: its exit status, its lines and its counts."""
    ended = subprocess.run(['/usr/bin/python3', ROOT / 'tools' / 'events.py'], input='\n'.join(lines) + '\n',
                           capture_output=True, text=True, check=False)
    said = ended.stdout.splitlines()
    if not said:
        raise RuntimeError(f'tools/events.py: {ended.stderr}')
    return ended.returncode, said[:-1], json.loads(said[-1])


def lasting(event):
    """The event without what differs from run to run and from machine to machine."""
    return {key: value for key, value in event.items() if key not in ('written', 'latency_ns', 'account', 'sid')}


class Events(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(dir=ROOT / 'build')
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        for module in [*BIN.glob('*.dll'), *BIN.glob('*.DLL')]:
            try:
                os.link(module, cls.folder / module.name)
            except OSError:
                shutil.copy(module, cls.folder)
        cls.write_policy((ROOT / 'companions' / 'tarn-policy.toml').read_text(encoding='utf-8'))
        (cls.folder / 'made.pcap').write_bytes(made_capture.content())
        (cls.folder / 'damaged.pcap').write_bytes((CAPTURES / 'http_curl.pcap').read_bytes()[:5000])
        (cls.folder / 'notes.pcap').write_text('no capture\n', encoding='utf-8')
        (cls.folder / 'bad.toml').write_text('[features]\nanti_phishing = 1\nunknown = true\n', encoding='utf-8')
        (cls.folder / 'gone.toml').write_text(GRID.format(account='nobody of that name'), encoding='utf-8')
        (cls.folder / 'ads.txt').write_text('ads.example\nbad.example##.banner\n', encoding='utf-8')
        (cls.folder / 'lists.toml').write_text('include = ["ads.txt"]\n', encoding='utf-8')
        (cls.folder / 'mendable.toml').write_text('[[malicious_sites]]\nhost = "www.evil.example"\nthreat = "a"\n',
                                                  encoding='utf-8')
        (cls.folder / 'other.toml').write_text('[features]\nbrowsing_protection = true\n', encoding='utf-8')
        (cls.folder / 'cases.toml').write_text(CASES, encoding='utf-8')
        cls.lines = []
        cls.run_all()
        cls.events = [json.loads(line) for line in cls.lines]

    @classmethod
    def write_policy(cls, text):
        file = cls.folder / 'tarn-policy.toml'
        file.write_text(text, encoding='utf-8')
        os.utime(file, (LONG_AGO, LONG_AGO))

    @classmethod
    def command(cls, arguments):
        return [ROOT / 'cmake' / 'wine-run', BIN / 'tarnhost.exe', '--json', *arguments]

    @classmethod
    def run_host(cls, *arguments, code=0, wants_modules=True):
        """Runs a command; its lines join the others."""
        folder = ['--install-folder', cls.folder] if wants_modules else []
        ended = subprocess.run(cls.command([*folder, *map(str, arguments)]), capture_output=True, text=True, check=False,
                               stdin=subprocess.DEVNULL, cwd=ROOT)
        if ended.returncode != code:
            raise AssertionError(f'{arguments}: ended with {ended.returncode}, not {code}\n'
                                 f'{ended.stdout[-2000:]}\n{ended.stderr}')
        lines = ended.stdout.splitlines()
        if not lines:
            raise AssertionError(f'{arguments}: printed nothing')
        cls.lines += lines
        return [json.loads(line) for line in lines]

    @classmethod
    def run_all(cls):
        run, folder = cls.run_host, cls.folder
        mapping = ['--map', '10.20.30.10=192.0.2.10']
        run(*mapping, 'replay', CAPTURES)
        run('replay', '--drop', CAPTURES / 'mixed_small.pcap')
        run('--quiet', *mapping, 'replay', CAPTURES / 'http_curl.pcap')
        run('--brief', 'replay', 'tests/captures/tls_curl.pcap')
        run('replay', folder / 'made.pcap', folder / 'damaged.pcap', folder / 'notes.pcap', 'no-such.pcap', code=1)
        run('--keep-state', folder / 'state', '--mode', '0', 'replay', CAPTURES / 'dns_basic.pcap')
        run('--keep-state', folder / 'state', 'url', 'http://lantern.example/redirect', 'https://bank.example/')
        run('url', 'http://lantern.example/redirect')
        run('url', 'gopher://a.example/', code=2)
        run('url', 'a.example', 'gopher://a.example/', code=1)
        run('url', '--server', '10.0.0.1', 'http://a.example/')
        run('extension', 'https://six.lantern.example/level/1', 'http://six.lantern.example/', 'nothing', code=1)
        account = run('logon', '--ticks', '3')[1]['account']
        run('logon', '--event', 'tick')
        run('logon', '--user', 'nobody of that name', code=1)
        run('logon', '--event', 'reboot', code=2)
        run('policy', wants_modules=False)
        run('policy', folder / 'bad.toml', code=1)
        run('policy', folder / 'gone.toml')
        run('policy', folder / 'no-such.toml', code=1)
        run('policy', folder / 'lists.toml')
        run('policy', '--fix', folder / 'mended.toml', folder / 'mendable.toml')
        run('explain', 'http://lantern.example/redirect', 'https://bank.example/', 'http://www.lantern.example/js')
        run('explain', '--extension', 'https://six.lantern.example/level/1')
        run('impact', '--after', folder / 'other.toml', CAPTURES / 'http_curl.pcap', CAPTURES / 'mixed_small.pcap')
        run('test', folder / 'cases.toml', code=3)
        (folder / 'earlier.jsonl').write_text(''.join(f'{json.dumps(event)}\n' for event in cls.earlier()),
                                              encoding='utf-8')
        run('replay', '--expect', folder / 'earlier.jsonl', CAPTURES / 'http_curl.pcap', code=3)
        run('companions', folder, wants_modules=False)
        run('watch', '--once', CAPTURES / 'http_curl.pcap', 'no-such.pcap', code=1)
        run('judge', code=2)
        run('replay', '--what', code=2)
        cls.watch_changes()
        cls.write_policy((ROOT / 'companions' / 'tarn-policy.toml').read_text(encoding='utf-8'))
        cls.serve()
        cls.write_policy(GRID.format(account=account))
        run('logon', '--ticks', '1')

    @classmethod
    def earlier(cls):
        """What a replay said, with one verdict changed."""
        events = [event for event in map(json.loads, cls.lines)
                  if event.get('capture') == 'http_curl.pcap' and event['type'] == 'verdict']
        events[0] = {**events[0], 'verdict': 'blocked', 'reason': 2}
        return events

    @classmethod
    def watch_changes(cls):
        """A policy that changes, gets a mistake, loses everything and goes, while watch waits for its input."""
        policy = cls.folder / 'tarn-policy.toml'
        text = policy.read_text(encoding='utf-8')
        with subprocess.Popen(cls.command(['--install-folder', cls.folder, 'watch', '-']), stdin=subprocess.PIPE,
                              stdout=subprocess.PIPE, text=True, cwd=ROOT) as watch:
            def wait_for(kind):
                for line in watch.stdout:
                    cls.lines.append(line.rstrip('\n'))
                    event = json.loads(line)
                    if event.get('event') == kind:
                        return
                raise AssertionError(f'watch ended before it told that the policy was {kind}')
            wait_for('used')
            # The header alone: its frames would come before anybody looks at the policy.
            watch.stdin.buffer.write((CAPTURES / 'http_curl.pcap').read_bytes()[:24])
            watch.stdin.flush()
            for fresh, kind in [(text.replace('anti_phishing = true', 'anti_phishing = false'), 'changed'),
                                (text.replace('anti_phishing = true', 'anti_phishing = 1'), 'kept'),
                                ('# empty\n', 'kept')]:
                policy.write_text(fresh, encoding='utf-8')
                wait_for(kind)
            policy.unlink()
            wait_for('kept')
            watch.stdin.close()
            cls.lines += [line.rstrip('\n') for line in watch.stdout]
        if watch.returncode != 0:
            raise AssertionError(f'watch ended with {watch.returncode}')

    @classmethod
    def serve(cls):
        """A request that is blocked, one that cannot be judged, and the end by Ctrl+C."""
        arguments = ['--install-folder', cls.folder, 'serve', '--proxy', '127.0.0.1:0', '--socks', 'off', '--status', 'off']
        with subprocess.Popen(cls.command(arguments), stdout=subprocess.PIPE, stdin=subprocess.DEVNULL, text=True,
                              cwd=ROOT) as server:
            for line in server.stdout:
                cls.lines.append(line.rstrip('\n'))
                if json.loads(line)['type'] == 'serve':
                    break
            else:
                raise AssertionError('serve ended before it listened')
            host, port = json.loads(cls.lines[-1])['proxy'].rsplit(':', 1)
            for request in [b'GET http://lantern.example/redirect HTTP/1.1\r\nHost: lantern.example\r\n\r\n',
                            f'CONNECT {host}:9 HTTP/1.1\r\nHost: x\r\n\r\nSSH-2.0-none\r\n'.encode()]:
                with socket.create_connection((host, int(port)), timeout=30) as client:
                    client.sendall(request)
                    client.shutdown(socket.SHUT_WR)
                    while client.recv(65536):
                        pass
            server.send_signal(signal.SIGINT)
            cls.lines += [line.rstrip('\n') for line in server.stdout]
        if server.returncode != 0:
            raise AssertionError(f'serve ended with {server.returncode}')

    def enumerated(self, definition, member):
        return SCHEMA['definitions'][definition]['properties'][member]['enum']

    def seen(self, kind, member):
        return {event[member] for event in self.events if event['type'] == kind and member in event}

    def test_each_line_is_an_event_by_the_schema(self):
        code, mistakes, counts = validate(self.lines)
        self.assertEqual((code, mistakes), (0, []))
        self.assertEqual(counts['events'], len(self.lines))
        types = {branch['$ref'].rsplit('/', 1)[1] for branch in SCHEMA['oneOf']}
        self.assertEqual(set(counts['types']), types)
        print(f'\n{counts["events"]} events are valid: {counts["types"]}', flush=True)

    def test_each_kind_of_event_occurs(self):
        self.assertEqual(self.seen('not_examined', 'what'), set(self.enumerated('not_examined', 'what')))
        self.assertEqual(self.seen('policy', 'event'), set(self.enumerated('policy', 'event')))
        self.assertEqual(self.seen('verdict', 'verdict'), set(self.enumerated('verdict', 'verdict')))
        self.assertEqual(self.seen('verdict', 'judged'), set(self.enumerated('verdict', 'judged')))
        self.assertEqual(self.seen('verdict', 'protocol'), set(self.enumerated('verdict', 'protocol')))
        self.assertEqual(self.seen('logon', 'verdict'), set(self.enumerated('logon', 'verdict')))
        self.assertEqual(self.seen('attack', 'direction'), set(self.enumerated('attack', 'direction')))
        self.assertEqual(self.seen('policy', 'why') | {'being_written'}, set(self.enumerated('policy', 'why')))

    def test_a_line_that_is_no_event_is_found(self):
        verdict = next(event for event in self.events if event['type'] == 'verdict' and 'frame' in event)
        without = {key: value for key, value in verdict.items() if key != 'judged'}
        flow = {**verdict['flow'], 'clientPort': 1}
        for wrong in [{**verdict, 'surprise': 1}, {**verdict, 'verdict': 'BLOCKED'}, {**verdict, 'frame': 0},
                      {**verdict, 'version': 2}, {**verdict, 'written': 'today'}, {**verdict, 'flow': flow},
                      {**verdict, 'flow': {'id': verdict['flow']['id']}}, without, {'type': 'surprise'}, {}]:
            with self.subTest(wrong=wrong):
                code, mistakes, counts = validate([json.dumps(verdict), json.dumps(wrong)])
                self.assertEqual((code, counts['wrong']), (1, 1))
                self.assertTrue(mistakes)
        self.assertEqual(validate([json.dumps(verdict), 'no JSON'])[0], 1)

    def test_events_of_a_connection_have_one_id(self):
        ends = {}
        for event in self.events:
            flow = event.get('flow', {})
            if 'id' in flow:
                pair = frozenset([(flow['client'], flow['client_port']), (flow['server'], flow['server_port'])])
                ends.setdefault(flow['id'], set()).add((flow['transport'], pair))
        self.assertGreater(len(ends), 100)
        self.assertEqual([flow for flow, pairs in ends.items() if len(pairs) != 1], [])
        self.assertEqual(len({next(iter(pairs)) for pairs in ends.values()}), len(ends))

    def test_the_examples_of_the_document_are_real(self):
        text = (ROOT / 'docs' / 'events.md').read_text(encoding='utf-8')
        examples = [block.split('```')[0] for block in text.split('```json\n')[1:]]
        self.assertEqual({json.loads(example)['type'] for example in examples}, EVERYDAY)
        for branch in SCHEMA['oneOf']:
            self.assertIn('`' + branch['$ref'].rsplit('/', 1)[1] + '`', text)
        self.assertEqual(validate([json.dumps(json.loads(example)) for example in examples])[:2], (0, []))
        real = [lasting(event) for event in self.events]
        for example in examples:
            with self.subTest(example=example):
                self.assertIn(lasting(json.loads(example)), real)


if __name__ == '__main__':
    unittest.main()
