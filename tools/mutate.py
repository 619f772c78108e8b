#!/usr/bin/env python3
"""Changes src/ one place at a time and sees whether the tests notice.
usage: mutate.py [FILE...] [--count N] [--seed S] [--json FILE]

Without a FILE every source that builds natively is taken; --count takes so many mutants, spread over the files in
proportion. Each mutant stands in build/mutate/tree, a copy of src/ beside links to everything else, and is built
without sanitizers; the tests of its folder run, then, where they notice nothing, those of the exports.

A mutant is killed when a test fails, crashes or takes far too long. One that does not compile proves nothing and counts
for nothing. tests/mutants_equivalent.json names those that no test can notice, each with its reason. Ends with 1 when
fewer than 97 % of the others are killed.
"""
import argparse
import collections
import dataclasses
import json
import os
import random
import re
import resource
import shutil
import subprocess
import sys
import time
from pathlib import Path

import build
import mutants
import sources

ROOT = build.ROOT
EQUIVALENT = 'tests/mutants_equivalent.json'
ENOUGH = 97    # percent
KILLED, SURVIVED, BROKEN, KNOWN = 'killed', 'survived', 'does not compile', 'equivalent'
OUTCOMES = (KILLED, SURVIVED, BROKEN, KNOWN)
# The programs of each folder's tests; those of "api" are the exports and come last for every folder.
PROGRAMS = {'base': ['base_test'], 'machine': ['machine_test'], 'modules': ['modules_test'],
            'network': ['network_test'], 'parental': ['parental_test'], 'smb': ['smb_test'],
            'lists': ['lists_test'], 'url': ['url_scan_test', 'url_no_allocation_test'],
            'api': ['api_test', 'api_allocation_test']}
BUILD_LIMIT = 1200          # seconds
MEMORY = 6 * 1024 ** 3      # of a test program
PASSED = re.compile(r'\[  PASSED  \] (\d+) tests?\.')
FAILED = re.compile(r'\[  FAILED  \] ([\w./]+)')


@dataclasses.dataclass
class Run:
    """One run of a test program: how many cases passed, or why it counts as failed."""
    passed: int
    why: str
    seconds: float = 0


class Tree:
    """The scratch copy and its build. One that was left by an interrupted run is mended first."""

    def __init__(self, folder=ROOT / 'build' / 'mutate', root=ROOT):
        self.root, self.copy, self.out = root, folder / 'tree', folder / 'out'
        self.copy.mkdir(parents=True, exist_ok=True)
        listed = subprocess.run(['git', 'ls-files'], cwd=root, capture_output=True, text=True, check=True).stdout
        for name in sorted({line.split('/')[0] for line in listed.splitlines()} - {'src'}):
            link = self.copy / name
            if not link.is_symlink():
                link.symlink_to(root / name)
        wanted = {path.relative_to(root) for path in (root / 'src').rglob('*') if path.is_file()}
        for path in [path for path in (self.copy / 'src').rglob('*') if path.is_file()]:
            if path.relative_to(self.copy) not in wanted:
                path.unlink()
        for name in sorted(wanted):
            self.write(name, (root / name).read_bytes())

    def write(self, name, content):
        """Writes what has changed and nothing else, so that nothing else is built again."""
        path = self.copy / name
        if path.exists() and path.read_bytes() == content:
            return
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def put(self, mutant):
        source = (self.root / mutant.file).read_text(encoding='utf-8')
        self.write(mutant.file, mutants.applied(mutant, source).encode())

    def restore(self, file):
        self.write(file, (self.root / file).read_bytes())

    def configure(self):
        log = self.out.parent / 'configure.log'
        with open(log, 'wb') as stream:
            ended = subprocess.run(
                ['cmake', '-S', self.copy, '-B', self.out, '-G', 'Ninja', '-DCMAKE_BUILD_TYPE=Debug',
                 '-DCMAKE_CXX_FLAGS_DEBUG=-O0', '-DCMAKE_CXX_FLAGS=-w', '-DTARN_SANITIZE='],
                env=build.with_compiler_cache('mutants'), stdout=stream, stderr=stream, check=False)
        return ended.returncode == 0 or print(f'The build cannot be configured: {log}')

    def build(self, programs):
        """None when it was built, else what the compiler said."""
        command = ['cmake', '--build', str(self.out), '--parallel', str(build.JOBS), '--target', *programs]
        try:
            ended = subprocess.run(command, env=build.with_compiler_cache('mutants'), capture_output=True, text=True,
                                   errors='replace', timeout=BUILD_LIMIT, check=False)
        except subprocess.TimeoutExpired:
            return 'the build took too long'
        return None if ended.returncode == 0 else ended.stdout + ended.stderr

    def run(self, program, limit):
        found = sorted(path for path in (self.out / 'tests').rglob(program) if path.is_file())
        if not found:
            return Run(0, 'there is no such program')
        started = time.monotonic()
        try:
            ended = subprocess.run([found[0], '--gtest_fail_fast', '--gtest_brief=1'], cwd=self.out,
                                   stdin=subprocess.DEVNULL, capture_output=True, text=True, errors='replace',
                                   timeout=limit, check=False, preexec_fn=bounded)
        except subprocess.TimeoutExpired:
            return Run(0, f'{program} did not end')
        seconds = time.monotonic() - started
        if ended.returncode != 0:
            failed = FAILED.search(ended.stdout)
            return Run(0, failed[1] if failed else f'{program} ended with {ended.returncode}', seconds)
        passed = PASSED.search(ended.stdout)
        return Run(int(passed[1]) if passed else 0, '', seconds)


def bounded():
    resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def folder_of(file):
    return Path(file).parts[1]


def builds_natively(file):
    return not file.endswith(('_win32.cpp', '_win32.h')) and Path(file).name not in ('dll_main.cpp', 'win32_owners.h')


def collect(files, root=ROOT):
    """The mutants of each file, in the order of the files."""
    return {file: mutants.mutants_of(file, (root / file).read_text(encoding='utf-8')) for file in files}


def sample(of_files, count, seed):
    """So many of all, each file in proportion to what it has; which ones, and who gets the rest, the seed says."""
    chance = random.Random(seed)
    total = sum(len(found) for found in of_files.values())
    if count is None or count >= total:
        return [mutant for found in of_files.values() for mutant in found]
    shares = {file: count * len(found) / total for file, found in of_files.items()}
    quota = {file: int(share) for file, share in shares.items()}
    # By chance in proportion to what is left of the shares, so that small files are not always passed over.
    rest = sorted(of_files, key=lambda file: chance.random() ** (1 / max(shares[file] - quota[file], 1e-9)))
    for file in rest[len(rest) - (count - sum(quota.values())):]:
        quota[file] += 1
    picked = []
    for file, found in of_files.items():
        picked += sorted(chance.sample(found, min(quota[file], len(found))), key=lambda mutant: mutant.start)
    return picked


def equivalents(of_files, root=ROOT):
    """What no test can notice, each mutant with its reason, and the entries that fit no mutant of these files.

    Lines are told by their text, so that they may move; of several equal ones "nth" says which, else the first."""
    path = root / EQUIVALENT
    known, stale = {}, []
    for entry in json.loads(path.read_text(encoding='utf-8')) if path.exists() else []:
        equal = [mutant for mutant in of_files.get(entry['file'], ())
                 if (mutant.before, mutant.after) == (entry['before'], entry['after'])]
        nth = entry.get('nth', 1)
        if nth <= len(equal) and entry['reason'].strip():
            known[equal[nth - 1]] = entry['reason']
        elif entry['file'] in of_files:
            stale.append(f"{EQUIVALENT}: {entry['file']}: {entry['before']}")
    return known, stale


def stages_of(file):
    """The programs that judge a file: its folder's, then the exports'."""
    return [PROGRAMS[folder] for folder in dict.fromkeys((folder_of(file), 'api'))]


def baseline(tree, programs):
    """What each program does without a mutant; None where one fails, which would kill every mutant."""
    said = tree.build(programs)
    if said is not None:
        print(said)
        return None
    runs = {program: tree.run(program, 600) for program in programs}
    bad = [f'{program}: {run.why or "ran no test"}' for program, run in runs.items() if run.why or not run.passed]
    print('\n'.join(bad) or f'{sum(run.passed for run in runs.values())} tests pass without a mutant.', flush=True)
    return None if bad else runs


def judge(tree, mutant, runs):
    """One mutant: its outcome, and which test noticed it."""
    tree.put(mutant)
    try:
        # The exports' tests are linked only where the folder's own notice nothing.
        for programs in stages_of(mutant.file):
            if tree.build(programs) is not None:
                return BROKEN, ''
            for program in programs:
                run = tree.run(program, 30 + 10 * runs[program].seconds)
                if run.why:
                    return KILLED, run.why
                if run.passed != runs[program].passed:
                    return KILLED, f'{program} ran {run.passed} of {runs[program].passed} tests'
        return SURVIVED, ''
    finally:
        tree.restore(mutant.file)


def table(judged):
    """The outcomes of each file as lines, the sum last."""
    counts = collections.defaultdict(collections.Counter)
    for mutant, outcome, _ in judged:
        counts[mutant.file][outcome] += 1
        counts['all'][outcome] += 1
    width = max(map(len, counts), default=0)
    lines = [f'{"":{width}}' + ''.join(f'{outcome:>18}' for outcome in OUTCOMES)]
    for file in [*sorted(set(counts) - {'all'}), 'all']:
        lines.append(f'{file:{width}}' + ''.join(f'{counts[file][outcome]:18}' for outcome in OUTCOMES))
    return lines


def percent_killed(judged):
    """Of those that say something; None when there are none."""
    counts = collections.Counter(outcome for _, outcome, _ in judged)
    others = counts[KILLED] + counts[SURVIVED]
    return 100 * counts[KILLED] / others if others else None


def write_json(path, judged):
    rows = [{**{name: getattr(mutant, name) for name in ('file', 'line', 'kind', 'before', 'after')},
             'outcome': outcome, 'why': why} for mutant, outcome, why in judged]
    Path(path).write_text(json.dumps(rows, indent=1) + '\n', encoding='utf-8')


def run_all(tree, picked, known):
    runs = baseline(tree, sorted({program for mutant in picked for programs in stages_of(mutant.file)
                                  for program in programs}))
    if runs is None:
        return None
    judged = []
    for number, mutant in enumerate(picked, 1):
        reason = known.get(mutant)
        outcome, why = (KNOWN, reason) if reason else judge(tree, mutant, runs)
        judged.append((mutant, outcome, why))
        print(f'{number}/{len(picked)} {outcome}: {mutant.file}:{mutant.line} {mutant.kind}'
              f'{": " + why if why else ""}', flush=True)
        if outcome == SURVIVED:
            print(f'    {mutant.before}\n    {mutant.after}', flush=True)
    return judged


def main(arguments):
    parser = argparse.ArgumentParser(prog='./dev mutate', description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('files', nargs='*', metavar='FILE')
    parser.add_argument('--count', type=int)
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--json', metavar='FILE')
    given = parser.parse_args(arguments)
    files = [str(Path(file)) for file in given.files] or [file for file in sources.all_sources(('src',))
                                                          if builds_natively(file)]
    for file in files:
        if not (ROOT / file).is_file() or not file.startswith('src/') or not builds_natively(file):
            parser.error(f'{file} is no source of src/ that builds natively')
    if given.count is not None and given.count < 1:
        parser.error('--count takes a number above 0')
    of_files = collect(files)
    known, stale = equivalents(of_files)
    if stale:
        print('\n'.join(['These fit no mutant, or say no reason:', *stale]))
        return 2
    picked = sample(of_files, given.count, given.seed)
    print(f'{len(picked)} mutants of {len({mutant.file for mutant in picked})} files', flush=True)
    if not picked:
        return 1
    tree = Tree()
    judged = run_all(tree, picked, known) if tree.configure() else None
    if judged is None:
        return 2
    if given.json:
        write_json(given.json, judged)
    print('\n'.join(['', *table(judged)]))
    percent = percent_killed(judged)
    if percent is None:
        print('No mutant was judged.')
        return 1
    print(f'{percent:.1f} % killed, {ENOUGH} % are needed.')
    return 0 if percent >= ENOUGH else 1


if __name__ == '__main__':
    if shutil.which('cmake') is None:
        sys.exit('cmake is missing: ./dev setup')
    os.chdir(ROOT)
    sys.exit(main(sys.argv[1:]))
