"""tarnhost serve as a service: what Wine's service manager makes of it."""
import json
import os
import shutil
import socket
import subprocess
import sys
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))
sys.path.insert(0, str(Path(__file__).resolve().parents[1]))

import serving
import wire
from wine_prefix import WinePrefix

FOLDER = 'C:\\tarn here'  # with a blank, which command lines have to survive


def free_port():
    with socket.socket() as probe:
        probe.bind(('127.0.0.1', 0))
        return probe.getsockname()[1]


def wait_until(what, condition, seconds=60):
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            raise TimeoutError(f'{what}: not within {seconds} s')
        time.sleep(0.1)


class Service(unittest.TestCase):
    def setUp(self):
        self.prefix = WinePrefix().__enter__()
        self.addCleanup(self.prefix.__exit__)
        self.folder = self.prefix.path(FOLDER)
        self.folder.mkdir()
        for file in [*serving.BIN.glob('*.dll'), *serving.BIN.glob('*.DLL'), serving.BIN / 'tarnhost.exe']:
            shutil.copy(file, self.folder)
        policy = self.folder / 'my policy.toml'
        policy.write_text(wire.POLICY, encoding='utf-8')
        os.utime(policy, (serving.LONG_AGO, serving.LONG_AGO))
        self.port = free_port()

    def tarnhost(self, *arguments):
        return self.prefix.run(self.folder / 'tarnhost.exe', *arguments, folder=self.folder)

    def install(self):
        return self.tarnhost('--policy', 'my policy.toml', '--map', '127.0.0.1=198.51.100.7', 'serve', '--service',
                             'install', '--proxy', f'127.0.0.1:{self.port}', '--socks', 'off', '--status', 'off',
                             '--events', 'events.jsonl', '--hosts', 'good.example=127.0.0.1', '--hosts',
                             'bad.example=127.0.0.1')

    def state(self):
        status, said = self.prefix.run('sc', 'query', 'tarnhost')
        return next((line.split()[-1] for line in said.splitlines() if 'STATE' in line), f'{status}: {said}')

    def events(self):
        file = self.folder / 'events.jsonl'
        if not file.exists():
            return []
        return [json.loads(line) for line in file.read_text(encoding='utf-8').splitlines(keepends=True)
                if line.endswith('\n')]

    def ask(self, url):
        ran = subprocess.run(['curl', '--silent', '--include', '--max-time', '30', '--proxy',
                              f'http://127.0.0.1:{self.port}', url], capture_output=True, text=True, check=False,
                             env={**os.environ, 'no_proxy': ''})
        return ran.stdout

    def test_it_is_installed_runs_stops_and_goes(self):
        status, said = self.install()
        self.assertEqual(status, 0, said)
        self.assertIn('is installed', said)
        status, said = self.install()
        self.assertEqual(status, 1, said)
        self.assertIn('is installed already', said)
        status, said = self.prefix.run('sc', 'start', 'tarnhost')
        self.assertEqual(status, 0, said)
        wait_until('the service runs', lambda: self.state() == 'RUNNING' or 'RUNNING' in self.state())
        with serving.Origin() as origin:
            self.assertIn('you asked for /one', self.ask(f'http://good.example:{origin.port}/one'))
            self.assertIn('403 Forbidden', self.ask(f'http://bad.example:{origin.port}/two'))
            self.assertEqual(origin.asked, ['/one'])
        status, said = self.prefix.run('sc', 'stop', 'tarnhost')
        self.assertEqual(status, 0, said)
        wait_until('the service has stopped', lambda: 'STOPPED' in self.state())
        events = self.events()
        self.assertEqual(events[-1]['type'], 'stats')
        self.assertEqual((events[-1]['requests'], events[-1]['blocked']), (2, 1))
        status, said = self.tarnhost('serve', '--service', 'remove')
        self.assertEqual((status, said.strip()), (0, 'the service tarnhost is removed'))
        status, said = self.tarnhost('serve', '--service', 'remove')
        self.assertEqual(status, 1)
        self.assertIn('is not installed', said)

    def test_a_port_that_is_taken_fails_the_start(self):
        with socket.create_server(('127.0.0.1', self.port)):
            self.assertEqual(self.install()[0], 0)
            self.prefix.run('sc', 'start', 'tarnhost')
            wait_until('the service has given up', lambda: 'STOPPED' in self.state())
        self.assertNotIn('serve', [event['type'] for event in self.events()])

    def test_nobody_else_runs_it(self):
        status, said = self.tarnhost('serve', '--service', 'run')
        self.assertEqual(status, 2, said)
        self.assertIn('--service install', said)


if __name__ == '__main__':
    unittest.main()
