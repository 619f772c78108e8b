"""The door: help, refusals, the limits of a command line. Nothing here builds or installs."""
import os
import re
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
NO_ARGUMENT = ('demo', 'test', 'setup', 'format', 'fingerprint')


class Door(unittest.TestCase):
    """A copy of ./dev whose programs only note that they were started."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        shutil.copy(ROOT / 'dev', self.root)
        (self.root / 'tools').mkdir()
        (self.root / 'cmake').mkdir()
        (self.root / 'build/windows/bin').mkdir(parents=True)
        self.started = self.root / 'started'
        for name in ('cmake/wine-run', *(f'tools/{path.name}' for path in (ROOT / 'tools').glob('*.sh'))):
            self.script(self.root / name)
        self.script(self.root / 'fakes/python3')

    def script(self, path):
        path.parent.mkdir(exist_ok=True)
        path.write_text(f'#!/usr/bin/env bash\necho "${{0##*/}} $*" >>"{self.started}"\n', encoding='utf-8')
        path.chmod(0o755)

    def dev(self, *arguments):
        ended = subprocess.run([self.root / 'dev', *arguments], capture_output=True, text=True, check=False,
                               env={**os.environ, 'PATH': f"{self.root / 'fakes'}:{os.environ['PATH']}"})
        self.said = ended.stdout + ended.stderr
        self.ran = self.started.read_text(encoding='utf-8') if self.started.exists() else ''
        self.started.unlink(missing_ok=True)
        return ended.returncode

    def commands(self):
        self.dev('help')
        return sorted(set(re.findall(r'^  ([a-z]+)', self.said, re.MULTILINE)))

    def test_help_of_every_command_only_prints_help(self):
        commands = self.commands()
        self.assertGreater(len(commands), 12)
        for command in commands:
            for word in ('--help', '-h'):
                with self.subTest(command=command, word=word):
                    self.assertEqual(self.dev(command, word), 0)
                    self.assertRegex(self.said, rf'(?m)^  {command}\b')
                    self.assertEqual(self.ran, '')

    def test_help_of_a_command_is_that_of_no_other(self):
        self.dev('bench', '--help')
        self.assertIn('bench native', self.said)
        self.assertNotIn('fuzz', self.said)

    def test_help_of_tarnhost_is_its_own_once_it_is_built(self):
        (self.root / 'build/windows/bin/tarnhost.exe').touch()
        self.assertEqual(self.dev('host', '--help'), 0)
        self.assertEqual(self.ran, f'wine-run {self.root}/build/windows/bin/tarnhost.exe --help\n')

    def test_refuses_what_a_command_does_not_know(self):
        wrong = [(command, 'now') for command in NO_ARGUMENT]
        wrong += [('package', '--fast'), ('package', '--check', 'more'), ('soak', 'long'), ('soak', '--seconds'),
                  ('bench', 'nativ'), ('check', '--all'), ('model', 'x'), ('model', '--calls'),
                  ('model', '1', '--calls', '0'), ('order', '--all'), ('order', 'lock', 'ring'),
                  ('build', '--fast'), ('lint', '-x'),
                  ('fuzz', '--help-me'), ('fuzz', '--all'), ('fuzz', '--all', '0'), ('fuzz', 'smb_frames', 'x')]
        for arguments in wrong:
            with self.subTest(arguments=arguments):
                self.assertEqual(self.dev(*arguments), 2)
                self.assertIn(f'./dev {arguments[0]} --help says', self.said)
                self.assertEqual(self.ran, '')

    def test_starts_what_it_knows(self):
        for arguments, expected in ((('package', '--check'), 'tools/package.py --check'), (('soak', '5'), 'soak.sh 5'),
                                    (('soak', '--seconds', '9'), 'soak.sh --seconds 9'), (('demo',), 'demo.sh'),
                                    (('bench', 'native', '--x'), 'bench.sh native --x'),
                                    (('bench', 'replay', '50'), 'bench.sh replay 50'),
                                    (('mutate', 'a.cpp', '--count', '4'), 'tools/mutate.py a.cpp --count 4'),
                                    (('order',), 'tools/order.py'), (('order', 'ring'), 'tools/order.py ring'),
                                    (('model',), 'tools/model.py'), (('model', '7'), 'tools/model.py 7'),
                                    (('model', '--calls', '50'), 'tools/model.py --calls 50'),
                                    (('model', '7', '--calls', '50', '--json'), 'model.py 7 --calls 50 --json'),
                                    (('fuzz',), 'tools/fuzz.py'), (('fuzz', '600'), 'tools/fuzz.py 600'),
                                    (('fuzz', 'made_smb', '600'), 'tools/fuzz.py made_smb 600'),
                                    (('fuzz', '--all', '90', '--jobs', '2', '--json', 'a b.json'),
                                     'tools/fuzz.py --all 90 --jobs 2 --json a b.json'),
                                    (('test',), 'tools/test.py')):
            with self.subTest(arguments=arguments):
                self.assertEqual(self.dev(*arguments), 0, self.said)
                self.assertIn(expected, self.ran)

    def test_an_unknown_command_is_refused(self):
        self.assertEqual(self.dev('pakage', '--help'), 1)
        self.assertIn("There is no command 'pakage'", self.said)

    def test_arguments_that_windows_would_lose_are_refused(self):
        (self.root / 'build/windows/bin/tarnhost.exe').touch()
        room = 32767 - len(f'{self.root}/build/windows/bin/tarnhost.exe url ') - 21
        for arguments, status in ((['x' * room], 0), (['x' * (room + 1)], 2), (['x ' * (room // 2 - 1)], 0),
                                  (['x ' * (room // 2)], 2), (['"' * (room // 2)], 2), ([''] * (room // 3 + 1), 2)):
            with self.subTest(count=len(arguments), status=status):
                self.assertEqual(self.dev('host', 'url', *arguments), status, self.said[:200])
                self.assertEqual('wine-run' in self.ran, status == 0)
                self.assertEqual('@FILE' in self.said, status == 2)


if __name__ == '__main__':
    unittest.main()
