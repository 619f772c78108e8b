"""Real clients of DNS, SOCKS5 and FTP through tarnhost serve, under Wine."""
import ftplib
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

import servers
import serving
import wire


def run(*command):
    return subprocess.run(list(map(str, command)), capture_output=True, text=True, check=False, timeout=60)


class Wire(unittest.TestCase):
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
        cls.secure = cls.enterClassContext(serving.Origin(tls=serving.certificate(cls.folder)))
        cls.files = cls.enterClassContext(servers.FtpServer())
        cls.serving = cls.enterClassContext(wire.WireServing(cls.folder / 'bin', dns_upstream=cls.names.address))

    def dig(self, name, *options, kind='A'):
        port = self.serving.dns.rsplit(':', 1)[1]
        return run('dig', '@127.0.0.1', '-p', port, '+tries=1', '+time=15', *options, name, kind).stdout

    def curl(self, *arguments):
        return run('curl', '--silent', '--show-error', '--insecure', '--max-time', '40', '--socks5-hostname',
                   self.serving.socks, *arguments)

    # ---- DNS ----

    def test_dig_gets_what_the_server_says(self):
        self.assertEqual(self.dig('good.example', '+short'), '198.51.100.9\n')
        self.assertEqual(self.dig('good.example', '+short', '+tcp'), '198.51.100.9\n')
        self.assertIn('good.example', self.names.asked)
        event = self.serving.wait_for(lambda event: (event.get('protocol'), event.get('host')) == ('dns', 'good.example'))
        self.assertEqual(event['flow']['server_port'], 53)

    def test_kdig_asks_over_tcp_and_gets_a_large_answer_over_it(self):
        host, port = self.serving.dns.rsplit(':', 1)
        ran = run('kdig', f'@{host}', '-p', port, '+tcp', 'good.example', 'A')
        self.assertIn('status: NOERROR', ran.stdout)
        self.assertIn('198.51.100.9', ran.stdout)
        large = run('kdig', f'@{host}', '-p', port, 'large.example', 'A').stdout  # it asks again over TCP by itself
        self.assertEqual(large.count('198.51.100.9'), 200)

    def test_a_refused_name_is_not_found(self):
        said = self.dig('www.refused.example')
        self.assertIn('status: NXDOMAIN', said)
        self.assertNotIn('198.51.100.9', said)
        event = self.serving.wait_for(lambda event: event.get('host') == 'www.refused.example')
        self.assertEqual((event['verdict'], event['reason']), ('blocked', 6))
        self.assertEqual(event['entry']['text'], 'refused.example')

    def test_forged_answers_are_dropped(self):
        for kind in ('wrongid', 'elsewhere', 'otherquestion', 'loop', 'rounds', 'cut', 'rubbish'):
            with self.subTest(kind):
                self.assertEqual(self.dig(f'{kind}.example', '+short'), '198.51.100.9\n')

    def test_a_silent_server_is_told(self):
        self.assertIn('status: SERVFAIL', self.dig('silent.example'))
        error = self.serving.wait_for(lambda event: event['type'] == 'error')
        self.assertIn('no DNS server answers', error['text'])
        self.assertEqual(self.dig('good.example', '+short'), '198.51.100.9\n')

    def test_what_a_refused_name_gets_can_be_chosen(self):
        for options, four, six in ((['--dns-refused', 'zero'], '0.0.0.0\n', '::\n'),
                                   (['--dns-refused', 'block_page', '--block-page-address', '127.0.0.44:0'],
                                    '127.0.0.44\n', '')):
            with wire.WireServing(self.folder / 'chosen', *options, dns_upstream=self.names.address) as chosen:
                port = chosen.dns.rsplit(':', 1)[1]
                for kind, expected in (('A', four), ('AAAA', six)):
                    ran = run('dig', '@127.0.0.1', '-p', port, '+tries=1', '+short', 'refused.example', kind)
                    self.assertEqual(ran.stdout, expected)

    # ---- SOCKS5 ----

    def test_curl_goes_through_socks(self):
        url = f'http://good.example:{self.origin.port}'
        ran = self.curl(f'{url}/one', f'{url}/two')
        self.assertEqual(ran.stdout, 'you asked for /oneyou asked for /two', ran.stderr)
        paths = [event['path'] for event in self.serving.verdicts('good.example') if event['protocol'] == 'http']
        self.assertEqual(paths, ['/one', '/two'])
        by_address = run('curl', '--silent', '--socks5', self.serving.socks, f'http://127.0.0.1:{self.origin.port}/four')
        self.assertEqual(by_address.stdout, 'you asked for /four')

    def test_what_is_blocked_is_never_opened(self):
        before = len(self.origin.asked), len(self.secure.asked)
        ran = self.curl('--include', f'http://bad.example:{self.origin.port}/')
        self.assertIn('403 Forbidden', ran.stdout)
        ran = self.curl(f'https://bad.example:{self.secure.port}/')
        self.assertNotEqual(ran.returncode, 0)
        self.assertEqual((len(self.origin.asked), len(self.secure.asked)), before)
        ran = self.curl(f'https://good.example:{self.secure.port}/tls')
        self.assertEqual(ran.stdout, 'you asked for /tls', ran.stderr)

    # ---- FTP over SOCKS5 ----

    def test_curl_gets_a_file_over_ftp(self):
        ran = self.curl('ftp://ftp.example:2121/good.bin')
        self.assertEqual(ran.stdout, 'the content of good.bin', ran.stderr)

    def test_ftp_is_judged_by_the_folder_of_its_client(self):
        ran = self.curl('ftp://ftp.example:2121/pub/good.bin')
        self.assertEqual(ran.stdout, 'the content of good.bin', ran.stderr)
        ran = self.curl('ftp://ftp.example:2121/pub/hidden.bin')
        self.assertNotEqual(ran.returncode, 0)
        self.assertIn('RETR good.bin', self.files.commands)
        self.assertNotIn('RETR hidden.bin', self.files.commands)

    def test_ftp_over_connect_is_judged_from_the_beginning(self):
        sly = wire.hello('good.example') + b'\r\nretr  /evil.bin\r\n'
        for said, refusal in ((b'USER a\r\nPASS b\r\nretr  /evil.bin\r\nQUIT\r\n', b'550 Blocked'),
                              (b'AUTH TLS\r\n' + sly, b'500 The server did not agree to TLS'), (sly, b'500 ')):
            with self.serving.connect(self.serving.proxy) as client:
                client.sendall(b'CONNECT ftp.example:2121 HTTP/1.1\r\nHost: ftp.example:2121\r\n\r\n' + said)
                self.assertIn(refusal, wire.receive_all(client))
        self.assertNotIn('evil', str(self.files.commands))

    def test_ftp_is_judged_command_by_command(self):
        serving_host = self.serving

        class Client(ftplib.FTP):
            def ntransfercmd(self, cmd, rest=None):
                host, port = self.makepasv()
                data = serving_host.through_socks('ftp.example', port)
                reply = self.sendcmd(cmd)
                if not reply.startswith('1'):
                    raise ftplib.error_reply(reply)
                return data, None

        client = Client()
        client.sock = self.serving.through_socks('ftp.example', 2121)
        client.af = client.sock.family
        client.file = client.sock.makefile('r', encoding='utf-8')
        self.assertTrue(client.getresp().startswith('220'))
        client.login('anna', 'secret word')
        got = []
        client.retrbinary('RETR /fine.bin', got.append)
        self.assertEqual(b''.join(got), b'the content of /fine.bin')
        with self.assertRaises(ftplib.error_perm) as refused:
            client.sendcmd('RETR /evil.bin')
        self.assertTrue(str(refused.exception).startswith('550 Blocked'))
        self.assertEqual(client.pwd(), '/')
        client.quit()
        self.assertNotIn('RETR /evil.bin', self.files.commands)
        self.assertIn('PASS secret word', self.files.commands)
        self.assertNotIn('secret word', str(self.serving.events))
        self.serving.wait_for(lambda event: event.get('protocol') == 'ftp' and event['verdict'] == 'blocked'
                              and event['path'] == 'RETR /evil.bin')


if __name__ == '__main__':
    unittest.main()
