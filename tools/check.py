#!/usr/bin/env python3
"""The quick check between two edits: format, build and native tests of what changed, within a minute.

usage: check.py [FOLDER...]     what changed since the last good check, or all that stands in the folders

The folders that changed are always built and tested. What depends on them follows in the order of the layers until the
time is up; what is left is named. Only ./dev test runs everything.
"""
import os
import signal
import subprocess
import sys
import time
import unittest
from pathlib import PurePosixPath

import build
import changes
import compilations
import rings
import sources

ROOT = build.ROOT
STATE = ROOT / 'build' / 'check' / 'state.json'
SECONDS = 55


def ninja(folder, targets, seconds=None):
    """True when built, False when not, None when the time was up before the end."""
    sys.stdout.flush()
    command = ['ninja', '-C', f'build/{folder}', '--quiet', '-j', str(build.JOBS), *targets]
    with subprocess.Popen(command, cwd=ROOT, env=build.with_compiler_cache(folder), start_new_session=True) as process:
        try:
            return process.wait(seconds) == 0
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGTERM)  # unlike an interrupt, never ignored because the caller ignores it
            process.wait()
            return None


def tools_hold():
    suite = unittest.defaultTestLoader.discover(str(ROOT / 'tools' / 'tests'))
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=1).run(suite)
    return result.testsRun > 0 and result.wasSuccessful()


def run_programs(tally, names):
    outcome = rings.run_entries('native', names)
    tally.add(outcome)
    for problem in outcome.problems:
        rings.say(f'FAILED: {problem}')


def programs_by_folder():
    by_folder = {}
    for name, labels in rings.entries('native').items():
        for label in labels:
            if label.startswith('folder:'):
                by_folder.setdefault(changes.folder_of(label.removeprefix('folder:')), []).append(name)
    return by_folder


def native(tally, plan, deadline):
    """Builds and runs; returns the programs that there was no time for."""
    build.forget_another_place('native', ROOT)
    if not (ROOT / 'build/native/build.ninja').exists() and not build.configure('native'):
        tally.failed += 1
        return []
    if ninja('native', ['build.ninja']) is False:
        tally.failed += 1
        return []
    by_folder = programs_by_folder()
    own = [name for folder in plan.own for name in by_folder.get(folder, [])]
    rings.heading('Native: ' + ', '.join(own))
    if not own:
        tally.failed += 1
        rings.say('FAILED: there is no test program to run')
        return []
    if not ninja('native', own):
        tally.failed += 1
        rings.say('FAILED: the native build')
        return []
    run_programs(tally, own)
    left = [name for folder in plan.dependents for name in by_folder.get(folder, [])]
    while left and tally.failed == 0 and time.monotonic() < deadline:
        rings.heading(f'Native, depends on it: {left[0]}')
        built = ninja('native', left[:1], deadline - time.monotonic())
        if built is None:
            break
        if built:
            run_programs(tally, left[:1])
        else:
            tally.failed += 1
            rings.say(f'FAILED: the build of {left[0]}')
        del left[0]
    return left


def windows(tally, plan):
    """Compiles what only the Windows build has, where that build stands ready; returns what was not compiled."""
    files = [path for path in plan.windows_only if (ROOT / path).exists()]
    build.forget_another_place('windows', ROOT)
    if not files or not (ROOT / 'build/windows/build.ninja').exists():
        return files
    rings.heading('Windows, compiled only: ' + ', '.join(files))
    objects = compilations.objects_of('windows', {str(ROOT / path) for path in files})
    if not objects or not all(ninja(folder, sorted(names)) for folder, names in objects.items()):
        tally.failed += 1
        rings.say('FAILED: the Windows build of these files')
    return []


def remember(before, now, only):
    """Keeps what was just checked: everything, or only some paths, which needs an earlier check to add them to."""
    if only is None:
        changes.write_state(STATE, now)
    elif before is not None:
        changes.write_state(STATE, {**before, **{path: now[path] for path in only}})


def main(folders):
    start = time.monotonic()
    now = changes.fingerprints(ROOT)
    before = changes.read_state(STATE)
    folders = [str(PurePosixPath(folder)) for folder in folders]
    unknown = [folder for folder in folders if not changes.under(now, [folder])]
    if unknown:
        sys.exit(f"Nothing of the project stands in {', '.join(unknown)}")
    if folders:
        paths = changes.under(now, folders)
    else:
        paths = changes.uncommitted(ROOT) if before is None else changes.changed(now, before)
    if not paths:
        rings.say('Nothing changed ' + ('since the last commit.' if before is None else 'since the last good check.'))
        return 0
    plan = changes.plan_for(paths)
    tally = rings.Tally()
    texts = [path for path in sorted(paths) if sources.is_source(path) and (ROOT / path).exists()]
    if texts:
        rings.check(tally, f'Format of {len(texts)} files', lambda: sources.has_form(texts))
    if plan.tools:
        rings.check(tally, 'Tools', tools_hold)
    left = native(tally, plan, start + SECONDS)
    not_compiled = windows(tally, plan) if tally.failed == 0 else plan.windows_only
    if tally.failed == 0:
        remember(before, now, paths if folders else None)
    rings.say('')
    if left:
        rings.say(f"Not run, for want of time: {', '.join(left)}")
    if not_compiled:
        rings.say(f"Not compiled, only the Windows build has them: {', '.join(not_compiled)}")
    rings.say('Not run here: Windows under Wine, ThreadSanitizer, lint; ./dev test runs everything.')
    rings.say(f'{tally} in {time.monotonic() - start:.0f} s')
    return 0 if tally.good() else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
