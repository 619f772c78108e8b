import contextlib
import io
import signal
import tempfile
import time
import unittest
from pathlib import Path
from unittest import mock

import changes
import check
import rings


class Remember(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.state = Path(folder.name, 'state.json')
        patch = mock.patch.object(check, 'STATE', self.state)
        patch.start()
        self.addCleanup(patch.stop)

    def test_a_check_of_everything(self):
        check.remember({'a': 'old', 'gone': 'x'}, {'a': 'new', 'b': 'new'}, None)
        self.assertEqual(changes.read_state(self.state), {'a': 'new', 'b': 'new'})

    def test_a_check_of_some_folders_leaves_the_others_to_be_checked(self):
        check.remember({'a': 'old', 'b': 'old'}, {'a': 'new', 'b': 'new'}, {'b'})
        self.assertEqual(changes.read_state(self.state), {'a': 'old', 'b': 'new'})

    def test_some_folders_without_an_earlier_check_say_nothing_of_the_rest(self):
        check.remember(None, {'a': 'new', 'b': 'new'}, {'b'})
        self.assertIsNone(changes.read_state(self.state))


class Ninja(unittest.TestCase):
    """With a stand-in for ninja in PATH."""

    def build(self, body, seconds=None):
        with tempfile.TemporaryDirectory() as folder:
            fake = Path(folder, 'ninja')
            fake.write_text(f'#!/usr/bin/env bash\n{body}\n', encoding='utf-8')
            fake.chmod(0o755)
            with mock.patch.dict('os.environ', {'PATH': f'{folder}:/usr/bin:/bin'}):
                return check.ninja('native', ['some_test'], seconds)

    def test_tells_built_failed_and_out_of_time_apart(self):
        self.assertIs(self.build('exit 0'), True)
        self.assertIs(self.build('exit 1'), False)
        self.assertIsNone(self.build('read -r <> <(:)', 0.2))

    def test_stops_a_build_that_ignores_interrupts_as_its_caller_does(self):
        before = signal.signal(signal.SIGINT, signal.SIG_IGN)
        self.addCleanup(signal.signal, signal.SIGINT, before)
        self.assertIsNone(self.build('read -r <> <(:)', 0.2))

    def test_shares_the_compiler_cache_with_every_other_build(self):
        with mock.patch.dict('os.environ', CCACHE_BASEDIR='/'):
            self.assertIs(self.build(f'[ "${{CCACHE_BASEDIR-unset}}" = "{check.ROOT}" ]'), True)


class MovedClone(unittest.TestCase):
    """With build folders that came along from another place: ninja would build what stands there."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        (self.root / 'a_win32.cpp').touch()
        self.enterContext(mock.patch.object(check, 'ROOT', self.root))
        self.enterContext(mock.patch.object(check, 'ninja', side_effect=AssertionError('ninja ran')))
        self.enterContext(contextlib.redirect_stdout(io.StringIO()))

    def made_elsewhere(self, preset):
        folder = self.root / 'build' / preset
        folder.mkdir(parents=True)
        (folder / 'build.ninja').touch()
        (folder / 'CMakeCache.txt').write_text('CMAKE_CACHEFILE_DIR:INTERNAL=/another/clone\n'
                                               'CMAKE_HOME_DIRECTORY:INTERNAL=/another/clone\n', encoding='utf-8')
        return folder

    def test_the_native_build_is_configured_here(self):
        folder = self.made_elsewhere('native')
        tally = rings.Tally()
        with mock.patch.object(check.build, 'configure', return_value=False) as configure:
            check.native(tally, changes.Plan(), time.monotonic())
        configure.assert_called_once_with('native')
        self.assertFalse(folder.exists())
        self.assertEqual(tally.failed, 1)

    def test_there_is_no_windows_build_ready(self):
        folder = self.made_elsewhere('windows')
        tally = rings.Tally()
        self.assertEqual(check.windows(tally, changes.Plan(windows_only=['a_win32.cpp'])), ['a_win32.cpp'])
        self.assertFalse(folder.exists())
        self.assertEqual(tally.failed, 0)


if __name__ == '__main__':
    unittest.main()
