"""Clients and servers that mean no good: none of them ends tarnhost serve, fills its memory or keeps others waiting."""
import contextlib
import random
import socket
import struct
import sys
import tempfile
import threading
import time
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

import servers
import serving
import wire

MOST_GROWTH = 90  # megabytes over what it has at rest, where Wine holds the program itself, with its symbols


def process_of(command):
    """The Windows program itself: Wine's loader becomes it, so it has the name of the .exe."""
    for entry in Path('/proc').iterdir():
        if not entry.name.isdigit():
            continue
        with contextlib.suppress(OSError):
            line = (entry / 'cmdline').read_bytes().replace(b'\0', b' ').decode(errors='replace')
            if 'tarnhost.exe' in line and command in line and (entry / 'comm').read_text().startswith('tarnhost'):
                return int(entry.name)
    raise LookupError(command)


def memory_of(process):
    """Megabytes that it has in memory."""
    for line in Path(f'/proc/{process}/status').read_text().splitlines():
        if line.startswith('VmRSS:'):
            return int(line.split()[1]) / 1024
    raise LookupError(process)


class RawServer:
    """Serves each connection by a function, on a thread of its own."""

    def __init__(self, serve):
        self.listener = socket.create_server(('127.0.0.1', 0), backlog=128)
        self.port = self.listener.getsockname()[1]
        self.accepted = 0
        self.serve = serve
        self.thread = threading.Thread(target=self.run)

    def __enter__(self):
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.ending = True
        with contextlib.suppress(OSError):
            socket.create_connection(('127.0.0.1', self.port)).close()
        self.thread.join()
        self.listener.close()

    ending = False

    def run(self):
        while True:
            connection, _ = self.listener.accept()
            if self.ending:
                connection.close()
                return
            self.accepted += 1
            threading.Thread(target=self.one, args=(connection,), daemon=True).start()

    def one(self, connection):
        with connection, contextlib.suppress(OSError):
            self.serve(connection)


class Hostile(unittest.TestCase):
    @classmethod
    def enterClassContext(cls, context):  # noqa: N802  (of unittest from Python 3.11 on)
        entered = context.__enter__()
        cls.addClassCleanup(context.__exit__, None, None, None)
        return entered

    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(dir=serving.ROOT / 'build')
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        cls.names = cls.enterClassContext(servers.DnsServer())
        cls.origin = cls.enterClassContext(serving.Origin())
        cls.serving = cls.enterClassContext(wire.WireServing(
            cls.folder / 'hostile', '--head-seconds', '3', '--silence-seconds', '1', dns_upstream=cls.names.address,
            status='127.0.0.1:0'))
        cls.process = process_of(cls.folder.name)
        cls.at_rest = memory_of(cls.process)

    def tearDown(self):
        """Whatever was done to it: it serves others, and did not grow."""
        self.assertEqual(self.ask(), b'you asked for /still')
        self.assertLess(memory_of(self.process) - self.at_rest, MOST_GROWTH)

    def ask(self, path='/still'):
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(self.request(path, 'Connection: close\r\n'))
            said = wire.receive_all(client)
        return said.partition(b'\r\n\r\n')[2]

    def request(self, path='/', more=''):
        return f'GET http://good.example:{self.origin.port}{path} HTTP/1.1\r\nHost: good.example:{self.origin.port}\r\n' \
               f'{more}\r\n'.encode()

    # ---- clients of the proxy ----

    def test_a_byte_at_a_time(self):
        with self.serving.connect(self.serving.proxy) as client:
            client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            for byte in self.request('/slow', 'Connection: close\r\n'):
                client.sendall(bytes([byte]))
            self.assertTrue(wire.receive_all(client).endswith(b'you asked for /slow'))

    def test_a_head_that_never_ends_is_given_up(self):
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(b'GET http://good.example/ HTTP/1.1\r\n')
            begin = time.monotonic()
            client.settimeout(0.4)
            ended = False
            while not ended and time.monotonic() - begin < 20:
                try:
                    client.sendall(b'X-Slow: 1\r\n')
                    ended = not client.recv(4096) or True
                except TimeoutError:
                    continue
                except OSError:
                    ended = True
            self.assertTrue(ended)
            self.assertLess(time.monotonic() - begin, 15)

    def test_a_request_cut_at_every_byte(self):
        before = len(self.origin.asked)
        request = self.request('/cut', 'X: y\r\n')
        for length in range(len(request)):
            with self.serving.connect(self.serving.proxy) as client:
                client.sendall(request[:length])
                client.shutdown(socket.SHUT_WR)
                self.assertNotIn(b'you asked', wire.receive_all(client), length)
        self.assertEqual(len(self.origin.asked), before)

    def test_head_bombs(self):
        bombs = {
            'many lines': b'GET http://good.example/ HTTP/1.1\r\n' + b'A: b\r\n' * 200_000,
            'a long line': b'GET http://good.example/ HTTP/1.1\r\nA: ' + b'x' * 2_000_000,
            'a long target': b'GET http://good.example/' + b'x' * 2_000_000,
            'no blank': b'G' * 2_000_000,
            'zeros': bytes(2_000_000),
        }
        for what, bomb in bombs.items():
            with self.subTest(what), self.serving.connect(self.serving.proxy) as client:
                with contextlib.suppress(OSError):
                    client.sendall(bomb)
                self.assertNotIn(b' 200 ', wire.receive_all(client)[:20])

    def test_bodies_without_end_are_held_back(self):
        def swallow_nothing(connection):
            connection.recv(100)
            time.sleep(6)

        before = memory_of(self.process)
        with RawServer(swallow_nothing) as server, contextlib.ExitStack() as stack:
            clients = [stack.enter_context(self.serving.connect(self.serving.proxy)) for _ in range(20)]
            sent = 0
            for client in clients:
                client.sendall(f'POST http://good.example:{server.port}/ HTTP/1.1\r\nHost: good.example:{server.port}\r\n'
                               'Transfer-Encoding: chunked\r\n\r\n'.encode())
                client.setblocking(False)
            end = time.monotonic() + 4
            piece = b'10000\r\n' + bytes(65536) + b'\r\n'
            while time.monotonic() < end:
                for client in clients:
                    with contextlib.suppress(OSError):
                        sent += client.send(piece)
            grown = memory_of(self.process) - before
        # The rest of what was sent stands in the buffers of the system.
        self.assertGreater(sent, 1_000_000)
        self.assertLess(grown, 60)

    def test_an_answer_that_nobody_reads_is_held_back(self):
        before = memory_of(self.process)
        with contextlib.ExitStack() as stack:
            clients = [stack.enter_context(self.serving.connect(self.serving.proxy)) for _ in range(10)]
            for client in clients:
                client.sendall(self.request('/large'))
                self.assertTrue(wire.receive(client, 12).startswith(b'HTTP/1.1 200'))
            time.sleep(3)  # for 2 GB to come, if they did
            self.assertLess(memory_of(self.process) - before, 60)

    def test_itself_and_link_local_addresses_are_out_of_reach(self):
        for listener in (self.serving.proxy, self.serving.socks, self.serving.dns, self.serving.status):
            port = listener.rsplit(':', 1)[1]
            for host in ('127.0.0.1', 'good.example', 'localhost', '[::1]', '0.0.0.0', '[::ffff:127.0.0.1]', '127.0.0.2'):
                for line in (f'CONNECT {host}:{port}', f'GET http://{host}:{port}/'):
                    request = f'{line} HTTP/1.1\r\nHost: {host}:{port}\r\nConnection: close\r\n\r\n'
                    with self.subTest(request), self.serving.connect(self.serving.proxy) as client:
                        client.sendall(request.encode())
                        said = wire.receive_all(client)
                        self.assertRegex(said, rb'^HTTP/1\.1 [45]')
        for host in ('169.254.169.254', '[fe80::1]'):
            with self.subTest(host), self.serving.connect(self.serving.proxy) as client:
                client.sendall(f'GET http://{host}/ HTTP/1.1\r\nHost: {host}\r\nConnection: close\r\n\r\n'.encode())
                self.assertRegex(wire.receive_all(client), rb'^HTTP/1\.1 [45]')

    def test_rubbish_at_random(self):
        source = random.Random(11)
        for listener in (self.serving.proxy, self.serving.socks, self.serving.dns, self.serving.status):
            for _ in range(60):
                with self.serving.connect(listener) as client, contextlib.suppress(OSError):
                    client.sendall(source.randbytes(source.randrange(1, 3000)))
                    client.shutdown(socket.SHUT_WR)
                    wire.receive_all(client)

    # ---- clients of SOCKS ----

    def test_socks_cut_at_every_byte_and_out_of_reach(self):
        whole = b'\x05\x01\x00' + b'\x05\x01\x00\x03\x0cgood.example' + struct.pack('>H', self.origin.port)
        for length in range(len(whole)):
            with self.serving.connect(self.serving.socks) as client:
                client.sendall(whole[:length])
                client.shutdown(socket.SHUT_WR)
                self.assertLessEqual(len(wire.receive_all(client)), 2)
        port = int(self.serving.proxy.rsplit(':', 1)[1])
        for host in ('good.example', '127.0.0.1', '169.254.169.254'):
            with self.serving.through_socks(host, port, greeting=False) as client:
                self.assertEqual(wire.receive_all(client), b'')

    def test_hellos_in_pieces_are_judged_whole(self):
        blocked = wire.hello('bad.example')
        with RawServer(lambda connection: connection.recv(10)) as server:
            for cut in range(1, len(blocked), 7):
                with self.serving.through_socks('good.example', server.port) as client:
                    client.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
                    client.sendall(blocked[:cut])
                    client.sendall(blocked[cut:])
                    self.assertEqual(wire.receive_all(client)[:1], b'\x15')  # an alert
            self.assertEqual(server.accepted, 0)

    # ---- servers ----

    def test_servers_that_never_answer_close_or_lie(self):
        def reply(text):
            def serve(connection):
                connection.recv(65536)
                connection.sendall(text)
            return serve

        servers_and_ends = {
            'closes': (lambda connection: connection.recv(65536), rb'^HTTP/1\.1 502'),
            'closes within the head': (reply(b'HTTP/1.1 200 OK\r\nContent-Le'), rb'^HTTP/1\.1 502'),
            'says less than it announced': (reply(b'HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort'),
                                            rb'\r\n\r\nshort$'),
            'says more than it announced': (reply(b'HTTP/1.1 200 OK\r\nContent-Length: 5\r\n\r\nshortHTTP/1.1 200 OK'),
                                            rb'\r\n\r\nshort$'),
            'has two lengths': (reply(b'HTTP/1.1 200 OK\r\nContent-Length: 5\r\nContent-Length: 6\r\n\r\nshorty'),
                                rb'^HTTP/1\.1 502'),
            'has a length that is none': (reply(b'HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\nx'), rb'^HTTP/1\.1 502'),
            'has a chunk that is none': (reply(b'HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n'),
                                     rb'(?s)^HTTP/1\.1 (502|200 OK\r\n(?!.*\r\n0\r\n\r\n$))'),
            'speaks no HTTP': (reply(b'220 mail ready\r\n'), rb'^HTTP/1\.1 502'),
            'has a head without end': (reply(b'HTTP/1.1 200 OK\r\n' + b'A: b\r\n' * 100_000), rb'^HTTP/1\.1 502'),
        }
        for what, (serve, expected) in servers_and_ends.items():
            with self.subTest(what), RawServer(serve) as server, self.serving.connect(self.serving.proxy) as client:
                client.sendall(f'GET http://good.example:{server.port}/ HTTP/1.1\r\nHost: good.example:{server.port}\r\n'
                               'Connection: close\r\n\r\n'.encode())
                self.assertRegex(wire.receive_all(client), expected)

    def test_a_server_that_is_silent_keeps_nobody_else_waiting(self):
        ended = threading.Event()
        with RawServer(lambda connection: ended.wait(60)) as server, contextlib.ExitStack() as stack:
            stack.callback(ended.set)
            for _ in range(200):
                client = stack.enter_context(self.serving.connect(self.serving.proxy))
                client.sendall(f'GET http://good.example:{server.port}/ HTTP/1.1\r\nHost: good.example\r\n\r\n'.encode())
            begin = time.monotonic()
            self.assertEqual(self.ask(), b'you asked for /still')
            self.assertLess(time.monotonic() - begin, 30, 'the silent server is silent for twice that time')

    # ---- DNS ----

    def test_questions_that_are_none(self):
        host, port = self.serving.dns.rsplit(':', 1)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
            client.connect((host, int(port)))
            client.settimeout(20)
            loop = struct.pack('>HHHHHH', 7, 0x0100, 1, 0, 0, 0) + b'\xc0\x0c' + struct.pack('>HH', 1, 1)
            client.send(loop)
            self.assertEqual(client.recv(512), struct.pack('>HHHHHH', 7, 0x8181, 0, 0, 0, 0))
            source = random.Random(12)
            for _ in range(500):
                client.send(source.randbytes(source.randrange(0, 600)))
            good = struct.pack('>HHHHHH', 9, 0x0100, 1, 0, 0, 0) + b'\x04good\x07example\0' + struct.pack('>HH', 1, 1)
            answer = b''
            client.settimeout(1)
            end = time.monotonic() + 20
            client.send(good)
            while answer[:2] != good[:2] or len(answer) < len(good):
                self.assertLess(time.monotonic(), end)
                try:
                    answer = client.recv(4096)
                except TimeoutError:  # the flood filled a buffer and the question was lost: every client asks again
                    client.send(good)
            self.assertTrue(answer.endswith(servers.ADDRESS))


if __name__ == '__main__':
    unittest.main()
