"""run_test_program.py and cmake/wine-run together, with stand-ins for the test programs and for Wine."""
import json
import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import evidence

TOOLS = Path(__file__).resolve().parent.parent
WINE_RUN = TOOLS.parent / 'cmake' / 'wine-run'
REPORT = json.dumps({'tests': 1, 'testsuites': [
    {'name': 'Suite', 'testsuite': [{'name': 'Case', 'status': 'RUN', 'result': 'COMPLETED'}]}]})
# Writes the report where GoogleTest would, with or without a drive.
GOOGLE_TEST = f'''echo "Running main()"; path=${{GTEST_OUTPUT#json:}}; echo '{REPORT}' >"${{path#Z:}}"'''


class ProgramTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.reports = self.folder / 'reports'

    def script(self, name, body):
        path = self.folder / name
        path.parent.mkdir(exist_ok=True)
        path.write_text(f'#!/usr/bin/env bash\n{body}\n', encoding='utf-8')
        path.chmod(0o755)
        return path

    def run_program(self, program, *options, arguments=(), environment=None):
        finished = subprocess.run(
            [sys.executable, TOOLS / 'run_test_program.py', '--name', 'some', '--reports', self.reports, *options, '--',
             program, *arguments],
            env={**os.environ, 'TARN_TEST_RUN': 'this run', **(environment or {})}, capture_output=True, text=True,
            check=False)
        self.output = finished.stdout + finished.stderr
        outcome = evidence.read_record(self.reports / 'some.record', 'this run')
        self.assertEqual(finished.returncode, 1 if outcome.failed else 0, self.output)
        return outcome.passed, outcome.failed


class Native(ProgramTest):
    def test_passes_by_its_report(self):
        self.assertEqual(self.run_program(self.script('program', GOOGLE_TEST)), (1, 0))
        self.assertTrue((self.reports / 'some.json').exists())

    def test_without_a_report_it_failed(self):
        self.assertEqual(self.run_program(self.script('program', 'echo "[  PASSED  ] 1 test."')), (0, 1))

    def test_an_earlier_report_does_not_count(self):
        self.run_program(self.script('program', GOOGLE_TEST))
        self.assertEqual(self.run_program(self.script('program', 'exit 0')), (0, 1))
        self.assertFalse((self.reports / 'some.json').exists())

    def test_passes_by_its_closing_line(self):
        program = self.script('program', 'echo "$1"')
        self.assertEqual(self.run_program(program, '--closing-line', 'steady', arguments=['steady']), (1, 0))
        self.assertEqual(self.run_program(program, '--closing-line', 'steady', arguments=['shaky']), (0, 1))

    def test_is_killed_at_its_limit(self):
        program = self.script('program', 'echo "waiting for $1"; read -r <> <(:)')
        self.assertEqual(self.run_program(program, '--limit', '0.5', arguments=['ever']), (0, 1))
        self.assertIn('waiting for ever', self.output)
        self.assertIn('was killed', self.output)

    def test_a_program_that_is_not_there_failed(self):
        self.run_program(self.script('program', GOOGLE_TEST))
        self.assertEqual(self.run_program(self.folder / 'none'), (0, 1))
        self.assertIn('No such file', self.output)


class UnderWine(ProgramTest):
    """The stand-in for Wine notes each call, so that the number of attempts is seen."""

    def run_under(self, wine, *options, name='fake/wine'):
        self.calls = self.folder / 'calls'
        self.calls.unlink(missing_ok=True)
        fake = self.script(name, f'echo "$@" >>"{self.calls}"; attempt=$(wc -l <"{self.calls}")\n{wine}')
        prefix = self.folder / 'prefix'
        prefix.mkdir(exist_ok=True)
        (prefix / '.ready').touch()
        return self.run_program('program.exe', '--emulator', str(WINE_RUN), *options, arguments=['argument'],
                                environment={'PATH': f"{fake.parent}:{os.environ['PATH']}", 'WINEPREFIX': str(prefix)})

    def attempts(self):
        return self.calls.read_text(encoding='utf-8').splitlines()

    def test_passes_by_its_report(self):
        self.assertEqual(self.run_under(GOOGLE_TEST), (1, 0))
        self.assertEqual(self.attempts(), ['program.exe argument'])

    def test_a_wine_that_runs_nothing_passes_nothing(self):
        self.assertEqual(self.run_under('exit 0'), (0, 1))
        self.assertIn('was never started', self.output)
        self.assertEqual(len(self.attempts()), 3)
        self.assertEqual(self.run_under('exit 0', '--closing-line', '.*'), (0, 1))

    def test_a_wine_that_runs_nothing_gains_nothing_from_an_earlier_run(self):
        self.run_under(GOOGLE_TEST)
        self.assertEqual(self.run_under('exit 0'), (0, 1))

    def test_a_program_that_was_not_started_is_tried_again(self):
        self.assertEqual(self.run_under(f'((attempt < 3)) && exit 0\n{GOOGLE_TEST}'), (1, 0))
        self.assertEqual(len(self.attempts()), 3)
        self.assertIn('was not started, Wine ended with 0 (attempt 2 of 3)', self.output)

    def test_an_error_of_wines_client_is_tried_again(self):
        error = 'echo "wine client error:0: recvmsg: Connection reset by peer" >&2; exit 1'
        self.assertEqual(self.run_under(f'((attempt < 2)) && {{ {error}; }}\n{GOOGLE_TEST}'), (1, 0))
        self.assertEqual(len(self.attempts()), 2)
        self.assertEqual(self.run_under(error), (0, 1))
        self.assertEqual(len(self.attempts()), 3)

    def test_a_program_that_started_is_never_run_twice(self):
        for end in ('echo "Running main()"; exit 0',
                    'echo "Running main()"; echo "wine client error:0: recvmsg: Connection reset by peer"; exit 1',
                    'echo "wine: Unhandled page fault on read access to 0000000000000000"; exit 5',
                    'exit 3'):
            with self.subTest(end=end):
                self.assertEqual(self.run_under(end), (0, 1))
                self.assertEqual(len(self.attempts()), 1)

    def test_the_threads_of_a_program_that_hangs_are_shown(self):
        listing = r'process  tid\n00000038 services.exe\n\t0000003c    0\n00000554 program.exe\n\t00000558    0\n'
        hanging = f'''if [[ $1 != winedbg ]]; then echo "Running main()"; read -r <> <(:); fi
if [[ $2 == --command ]]; then printf '{listing}'; else echo "the debugger reads"; cat "$(tr '\\\\' / <<<"${{3#Z:}}")"; fi'''
        self.assertEqual(self.run_under(hanging, '--limit', '0.5'), (0, 1))
        self.assertIn('Process 00000554, threads 00000558:\nthe debugger reads\nattach 0x00000554\nbt 0x00000558\ndetach',
                      self.output)
        self.assertIn('was killed', self.output)

    def test_a_program_that_hangs_and_that_wine_does_not_know_is_told(self):
        self.assertEqual(self.run_under('[[ $1 == winedbg ]] || read -r <> <(:)', '--limit', '0.5'), (0, 1))
        self.assertIn('There is no process of program.exe in what Wine tells', self.output)

    def test_the_exit_status_is_the_programs(self):
        self.assertEqual(self.run_under('echo steady; exit 7', '--closing-line', 'steady'), (0, 1))
        self.assertIn('exit status 7', self.output)


if __name__ == '__main__':
    unittest.main()
