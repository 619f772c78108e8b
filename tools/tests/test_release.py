import json
import os
import re
import struct
import subprocess
import tempfile
import time
import unittest
import xml.etree.ElementTree as xml
import zipfile
from pathlib import Path
from unittest import mock

from release import archive, installer, notices, origin, sbom

ROOT = Path(__file__).resolve().parent.parent.parent
WIX = {'wix': installer.SCHEMA}


class InFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def put(self, name, content='text'):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(content, encoding='utf-8')
        return path


class Archive(InFolder):
    def test_depends_on_names_and_bytes_alone(self):
        zips = []
        for name, order in (('one', ('b.txt', 'a/c.exe')), ('two', ('a/c.exe', 'b.txt'))):
            for file in order:
                path = self.put(f'{name}/{file}', file)
                os.utime(path, (time.time() - len(zips) * 9999,) * 2)
                path.chmod(0o700 if zips else 0o644)
            archive.write_zip(self.folder / name, self.folder / f'{name}.zip', 'top', 1_700_000_000)
            zips.append((self.folder / f'{name}.zip').read_bytes())
        self.assertEqual(*zips)
        with zipfile.ZipFile(self.folder / 'one.zip') as zipped:
            entries = zipped.infolist()
        self.assertEqual([entry.filename for entry in entries], ['top/a/c.exe', 'top/b.txt'])
        self.assertEqual(entries[0].date_time, (2023, 11, 14, 22, 13, 20))
        self.assertEqual([entry.external_attr >> 16 for entry in entries], [0o100755, 0o100644])

    def test_differences_are_named(self):
        for name, content in (('one', 'text'), ('two', 'other text')):
            self.put(f'{name}/same')
            self.put(f'{name}/changed', content)
            self.put(f'{name}/only in {name}')
            archive.write_zip(self.folder / name, self.folder / f'{name}.zip', 'top', 1_700_000_000)
        self.assertEqual(archive.differences(self.folder / 'one.zip', self.folder / 'two.zip'),
                         ['top/changed', 'top/only in one', 'top/only in two'])
        self.assertEqual(archive.differences(self.folder / 'one.zip', self.folder / 'one.zip'), [])

    def test_sums_are_what_sha256sum_reads_and_leave_out_themselves(self):
        self.put('a')
        self.put('b/c')
        archive.write_sums(self.folder, self.put('SUMS'))
        ended = subprocess.run(['sha256sum', '--check', '--strict', 'SUMS'], cwd=self.folder, capture_output=True,
                               text=True, check=False)
        self.assertEqual((ended.returncode, ended.stdout), (0, 'a: OK\nb/c: OK\n'))

    def test_finds_a_path_in_bytes_and_in_wide_units(self):
        self.put('a', 'xx/build/folder/yy')
        self.put('b', 'xx/build')
        (self.folder / 'c').write_bytes(b'\0' + '/build/folder'.encode('utf-16-le'))
        self.assertEqual(archive.files_that_name(self.folder, '/build/folder'), ['a', 'c'])


class Origin(InFolder):
    def test_version_is_that_of_the_project(self):
        self.put('CMakeLists.txt', 'cmake_minimum_required(VERSION 3.25)\nproject(tarn VERSION 4.5.6 LANGUAGES C)\n')
        self.assertEqual(origin.version(self.folder), '4.5.6')
        self.put('CMakeLists.txt', 'project(other)')
        self.assertRaises(ValueError, origin.version, self.folder)

    def test_time_is_given_or_the_commits(self):
        with mock.patch.dict(os.environ, SOURCE_DATE_EPOCH='12345'):
            self.assertEqual(origin.seconds(self.folder), 12345)
        with mock.patch.dict(os.environ):
            os.environ.pop('SOURCE_DATE_EPOCH', None)
            self.assertEqual(origin.seconds(self.folder), origin.WITHOUT_COMMIT)  # no clone
            self.commit_something()
            self.assertEqual(origin.seconds(self.folder), 1234567890)
        with mock.patch.dict(os.environ, SOURCE_DATE_EPOCH='yesterday'):
            self.assertRaises(ValueError, origin.seconds, self.folder)

    def test_a_clone_is_one_at_its_root_alone(self):
        self.assertFalse(origin.is_clone(self.folder))
        self.commit_something()
        self.assertTrue(origin.is_clone(self.folder))
        self.assertFalse(origin.is_clone(self.folder / 'inner'))

    def commit_something(self):
        self.put('inner/file', 'text')
        for command in (['init', '--quiet'], ['add', '.'],
                        ['-c', 'user.name=a', '-c', 'user.email=a@example', 'commit', '--quiet', '-m', 'a']):
            subprocess.run(['git', *command], cwd=self.folder, check=True,
                           env={**os.environ, 'GIT_COMMITTER_DATE': '1234567890 +0000'})


class Notices(InFolder):
    def test_name_every_library_that_the_build_takes(self):
        text = (ROOT / 'cmake' / 'header_libraries.cmake').read_text(encoding='utf-8')
        taken = ' '.join(re.findall(r'TARN_HEADER_LIBRARIES ([^)]+)\)', text)).split()
        self.assertGreater(len(taken), 2)
        named = [component.headers for component in notices.COMPONENTS if component.headers]
        self.assertEqual(sorted(taken), sorted(named))

    def test_bear_each_text_once_with_all_its_names(self):
        self.put('one/copyright', 'First text')
        self.put('two/copyright', 'Second text')
        components = [notices.Component(name, package, 'MIT', 'x.exe')
                      for name, package in (('A', 'one'), ('B', 'two'), ('C', 'one'))]
        with mock.patch.object(notices.Component, 'version', return_value='1.2'):
            text = notices.notices(components, self.folder)
        self.assertEqual((text.count('First text'), text.count('Second text')), (1, 1))
        self.assertIn('\nA and C\n', text)
        self.assertIn('\nB 1.2: in x.exe\n', text)

    def test_a_missing_text_is_an_error(self):
        missing = notices.Component('A', 'no-such-package', 'MIT', 'x.exe')
        self.assertRaises(OSError, missing.text, self.folder)
        self.assertRaises(RuntimeError, missing.version)


class Bill(InFolder):
    def test_bears_the_time_it_is_given_and_identifiers_of_its_own(self):
        self.put('bin/a+b.dll')
        self.put('bin/a b.dll')
        bill = json.loads(sbom.document(self.folder, '1.2.3', 'abc', 1_700_000_000, ()))
        self.assertEqual(bill['creationInfo']['created'], '2023-11-14T22:13:20Z')
        self.assertEqual(bill['packages'][0]['sourceInfo'], 'commit abc')
        self.assertEqual([entry['fileName'] for entry in bill['files']], ['./bin/a b.dll', './bin/a+b.dll'])
        self.assertEqual(len({entry['SPDXID'] for entry in bill['files']}), 2)


class Installer(InFolder):
    def setUp(self):
        super().setUp()
        for name in ('bin/tarn.dll', 'bin/tarn-policy.toml', 'docs/a.md'):
            self.put(f'stage/{name}')

    def described(self, version='1.2.3'):
        return xml.fromstring(installer.description(self.folder / 'stage', version))

    def test_every_file_is_a_component_of_the_feature(self):
        product = self.described()
        files = [file.get('Source') for file in product.findall('.//wix:File', WIX)]
        self.assertEqual(sorted(files), ['stage/bin/tarn-policy.toml', 'stage/bin/tarn.dll', 'stage/docs/a.md'])
        components = [component.get('Id') for component in product.findall('.//wix:Component', WIX)]
        self.assertEqual(len(components), 5)
        self.assertEqual(sorted(components),
                         sorted(ref.get('Id') for ref in product.findall('.//wix:ComponentRef', WIX)))

    def test_versions_share_the_family_and_the_components(self):
        one, two = self.described('1.2.3'), self.described('1.2.4')
        products = [product.find('wix:Product', WIX) for product in (one, two)]
        self.assertEqual(*(product.get('UpgradeCode') for product in products))
        self.assertNotEqual(*(product.get('Id') for product in products))
        self.assertEqual(*([component.get('Guid') for component in product.findall('.//wix:Component', WIX)]
                           for product in (one, two)))

    def test_the_policy_is_never_overwritten_and_programs_bear_their_version(self):
        queries = list(installer.amendments(self.folder / 'stage', '1.2.3'))
        self.assertTrue(any('= 384 WHERE' in query and installer.short('c', 'bin/tarn-policy.toml') in query
                            for query in queries))
        self.assertEqual(sum("'1.2.3.0'" in query for query in queries), 1)

    def summary(self, code):
        """A file with a summary: code 9 a text, codes 12 and 13 times."""
        text = struct.pack('<II', 30, len(code) + 1) + code.encode() + b'\0'
        times = [struct.pack('<IQ', 64, int(time.time() * 1e7)) for _ in range(2)]
        offsets = [32, 32 + len(text), 32 + len(text) + 12]
        table = b''.join(struct.pack('<II', *pair) for pair in zip((9, 12, 13), offsets))
        section = struct.pack('<II', 0, 3) + table + text + b''.join(times)
        path = self.folder / 'some.msi'
        head = b'\xfe\xff' + bytes(26) + installer.SUMMARY_FORMAT + struct.pack('<I', 48)
        path.write_bytes(b'before' + head + section)
        return path

    def test_random_numbers_and_times_become_lasting(self):
        first = self.summary('{6BB70B85-46FB-463C-9668-606F2536F543}')
        installer.make_lasting(first, 0)
        made = first.read_bytes()
        time.sleep(0.001)  # another time in the second one
        second = self.summary('{B2A7D1EE-4D65-4EEF-B19B-53BEA1C00451}')
        self.assertNotEqual(made, second.read_bytes())
        installer.make_lasting(second, 0)
        self.assertEqual(made, second.read_bytes())
        self.assertEqual(made.count(struct.pack('<Q', 116444736000000000)), 2)  # 1970

    def test_what_is_no_summary_is_refused(self):
        self.assertRaises(RuntimeError, installer.make_lasting, self.put('none.msi'), 0)


if __name__ == '__main__':
    unittest.main()
