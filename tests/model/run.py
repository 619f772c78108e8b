#!/usr/bin/env python3
"""Plays random scripts of calls against the built tarn.dll and against the model, and compares every answer."""
import argparse
import json
import random
import subprocess
import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent))

from checking.comparing import compare, shortened  # noqa: E402
from checking.driver import Broken, Driver  # noqa: E402
from checking.lines import BadAnswer  # noqa: E402
from checking.outcomes import Outcomes  # noqa: E402
from checking.showing import as_data, report  # noqa: E402
from making.lives import Script  # noqa: E402

BUILT = Path(__file__).resolve().parents[2] / 'build' / 'windows'
PART = 2500  # so many calls are played by one process


def steps_with_calls(stream, count):
    """The next steps of a stream, up to and with so many calls."""
    steps, calls = [], 0
    for step in stream:
        steps.append(step)
        calls += 'call' in step
        if calls == count:
            break
    return steps


def options():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--seed', type=int, default=1)
    parser.add_argument('--calls', type=int, default=10000)
    parser.add_argument('--json', action='store_true', help='one JSON object instead of text')
    parser.add_argument('--driver', default=BUILT / 'tests' / 'model_driver.exe')
    parser.add_argument('--library', default=BUILT / 'bin' / 'tarn.dll')
    parser.add_argument('--as-it-is', action='store_true', help='do not shorten the script of a difference')
    return parser.parse_args()


def main():
    asked = options()
    driver, outcomes = Driver(asked.driver, asked.library), Outcomes()
    found = steps = None
    try:
        facts = driver.facts()
        left, part = asked.calls, 0
        while left > 0 and found is None:
            stream = Script(random.Random(f'{asked.seed}.{part}'), facts).steps()
            steps = steps_with_calls(stream, min(left, PART))
            found = compare(driver, steps, outcomes.hear)
            left, part = left - PART, part + 1
        if found is not None:
            steps = steps[:found.index + 1]
            if not asked.as_it_is:
                steps, found = shortened(driver, steps, found)
    except (Broken, BadAnswer, OSError, subprocess.SubprocessError) as failure:
        print(json.dumps({'failure': str(failure)}) if asked.json else f'FAILED: {failure}')
        return 1
    lacking = outcomes.missing() if found is None else []
    is_good = found is None and not lacking
    if asked.json:
        print(json.dumps({'seed': asked.seed, 'compared': outcomes.total(), 'outcomes': outcomes.counts,
                          'missing': lacking, 'difference': found and as_data(found, steps, asked.seed)}))
        return 0 if is_good else 1
    if found is not None:
        print('\n'.join(report(found, steps, asked.seed)))
    for name, counts in sorted(outcomes.counts.items()):
        ends = ', '.join(f'{end} {count}' for end, count in sorted(counts.items()))
        print(f'{name}: {sum(counts.values())} calls, {len(counts)} outcomes: {ends}')
    for what in lacking:
        print(f'NEVER MET: {what}')
    print(f'{outcomes.total()} calls compared, seed {asked.seed}: {"they agree" if is_good else "FAILED"}')
    return 0 if is_good else 1


if __name__ == '__main__':
    sys.exit(main())
