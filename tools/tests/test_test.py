import contextlib
import functools
import io
import json
import subprocess
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import rings
import test


class PythonTests(unittest.TestCase):
    """With folders of tests that stand in for those of the project."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        (self.root / 'tools').mkdir()
        program = Path(test.__file__).with_name('python_cases.py')
        (self.root / 'tools' / 'python_cases.py').write_bytes(program.read_bytes())

    def put(self, folder, body, name='test_same_name.py'):
        place = self.root / 'tools' / folder
        place.mkdir()
        (place / name).write_text('import os, unittest\nclass Cases(unittest.TestCase):\n' + body, encoding='utf-8')

    def count(self, *folders):
        tally = rings.Tally()
        run = functools.partial(subprocess.run, stdout=subprocess.DEVNULL)
        with mock.patch.object(test.build, 'ROOT', self.root), mock.patch.object(test.subprocess, 'run', run), \
                contextlib.redirect_stdout(io.StringIO()):
            for folder in folders:
                test.python_tests(tally, folder, folder)
        return tally.passed, tally.failed

    def test_two_folders_may_have_a_module_of_one_name(self):
        self.put('one', '    def test_a(self): pass\n    def test_b(self): self.fail()\n')
        self.put('two', '    def test_a(self): pass\n')
        self.assertEqual(self.count('one', 'two'), (2, 1))

    def test_no_report_no_tests_and_a_module_that_cannot_be_read_are_failures(self):
        self.put('ends', '    def test_a(self): os._exit(0)\n')
        self.put('empty', '    pass\n')
        self.put('broken', ')\n')
        self.assertEqual(self.count('ends'), (0, 1))
        self.assertEqual(self.count('empty'), (0, 1))
        self.assertEqual(self.count('broken'), (0, 1))

    def test_a_report_of_an_earlier_run_does_not_count(self):
        self.put('ends', '    def test_a(self): os._exit(0)\n')
        reports = self.root / 'build' / 'reports'
        reports.mkdir(parents=True)
        (reports / 'ends.json').write_text(json.dumps({'passed': 5, 'failed': 0}), encoding='utf-8')
        self.assertEqual(self.count('ends'), (0, 1))

    def test_a_skipped_case_is_no_passed_one(self):
        self.put('skips', "    @unittest.skip('x')\n    def test_a(self): pass\n    def test_b(self): pass\n")
        self.assertEqual(self.count('skips'), (1, 1))


class WholeRun(unittest.TestCase):
    def test_every_folder_of_tests_is_run(self):
        text = Path(test.__file__).read_text(encoding='utf-8')
        tools = Path(test.__file__).parent
        folders = [path.name for path in tools.iterdir() if path.is_dir() and list(path.glob('test_*.py'))]
        self.assertGreater(len(folders), 2)
        for folder in folders:
            self.assertIn(f"'{folder}')", text)


if __name__ == '__main__':
    unittest.main()
