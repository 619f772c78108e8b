#!/usr/bin/env python3
"""Runs the examples as they were built, each in an install folder of its own, with a registry of its own.

usage: run_examples.py FOLDER-OF-THE-BUILT-PROGRAMS
"""
import shutil
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / 'tools'))
from wine_prefix import WinePrefix, windows_path  # noqa: E402

BUILT = Path(sys.argv.pop(1)) if len(sys.argv) > 1 else None
COMPANIONS = ('setrd.dll', 'statrd.dll', 'sitecls.dll', 'pktsig.dll', 'tlsinsp.dll', 'urlsig.dll', 'isolate.dll',
              'OPTSTORE.DLL', 'agentst.dll')
BLOCKED = 'http://lantern.example/redirect: BLOCKED (malicious site, Trojan.Redirector)\n'


class Examples(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.windows = cls.enterClassContext(WinePrefix())

    def setUp(self):
        folder = tempfile.TemporaryDirectory(prefix='install ')
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        for name in ('tarn.dll', 'tarn-policy.toml', 'c_host.exe', 'cpp_host.exe', *COMPANIONS):
            shutil.copy(BUILT / name, self.folder)
        self.windows.register(windows_path(self.folder) + '\\')

    def run_program(self, name, *arguments):
        return self.windows.run(self.folder / name, *arguments)

    def put_example_companion(self):
        shutil.copy(BUILT / 'example_companion' / 'sitecls.dll', self.folder)

    def test_the_host_in_c_blocks_an_address_and_a_frame(self):
        status, said = self.run_program('c_host.exe')
        self.assertIn(BLOCKED, said)
        self.assertIn('frame to port 80: BLOCKED (reason 31, rule 80: Path traversal)\n', said)
        self.assertEqual(status, 0)

    def test_the_host_in_c_allows_what_no_rule_knows(self):
        status, said = self.run_program('c_host.exe', 'http://harbor.test/')
        self.assertIn('http://harbor.test/: allowed (no rule decided)\n', said)
        self.assertEqual(status, 0)

    def test_the_host_in_c_refuses_what_is_no_address(self):
        self.assertEqual(self.run_program('c_host.exe', 'lantern.example'), (2, 'usage: c_host [URL], the URL as '
                                                                              'http://host/path\n'))

    def test_the_host_in_cpp_judges_in_several_threads(self):
        status, said = self.run_program('cpp_host.exe')
        self.assertEqual(said, 'lantern.example/redirect: BLOCKED (malicious site, Trojan.Redirector)\n'
                               'login.harbor.test/: BLOCKED (phishing site)\n'
                               'harbor.test/: allowed (no rule decided)\n')
        self.assertEqual(status, 0)
        many = ['lantern.example/redirect', 'harbor.test/'] * 40
        status, said = self.run_program('cpp_host.exe', *many)
        self.assertEqual((status, said.count('BLOCKED'), said.count('allowed')), (0, 40, 40))

    def test_the_companion_answers_from_its_text(self):
        self.put_example_companion()
        shutil.copy(ROOT / 'examples' / 'companion' / 'site-categories.txt', self.folder)
        for address, answer in (('http://bad.example/', 'BLOCKED (site of the malicious category)'),
                                ('http://www.bad.example/page', 'BLOCKED (site of the malicious category)'),
                                ('http://lure.example/', 'BLOCKED (phishing site)'),
                                ('http://shop.example/', 'BLOCKED (category blocked by parental control)'),
                                ('http://notbad.example/', 'allowed (no rule decided)')):
            with self.subTest(address):
                self.assertIn(f'{address}: {answer}\n', self.run_program('c_host.exe', address)[1])

    def test_without_its_text_the_companion_keeps_tarn_from_starting(self):
        self.put_example_companion()
        status, said = self.run_program('c_host.exe')
        self.assertIn('The four needed modules are there: one is damaged, or does not start itself.', said)
        self.assertEqual(status, 1)

    def test_without_the_key_both_hosts_name_it(self):
        self.windows.register(None)
        for program in ('c_host.exe', 'cpp_host.exe'):
            status, said = self.run_program(program)
            self.assertIn('tarn does not start', said)
            self.assertIn(r'HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows\CurrentVersion\App Paths\CoreScan.exe', said)
            self.assertEqual(status, 1)

    def test_the_command_that_guide_and_host_show_registers_a_folder(self):
        self.windows.register(None)
        guide = (ROOT / 'docs' / 'integration.md').read_text(encoding='utf-8')
        command, = [line.strip() for line in guide.splitlines() if line.strip().startswith('reg add ')]
        self.assertIn(f'\n  {command}\n', self.run_program('c_host.exe')[1])
        (self.folder / 'register.cmd').write_text(f'@{command} /f\r\n', encoding='ascii')
        self.windows.run('cmd', '/c', windows_path(self.folder / 'register.cmd'))
        self.assertIn('The registered install folder is "C:\\Program Files\\tarn\\bin\\".',
                      self.run_program('c_host.exe')[1])

    def test_a_folder_without_its_backslash_is_named(self):
        self.windows.register(windows_path(self.folder))
        status, said = self.run_program('c_host.exe')
        self.assertIn('It lacks the backslash at its end', said)
        self.assertEqual(status, 1)

    def test_missing_modules_are_named(self):
        for name in ('pktsig.dll', 'statrd.dll'):
            (self.folder / name).unlink()
        status, said = self.run_program('c_host.exe')
        self.assertIn('statrd.dll is missing there.\npktsig.dll is missing there.\n', said)
        self.assertNotIn('setrd.dll is missing', said)
        self.assertEqual(status, 1)


def main():
    suite = unittest.defaultTestLoader.loadTestsFromTestCase(Examples)
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=2).run(suite)
    if not result.wasSuccessful() or result.skipped or result.testsRun == 0:
        return 1
    print(f'{result.testsRun} cases of the examples passed.')
    return 0


if __name__ == '__main__':
    sys.exit(main())
