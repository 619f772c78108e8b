#!/usr/bin/env python3
"""Every ring of tests; the last line is the count, and the exit status says whether all has passed."""
import json
import subprocess
import sys

import browser
import build
import rings
import sources


def python_tests(tally, title, folder):
    """The unit tests of a folder, counted case by case by what they leave in their report."""
    rings.heading(title)
    report = build.ROOT / 'build' / 'reports' / f'{folder}.json'
    report.parent.mkdir(parents=True, exist_ok=True)
    report.unlink(missing_ok=True)
    subprocess.run([sys.executable, build.ROOT / 'tools' / 'python_cases.py', folder, report], cwd=build.ROOT,
                   check=False)
    try:
        counts = json.loads(report.read_text(encoding='utf-8'))
        tally.passed += counts['passed']
        tally.failed += counts['failed']
    except (OSError, ValueError):
        tally.failed += 1
        rings.say(f'FAILED: {title}: no report was left')


def lint():
    return subprocess.run([sys.executable, 'tools/lint.py'], cwd=build.ROOT, check=False).returncode == 0


def windows_ring(tally):
    with rings.WineServer() as server:
        if not server.runs:
            tally.failed += 1
            rings.say('FAILED: Wine does not run: try cmake/wine-run cmd /c ver')
            return
        if rings.ring(tally, 'windows', 'The library for Windows, under Wine'):
            rings.check(tally, 'No program passes with a Wine that runs nothing', rings.nothing_passes_without_wine)
            python_tests(tally, 'The library against its model', 'model_tests')
            python_tests(tally, 'The commands and verdicts that the documents show', 'document_tests')
            rings.check_counted(tally, 'Pages in a real browser', browser.tests)
            python_tests(tally, 'Every line of JSON is an event by the schema', 'event_tests')
            python_tests(tally, 'The package, and the project inside another one', 'package_tests')
            python_tests(tally, 'A corpus of captures on many machines', 'corpus_tests')
            python_tests(tally, 'The events of a fleet', 'fleet_tests')
            python_tests(tally, 'Clients of tarnhost serve', 'serve_tests')


def main():
    tally = rings.Tally()
    python_tests(tally, 'Tools', 'tests')
    rings.check(tally, 'Format', lambda: sources.has_form(sources.all_sources()))
    rings.ring(tally, 'native', 'Core on this machine, with AddressSanitizer and UBSan')
    python_tests(tally, 'Broken orders of threads are found', 'order_tests')
    rings.ring(tally, 'tsan', 'Threads on this machine, with ThreadSanitizer', ['thread_tests'])
    windows_ring(tally)
    rings.check(tally, 'Lint (clang-tidy)', lint)
    rings.say(f'\n{tally}')
    return 0 if tally.good() else 1


if __name__ == '__main__':
    sys.exit(main())
