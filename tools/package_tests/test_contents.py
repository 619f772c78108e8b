"""What is in the archives, and that nothing of this machine is."""
import hashlib
import json
import re
import shutil
import subprocess
import tempfile
import unittest
import zipfile
from pathlib import Path

import documents
import made
import package
from release import archive, installer, notices, sbom

COMPANIONS = ('setrd.dll', 'statrd.dll', 'sitecls.dll', 'pktsig.dll', 'tlsinsp.dll', 'urlsig.dll', 'isolate.dll',
              'OPTSTORE.DLL', 'agentst.dll')
PROGRAMS = ('tarn.dll', 'tarnhost.exe', *COMPANIONS)
EXPECTED = (*(f'bin/{name}' for name in PROGRAMS), 'bin/tarn-policy.toml', 'include/tarn/tarn.h', 'lib/libtarn.dll.a',
            'lib/tarn.lib', 'lib/tarn.def', 'lib/cmake/tarn/tarn-config.cmake',
            'lib/cmake/tarn/tarn-config-version.cmake', 'examples/CMakeLists.txt', 'docs/integration.md',
            'docs/policy.md', 'docs/companions.md', 'docs/limits.md', 'docs/tarnhost.md', 'LICENSE',
            'THIRD-PARTY-NOTICES.txt', 'CHANGELOG.md', 'SECURITY.md', 'README.md', 'install.cmd', 'sbom.spdx.json',
            'SHA256SUMS', 'share/man/man1/tarnhost.1', 'share/completions/tarnhost.bash',
            'share/completions/_tarnhost', 'share/completions/tarnhost.ps1')


def sections(program):
    shown = subprocess.run(['x86_64-w64-mingw32-objdump', '-h', program], capture_output=True, text=True, check=True)
    return re.findall(r'^ +\d+ (\S+)', shown.stdout, re.MULTILINE)


class Archive(unittest.TestCase):
    def test_holds_what_a_developer_needs(self):
        names = [name for name, _ in archive.files_of(made.unpacked())]
        for name in EXPECTED:
            self.assertIn(name, names)
        self.assertEqual([name for name in names if Path(name).suffix in ('.log', '.bin', '.debug', '.a') and
                          name != 'lib/libtarn.dll.a'], [])

    def test_documents_for_users_name_what_the_archive_has(self):
        for_users = [path for path in (made.unpacked() / 'docs').glob('*.md') if path.name not in package.OF_THE_TREE]
        self.assertGreater(len(for_users), 10)
        for path in (*for_users, made.unpacked() / 'README.md'):
            text = path.read_text(encoding='utf-8')
            for name in ('./dev host', 'companions/tarn-policy.toml', 'build/'):
                self.assertNotIn(name, text, path.name)
        policy = (made.unpacked() / 'docs' / 'policy.md').read_text(encoding='utf-8')
        self.assertIn('bin/tarnhost.exe policy bin/tarn-policy.toml', policy)

    def test_links_between_documents_for_users_lead_somewhere(self):
        for path in (made.unpacked() / 'docs').glob('*.md'):
            if path.name not in package.OF_THE_TREE:
                for target in documents.links(path.read_text(encoding='utf-8')):
                    if not re.match('[a-z]+:', target):
                        name = target.partition('#')[0]
                        self.assertTrue((path.parent / name).exists(), f'{path.name}: {target}')

    def test_programs_are_small_and_name_their_symbols(self):
        total = sum(path.stat().st_size for _, path in archive.files_of(made.unpacked()))
        self.assertLess(total, 25_000_000)
        symbols = made.unpacked('-symbols')
        for name in PROGRAMS:
            with self.subTest(name):
                own = sections(made.unpacked() / 'bin' / name)
                self.assertIn('.text', own)
                self.assertIn('.gnu_debuglink', own)
                self.assertFalse([section for section in own if section.startswith('.debug')])
                apart = sections(symbols / f'{name}.debug')
                self.assertIn('.debug_line', apart)
                if name != 'tarnhost.exe':
                    self.assertIn('.debug_loc', apart)  # where variables are

    def test_symbols_name_functions_and_lines(self):
        """Through the link, as a debugger finds them: every export has a source line of this project."""
        folder = Path(tempfile.mkdtemp(dir=made.unpacked().parent))
        for path in (made.unpacked() / 'bin' / 'tarn.dll', made.unpacked('-symbols') / 'tarn.dll.debug'):
            (folder / path.name).write_bytes(path.read_bytes())
        shown = subprocess.run(['x86_64-w64-mingw32-objdump', '-p', folder / 'tarn.dll'], capture_output=True,
                               text=True, check=True).stdout
        base = int(re.search(r'ImageBase\s+([0-9a-f]+)', shown).group(1), 16)
        table = shown[shown.index('Export Address Table'):shown.index('[Ordinal/Name Pointer] Table')]
        addresses = [hex(base + int(address, 16)) for address in re.findall(r'\] \+base\[ *\d+\] ([0-9a-f]+)', table)]
        lines = subprocess.run(['x86_64-w64-mingw32-addr2line', '-e', folder / 'tarn.dll.debug', *addresses],
                               capture_output=True, text=True, check=True).stdout.splitlines()
        self.assertEqual(len(addresses), 13)
        for line in lines:
            self.assertRegex(line, r'^(.*/)?src/api/exports\.cpp:\d+')
            self.assertNotIn(str(made.ROOT), line)

    def test_no_build_path_in_any_file(self):
        for folder in (made.unpacked(), made.unpacked('-symbols')):
            self.assertEqual(archive.files_that_name(folder, str(made.ROOT)), [])
        found = archive.files_that_name(made.unpacked(), 'WSScanUrl')  # it does find what is there
        self.assertIn('bin/tarn.dll', found)

    def test_sums_hold(self):
        checked = subprocess.run(['sha256sum', '--check', '--strict', 'SHA256SUMS'], cwd=made.unpacked(),
                                 capture_output=True, text=True, check=False)
        self.assertEqual(checked.returncode, 0, checked.stdout)
        self.assertEqual(len(checked.stdout.splitlines()), len(archive.files_of(made.unpacked())) - 1)

    def test_licences_of_all_libraries_are_in(self):
        text = (made.unpacked() / 'THIRD-PARTY-NOTICES.txt').read_text(encoding='utf-8')
        for component in notices.COMPONENTS:
            self.assertIn(f'{component.name} {component.version()}: in', text)
            self.assertIn(component.text().strip(), text)
        self.assertIn('GCC RUNTIME LIBRARY EXCEPTION', text)
        self.assertIn('Apache License', (made.unpacked() / 'LICENSE').read_text(encoding='utf-8'))

    def test_every_library_that_is_linked_has_its_notice(self):
        """A library is ours, stands for one of the system, or comes from a package that the notices name."""
        windows = made.ROOT / 'build' / 'windows'
        linked = set()
        for file in (windows / 'build.ninja', windows / 'products' / 'build.ninja'):
            for block in re.findall(r'^build \S*\.(?:exe|dll|DLL)\b.*?(?=\n\n|\nbuild )',
                                    file.read_text(encoding='utf-8'), re.MULTILINE | re.DOTALL):
                if '/tests/' not in block.splitlines()[0] and 'googletest' not in block:
                    linked.update(re.findall(r'^  LINK_LIBRARIES = (.*)$', block, re.MULTILINE))
        words = {word for line in linked for word in line.split()}
        foreign = sorted(word for word in words if word.startswith(('-l', '/usr/')))
        self.assertIn('-lkernel32', foreign)
        known = {component.package for component in notices.COMPONENTS}
        for word in foreign:
            path = word if word.startswith('/') else subprocess.run(
                ['x86_64-w64-mingw32-g++-posix', f'-print-file-name=lib{word[2:]}.a'], capture_output=True, text=True,
                check=True).stdout.strip()
            stands_for_a_dll = subprocess.run(['x86_64-w64-mingw32-dlltool', '--identify', path], capture_output=True,
                                              check=False).returncode == 0
            if not stands_for_a_dll:
                owner = subprocess.run(['dpkg-query', '-S', Path(path).resolve()], capture_output=True, text=True,
                                       check=True).stdout.split(':')[0]
                self.assertIn(owner, known, f'{word}: add it to tools/release/notices.py')

    def test_bill_of_materials_lists_every_file_and_library(self):
        bill = json.loads((made.unpacked() / 'sbom.spdx.json').read_text(encoding='utf-8'))
        listed = {entry['fileName'][2:]: entry['checksums'][1]['checksumValue'] for entry in bill['files']}
        there = {name: archive.sum_of(path) for name, path in archive.files_of(made.unpacked())
                 if name not in ('sbom.spdx.json', 'SHA256SUMS')}
        self.assertEqual(listed, there)
        self.assertEqual(len(bill['packages']), 1 + len(notices.COMPONENTS))
        identifiers = [entry['SPDXID'] for entry in (*bill['packages'], *bill['files'])]
        self.assertEqual(len(identifiers), len(set(identifiers)))
        for relation in bill['relationships'][1:]:
            self.assertIn(relation['relatedSpdxElement'], identifiers)

    def test_another_file_changes_the_bill(self):
        first, second = (tempfile.mkdtemp(dir=made.unpacked().parent) for _ in range(2))
        (Path(second) / 'file').write_text('text', encoding='utf-8')
        self.assertNotEqual(*(sbom.document(Path(folder), '1.0.0', 'c', 1, ()) for folder in (first, second)))


class SameBytes(unittest.TestCase):
    def test_of_two_packages_of_one_build(self):
        before = {path.name: archive.sum_of(path) for path in made.folder().glob(f'{made.NAME}*.*')
                  if path.suffix in ('.zip', '.msi')}
        made.unpacked(), made.unpacked('-symbols')  # what the tests look at stays that of the first
        package.make()
        after = {path.name: archive.sum_of(path) for path in made.folder().glob(f'{made.NAME}*.*')
                 if path.suffix in ('.zip', '.msi')}
        self.assertEqual(len(before), 3)
        self.assertEqual(before, after)

    def test_an_archive_names_no_time_but_the_commits(self):
        with zipfile.ZipFile(made.folder() / f'{made.NAME}.zip') as zipped:
            self.assertEqual(len({entry.date_time for entry in zipped.infolist()}), 1)
            self.assertEqual([entry.filename for entry in zipped.infolist()],
                             sorted(entry.filename for entry in zipped.infolist()))

    def test_a_dll_has_the_base_address_of_its_name(self):
        """Not the one that the linker would draw from the path of the file."""
        for name in ('tarn.dll', *COMPANIONS):
            shown = subprocess.run(['x86_64-w64-mingw32-objdump', '-p', made.unpacked() / 'bin' / name],
                                   capture_output=True, text=True, check=True).stdout
            base = int(re.search(r'ImageBase\s+([0-9a-f]+)', shown).group(1), 16)
            self.assertEqual(f'{base:x}', f'2{hashlib.sha256(name.encode()).hexdigest()[:4]}000000')

    def test_of_objects_from_two_folders(self):
        """A part of the library, compiled once more from a copy of the sources in another folder, without a cache."""
        with tempfile.TemporaryDirectory(prefix='another folder ') as place:
            copy = Path(place) / 'tree'
            for folder in ('src', 'include', 'cmake', 'companions'):
                shutil.copytree(made.ROOT / folder, copy / folder)
            shutil.copy(made.ROOT / 'CMakeLists.txt', copy)
            build = copy / 'build' / 'windows' / 'products'
            subprocess.run(['cmake', '-G', 'Ninja', '-S', copy, '-B', build, '-DTARN_PRODUCTS_ONLY=ON',
                            '-DCMAKE_BUILD_TYPE=Release',
                            f'-DCMAKE_TOOLCHAIN_FILE={copy}/cmake/mingw-win32-toolchain.cmake'],
                           capture_output=True, check=True)
            names = [f'src/CMakeFiles/tarn_{part}.obj' for part in
                     ('core.dir/base/url_path.cpp', 'core.dir/network/ethernet_frame.cpp',
                      'edge.dir/machine/install_folder_win32.cpp')]
            ours = made.ROOT / 'build' / 'windows' / 'products'
            subprocess.run(['ninja', '-C', build, *names], capture_output=True, check=True)
            for name in names:
                self.assertEqual((build / name).read_bytes(), (ours / name).read_bytes(), name)


class Installer(unittest.TestCase):
    def test_bears_the_version_and_a_code_of_its_own(self):
        shown = subprocess.run(['msiinfo', 'suminfo', made.folder() / f'{made.NAME}.msi'], capture_output=True,
                               text=True, check=True).stdout
        self.assertIn(f'Subject: tarn {made.VERSION}', shown)
        self.assertRegex(shown, r'\{[0-9A-F]{8}-[0-9A-F]{4}-5[0-9A-F]{3}-')

    def test_gives_the_state_folder_its_rights(self):
        shown = subprocess.run(['msiinfo', 'export', made.folder() / f'{made.NAME}.msi', 'MsiLockPermissionsEx'],
                               capture_output=True, text=True, check=True).stdout
        self.assertIn(f'State\tSTATEFOLDER\tCreateFolder\t{installer.STATE_RIGHTS}', shown)
        self.assertRegex(installer.STATE_RIGHTS, '^O:BAD:P')
        self.assertNotIn(';OW)', installer.STATE_RIGHTS)

    def test_a_summary_that_is_none_is_refused(self):
        with tempfile.NamedTemporaryFile(dir=made.unpacked().parent) as file:
            with self.assertRaises(RuntimeError):
                installer.make_lasting(Path(file.name), 0)


if __name__ == '__main__':
    unittest.main()
