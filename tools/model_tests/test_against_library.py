"""The built library against its model: ten thousand calls agree, and a difference is seen, shown and shortened."""
import json
import os
import subprocess
import sys
import tempfile
import time
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
MODEL = ROOT / 'tests' / 'model'
TESTS = Path(os.environ.get('TARN_MODEL_TESTS', ROOT / 'build' / 'windows' / 'tests'))
DRIVER = TESTS / 'model_driver.exe'
LIBRARY = TESTS.parent / 'bin' / 'tarn.dll'
SEED, CALLS, SECONDS = 1, 10000, 600
# A model that is wrong in one place: the sentence in the library's stead, and what has to come out.
FLAW = ("verdict.put(0, 'II', 1, 26)", "verdict.put(0, 'II', 1, 25)")


def run(folder, *arguments):
    environment = {'WINEPREFIX': str(ROOT / 'build' / 'wine'), **os.environ}  # a copy of the model has none
    return subprocess.run([sys.executable, folder / 'run.py', '--driver', DRIVER, '--library', LIBRARY, *arguments],
                          capture_output=True, text=True, check=False, timeout=SECONDS, env=environment)


class AgainstTheLibrary(unittest.TestCase):
    def test_ten_thousand_calls_agree(self):
        start = time.monotonic()
        ended = run(MODEL, '--seed', str(SEED), '--calls', str(CALLS), '--json')
        said = json.loads(ended.stdout or '{}')
        self.assertIsNone(said.get('difference', ended.stderr), json.dumps(said.get('difference'))[:4000])
        self.assertEqual((ended.returncode, said['missing']), (0, []), ended.stderr)
        self.assertGreater(said['compared'], CALLS * 9 // 10)
        print(f"{said['compared']} calls agree in {time.monotonic() - start:.0f} s")

    def test_a_wrong_model_is_found_and_the_script_shortened(self):
        with tempfile.TemporaryDirectory() as name:
            copy = Path(name) / 'tests' / 'model'
            copy.parent.mkdir()
            subprocess.run(['cp', '-r', MODEL, copy], check=True)
            (Path(name) / 'cmake').symlink_to(ROOT / 'cmake')
            scan = copy / 'judge' / 'url_scan.py'
            text = scan.read_text(encoding='utf-8')
            self.assertEqual(text.count(FLAW[0]), 1)
            scan.write_text(text.replace(*FLAW), encoding='utf-8')
            ended = run(copy, '--calls', '200', '--json')
            shown = run(copy, '--calls', '200', '--as-it-is')
        found = json.loads(ended.stdout)['difference']
        self.assertEqual((ended.returncode, found['call'], found['fields']), (1, 'WSScanUrl', ['verdict']))
        self.assertLessEqual(len(found['script']), 4)
        self.assertEqual(found['library']['verdict'][8:16], '1a000000')
        self.assertEqual(found['model']['verdict'][8:16], '19000000')
        self.assertEqual(shown.returncode, 1)
        self.assertIn('DIFFERENCE with seed 1: WSScanUrl', shown.stdout)
        self.assertIn('verdict at 4: library 1a', shown.stdout)

    def test_a_run_that_compares_nothing_fails(self):
        ended = run(MODEL, '--calls', '0')
        self.assertEqual(ended.returncode, 1)
        self.assertIn('NEVER MET: WSScanUrl', ended.stdout)

    def test_a_driver_that_is_not_there_fails(self):
        ended = subprocess.run([sys.executable, MODEL / 'run.py', '--driver', TESTS / 'nobody.exe', '--calls', '5'],
                               capture_output=True, text=True, check=False, timeout=SECONDS)
        self.assertEqual(ended.returncode, 1)
        self.assertIn('FAILED', ended.stdout)


if __name__ == '__main__':
    unittest.main()
