#!/usr/bin/env python3
"""Runs one test program for CTest and judges it by its evidence.

usage: run_test_program.py --name NAME --reports FOLDER [--emulator PROGRAM] [--closing-line PATTERN] [--limit SECONDS]
                           -- PROGRAM [ARGUMENT...]

Without --closing-line the program is a GoogleTest program and has to leave its JSON report. The report of each run has
a name of its own, so that no earlier one is taken for it. In FOLDER stay NAME.json, NAME.log and the record that
./dev test counts, NAME.record. The limit is there for hangs.
"""
import argparse
import os
import signal
import subprocess
import sys
import time
import uuid
from pathlib import Path

import evidence
import wine_stacks

NEVER_STARTED = 125  # the exit status of cmake/wine-run
NOT_FOUND = 127


def parse_arguments(arguments):
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--name', required=True)
    parser.add_argument('--reports', required=True, type=Path)
    parser.add_argument('--emulator')
    parser.add_argument('--closing-line')
    parser.add_argument('--limit', type=float, default=600)
    parser.add_argument('command', nargs='+')
    return parser.parse_args(arguments)


def run(command, environment, output, limit, tell_where):
    """The exit status, or None when the program had to be killed at its limit; tell_where is called before that."""
    with subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                          start_new_session=True) as process:
        def kill(*_):
            os.killpg(process.pid, signal.SIGKILL)

        signal.signal(signal.SIGTERM, kill)
        try:
            return process.wait(limit)
        except subprocess.TimeoutExpired:
            try:
                tell_where()
            finally:
                kill()
            return None
        except KeyboardInterrupt:
            kill()
            raise


def read_text(path):
    try:
        return path.read_text(encoding='utf-8', errors='replace')
    except OSError:
        return None


def judge(arguments, report, log, status, messages):
    if status is None:
        outcome = evidence.Outcome()
        outcome.fail(f'did not end within {arguments.limit:.0f} s and was killed')
    elif status == NEVER_STARTED and arguments.emulator:
        outcome = evidence.Outcome()
        outcome.fail('was never started: ' + (messages.strip().splitlines() or ['no message'])[-1])
    elif arguments.closing_line:
        outcome = evidence.of_closing_line(read_text(log) or '', arguments.closing_line, status)
    else:
        outcome = evidence.of_report(read_text(report), status)
    return outcome


def main(raw):
    arguments = parse_arguments(raw)
    arguments.reports.mkdir(parents=True, exist_ok=True)
    name = arguments.reports / arguments.name
    report = Path(f'{name}.{uuid.uuid4().hex}.json')
    log, messages, record = Path(f'{name}.log'), Path(f'{name}.messages'), Path(f'{name}.record')
    for old in (log, messages, record, Path(f'{name}.json')):
        old.unlink(missing_ok=True)
    # Under Wine this machine's paths stand on drive Z:, and GoogleTest takes one without a drive for a relative one.
    drive = 'Z:' if arguments.emulator else ''
    environment = {**os.environ, 'GTEST_OUTPUT': f'json:{drive}{report}'}
    command = arguments.command
    output = log
    stacks = []
    if arguments.emulator:
        command = [arguments.emulator, *command]
        environment['TARN_WINE_LOG'] = str(log)
        output = messages

    def tell_where():
        if arguments.emulator:
            stacks.append(wine_stacks.of_program(arguments.emulator, arguments.command[0]))

    start = time.monotonic()
    with open(output, 'wb') as stream:
        try:
            status = run(command, environment, stream, arguments.limit, tell_where)
        except OSError as error:
            stream.write(f'{error}\n'.encode())
            status = NOT_FOUND
    said = read_text(messages) or ''
    outcome = judge(arguments, report, log, status, said)
    if report.exists():
        report.replace(f'{name}.json')
    sys.stdout.write(said + (read_text(log) or '') + ''.join(stacks))
    evidence.write_record(record, os.environ.get('TARN_TEST_RUN', ''), outcome)
    for problem in outcome.problems:
        print(f'{arguments.name}: {problem}')
    print(f'{arguments.name}: {outcome.passed} passed, {outcome.failed} failed, {time.monotonic() - start:.1f} s')
    return 1 if outcome.failed else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
