#!/usr/bin/env python3
"""Runs the fuzz targets.
usage: fuzz.py [TARGET] [SECONDS] [--all MINUTES] [--jobs N] [--json FILE]

Each target, or the one named, runs for SECONDS (60); with --all the targets share so many minutes. --jobs runs so many
at a time. Each line tells how one ended, the table at the end tells of all, and --json writes the same for programs.

What libFuzzer learns stays in build/fuzz/corpus and is where the next run begins; the output of each target is in
build/logs. Ends with 1 when a target found something or ran nothing: the input stays in build/fuzz/findings, and the
last lines say how to see it again and where it is kept once it is mended.
"""
import argparse
import concurrent.futures
import dataclasses
import json
import os
import re
import shutil
import subprocess
import sys
import threading
import time
from pathlib import Path

import build

ROOT = build.ROOT
SYMBOLIZER = '/usr/lib/llvm-14/bin/llvm-symbolizer'
LEAST = 5              # seconds of a target's share
LIMIT = 120            # seconds that a target may take to end once its time is over
INPUT_LIMIT = 10       # seconds of one input
MEMORY = 2048          # megabytes
STATE = re.compile(r'^#\d+\s.*\bcov: (\d+) ft: (\d+) corp: (\d+)/(\d+)(b|Kb|Mb)', re.MULTILINE)
RUNS = re.compile(r'^stat::number_of_executed_units:\s+(\d+)', re.MULTILINE)
WHAT = re.compile(r'This does not hold: .*|(?:ERROR|SUMMARY): .*|.*runtime error: .*')
UNITS = {'b': 1, 'Kb': 1024, 'Mb': 1024 * 1024}


@dataclasses.dataclass
class Result:
    """How the run of one target ended. A problem without a finding is a run that proves nothing."""
    target: str
    seconds: float
    runs: int = 0
    edges: int = 0
    features: int = 0
    corpus: int = 0          # inputs
    corpus_bytes: int = 0
    findings: list = dataclasses.field(default_factory=list)
    problem: str = ''

    @property
    def failed(self):
        return bool(self.findings or self.problem)


def read_log(log, status, result):
    """Takes over what libFuzzer's output says."""
    states = STATE.findall(log)
    if states:
        result.edges, result.features, result.corpus = (int(number) for number in states[-1][:3])
        result.corpus_bytes = int(states[-1][3]) * UNITS[states[-1][4]]
    runs = RUNS.findall(log)
    result.runs = int(runs[-1]) if runs else 0
    if status != 0:
        what = WHAT.search(log)
        last = (log.strip().splitlines() or ['no output'])[-1]
        result.problem = what.group(0).strip() if what else f'ended with {status}: {last}'
    elif result.runs == 0:
        result.problem = 'ran no input'


class Fuzzing:
    """The targets of one build, and where their inputs are kept."""

    def __init__(self, folder, root=ROOT):
        self.folder, self.root = folder, root
        self.program = folder / 'fuzz' / 'fuzz_targets'
        self.findings = folder / 'findings'
        self.dictionaries = {}
        self.running, self.stopped = set(), False
        self.lock = threading.Lock()

    def write_seeds(self):
        """The names of all targets, each with the dictionary that it has or none; their first inputs are made anew."""
        seeds = self.folder / 'seeds'
        shutil.rmtree(seeds, ignore_errors=True)
        made = subprocess.run([self.folder / 'fuzz' / 'write_fuzz_seeds', seeds], cwd=self.root, capture_output=True,
                              text=True, check=False)
        if made.returncode != 0 or not made.stdout.split():
            sys.exit(f'The first inputs cannot be written:\n{made.stdout}{made.stderr}')
        return {words[0]: words[1:] for words in map(str.split, made.stdout.splitlines())}

    def command(self, target, seconds):
        dictionaries = [f"-dict={self.root / 'fuzz' / 'dictionaries' / name}"
                        for name in self.dictionaries.get(target, [])]
        return [self.program, f'--target={target}', f'-max_total_time={seconds}', f'-timeout={INPUT_LIMIT}',
                f'-rss_limit_mb={MEMORY}', '-print_final_stats=1', f'-artifact_prefix={self.findings}/{target}-',
                *dictionaries, self.folder / 'corpus' / target, self.folder / 'seeds' / target]

    def found(self, target):
        """What was found so far; inputs that are only slow are none."""
        return {path for path in self.findings.glob(f'{target}-*')
                if re.fullmatch(rf'{target}-(crash|leak|timeout|oom)-.*', path.name)}

    def run(self, target, seconds):
        for folder in (self.folder / 'corpus' / target, self.findings, self.root / 'build' / 'logs'):
            folder.mkdir(parents=True, exist_ok=True)
        log = self.root / 'build' / 'logs' / f'fuzz-{target}.log'
        before, began = self.found(target), time.monotonic()
        result = Result(target, 0)
        with open(log, 'wb') as stream:
            with self.lock:
                if self.stopped:
                    result.problem = 'was not begun'
                    return result
                process = subprocess.Popen(self.command(target, seconds), cwd=self.root, stdout=stream, stderr=stream,
                                           env={**os.environ, 'ASAN_SYMBOLIZER_PATH': SYMBOLIZER})
                self.running.add(process)
            try:
                status = process.wait(seconds + LIMIT)
            except subprocess.TimeoutExpired:
                process.kill()
                process.wait()
                status = 'no end'
            with self.lock:
                self.running.discard(process)
        result.seconds = time.monotonic() - began
        read_log(log.read_text(encoding='utf-8', errors='replace'), status, result)
        result.findings = sorted(str(path.relative_to(self.root)) for path in self.found(target) - before)
        return result

    def stop(self):
        with self.lock:
            self.stopped = True
            for process in self.running:
                process.terminate()


def line_of(result):
    if result.failed:
        return f'{result.target:<20} {result.seconds:6.0f} s  FOUND SOMETHING  {result.problem}' if result.findings \
            else f'{result.target:<20} {result.seconds:6.0f} s  FAILED  {result.problem}'
    return (f'{result.target:<20} {result.seconds:6.0f} s {result.runs:11,} runs {result.edges:6} edges '
            f'{result.features:7} features {result.corpus:6} kept')


def table(results):
    rows = [('target', 'seconds', 'runs', 'runs/s', 'edges', 'features', 'kept', 'findings')]
    for result in results:
        rate = result.runs / result.seconds if result.seconds else 0
        rows.append((result.target, f'{result.seconds:.0f}', f'{result.runs:,}', f'{rate:,.0f}', str(result.edges),
                     str(result.features), str(result.corpus),
                     str(len(result.findings)) if not result.problem or result.findings else 'failed'))
    total = as_json(results, 1)
    rows.append(('all', f"{total['seconds']:.0f}", f"{total['runs']:,}", '', '', '', '', str(total['findings'])))
    widths = [max(len(row[column]) for row in rows) for column in range(len(rows[0]))]
    lines = [[row[0].ljust(widths[0]), *map(str.rjust, row[1:], widths[1:])] for row in rows]
    return '\n'.join('  '.join(line) for line in lines)


def what_to_do(results):
    lines = []
    for result in results:
        for finding in result.findings:
            lines += [f'{finding}: {result.problem}',
                      f'  to see it again:    build/fuzz/fuzz/fuzz_targets --target={result.target} {finding}',
                      f'  to keep it:         mkdir -p fuzz/corpus/{result.target} && cp {finding} '
                      f'fuzz/corpus/{result.target}/what_it_was']
        if result.problem and not result.findings:
            lines.append(f'{result.target}: {result.problem} (build/logs/fuzz-{result.target}.log)')
    return '\n'.join(lines)


def as_json(results, jobs):
    return {'jobs': jobs, 'seconds': round(sum(result.seconds for result in results), 1),
            'runs': sum(result.runs for result in results),
            'findings': sum(len(result.findings) for result in results),
            'failed': sum(result.failed for result in results),
            'targets': [{**dataclasses.asdict(result), 'seconds': round(result.seconds, 1)} for result in results]}


def share(minutes, jobs, targets):
    """Seconds for each target."""
    return max(LEAST, minutes * 60 * jobs // targets)


def run_all(fuzzing, targets, seconds, jobs, say=print):
    results = []
    with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
        started = [pool.submit(fuzzing.run, target, seconds) for target in targets]
        try:
            for ended in concurrent.futures.as_completed(started):
                results.append(ended.result())
                say(f'[{len(results)}/{len(targets)}] {line_of(results[-1])}', flush=True)
        except KeyboardInterrupt:
            fuzzing.stop()
            say('Stopped; the table has what was run until now.', flush=True)
            results += [each.result() for each in started if each.done() and each.result() not in results]
    return sorted(results, key=lambda result: targets.index(result.target))


def main(arguments=None, fuzzing=None):
    parser = argparse.ArgumentParser(prog='./dev fuzz', description=__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('words', nargs='*', metavar='TARGET or SECONDS')
    parser.add_argument('--all', type=int, metavar='MINUTES', help='the targets share so many minutes')
    parser.add_argument('--jobs', type=int, default=1, metavar='N', help='so many targets at a time')
    parser.add_argument('--json', type=Path, metavar='FILE', help='writes the table for programs')
    chosen = parser.parse_args(arguments)
    seconds = [int(word) for word in chosen.words if word.isdigit()]
    names = [word for word in chosen.words if not word.isdigit()]
    if len(seconds) > 1 or len(names) > 1 or 0 in seconds or chosen.jobs < 1:
        parser.error('one target, one number of seconds above 0')
    if chosen.all is not None and (chosen.words or chosen.all < 1):
        parser.error('--all takes minutes, and then neither a target nor seconds')
    if fuzzing is None:
        if not build.build('fuzz', ['fuzz_targets', 'write_fuzz_seeds']):
            return 1
        fuzzing = Fuzzing(ROOT / 'build' / 'fuzz')
    fuzzing.dictionaries = fuzzing.write_seeds()
    targets = list(fuzzing.dictionaries)
    if names and names[0] not in targets:
        sys.exit(f"There is no fuzz target '{names[0]}'. There are: {' '.join(targets)}")
    targets = names or targets
    each = share(chosen.all, chosen.jobs, len(targets)) if chosen.all else (seconds or [60])[0]
    print(f'\n== Fuzzing, {each} s for each of {len(targets)} target{"s" if len(targets) != 1 else ""}', flush=True)
    results = run_all(fuzzing, targets, each, chosen.jobs)
    print(f'\n{table(results)}')
    if chosen.json:
        chosen.json.write_text(json.dumps(as_json(results, chosen.jobs), indent=1) + '\n', encoding='utf-8')
    failed = [result for result in results if result.failed]
    if failed:
        print(f'\n{what_to_do(failed)}\n\n{len(failed)} of the targets found something or did not run.')
    elif len(results) < len(targets):
        print(f'\nOnly {len(results)} of {len(targets)} targets were run.')
    return 1 if failed or len(results) < len(targets) else 0


if __name__ == '__main__':
    sys.exit(main())
