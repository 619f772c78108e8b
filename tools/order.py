#!/usr/bin/env python3
"""Explores every order of the library's threads.  usage: order.py [NAME]     an area, a case or a broken one; else all

Prints for each search how many states and executions it saw, how deep it went and what came of it; then whether each
broken variant of the library was found. Ends with 0 when everything held, every broken one was found and something was
explored. What the words mean stands in tests/order/README.md.
"""
import collections
import json
import os
import re
import subprocess
import sys
import time
from pathlib import Path

import build

FOLDER = build.ROOT / 'tests' / 'order'
PROGRAMS = build.ROOT / 'build' / 'native' / 'tests' / 'order'
AREAS = ('explorer', 'lock', 'ring', 'worker', 'library')
LIMIT = 300  # seconds for one program

Case = collections.namedtuple('Case', 'name passed states executions depth seconds')


def broken_ones():
    return json.loads((FOLDER / 'broken.json').read_text(encoding='utf-8'))


def run(program, selection, report):
    """The exit status and the output of a program; the report of an earlier run is gone before."""
    report.parent.mkdir(parents=True, exist_ok=True)
    report.unlink(missing_ok=True)
    command = [program, f'--gtest_filter={selection}', f'--gtest_output=json:{report}']
    try:
        ended = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors='replace',
                               timeout=LIMIT, check=False, env={**os.environ, 'GTEST_COLOR': 'no'})
    except (OSError, subprocess.TimeoutExpired) as error:
        return None, str(error)
    return ended.returncode, ended.stdout


def cases_of(report):
    """What the report of a run says of each of its cases."""
    try:
        suites = json.loads(report.read_text(encoding='utf-8'))['testsuites']
    except (OSError, ValueError, KeyError):
        return []
    return [Case(f"{suite['name']}.{case['name']}", case.get('result') == 'COMPLETED' and not case.get('failures'),
                 int(case.get('states', 0)), int(case.get('executions', 0)), int(case.get('depth', 0)),
                 float(case['time'].rstrip('s')))
            for suite in suites for case in suite['testsuite'] if case.get('result') != 'SUPPRESSED']


def run_area(area, selection='*'):
    """The cases of an area and what its program printed; one that ended badly without saying so is a failed case."""
    report = PROGRAMS / 'reports' / f'{area}.json'
    status, output = run(PROGRAMS / f'order_{area}_test', selection, report)
    cases = cases_of(report)
    if status != 0 and all(case.passed for case in cases):
        cases.append(Case(f'order_{area}_test', False, 0, 0, 0, 0.0))
    return cases, output


def finds(broken):
    """Whether the search of a broken variant fails with the words that it should; and what it printed."""
    program = PROGRAMS / f"order_broken_{broken['name']}"
    status, output = run(program, broken['case'], PROGRAMS / 'reports' / f'{program.name}.json')
    return status not in (None, 0) and re.search(broken['finds'], output) is not None, output


def search(areas, wanted):
    """Runs and prints the searches; how many states were seen, and whether all held."""
    states, good = 0, True
    for area in areas:
        cases, output = run_area(area, '*' if wanted in (None, area) else f'*{wanted}*')
        for case in cases:
            print(f'{case.name:62} {case.states:9,} {case.executions:10,} {case.depth:6} {case.seconds:7.1f}  '
                  f'{"holds" if case.passed else "FAILED"}', flush=True)
            states += case.states
        if not all(case.passed for case in cases):
            good = False
            print(output)
    return states, good


def look_for(broken):
    """Runs and prints the broken ones; whether each was found."""
    good = True
    for entry in broken:
        start = time.monotonic()
        found, output = finds(entry)
        print(f'{entry["name"]:28} {entry["what"]:72} {time.monotonic() - start:5.1f}  '
              f'{"found" if found else "NOT FOUND"}', flush=True)
        if not found:
            good = False
            print(output)
    return good


def main(arguments):
    if len(arguments) > 1:
        sys.exit(__doc__)
    wanted = arguments[0] if arguments else None
    broken = [entry for entry in broken_ones() if wanted in (None, entry['name'], entry['area'])]
    areas = [area for area in AREAS if wanted in (None, area)]
    if wanted is not None and not areas and not broken:
        areas = AREAS  # a case, by a part of its name
    if not build.build('native', ('order_programs',)):
        return 1
    states, good = 0, True
    if areas:
        print(f'\n{"search":62} {"states":>9} {"executions":>10} {"depth":>6} {"seconds":>7}', flush=True)
        states, good = search(areas, wanted)
        if states == 0:
            print(f"Nothing was explored: there is no search '{wanted}'." if wanted else 'Nothing was explored.')
            return 1
    if broken:
        print('\nbroken on purpose', flush=True)
        good = look_for(broken) and good
    print(f'\n{states:,} states; ' + ('everything held' if good else 'NOT everything held') +
          (f', {len(broken)} broken variants looked for' if broken else ''))
    return 0 if good else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
