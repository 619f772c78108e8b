"""The runner of the fuzz targets, with programs that behave like them: what counts as run, as found, as failed."""
import contextlib
import io
import json
import os
import sys
import tempfile
import unittest
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))
import fuzz  # noqa: E402

# Stands in for libFuzzer: what it does follows from the target's name.
PROGRAM = '''#!/usr/bin/env python3
import sys
from pathlib import Path
options = dict(word.lstrip('-').split('=', 1) for word in sys.argv[1:] if word.startswith('-'))
target = options['target']
prefix = options['artifact_prefix']
assert Path(sys.argv[-1], '0').exists(), 'the first inputs are there'
Path(prefix + 'arguments').write_text(' '.join(sys.argv[1:]))
print('#2\\tINITED cov: 5 ft: 6 corp: 1/2b exec/s: 0 rss: 30Mb')
print('#900\\tDONE   cov: 70 ft: 81 corp: 9/3Kb lim: 4 exec/s: 0 rss: 30Mb')
if target == 'idle':
    sys.exit(0)
if target == 'absent':
    print('--target=NAME is needed')
    sys.exit(2)
if target == 'slow':
    Path(prefix + 'slow-unit-1').write_text('x')
if target == 'found':
    Path(prefix + 'crash-0a1b').write_text('x')
    print('This does not hold: a length is right')
    print('==1== ERROR: libFuzzer: deadly signal')
    sys.exit(77)
print('stat::number_of_executed_units: 900')
'''
SEEDS = '''#!/usr/bin/env python3
import sys
from pathlib import Path
for target in {targets!r}:
    folder = Path(sys.argv[1], target.split()[0])
    folder.mkdir(parents=True)
    (folder / '0').write_text('seed')
    print(target)
'''


class FuzzTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.fuzzing = fuzz.Fuzzing(self.root / 'build' / 'fuzz', self.root)

    def program(self, name, text):
        path = self.root / 'build' / 'fuzz' / 'fuzz' / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)
        os.chmod(path, 0o755)

    def run_fuzz(self, targets, *arguments):
        self.program('fuzz_targets', PROGRAM)
        self.program('write_fuzz_seeds', SEEDS.format(targets=targets))
        out = io.StringIO()
        with contextlib.redirect_stdout(out):
            status = fuzz.main(list(arguments), self.fuzzing)
        self.said = out.getvalue()
        return status

    def test_says_what_was_run(self):
        self.assertEqual(self.run_fuzz(['first', 'slow'], '1'), 0)
        self.assertRegex(self.said, r'(?m)^first +\d+ +900 +[\d,]+ +70 +81 +9 +0$')
        self.assertRegex(self.said, r'(?m)^slow .* 0$')
        self.assertRegex(self.said, r'(?m)^all +\d+ +1,800 +0$')
        self.assertIn('[2/2]', self.said)

    def test_a_finding_fails_and_says_what_to_do(self):
        self.assertEqual(self.run_fuzz(['first', 'found'], '1'), 1)
        self.assertRegex(self.said, r'(?m)^found .* 1$')
        self.assertIn('build/fuzz/findings/found-crash-0a1b: This does not hold: a length is right', self.said)
        self.assertIn('fuzz_targets --target=found build/fuzz/findings/found-crash-0a1b', self.said)
        self.assertIn('fuzz/corpus/found/what_it_was', self.said)
        # One that was found before is not found again.
        self.assertEqual(self.fuzzing.run('found', 1).findings, [])

    def test_what_ran_nothing_fails(self):
        self.assertEqual(self.run_fuzz(['idle', 'absent'], '1'), 1)
        self.assertIn('idle: ran no input', self.said)
        self.assertIn('absent: ended with 2: --target=NAME is needed', self.said)
        self.assertIn('2 of the targets found something or did not run.', self.said)

    def test_json_says_the_same(self):
        file = self.root / 'table.json'
        self.assertEqual(self.run_fuzz(['first', 'found', 'idle'], '1', '--jobs', '2', '--json', str(file)), 1)
        told = json.loads(file.read_text())
        self.assertEqual((told['runs'], told['findings'], told['failed'], told['jobs']), (900, 1, 2, 2))
        first, found, idle = told['targets']
        self.assertEqual((first['target'], first['runs'], first['edges'], first['features'], first['corpus'],
                          first['corpus_bytes'], first['findings']), ('first', 900, 70, 81, 9, 3072, []))
        self.assertEqual(found['findings'], ['build/fuzz/findings/found-crash-0a1b'])
        self.assertEqual(idle['problem'], 'ran no input')

    def test_runs_the_target_that_is_named(self):
        self.assertEqual(self.run_fuzz(['first', 'found'], 'first', '7'), 0)
        arguments = (self.root / 'build/fuzz/findings/first-arguments').read_text()
        self.assertIn('-max_total_time=7 ', arguments)
        self.assertNotIn('-dict', arguments)
        with self.assertRaises(SystemExit) as refused:
            self.run_fuzz(['first'], 'second')
        self.assertIn("no fuzz target 'second'", str(refused.exception))

    def test_takes_the_dictionary_of_a_target(self):
        self.assertEqual(self.run_fuzz(['first words.dict', 'slow'], '1'), 0)
        arguments = (self.root / 'build/fuzz/findings/first-arguments').read_text()
        self.assertIn(f'-dict={self.root}/fuzz/dictionaries/words.dict', arguments)
        self.assertNotIn('-dict', (self.root / 'build/fuzz/findings/slow-arguments').read_text())

    def test_minutes_are_shared(self):
        self.assertEqual(fuzz.share(60, 1, 36), 100)
        self.assertEqual(fuzz.share(60, 2, 36), 200)
        self.assertEqual(fuzz.share(1, 1, 36), fuzz.LEAST)
        self.assertEqual(self.run_fuzz(['first', 'slow'], '--all', '1'), 0)
        self.assertIn('30 s for each of 2 targets', self.said)

    def test_refuses_what_it_does_not_know(self):
        for wrong in (['--all', '5', 'first'], ['--all', '0'], ['1', '2'], ['a', 'b'], ['0'], ['--jobs', '0']):
            with self.subTest(wrong=wrong), contextlib.redirect_stderr(io.StringIO()):
                with self.assertRaises(SystemExit) as refused:
                    fuzz.main(wrong, self.fuzzing)
                self.assertEqual(refused.exception.code, 2)

    def test_a_target_that_does_not_end_is_ended(self):
        self.program('fuzz_targets', '#!/bin/sh\nexec sleep 60\n')
        limit, fuzz.LIMIT = fuzz.LIMIT, 0
        self.addCleanup(setattr, fuzz, 'LIMIT', limit)
        result = self.fuzzing.run('first', 1)
        self.assertEqual(result.problem, 'ended with no end: no output')
        self.assertTrue(result.failed)


if __name__ == '__main__':
    unittest.main()
