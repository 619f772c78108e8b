#!/usr/bin/env python3
"""The tests of pages in a headless Chromium; ./dev test runs and counts them. They need the Windows build, and leave
the pages and their screenshots in build/browser."""
import re
import shutil
import subprocess
import sys

import build

TESTS = build.ROOT / 'tools' / 'browser_tests'
FOLDER = build.ROOT / 'build' / 'browser'
LIMIT = 300  # seconds


def install():
    """Fetches what the lock file names, if that is not there yet; False when it cannot be had."""
    FOLDER.mkdir(parents=True, exist_ok=True)
    lock = (TESTS / 'package-lock.json').read_bytes()
    there = FOLDER / 'installed.json'
    if there.exists() and there.read_bytes() == lock and (FOLDER / 'node_modules').is_dir():
        return True
    for name in ('package.json', 'package-lock.json'):
        shutil.copy(TESTS / name, FOLDER / name)
    print('Installing what package-lock.json names (npm ci)', flush=True)
    if subprocess.run(['npm', 'ci', '--no-audit', '--no-fund', '--ignore-scripts', '--loglevel=error'], cwd=FOLDER,
                      check=False).returncode != 0:
        print('npm ci failed: is the npm registry within reach?', flush=True)
        return False
    there.write_bytes(lock)
    return True


def counts(report):
    """Passed and failed of a TAP report; a test that was skipped or cancelled failed."""
    number = {name: int(count) for name, count in re.findall(r'^# (\w+) (\d+)$', report, re.MULTILINE)}
    passed, whole = number.get('pass', 0), number.get('tests', 0)
    return passed, max(whole - passed, number.get('fail', 0))


def tests():
    """How many passed and failed."""
    if not install():
        return 0, 1
    command = ['node', '--test', '--test-reporter=tap', *sorted(str(test) for test in TESTS.glob('*_test.js'))]
    try:
        run = subprocess.run(command, cwd=build.ROOT, stdout=subprocess.PIPE, text=True, check=False, timeout=LIMIT)
    except subprocess.TimeoutExpired as late:
        print((late.stdout or b'').decode(errors='replace') if isinstance(late.stdout, bytes) else late.stdout or '')
        print(f'The browser tests took longer than {LIMIT} s', flush=True)
        return 0, 1
    passed, failed = counts(run.stdout)
    told = r'^ *(?:not ok |ok |# ).*' if not failed and run.returncode == 0 else r'^.*'
    print('\n'.join(re.findall(told, run.stdout, re.MULTILINE)), flush=True)
    return passed, failed if failed or run.returncode == 0 else 1


if __name__ == '__main__':
    good, bad = tests()
    print(f'{good} passed, {bad} failed')
    sys.exit(bad != 0 or good == 0)
