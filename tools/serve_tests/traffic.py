"""What clients do in a soak of tarnhost serve, over and over: each of them looks at every answer."""
import contextlib
import random
import select
import socket
import struct
import threading
import time

import servers
import wire


class Traffic:
    """One client; counts what came as it should and keeps what did not."""

    def __init__(self, serving_host, ports, number):
        self.serving = serving_host
        self.ports = ports  # of the servers behind it: origin, echo, silent
        self.random = random.Random(number)
        self.turn = threading.Lock()  # held while it does something
        self.done = {}
        self.wrong = []
        self.acts = [lambda: self.proxy(1), lambda: self.proxy(8), self.cut, self.socks, self.blocked_hello, self.dns,
                     self.ftp, self.upgrade, self.status_stream, self.dead_name, self.silent_server]

    def run(self, end):
        while time.monotonic() < end:
            act = self.random.choice(self.acts)
            name = getattr(act, '__name__', '').strip('<>').replace('lambda', 'proxy')
            with self.turn:
                try:
                    act()
                    self.done[name] = self.done.get(name, 0) + 1
                except (OSError, ValueError) as error:
                    self.wrong.append(f'{name}: {error!r}')
            time.sleep(0.001)  # so that whoever wants all clients to pause gets the lock

    def get(self, host, path, more=''):
        port = self.ports['origin']
        return f'GET http://{host}:{port}{path} HTTP/1.1\r\nHost: {host}:{port}\r\n{more}\r\n'.encode()

    @staticmethod
    def until(client, wanted):
        said = b''
        while wanted not in said:
            piece = client.recv(65536)
            if not piece:
                raise ValueError(f'{wanted} is not in {said[:200]}')
            said += piece
        return said

    # ---- over the proxy

    def proxy(self, requests):
        with self.serving.connect(self.serving.proxy) as client:
            for number in range(requests):
                host = self.random.choice(['good.example', 'bad.example'])
                last = number == requests - 1
                client.sendall(self.get(host, f'/soak{number}', 'Connection: close\r\n' if last else ''))
                if host == 'bad.example':
                    self.until(client, b'HTTP/1.1 403')
                    return  # the rest of the page is left unread
                self.until(client, f'you asked for /soak{number}'.encode())

    def cut(self):
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(b'GET http://good.example/ HT'[:self.random.randrange(1, 27)])

    def upgrade(self):
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(f'GET http://good.example:{self.ports["echo"]}/ws HTTP/1.1\r\nHost: good.example\r\nUpgrade: '
                           'websocket\r\nConnection: Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n'
                           'Sec-WebSocket-Version: 13\r\n\r\n'.encode())
            if not self.until(client, b'\r\n\r\n').startswith(b'HTTP/1.1 101'):
                raise ValueError('no upgrade')
            frame = self.random.randbytes(self.random.randrange(1, 100_000))
            client.sendall(frame)
            if wire.receive(client, len(frame)) != frame:
                raise ValueError('other bytes came back')

    def dead_name(self):
        name = f'dead{self.random.randrange(10**9)}.invalid'
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(f'GET http://{name}/ HTTP/1.1\r\nHost: {name}\r\n\r\n'.encode())
            self.until(client, b'HTTP/1.1 502')

    def silent_server(self):
        """It never answers; the client goes first."""
        with self.serving.connect(self.serving.proxy) as client:
            client.sendall(f'GET http://good.example:{self.ports["silent"]}/ HTTP/1.1\r\nHost: good.example\r\n\r\n'
                           .encode())
            client.settimeout(self.random.random() / 2 + 0.05)
            with contextlib.suppress(TimeoutError):
                raise ValueError(f'an answer of nobody: {client.recv(100)}')

    # ---- over SOCKS5

    def socks(self):
        with self.serving.through_socks('good.example', self.ports['origin']) as client:
            client.sendall(b'GET /soak HTTP/1.1\r\nHost: good.example\r\nConnection: close\r\n\r\n')
            self.until(client, b'you asked for /soak')

    def blocked_hello(self):
        with self.serving.through_socks('good.example', self.ports['origin']) as client:
            client.sendall(wire.hello('bad.example'))
            said = wire.receive_all(client)
        if said[:1] != b'\x15':
            raise ValueError(f'hello: {said[:100]}')

    def ftp(self):
        with self.serving.through_socks('ftp.example', 2121) as control, \
                control.makefile('r', encoding='utf-8', newline='\r\n') as answers:
            def say(command, wanted):
                if command:
                    control.sendall(f'{command}\r\n'.encode())
                said = answers.readline()
                if not said.startswith(wanted):
                    raise ValueError(f'{command}: {said}')
                return said

            say('', '220')
            say('USER anna', '331')
            say('PASS secret', '230')
            say('RETR /evil.bin', '550')
            port = int(say('EPSV', '229').split('|')[3])
            with self.serving.through_socks('ftp.example', port) as data:
                say('RETR /fine.bin', '150')
                if wire.receive_all(data) != b'the content of /fine.bin':
                    raise ValueError('another file came')
            say('', '226')
            say('QUIT', '221')

    # ---- beside them

    def dns(self):
        host, port = self.serving.dns.rsplit(':', 1)
        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as client:
            client.settimeout(20)
            number = self.random.randrange(65536)
            client.sendto(struct.pack('>HHHHHH', number, 0x0100, 1, 0, 0, 0) + b'\x04good\x07example\0\0\1\0\1',
                          (host, int(port)))
            said = client.recv(4096)
        if said[:2] != struct.pack('>H', number) or not said.endswith(servers.ADDRESS):
            raise ValueError(f'dns: {said[:100]}')

    def status_stream(self):
        """Left in the middle of it."""
        with self.serving.connect(self.serving.status) as client:
            client.sendall(f'GET /api/events HTTP/1.1\r\nHost: {self.serving.status}\r\n\r\n'.encode())
            if not self.until(client, b'data: ').startswith(b'HTTP/1.1 200'):
                raise ValueError('no stream')


def crowd(serving_host, ports, most):
    """More silent connections at once than there are places: the oldest are given back, and a newcomer is served."""
    beyond = most // 3
    with contextlib.ExitStack() as stack:
        clients = [stack.enter_context(serving_host.connect(serving_host.proxy)) for _ in range(most + beyond)]
        newcomer = Traffic(serving_host, ports, 0)
        newcomer.socks()
        with serving_host.connect(serving_host.proxy) as client:
            client.sendall(newcomer.get('good.example', '/crowd'))
            newcomer.until(client, b'you asked for /crowd')
        end = time.monotonic() + 30
        closed = 0
        while closed < beyond and time.monotonic() < end:
            closed = len(select.select(clients, [], [], 0.1)[0])
        if closed < beyond:
            raise ValueError(f'{closed} of {beyond} connections too many were closed')
