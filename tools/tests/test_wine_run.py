"""cmake/wine-run for people: the locale that it gives Wine, and the server that it keeps. Stand-ins note each call."""
import os
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

WINE_RUN = Path(__file__).resolve().parent.parent.parent / 'cmake' / 'wine-run'
LOCALE = ('LC_ALL', 'LC_CTYPE', 'LANG')


class WineRun(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / 'prefix').mkdir()
        (self.folder / 'prefix' / '.ready').touch()
        self.stamp = self.folder / 'prefix' / '.kept'
        self.calls = self.folder / 'calls'
        self.script('wine', 'exit 0')
        self.script('wineserver', 'exit 0')

    def script(self, name, end):
        path = self.folder / 'fakes' / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f'#!/bin/sh\necho "{name} $* ${{LC_ALL:-none}}" >>"{self.calls}"\n{end}\n', encoding='utf-8')
        path.chmod(0o755)

    def run_it(self, **environment):
        kept = {name: value for name, value in os.environ.items() if name not in LOCALE}
        self.calls.unlink(missing_ok=True)
        ended = subprocess.run([WINE_RUN, 'x.exe'], check=False, capture_output=True,
                               env={**kept, 'PATH': f"{self.folder / 'fakes'}:{os.environ['PATH']}",
                                    'WINEPREFIX': str(self.folder / 'prefix'), **environment})
        self.assertEqual(ended.returncode, 0, ended.stderr)
        return [line.rsplit(' ', 1) for line in self.calls.read_text(encoding='utf-8').splitlines()]

    def commands(self, **environment):
        return [command for command, _ in self.run_it(**environment)]

    def test_gives_a_locale_where_there_is_none(self):
        for given, expected in (({}, 'C.UTF-8'), ({'LANG': 'C'}, 'C.UTF-8'), ({'LC_ALL': 'POSIX'}, 'C.UTF-8'),
                                ({'LANG': ''}, 'C.UTF-8'), ({'LANG': 'de_DE.UTF-8'}, 'none'),
                                ({'LC_ALL': 'en_US.UTF-8'}, 'en_US.UTF-8'),
                                ({'LANG': 'C', 'LC_CTYPE': 'C.UTF-8'}, 'none')):
            with self.subTest(given):
                self.assertEqual(self.run_it(**given), [['wine x.exe', expected]])

    def test_starts_a_server_that_stays_and_then_leaves_it_alone(self):
        self.assertEqual(self.commands(TARN_WINE_KEEP='60'), ['wineserver -p60', 'wine cmd /c exit', 'wine x.exe'])
        self.assertEqual(self.commands(TARN_WINE_KEEP='60'), ['wine x.exe'])

    def test_looks_again_when_the_server_may_have_ended(self):
        self.run_it(TARN_WINE_KEEP='60')
        os.utime(self.stamp, (time.time() - 56,) * 2)
        self.assertEqual(self.commands(TARN_WINE_KEEP='60')[0], 'wineserver -p60')

    def test_a_server_of_somebody_else_is_only_waked(self):
        self.script('wineserver', 'exit 2')
        for _ in range(2):
            self.assertEqual(self.commands(TARN_WINE_KEEP='60'), ['wineserver -p60', 'wine cmd /c exit', 'wine x.exe'])
        self.assertFalse(self.stamp.exists())

    def test_one_that_was_ending_is_followed_by_another(self):
        failed = self.folder / 'failed'
        self.script('wine', f'[ "$1" = cmd ] && [ ! -e "{failed}" ] && {{ touch "{failed}"; exit 1; }}\nexit 0')
        self.assertEqual(self.commands(TARN_WINE_KEEP='60'), ['wineserver -p60', 'wine cmd /c exit', 'wineserver -p60',
                                                             'wine cmd /c exit', 'wine x.exe'])

    def test_without_the_wish_no_server_is_kept(self):
        self.assertEqual(self.commands(), ['wine x.exe'])


if __name__ == '__main__':
    unittest.main()
