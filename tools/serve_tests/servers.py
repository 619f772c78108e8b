"""Servers of a test's own on the loopback: DNS and FTP, honest ones and others."""
import contextlib
import posixpath
import socket
import socketserver
import struct
import threading

ADDRESS = socket.inet_aton('198.51.100.9')


def question_of(query):
    """The name, and where the question ends."""
    labels, at = [], 12
    while query[at]:
        labels.append(query[at + 1:at + 1 + query[at]].decode())
        at += query[at] + 1
    return '.'.join(labels).lower(), at + 5


def answer_to(query, address=ADDRESS, owner=b'\xc0\x0c', flags=0x8180):
    _, end = question_of(query)
    record = owner + struct.pack('>HHIH', 1, 1, 60, 4) + address
    return query[:2] + struct.pack('>HHHHH', flags, 1, 1, 0, 0) + query[12:end] + record


class DnsServer:
    """What it does stands in the first label of the name: see answers()."""

    def __init__(self):
        self.asked = []

    def answers(self, query, tcp):
        """Messages, each with whether it comes from somewhere else."""
        name, end = question_of(query)
        kind = name.split('.')[0]
        wrong = socket.inet_aton('203.0.113.66')
        good = (answer_to(query), False)
        if kind == 'silent':
            return []
        if kind == 'large' and not tcp:
            return [(query[:2] + struct.pack('>HHHHH', 0x8380, 1, 0, 0, 0) + query[12:end], False)]
        if kind == 'large':
            records = b''.join(b'\xc0\x0c' + struct.pack('>HHIH', 1, 1, 60, 4) + ADDRESS for _ in range(200))
            return [(query[:2] + struct.pack('>HHHHH', 0x8180, 1, 200, 0, 0) + query[12:end] + records, False)]
        forged = {
            'wrongid': (bytes([query[0] ^ 0xFF]) + answer_to(query, wrong)[1:], False),
            'elsewhere': (answer_to(query, wrong), True),
            'otherquestion': (answer_to(query[:13] + b'x' + query[14:], wrong), False),
            'loop': (answer_to(query, wrong, struct.pack('>H', 0xC000 | end)), False),
            'rounds': (answer_to(query, wrong, b'\x01a' + struct.pack('>H', 0xC000 | end)), False),
            'cut': (answer_to(query, wrong)[:-2], False),
            'rubbish': (query[:2] + b'\xff' * 500, False),
        }.get(kind)
        return [forged, good] if forged else [good]

    def __enter__(self):
        self.stack = contextlib.ExitStack()
        outer = self

        class Datagrams(socketserver.BaseRequestHandler):
            def handle(self):
                query, reply = self.request
                outer.asked.append(question_of(query)[0])
                for message, elsewhere in outer.answers(query, False):
                    if elsewhere:
                        with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as other:
                            other.sendto(message, self.client_address)
                    else:
                        reply.sendto(message, self.client_address)

        class Streams(socketserver.StreamRequestHandler):
            def handle(self):
                length = self.rfile.read(2)
                query = self.rfile.read(struct.unpack('>H', length)[0])
                for message, _ in outer.answers(query, True):
                    self.wfile.write(struct.pack('>H', len(message)) + message)

        for _ in range(20):  # a port that both have free
            datagrams = socketserver.ThreadingUDPServer(('127.0.0.1', 0), Datagrams)
            try:
                streams = socketserver.ThreadingTCPServer(('127.0.0.1', datagrams.server_address[1]), Streams)
                break
            except OSError:
                datagrams.server_close()
        self.address = f'127.0.0.1:{datagrams.server_address[1]}'
        for server in (datagrams, streams):
            server.daemon_threads = True
            serve(self.stack, server)
        return self

    def __exit__(self, *_):
        self.stack.close()


def serve(stack, server):
    thread = threading.Thread(target=server.serve_forever, kwargs={'poll_interval': 0.05})
    thread.start()
    stack.callback(server.server_close)
    stack.callback(thread.join)
    stack.callback(server.shutdown)


class FtpHandler(socketserver.StreamRequestHandler):
    def say(self, text):
        self.wfile.write(f'{text}\r\n'.encode())

    def handle(self):
        self.listener = None
        self.folder = '/'
        self.say('220 ready')
        for line in self.rfile:
            command, _, argument = line.decode().strip().partition(' ')
            self.server.commands.append(line.decode().strip())
            # Several servers pass over blanks in front of a name.
            argument = argument.strip()
            answer = getattr(self, 'on_' + command.lower(), None)
            if command.upper() == 'QUIT':
                return self.say('221 bye')
            if answer:
                answer(argument)
            else:
                self.say('200 fine')

    def on_user(self, _):
        self.say('331 password')

    def on_pass(self, _):
        self.say('230 welcome')

    def on_pwd(self, _):
        self.say(f'257 "{self.folder}"')

    def on_cwd(self, argument):
        self.folder = posixpath.join(self.folder, argument)
        self.say('250 there')

    def on_auth(self, _):
        self.say('502 no TLS here')

    def on_syst(self, _):
        self.say('215 UNIX Type: L8')

    def on_size(self, argument):
        self.say(f'213 {len(self.content(argument))}')

    def content(self, name):
        return f'the content of {name}'.encode()

    def on_epsv(self, _):
        self.listener = socket.create_server((self.server.server_address[0], 0))
        self.say(f'229 Entering Extended Passive Mode (|||{self.listener.getsockname()[1]}|)')

    def on_pasv(self, _):
        self.listener = socket.create_server((self.server.server_address[0], 0))
        host, port = self.listener.getsockname()
        self.say(f'227 Entering Passive Mode ({host.replace(".", ",")},{port >> 8},{port & 255})')

    def transfer(self, content):
        self.say('150 here it comes')
        self.listener.settimeout(30)
        connection, _ = self.listener.accept()
        with connection:
            connection.sendall(content)
        self.listener.close()
        self.say('226 done')

    def on_retr(self, argument):
        self.transfer(self.content(argument))

    def on_list(self, _):
        self.transfer(b'-rw-r--r-- 1 a b 5 Jan  1 00:00 file\r\n')


class FtpServer:
    """On 127.0.0.21, port 2121: a port that clients take for FTP, on an address that nobody else uses."""

    def __enter__(self):
        self.stack = contextlib.ExitStack()
        server = socketserver.ThreadingTCPServer.__new__(socketserver.ThreadingTCPServer)
        server.allow_reuse_address = True
        server.__init__(('127.0.0.21', 2121), FtpHandler)
        server.daemon_threads = True
        server.commands = []
        self.commands = server.commands
        serve(self.stack, server)
        return self

    def __exit__(self, *_):
        self.stack.close()
