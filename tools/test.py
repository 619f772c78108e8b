#!/usr/bin/env python3
"""Every ring of tests; the last line is the count, and the exit status says whether all has passed."""
import subprocess
import sys
import unittest

import build
import rings
import sources


def python_tests(tally, title, folder):
    """The unit tests of a folder, counted case by case."""
    rings.heading(title)
    suite = unittest.TestLoader().discover(str(build.ROOT / 'tools' / folder))
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=1).run(suite)
    bad = len(result.failures) + len(result.errors) + len(result.skipped) + len(result.unexpectedSuccesses)
    tally.passed += max(result.testsRun - bad, 0)
    tally.failed += bad if result.testsRun else 1


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
            python_tests(tally, 'The commands and verdicts that the documents show', 'document_tests')
            python_tests(tally, 'The package, and the project inside another one', 'package_tests')


def main():
    tally = rings.Tally()
    python_tests(tally, 'Tools', 'tests')
    rings.check(tally, 'Format', lambda: sources.has_form(sources.all_sources()))
    rings.ring(tally, 'native', 'Core on this machine, with AddressSanitizer and UBSan')
    rings.ring(tally, 'tsan', 'Threads on this machine, with ThreadSanitizer', ['thread_tests'])
    windows_ring(tally)
    rings.check(tally, 'Lint (clang-tidy)', lint)
    rings.say(f'\n{tally}')
    return 0 if tally.good() else 1


if __name__ == '__main__':
    sys.exit(main())
