"""tarnhost serve with a policy of a test's own, and web servers on the loopback that stand behind it."""
import http.server
import json
import os
import shutil
import signal
import socket
import ssl
import subprocess
import threading
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
BIN = ROOT / 'build' / 'windows' / 'bin'
LONG_AGO = 1_000_000_000  # a policy that was written then is at rest
# A private server is not asked about in the threat lists, so the loopback stands for public addresses.
MAPPED = ['--map', '127.0.0.1=198.51.100.7', '--map', '::1=2001:db8::7']
NAMES = ['good.example', 'bad.example', 'part.example', 'later.example']


class Serving:
    """The running program. Its events are read along, so that none keeps it waiting."""

    def __init__(self, folder, policy, *options, proxy='127.0.0.1:0'):
        self.folder = Path(folder)
        self.folder.mkdir(parents=True, exist_ok=True)
        for module in [*BIN.glob('*.dll'), *BIN.glob('*.DLL')]:
            if not (self.folder / module.name).exists():
                try:
                    os.link(module, self.folder / module.name)
                except OSError:
                    shutil.copy(module, self.folder)
        self.policy = self.folder / 'tarn-policy.toml'
        self.policy.write_text(policy, encoding='utf-8')
        os.utime(self.policy, (LONG_AGO, LONG_AGO))
        hosts = [part for name in NAMES for part in ('--hosts', f'{name}=127.0.0.1')]
        self.command = [ROOT / 'cmake' / 'wine-run', BIN / 'tarnhost.exe', '--json', '--install-folder', self.folder,
                        *MAPPED, 'serve', '--proxy', proxy, '--socks', 'off', '--status', 'off', *hosts, *options]
        self.events = []
        self.changed = threading.Condition()

    def __enter__(self):
        self.process = subprocess.Popen(list(map(str, self.command)), stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                        stdin=subprocess.DEVNULL, text=True, cwd=ROOT)
        self.reader = threading.Thread(target=self.read)
        self.reader.start()
        try:
            started = self.wait_for(lambda event: event['type'] == 'serve')
        except TimeoutError as error:
            self.process.kill()
            raise RuntimeError(self.process.stderr.read()) from error
        self.proxy = started['proxy']
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.stop()
        self.process.stdout.close()
        self.process.stderr.close()

    def read(self):
        for line in self.process.stdout:
            with self.changed:
                self.events.append(json.loads(line))
                self.changed.notify_all()
        with self.changed:
            self.changed.notify_all()

    def wait_for(self, fits, seconds=60, since=0):
        """The first event that fits, of those from number since on."""
        end = time.monotonic() + seconds
        with self.changed:
            while True:
                for event in self.events[since:]:
                    if fits(event):
                        return event
                left = end - time.monotonic()
                if left <= 0 or (self.process.poll() is not None and not self.reader.is_alive()):
                    raise TimeoutError(f'no such event; the last ones: {self.events[-3:]}')
                self.changed.wait(min(left, 1))

    def change(self, policy):
        """Writes the policy and waits until the library was told."""
        since = len(self.events)
        self.policy.write_text(policy, encoding='utf-8')
        return self.wait_for(lambda event: event['type'] == 'policy' and event['event'] in ('changed', 'kept'),
                             since=since)

    def verdicts(self, host):
        return [event for event in self.events if event['type'] == 'verdict' and event['host'].startswith(host)]

    def interrupt(self):
        self.process.send_signal(signal.SIGINT)

    def stop(self, seconds=60):
        """Ctrl+C; its exit status."""
        self.interrupt()
        try:
            code = self.process.wait(seconds)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise
        self.reader.join()
        return code


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = 'HTTP/1.1'
    LARGE = 200 * 1024 * 1024
    PIECE = bytes(range(256)) * 1024

    def log_message(self, *_):
        pass

    def answer(self, body, status=200):
        self.send_response(status)
        self.send_header('Content-Length', str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def do_GET(self):  # noqa: N802
        self.server.asked.append(self.path)
        if self.path == '/large':
            self.send_response(200)
            self.send_header('Content-Length', str(self.LARGE))
            self.end_headers()
            for _ in range(self.LARGE // len(self.PIECE)):
                self.wfile.write(self.PIECE)
        elif self.path == '/chunked':
            self.send_response(200)
            self.send_header('Transfer-Encoding', 'chunked')
            self.end_headers()
            for piece in [b'one ', b'two ', b'three']:
                self.wfile.write(f'{len(piece):x}\r\n'.encode() + piece + b'\r\n')
            self.wfile.write(b'0\r\n\r\n')
        elif self.path.startswith('/files/') and self.server.files:
            file = self.server.files / self.path.removeprefix('/files/').split('?')[0]
            self.answer(file.read_bytes() if file.is_file() else b'', 200 if file.is_file() else 404)
        else:
            self.answer(f'you asked for {self.path}'.encode())

    def do_POST(self):  # noqa: N802
        self.server.asked.append(self.path)
        if self.headers.get('Transfer-Encoding') == 'chunked':
            body = b''
            while size := int(self.rfile.readline().split(b';')[0], 16):
                body += self.rfile.read(size)
                self.rfile.readline()
            self.rfile.readline()
        else:
            body = self.rfile.read(int(self.headers['Content-Length']))
        self.answer(b'you sent ' + str(len(body)).encode() + b' bytes, the last is ' + body[-1:])


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    def handle_error(self, *_):
        """A client that hangs up is no matter here."""


class Server6(Server):
    address_family = socket.AF_INET6


class Origin:
    """A web server; port says where."""

    def __init__(self, tls=None, ipv6=False, files=None):
        self.server = (Server6 if ipv6 else Server)(('::1' if ipv6 else '127.0.0.1', 0), Handler)
        self.server.asked = []
        self.server.files = files
        if tls:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(*tls)
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True)
        self.port = self.server.server_address[1]

    def __enter__(self):
        self.thread = threading.Thread(target=self.server.serve_forever)
        self.thread.start()
        return self

    def __exit__(self, *_):
        self.server.shutdown()
        self.thread.join()
        self.server.server_close()

    @property
    def asked(self):
        return self.server.asked


def certificate(folder):
    """A certificate and its key, of nobody's."""
    names = [Path(folder) / 'certificate.pem', Path(folder) / 'key.pem']
    subprocess.run(['openssl', 'req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:prime256v1', '-nodes',
                    '-subj', '/CN=good.example', '-days', '2', '-out', names[0], '-keyout', names[1]], check=True,
                   capture_output=True)
    return names
