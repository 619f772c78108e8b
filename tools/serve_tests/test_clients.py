"""Real clients through tarnhost serve, under Wine: what they get, and what their servers never see."""
import hashlib
import json
import os
import socket
import struct
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

import serving

POLICY = '''[features]
browsing_protection = true
anti_phishing = true

[[malicious_sites]]
host = "bad.example"
threat = "Trojan.Sample"

[[malicious_sites]]
host = "part.example"
whole_site = false
threats = [{ name = "Script.Injector", path = "/evil" }]
'''


def run(*command, data=None, **environment):
    return subprocess.run(list(map(str, command)), input=data, capture_output=True, check=False, timeout=120,
                          env={**os.environ, 'no_proxy': '', **environment})


class Clients(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory(dir=serving.ROOT / 'build')
        cls.addClassCleanup(folder.cleanup)
        cls.folder = Path(folder.name)
        cls.origin = cls.enterClassContext(serving.Origin(files=cls.folder))
        cls.secure = cls.enterClassContext(serving.Origin(tls=serving.certificate(cls.folder)))
        cls.serving = cls.enterClassContext(serving.Serving(cls.folder / 'bin', POLICY, '--events',
                                                            cls.folder / 'events.jsonl'))

    @classmethod
    def enterClassContext(cls, context):  # noqa: N802  (of unittest from Python 3.11 on)
        entered = context.__enter__()
        cls.addClassCleanup(context.__exit__, None, None, None)
        return entered

    def curl(self, *arguments, data=None):
        return run('curl', '--silent', '--show-error', '--insecure', '--globoff', '--proxy', f'http://{self.serving.proxy}',
                   *arguments, data=data)

    def url(self, host, path='/'):
        return f'http://{host}:{self.origin.port}{path}'

    def connect(self):
        host, port = self.serving.proxy.rsplit(':', 1)
        return socket.create_connection((host, int(port)), timeout=60)

    def test_curl_gets_pages_and_keeps_its_connection(self):
        ran = self.curl('--verbose', self.url('good.example', '/1'), self.url('good.example', '/2'))
        self.assertEqual(ran.stdout, b'you asked for /1you asked for /2')
        self.assertIn(b'Re-using existing connection', ran.stderr)
        judged = [event['path'] for event in self.serving.verdicts('good.example') if event['path'] in ('/1', '/2')]
        self.assertEqual(judged, ['/1', '/2'])

    def test_curl_posts_and_takes_chunks(self):
        body = b'x' * 3_000_000 + b'!'
        for options in [[], ['--header', 'Transfer-Encoding: chunked']]:
            ran = self.curl('--data-binary', '@-', *options, self.url('good.example', '/post'), data=body)
            self.assertEqual(ran.stdout, b'you sent 3000001 bytes, the last is !')
        self.assertEqual(self.curl(self.url('good.example', '/chunked')).stdout, b'one two three')

    def test_a_large_download_is_whole(self):
        command = ['curl', '--silent', '--proxy', f'http://{self.serving.proxy}', self.url('good.example', '/large')]
        digest = hashlib.sha256()
        size = 0
        with subprocess.Popen(command, stdout=subprocess.PIPE, env={**os.environ, 'no_proxy': ''}) as ran:
            while piece := ran.stdout.read(1 << 20):
                digest.update(piece)
                size += len(piece)
        handler = serving.Handler
        expected = hashlib.sha256()
        for _ in range(handler.LARGE // len(handler.PIECE)):
            expected.update(handler.PIECE)
        self.assertEqual((size, digest.digest()), (handler.LARGE, expected.digest()))

    def test_ipv6_on_both_sides(self):
        with serving.Origin(ipv6=True) as origin:
            self.assertEqual(self.curl(f'http://[::1]:{origin.port}/six').stdout, b'you asked for /six')
        event = next(event for event in self.serving.events if event.get('path') == '/six')
        self.assertEqual((event['flow']['server'], event['flow']['server_mapped']), ('::1', '2001:db8::7'))
        with serving.Serving(self.folder / 'bin6', POLICY, proxy='[::1]:0') as six:
            ran = run('curl', '--silent', '--globoff', '--proxy', f'http://{six.proxy}', self.url('good.example', '/via6'))
            self.assertEqual(ran.stdout, b'you asked for /via6')

    def test_what_is_blocked_is_never_opened(self):
        before = len(self.origin.asked)
        for url, entry in [(self.url('bad.example'), 5), (self.url('part.example', '/evil'), 12)]:
            ran = self.curl('--include', url)
            self.assertIn(b'403 Forbidden', ran.stdout.splitlines()[0])
            self.assertIn(f'line {entry}'.encode(), ran.stdout)
        self.assertEqual(len(self.origin.asked), before)
        self.assertEqual(self.curl(self.url('part.example', '/fine')).stdout, b'you asked for /fine')
        event = self.serving.verdicts('bad.example')[0]
        self.assertEqual((event['verdict'], event['reason'], event['entry']['line']), ('blocked', 2, 5))

    def test_tls_is_judged_by_its_hello(self):
        good = self.curl(f'https://good.example:{self.secure.port}/tls')
        self.assertEqual(good.stdout, b'you asked for /tls')
        before = len(self.secure.asked)
        bad = self.curl(f'https://bad.example:{self.secure.port}/tls')
        self.assertNotEqual(bad.returncode, 0)
        self.assertIn(b'access denied', bad.stderr.lower())
        self.assertEqual(len(self.secure.asked), before)
        blocked = [event for event in self.serving.verdicts('bad.example') if event['protocol'] == 'tls']
        self.assertEqual(blocked[0]['verdict'], 'blocked')

    def test_wget_goes_through(self):
        proxy = f'http://{self.serving.proxy}'
        ran = run('wget', '--quiet', '-O', '-', self.url('good.example', '/wget'), http_proxy=proxy)
        self.assertEqual(ran.stdout, b'you asked for /wget')
        ran = run('wget', '-O', '-', self.url('bad.example', '/wget'), http_proxy=proxy)
        self.assertIn(b'403', ran.stderr)

    def test_git_clones(self):
        work = self.folder / 'work'
        run('git', 'init', '--quiet', work)
        (work / 'file').write_text('content\n', encoding='utf-8')
        author = {'GIT_AUTHOR_NAME': 'a', 'GIT_AUTHOR_EMAIL': 'a@b.example', 'GIT_COMMITTER_NAME': 'a',
                  'GIT_COMMITTER_EMAIL': 'a@b.example'}
        run('git', '-C', work, 'add', 'file')
        self.assertEqual(run('git', '-C', work, 'commit', '--quiet', '-m', 'First', **author).returncode, 0)
        run('git', 'clone', '--quiet', '--bare', work, self.folder / 'bare.git')
        run('git', '-C', self.folder / 'bare.git', 'update-server-info')
        ran = run('git', '-c', f'http.proxy=http://{self.serving.proxy}', 'clone', '--quiet',
                  self.url('good.example', '/files/bare.git'), self.folder / 'clone')
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertEqual((self.folder / 'clone' / 'file').read_text(encoding='utf-8'), 'content\n')

    def test_a_web_socket_client_goes_through(self):
        ran = run(Path(__file__).with_name('web_sockets.py'), self.serving.proxy, 'good.example', 'bad.example')
        self.assertEqual(ran.returncode, 0, ran.stderr)
        self.assertEqual(json.loads(ran.stdout), {
            'said': {'good.example': {'text': 'grüß dich', 'large': True, 'closed': 1000}, 'bad.example': {'status': 403}},
            'asked': ['good.example/chat']})
        judged = {(host, event['verdict']) for host in ('good.example', 'bad.example')
                  for event in self.serving.verdicts(host) if event.get('path') == '/chat'}
        self.assertEqual(judged, {('good.example', 'allowed'), ('bad.example', 'blocked')})

    def test_a_web_socket_passes_through_as_a_request_for_a_proxy(self):
        with socket.create_server(('127.0.0.1', 0)) as listener, self.connect() as client:
            port = listener.getsockname()[1]
            upgrade = f'GET http://HOST:{port}/chat HTTP/1.1\r\nHost: HOST:{port}\r\nUpgrade: websocket\r\nConnection: ' \
                      'Upgrade\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n\r\n'
            client.sendall(upgrade.replace('HOST', 'good.example').encode())
            server, _ = listener.accept()
            with server:
                request = server.recv(65536)
                self.assertIn(b'Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n', request)
                server.sendall(b'HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n'
                               b'Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n\r\n')
                reply = client.recv(65536)
                self.assertTrue(reply.startswith(b'HTTP/1.1 101 '))
                self.assertIn(b'Sec-WebSocket-Accept: s3pPLMBiTxaQ9kYGzzhZRbK+xOo=\r\n', reply)
                frame = struct.pack('>BB', 0x82, 126) + struct.pack('>H', 1000) + bytes(1000)
                client.sendall(frame)
                self.assertEqual(server.recv(len(frame), socket.MSG_WAITALL), frame)
                server.sendall(frame[::-1])
                self.assertEqual(client.recv(len(frame), socket.MSG_WAITALL), frame[::-1])
            with self.connect() as other:
                other.sendall(upgrade.replace('HOST', 'bad.example').encode())
                self.assertTrue(other.recv(65536).startswith(b'HTTP/1.1 403'))

    def test_pipelined_requests_are_answered_in_order(self):
        with self.connect() as client:
            hosts = ['good.example', 'bad.example', 'part.example']
            client.sendall(b''.join(f'GET {self.url(host, f"/p{i}")} HTTP/1.1\r\nHost: {host}\r\n\r\n'.encode()
                                    for i, host in enumerate(hosts)))
            client.shutdown(socket.SHUT_WR)
            said = b''
            while piece := client.recv(65536):
                said += piece
        places = [said.find(words) for words in (b'you asked for /p0', b'403 Forbidden', b'you asked for /p2')]
        self.assertNotIn(-1, places)
        self.assertEqual(places, sorted(places))

    def test_the_policy_is_followed(self):
        url = self.url('later.example', '/now')
        with serving.Serving(self.folder / 'following', POLICY) as following:
            def ask():
                return run('curl', '--silent', '--proxy', f'http://{following.proxy}', url).stdout
            self.assertEqual(ask(), b'you asked for /now')
            changed = following.change(POLICY + '[[malicious_sites]]\nhost = "later.example"\n')
            self.assertEqual(changed['event'], 'changed')
            self.assertIn(b'line 13', ask())
            kept = following.change('[features]\nanti_phishing = 1\n')
            self.assertEqual((kept['event'], kept['why']), ('kept', 'mistakes'))
            self.assertIn(b'line 13', ask())
            following.change(POLICY)
            self.assertEqual(ask(), b'you asked for /now')

    def test_a_policy_that_vanishes_counts_until_another_one_comes(self):
        with serving.Serving(self.folder / 'vanishing', POLICY) as vanishing:
            def ask(host):
                return run('curl', '--silent', '--proxy', f'http://{vanishing.proxy}', self.url(host, '/now')).stdout
            since = len(vanishing.events)
            vanishing.policy.unlink()
            kept = vanishing.wait_for(lambda event: event['type'] == 'policy' and event['event'] == 'kept', since=since)
            self.assertEqual(kept['why'], 'missing')
            self.assertIn(b'line 5', ask('bad.example'))
            self.assertEqual(ask('later.example'), b'you asked for /now')
            changed = vanishing.change(POLICY + '[[malicious_sites]]\nhost = "later.example"\n')
            self.assertEqual(changed['event'], 'changed')
            self.assertIn(b'line 13', ask('later.example'))

    def test_ctrl_c_lets_a_download_end(self):
        with serving.Serving(self.folder / 'ending', POLICY, '--events', self.folder / 'ending.jsonl') as ending:
            command = ['curl', '--silent', '--proxy', f'http://{ending.proxy}', '--limit-rate', '100M',
                       self.url('good.example', '/large'), '-o', '/dev/null', '-w', '%{size_download}']
            with subprocess.Popen(command, stdout=subprocess.PIPE, env={**os.environ, 'no_proxy': ''}) as download:
                ending.wait_for(lambda event: event['type'] == 'verdict')
                self.assertEqual(ending.stop(), 0)
                self.assertEqual(int(download.stdout.read()), serving.Handler.LARGE)
            stats = ending.events[-1]
            self.assertEqual((stats['type'], stats['requests'], stats['stopped']), ('stats', 1, False))
        lines = (self.folder / 'ending.jsonl').read_text(encoding='utf-8').splitlines()
        self.assertIn('"type":"stats"', lines[-1])

    def test_a_taken_port_is_told(self):
        second = serving.Serving(self.folder / 'bin', POLICY, proxy=self.serving.proxy)
        ran = run(*second.command)
        self.assertEqual(ran.returncode, 1)
        self.assertIn(b'is taken by another program', ran.stderr)


if __name__ == '__main__':
    unittest.main()
