"""The rings of tests: builds a preset, runs its CTest entries and adds up the record that each of them left."""
import json
import os
import subprocess
import sys
import time
import uuid
from pathlib import Path

import build
import evidence

ROOT = build.ROOT


class Tally:
    def __init__(self):
        self.passed = 0
        self.failed = 0

    def add(self, outcome):
        self.passed += outcome.passed
        self.failed += outcome.failed

    def __str__(self):
        return f'{self.passed} passed, {self.failed} failed'

    def good(self):
        return self.failed == 0 and self.passed > 0


def say(text):
    print(text, flush=True)


def heading(text):
    say(f'\n== {text}')


def check(tally, name, action):
    """One check that is no test program; it counts as one case."""
    heading(name)
    start = time.monotonic()
    if action():
        tally.passed += 1
        say(f'Passed in {time.monotonic() - start:.0f} s: {name}')
    else:
        tally.failed += 1
        say(f'FAILED: {name}')


def check_counted(tally, name, action):
    """Tests of another tool; the action gives how many passed and how many failed."""
    heading(name)
    start = time.monotonic()
    passed, failed = action()
    tally.passed += passed
    tally.failed += failed if passed + failed else 1
    say(f'{name}: {passed} passed, {failed} failed in {time.monotonic() - start:.0f} s')


def entries(preset):
    """What CTest would run: name to labels."""
    shown = subprocess.run(['ctest', '--preset', preset, '--show-only=json-v1'], cwd=ROOT, capture_output=True,
                           text=True, check=False)
    if shown.returncode != 0:
        say(shown.stderr)
        return {}
    return {test['name']: labels_of(test) for test in json.loads(shown.stdout)['tests']}


def labels_of(test):
    values = [item['value'] for item in test.get('properties', []) if item['name'] == 'LABELS']
    return values[0] if values else []


def count(folder, names, run):
    """The sum of the records of this run, one failure for each entry that left none."""
    total = evidence.Outcome()
    for name in names:
        outcome = evidence.read_record(Path(folder) / f'{name}.record', run)
        total.passed += outcome.passed
        total.failed += outcome.failed
        total.problems += [f'{name}: {problem}' for problem in outcome.problems]
    return total


def run_entries(preset, names, environment=None, quiet=False):
    """Runs the named entries, or with None all of the preset's; the outcome holds every one of them."""
    known = entries(preset)
    wanted = sorted(known if names is None else names)
    run = uuid.uuid4().hex
    command = ['ctest', '--preset', preset, '--no-tests=error', '--parallel', str(build.JOBS)]
    if names is not None:
        command += ['--tests-regex', f"^({'|'.join(wanted)})$"]
    status = subprocess.run(command, cwd=ROOT, env={**os.environ, **(environment or {}), 'TARN_TEST_RUN': run},
                            stdout=subprocess.DEVNULL if quiet else None, check=False).returncode
    outcome = count(ROOT / 'build' / preset / 'reports', wanted, run)
    if not wanted:
        outcome.fail(f'there is no test in {preset}')
    elif status != 0 and not outcome.failed:
        outcome.fail(f'CTest ended with {status}')
    return outcome


class WineServer:
    """Lives as long as the with block; one that runs already is left alone."""

    def __enter__(self):
        answer = subprocess.run(['tools/wine_server.sh', 'start'], cwd=ROOT, stdout=subprocess.PIPE, text=True,
                                check=False)
        self.ours = answer.stdout.strip() == 'started'
        self.runs = answer.returncode == 0
        return self

    def __exit__(self, *_):
        if self.ours:
            subprocess.run(['tools/wine_server.sh', 'end'], cwd=ROOT, check=False)


def ring(tally, preset, title, targets=()):
    """Builds and runs a ring; False when the build failed."""
    start = time.monotonic()
    heading(f'{title}: build')
    if not build.build(preset, targets):
        tally.failed += 1
        say(f'FAILED: the build of {preset}')
        return False
    built = time.monotonic()
    heading(f'{title}: tests')
    outcome = run_entries(preset, None)
    tally.add(outcome)
    for problem in outcome.problems:
        say(f'FAILED: {problem}')
    say(f'{title}: build {built - start:.0f} s, tests {time.monotonic() - built:.0f} s, so far {tally}')
    return True


def nothing_passes_without_wine():
    """Runs the Windows ring with a Wine that runs nothing and ends with 0: every entry has to fail."""
    fake = ROOT / 'tools' / 'tests' / 'wine_that_runs_nothing'
    outcome = run_entries('windows', None, {'PATH': f"{fake}:{os.environ['PATH']}"}, quiet=True)
    programs = len(entries('windows'))
    say(f'{programs} programs: {outcome.passed} passed, {outcome.failed} failed')
    return programs > 0 and outcome.passed == 0 and outcome.failed == programs
