"""As many connections as tarnhost serve takes, and one more; open tunnels when the policy changes."""
import json
import resource
import ssl
import sys
import tempfile
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

import serving
import wire
from test_hostile import memory_of, process_of

CONNECTIONS = 5000
MOST_GROWTH = 250  # megabytes
STATUS = '127.0.0.1:0'


def state_of(server):
    with server.connect(server.status) as client:
        client.sendall(f'GET /api/state HTTP/1.1\r\nHost: {server.status}\r\nConnection: close\r\n\r\n'.encode())
        return json.loads(wire.receive_all(client).partition(b'\r\n\r\n')[2])


class ManyConnections(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=serving.ROOT / 'build')
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.origin = self.enter(serving.Origin(files=self.folder))

    def enter(self, context):
        entered = context.__enter__()
        self.addCleanup(context.__exit__, None, None, None)
        return entered

    def open(self, listener, said):
        client = self.enter(self.serving.connect(listener))
        client.sendall(said)
        return client

    def request(self, path, more=''):
        return f'GET http://good.example:{self.origin.port}{path} HTTP/1.1\r\nHost: good.example:{self.origin.port}\r\n' \
               f'{more}\r\n'.encode()

    def ask(self):
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(self.request('/still', 'Connection: close\r\n'))
            return wire.receive_all(client).partition(b'\r\n\r\n')[2]

    def wait_for_connections(self, count):
        """The state in which so many are open at once, beside the page that tells it, and heard: their programs are
        looked up before, and unknown."""
        end = time.monotonic() + 120
        while (state := state_of(self.serving))['connections'] <= count or state['unknown_clients'] < count:
            self.assertLess(time.monotonic(), end, state)
            time.sleep(0.1)
        return state

    def test_all_places_are_taken_by_half_requests(self):
        soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
        if hard < CONNECTIONS + 500:
            self.fail(f'this machine allows {hard} handles, and the test needs {CONNECTIONS + 500}')
        resource.setrlimit(resource.RLIMIT_NOFILE, (max(soft, min(hard, CONNECTIONS + 2000)), hard))
        self.addCleanup(resource.setrlimit, resource.RLIMIT_NOFILE, (soft, hard))
        self.serving = self.enter(wire.WireServing(self.folder / 'many', '--head-seconds', '600', status=STATUS))
        process = process_of(self.folder.name)
        before = memory_of(process)
        # The first one waits before any other comes: those that come together begin to wait in any order.
        clients = [self.open(self.serving.proxy, self.request('/many0')[:-2])]
        self.wait_for_connections(1)
        clients += [self.open(self.serving.proxy, self.request(f'/many{number}')[:-2])
                    for number in range(1, CONNECTIONS)]
        self.assertEqual(self.wait_for_connections(CONNECTIONS)['turned_away'], 0)
        self.assertLess(memory_of(process) - before, MOST_GROWTH)
        # One more gets the place of the one that waits the longest.
        self.assertEqual(self.ask(), b'you asked for /still')
        self.assertEqual(state_of(self.serving)['turned_away'], 1)
        for number in range(1, CONNECTIONS, CONNECTIONS // 10):
            clients[number].sendall(b'\r\n')
            said = b''
            while not said.endswith(b'/many%d' % number):
                piece = clients[number].recv(4096)
                self.assertTrue(piece, said)
                said += piece
            self.assertTrue(said.startswith(b'HTTP/1.1 200'), said)

    def test_silent_clients_keep_nobody_out(self):
        places = 200
        self.serving = self.enter(wire.WireServing(self.folder / 'silent', '--connections', str(places), status=STATUS))
        for listener, said, answer in (
                (self.serving.proxy, b'CONNECT good.example:443 HTTP/1.1\r\nHost: good.example\r\n\r\n', b'HTTP/1.1 200'),
                (self.serving.socks, b'\x05\x01\x00', b'\x05\x00')):
            for _ in range(places):
                self.assertEqual(wire.receive(self.open(listener, said), len(answer)), answer)
            self.assertEqual(self.ask(), b'you asked for /still')
        self.assertGreater(state_of(self.serving)['turned_away'], places)

    def test_an_open_tunnel_ends_when_the_policy_blocks_it(self):
        secure = self.enter(serving.Origin(tls=serving.certificate(self.folder)))
        self.serving = self.enter(wire.WireServing(self.folder / 'following', status=STATUS))
        context = ssl.create_default_context()
        context.check_hostname = False
        context.verify_mode = ssl.CERT_NONE

        def tunnel(host):
            client = self.open(self.serving.proxy, f'CONNECT {host}:{secure.port} HTTP/1.1\r\nHost: {host}\r\n\r\n'
                               .encode())
            self.assertTrue(self.head_of(client).startswith(b'HTTP/1.1 200'))
            return self.enter(context.wrap_socket(client, server_hostname=host))

        def ask(client, host):
            client.sendall(f'GET /again HTTP/1.1\r\nHost: {host}\r\n\r\n'.encode())
            return self.head_of(client) and wire.receive(client, len(b'you asked for /again'))

        good, later = tunnel('good.example'), tunnel('later.example')
        self.assertEqual(ask(good, 'good.example'), b'you asked for /again')
        self.assertEqual(ask(later, 'later.example'), b'you asked for /again')
        self.serving.change(wire.POLICY + '[[malicious_sites]]\nhost = "later.example"\n')
        later.settimeout(30)
        self.assertTrue(self.is_closed(later))
        self.assertEqual(ask(good, 'good.example'), b'you asked for /again')
        self.assertEqual(self.serving.verdicts('later.example')[-1]['verdict'], 'blocked')

    @staticmethod
    def is_closed(client):
        try:
            return client.recv(1) == b''
        except TimeoutError:
            return False
        except OSError:  # without the end that TLS would have
            return True

    @staticmethod
    def head_of(client):
        said = b''
        while not said.endswith(b'\r\n\r\n') and (piece := client.recv(1)):
            said += piece
        return said


if __name__ == '__main__':
    unittest.main()
