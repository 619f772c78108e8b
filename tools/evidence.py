"""Says what a test program has proven: by its GoogleTest report or by its closing line, never by its exit status alone.

The outcome of each program is kept in a record beside its report; a record names the run that it belongs to, so that
one of an earlier run counts for nothing.
"""
import dataclasses
import json
import re


@dataclasses.dataclass
class Outcome:
    passed: int = 0
    failed: int = 0
    problems: list = dataclasses.field(default_factory=list)

    def fail(self, problem):
        self.failed += 1
        self.problems.append(problem)


def of_report(text, status):
    """The outcome of a GoogleTest program from its JSON report (None when it left none) and its exit status."""
    outcome = Outcome()
    if text is None:
        outcome.fail(f'left no report, exit status {status}')
        return outcome
    try:
        report = json.loads(text)
        cases = [(f"{suite['name']}.{case['name']}", case) for suite in report['testsuites']
                 for case in suite['testsuite']]
        announced = int(report['tests'])
    except (ValueError, KeyError, TypeError) as error:
        outcome.fail(f'its report cannot be read: {error!r}')
        return outcome
    for name, case in cases:
        if case.get('failures'):
            outcome.fail(f'{name} failed')
        elif (case.get('status'), case.get('result')) != ('RUN', 'COMPLETED'):
            outcome.fail(f"{name} did not run to its end ({case.get('status')}, {case.get('result')})")
        else:
            outcome.passed += 1
    if len(cases) != announced:
        outcome.fail(f'its report announces {announced} cases and lists {len(cases)}')
    elif not cases:
        outcome.fail('ran no case')
    if status != 0 and not outcome.failed:
        outcome.fail(f'exit status {status} after its cases had passed')
    return outcome


def of_closing_line(output, pattern, status):
    """The outcome of any other program: its last line must match the whole pattern, and its exit status be 0."""
    lines = [line.strip() for line in output.splitlines() if line.strip()]
    outcome = Outcome()
    if not lines:
        outcome.fail(f'left no output, exit status {status}')
    elif status != 0:
        outcome.fail(f'exit status {status}')
    elif not re.fullmatch(pattern, lines[-1]):
        outcome.fail(f'its last line is not /{pattern}/ but: {lines[-1]}')
    else:
        outcome.passed = 1
    return outcome


def write_record(path, run, outcome):
    path.write_text(json.dumps({'run': run, **dataclasses.asdict(outcome)}) + '\n', encoding='utf-8')


def read_record(path, run):
    """The outcome of this run; a failure when the program left none in it."""
    outcome = Outcome()
    try:
        record = json.loads(path.read_text(encoding='utf-8'))
        if record['run'] != run:
            raise ValueError('of another run')
        if record['passed'] + record['failed'] == 0:
            raise ValueError('empty')
        return Outcome(record['passed'], record['failed'], record['problems'])
    except (OSError, ValueError, KeyError, TypeError):
        outcome.fail('left no record of this run')
        return outcome
