#!/usr/bin/env python3
"""Runs the unit tests of one folder and writes how many passed and failed.  usage: python_cases.py FOLDER REPORT

In a process of its own: test modules of two folders may have the same name.
"""
import json
import sys
import unittest
from pathlib import Path

TOOLS = Path(__file__).resolve().parent


def main(folder, report):
    suite = unittest.TestLoader().discover(str(TOOLS / folder))
    result = unittest.TextTestRunner(stream=sys.stdout, verbosity=1).run(suite)
    bad = len(result.failures) + len(result.errors) + len(result.skipped) + len(result.unexpectedSuccesses)
    if result.testsRun == 0:
        bad += 1  # a folder without tests has lost them
    passed = max(result.testsRun - bad, 0)
    Path(report).write_text(json.dumps({'passed': passed, 'failed': bad}), encoding='utf-8')


if __name__ == '__main__':
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    main(*sys.argv[1:])
