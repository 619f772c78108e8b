"""The model of the library by itself, held against cases that were worked out by hand. No library is needed."""
import random
import struct
import sys
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[2] / 'tests' / 'model'))

from checking.lines import answer_of, lines_of  # noqa: E402
from checking.outcomes import EXPECTED, Outcomes  # noqa: E402
from checking.showing import runs  # noqa: E402
from judge import addresses, dns, hello, schedule, sessions, sites, smb, urls  # noqa: E402
from judge.blocked import BlockedList  # noqa: E402
from judge.machine import Facts, classify  # noqa: E402
from judge.player import Player  # noqa: E402
from judge.protection import ListedSites, threat_of  # noqa: E402
from judge.settings import Memory, Parental, Plain, Profile, Site, SiteList, SiteRule, UrlList, UserUrl  # noqa: E402
from making.lives import Script  # noqa: E402

SID = '010500000000000515000000000000000000000000000000e8030000'
FACTS = (f'pid=32 sid={SID} user={"me".encode("utf-16-le").hex()} path={"C:/x.exe".encode("utf-16-le").hex()} '
         'windows=10,0,19042,1,9')
PUBLIC = addresses.ipv4(bytes((203, 0, 113, 5)))


def get(target, host):
    return b'GET ' + target + b' HTTP/1.1\r\nHost: ' + host + b'\r\n\r\n'


class Requests(unittest.TestCase):
    def test_http(self):
        self.assertEqual(urls.parse_http(get(b'/', b'Example.ORG:8080')), (b'example.org', b'', b'Example.ORG:8080'))
        self.assertEqual(urls.parse_http(b'CONNECT example.org:443 HTTP/1.1\r\nHost: example.org:443\r\n\r\n'),
                         (b'example.org', b'/', b'https://example.org:443'))
        self.assertEqual(urls.parse_http(get(b'http://example.net//x//y?q#f', b'example.net'))[:2],
                         (b'example.net', b'/x/y'))
        self.assertEqual(urls.parse_http(get(b'/x', b'[::1]:80'))[0], b'[::1]')
        for wrong in (b'GET / HTTP/1.1\r\nhost: a\r\n', b'GET / HTTP/1.1\r\nHost: a', b'PUT / HTTP/1.1\r\nHost: a\r\n'):
            with self.assertRaises(urls.Refused):
                urls.parse_http(wrong)

    def test_bounds_of_a_host_and_a_path(self):
        self.assertEqual(len(urls.parse_http(get(b'/', b'h' * 259))[0]), 259)
        with self.assertRaises(urls.Overflow):
            urls.parse_http(get(b'/', b'h' * 260))
        self.assertEqual(len(urls.normalise(b'/' + b'p' * 1022)), 1023)
        with self.assertRaises(urls.Overflow):
            urls.normalise(b'p' * 1023)

    def test_ftp(self):
        self.assertEqual(urls.parse_ftp(b'RETR File\r\n'), (b'/file', b'/File'))
        self.assertEqual(urls.parse_ftp(b'LIST -la\r\n'), (b'/', b'/'))
        self.assertEqual(urls.parse_ftp(b'CWD x'), (b'x', b'x'))
        for wrong in (b' RETR x\r\n', b'CWD /x\r\nRETR y\r\n', b'RETR \r\n', b'USER x\r\n'):
            with self.assertRaises(urls.Refused):
                urls.parse_ftp(wrong)

    def test_lists(self):
        listed = urls.published((b'example.org/', b'*bad', b'', b'*'))
        for url, expected in ((b'EXAMPLE.org/x', True), (b'example.organ', False), (b'a.bad?x', True),
                              (b'badx.bad', False), (b'x', False)):
            self.assertEqual(urls.in_url_list(listed, url), expected, url)
        self.assertTrue(urls.is_domain(b'abc.other.org', b'abc', 0))
        self.assertFalse(urls.is_domain(b'x.abc.org', b'abc.org', 0))
        users = urls.UserList((UserUrl(b'a.org', kind=2),))
        self.assertEqual([users.has_host(b'www.a.org', b'', mode) for mode in (1, 2, 3, 4)], [False, False, True, True])

    def test_hello(self):
        name = b'example.org'
        extension = struct.pack('>HHHBH', 0, len(name) + 5, len(name) + 3, 0, len(name)) + name
        body = b'\3\3' + bytes(32) + b'\0' + b'\0\2\0\0' + b'\1\0' + struct.pack('>H', len(extension)) + extension
        record = b'\x16\3\1\0\0\1\0\0\0' + body
        self.assertEqual(hello.server_name(record), name)
        self.assertIsNone(hello.server_name(record[:-1]))
        self.assertIsNone(hello.server_name(record[:9] + b'\3\0' + record[11:]))
        self.assertEqual(hello.server_name(b'\x16\3\1\0\0\1\0\0\0\3\3' + bytes(32) + b'\0\0\2\0\0\1\0\0\0'), b'')


class Addresses(unittest.TestCase):
    def test_private(self):
        for text, expected in (('10.0.0.0', False), ('10.0.0.1', True), ('10.255.255.254', True),
                               ('10.255.255.255', False), ('192.168.0.0', False), ('172.31.255.255', False)):
            record = addresses.ipv4(bytes(int(part) for part in text.split('.')))
            self.assertEqual(addresses.is_private(record), expected, text)
        self.assertTrue(addresses.is_private(addresses.ipv6(b'\xfd' + bytes(15))))
        self.assertFalse(addresses.is_private(addresses.ipv6(b'\xfc' + bytes(15))))

    def test_site_tables(self):
        number = b'\0' + bytes((1, 0, 168, 192)) + bytes(12)
        tables = sites.SiteTables((SiteRule(b'Shop.Example', b'/A', flag=0, kind=4, addresses=(number,)),
                                   SiteRule(b'shop.example', b'/b', flag=0, kind=3)))
        self.assertEqual([(entry.text, entry.kind) for entry in tables.hosts],
                         [(b'shop.example', 1), (b'192.168.0.1', 4), (b'0xc0a80001', 4)])
        self.assertEqual(tables.hosts[0].paths, [b'/a', b'/b'])
        self.assertTrue(sites.matches(tables, b'www.shop.example', b'/a/x', PUBLIC, 1))
        self.assertFalse(sites.matches(tables, b'wwwshop.example', b'/a', PUBLIC, 1))
        self.assertFalse(sites.matches(tables, b'shop.example', b'/ab', PUBLIC, 1))

    def test_a_port_behind_a_host(self):
        tables = sites.SiteTables((SiteRule(b'[2001:db8::1]'), SiteRule(b'a.org')))
        for host in (b'[2001:db8::1]:8443', b'a.org:80', b'www.a.org:80'):
            self.assertTrue(sites.matches(tables, host, b'', bytes(17), 3), host)
        self.assertFalse(sites.matches(tables, b'[2001:db8::2]:8443', b'', bytes(17), 3))

    def test_ring(self):
        message = struct.pack('>6H', 1, 0x8180, 1, 1, 0, 0) + b'\1a\1b\0\0\1\0\1'
        message += b'\xc0\x0c' + struct.pack('>HHIH', 1, 1, 0, 4) + PUBLIC[1:5]
        self.assertEqual(dns.parse(message), (b'a.b', [PUBLIC]))
        for wrong in (message[:-1], message[:2] + b'\x80\0' + message[4:], message[:12]):
            with self.assertRaises(dns.Unreadable):
                dns.parse(wrong)
        ring = dns.Ring(True)
        for number in range(3001):
            ring.store(b'%d' % number, [PUBLIC])
        self.assertEqual((ring.index, ring.name_of(PUBLIC), ring.slots[1].name), (1, b'3000', b'1'))


class Tables(unittest.TestCase):
    def test_blocked_list(self):
        listed = BlockedList()
        listed.add(b'www.Example.org', b'www.example.org/Path?q=1 HTTP/1.1')
        self.assertEqual(listed.pairs, {(b'example.org', b'/path')})
        self.assertTrue(listed.has(b'WWW.EXAMPLE.ORG', b'/PATH/'))
        self.assertFalse(listed.has(b'example.org', b'/path/x'))

    def test_threats(self):
        listed = ListedSites(SiteList(True, (Site(b'a.org', 1, ((b'Path', b'/x'), (b'Whole', b'/'))),)))
        self.assertEqual(threat_of(listed, b'www.a.org', b'/X/y'), b'Path')
        self.assertEqual(threat_of(listed, b'a.org', b'/xy'), b'Whole')
        self.assertIsNone(threat_of(listed, b'sub.a.org', b'/x'))

    def test_intervals(self):
        def of(*ranges):
            return schedule.intervals_of((ranges,) + ((),) * 6)
        self.assertEqual(of((1, 0, 2, 0), (2, 0, 3, 0), (23, 0, 23, 59)), [[60, 180], [1380, 1440]])
        self.assertEqual(of((5, 0, 6, 0), (1, 0, 2, 0)), [[300, 360]], 'the one in front is lost')
        self.assertEqual(of((24, 0, 25, 0)), [])
        with self.assertRaises(schedule.Unbuildable):
            of((10, 0, 10, 0))

    def test_identifiers(self):
        self.assertEqual(len(sessions.identifier_of(b'\1\5' + bytes(62))), 28)
        self.assertEqual(len(sessions.identifier_of(b'\1\x0e' + bytes(62))), 64)
        self.assertIsNone(sessions.identifier_of(b'\1\x0f' + bytes(62)))
        self.assertIsNone(sessions.identifier_of(b'\2\5' + bytes(62)))

    def test_smb(self):
        self.assertEqual(smb.Smb().scan(b'\0' * 13)[0], 0)
        tables = smb.Tables()
        tables.park(1, True, 'share'.encode('utf-16-le'))
        tables.park(1, False, b'x\0')
        found = smb.Record(1058)
        self.assertTrue(smb.answer(tables, 1, 0, 'me', 7, None, (), found))
        self.assertFalse(smb.answer(tables, 1, 0, 'me', 7, None, (), found), 'the request is gone')
        self.assertTrue(smb.end(tables, 'me', 7))
        self.assertFalse(smb.end(tables, 'me', 7))

    def test_versions_of_the_system(self):
        self.assertEqual([classify(10, 0, build, 1, 9) for build in (21999, 22000)], [50042, 50049])
        self.assertEqual(classify(6, 1, 7601, 1, 9), 50033)
        self.assertEqual(classify(10, 0, 17763, 3, 0), 0)


class Calls(unittest.TestCase):
    def setUp(self):
        self.player = Player(Facts(FACTS))

    def answers(self, **values):
        for field, value in values.items():
            self.player.play({'do': 'answer', 'field': field, 'value': value})
        return self.player.play({'call': 'WSInit', 'mode': 1, 'cell': 7})

    def scan(self, data, **changes):
        request = {'call': 'WSScanUrl', 'process': 'self', 'data': data, 'address': PUBLIC, 'port': 20480, 'stop': 0,
                   'kind': 1, 'nulls': '-'}
        return self.player.play({**request, **changes})

    def test_an_ordinary_start(self):
        lines = self.answers().fields['journal'].split(b'\n')
        self.assertEqual(lines[:5], [b'load setrd.dll', b'load statrd.dll', b'load pktsig.dll', b'PKSInit',
                                     b'load sitecls.dll'])
        self.assertEqual(lines[-2], b'ReadIDSSettings')

    def test_a_malicious_site_and_the_white_list(self):
        listed = SiteList(True, (Site(b'bad.org', 1, ((b'Worm', b''),)),))
        self.answers(bpStatus=Plain(b'\1'), bpPrompt=Plain(b'\3\4'), bpSettings=listed,
                     bpUserWhiteList=UrlList((b'bad.org/good',)))
        fields = self.scan(get(b'/x', b'bad.org')).fields
        self.assertEqual((fields['result'], fields['verdict'][:8]), ('1', bytes(4) + b'\2\0\0\0'))
        self.assertEqual(fields['prompt'], b'\3\4')
        self.assertEqual(fields['verdict'][8:13] + fields['verdict'][58:68], b'Worm\0' + b'bad.org/x\0')
        self.assertEqual(set(fields['verdict'][68:]), {0xCD}, 'nothing else is written')
        self.assertIn(b'ZRQuarantineFile', fields['journal'])
        self.assertEqual(self.scan(get(b'/good', b'bad.org')).fields['verdict'][:8], b'\1\0\0\0\t\0\0\0')

    def test_a_blocked_category(self):
        profile = Profile(profile_switch=1, category_switch=1, blocked_categories=(7,))
        self.answers(pcSettings=Parental(1, b'\x1f\x20', 3, (profile,)), categoryCount=Plain(b'\2\0'),
                     categories=Plain(struct.pack('<8H', 5, 7, 0, 0, 0, 0, 0, 0)))
        self.assertEqual(self.scan(get(b'/', b'a.org')).fields['verdict'][4], 26, 'one category counts')
        self.answers(pcSettings=Parental(1, b'\x1f\x20', 1, (profile,)))
        fields = self.scan(get(b'/', b'a.org')).fields
        self.assertEqual((fields['verdict'][:8], fields['prompt']), (bytes(4) + b'\7\0\0\0', b'\x1f\x20'))
        self.assertEqual(fields['unreleased'], '0')

    def test_refused_arguments_leave_everything(self):
        for nulls in 'rdzvp':
            fields = self.scan(get(b'/', b'a.org'), nulls=nulls).fields
            self.assertEqual((fields['result'], set(fields['verdict']), fields['data'][-1]), ('0', {0xCD}, 0xAB))


class Scripts(unittest.TestCase):
    def test_a_seed_always_gives_the_same_script(self):
        def first(seed):
            stream = Script(random.Random(seed), Facts(FACTS)).steps()
            return [line for number, step in zip(range(300), stream) for line in lines_of(step, number)]
        self.assertEqual(first('3'), first('3'))
        self.assertNotEqual(first('3'), first('4'))

    def test_records_with_their_pointers(self):
        memory = Memory('m')
        data, inside = SiteList(False, (Site(b'a', 1, (b'/x',)),)).encode(memory)
        self.assertEqual((data, inside), (b'\1' + bytes(11), {4: 'm2'}))
        self.assertEqual([len(block) for _, block, _ in memory.blocks], [1032, 2, 21])
        self.assertEqual(memory.blocks[2][2], {5: 'm1', 13: 'm0'})
        self.assertEqual([len(Parental(profiles=(Profile(),)).encode(Memory())[0]), len(Profile().encode(Memory())[0])],
                         [588, 526])

    def test_lines_of_the_driver(self):
        said = answer_of({'call': 'WSScanSMBPacket'}, '1 found=0:07,4:10ff worker=none unreleased=0 journal=410a')
        self.assertEqual(said.fields['found'][:7], b'\x07\xcd\xcd\xcd\x10\xff\xcd')
        self.assertEqual((len(said.fields['found']), said.fields['journal']), (1058, b'A\n'))
        self.assertEqual(runs(b'abcd', b'aXYd'), [(1, b'bc', b'XY')])

    def test_what_was_never_met_is_said(self):
        outcomes = Outcomes()
        self.assertEqual(outcomes.missing(), list(EXPECTED))
        said = answer_of({'call': 'WSShutDown'}, '0 worker=none unreleased=0 journal=-')
        outcomes.hear({'call': 'WSShutDown'}, said)
        self.assertNotIn('WSShutDown', outcomes.missing())


if __name__ == '__main__':
    unittest.main()
