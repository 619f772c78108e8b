#!/usr/bin/env python3
"""./dev clang: builds what ships with clang and lld, and runs the system tests of the Windows build on it."""
import concurrent.futures
import json
import os
import shutil
import subprocess
import sys
import uuid
from pathlib import Path

import build
import evidence
import rings

ROOT = build.ROOT
FOLDER = ROOT / 'build' / 'clang'
SYSTEM = 'folder:tests/system'


def entries_of(listing, first, second):
    """Name to command of the system tests in what CTest lists, with the second build's folder for the first one's."""
    return {test['name']: [word.replace(str(first), str(second)) for word in test['command']]
            for test in listing['tests'] if SYSTEM in rings.labels_of(test)}


def listed():
    shown = subprocess.run(['ctest', '--preset', 'windows', '--show-only=json-v1'], cwd=ROOT, stdout=subprocess.PIPE,
                           text=True, check=True)
    return json.loads(shown.stdout)


def take_test_programs():
    """They look for tarn.dll in the folder bin beside their own."""
    shutil.rmtree(FOLDER / 'tests', ignore_errors=True)
    shutil.copytree(ROOT / 'build' / 'windows' / 'tests', FOLDER / 'tests', copy_function=os.link,
                    ignore=shutil.ignore_patterns('CMakeFiles', 'install-*'))


def run(commands):
    """The outcome of all of them; each has left a record."""
    name = uuid.uuid4().hex
    environment = {**os.environ, 'TARN_TEST_RUN': name}

    def one(command):
        return subprocess.run(command, env=environment, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              errors='replace', check=False)

    with concurrent.futures.ThreadPoolExecutor(build.JOBS) as pool:
        for entry, ended in zip(commands, pool.map(one, commands.values()), strict=True):
            rings.say(f'{"passed" if ended.returncode == 0 else "FAILED"}  {entry}')
            if ended.returncode != 0:
                rings.say(ended.stdout)
    return rings.count(FOLDER / 'reports', sorted(commands), name)


def main():
    for preset in ('windows', 'clang'):
        rings.heading(f'Build of {preset}')
        if not build.build(preset):
            return 1
    take_test_programs()
    commands = entries_of(listed(), ROOT / 'build' / 'windows', FOLDER)
    rings.heading('System tests on what clang and lld made')
    with rings.WineServer() as server:
        outcome = run(commands) if server.runs else evidence.Outcome()
    if not outcome.passed and not outcome.failed:
        outcome.fail('no system test ran')
    for problem in outcome.problems:
        rings.say(f'FAILED: {problem}')
    rings.say(f'{outcome.passed} passed, {outcome.failed} failed')
    return 1 if outcome.failed else 0


if __name__ == '__main__':
    sys.exit(main())
