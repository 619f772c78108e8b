import json
import tempfile
import unittest
from pathlib import Path

import evidence


def case(name, status='RUN', result='COMPLETED', **more):
    return {'name': name, 'status': status, 'result': result, **more}


def report(*cases, tests=None):
    suite = {'name': 'Suite', 'testsuite': list(cases)}
    return json.dumps({'tests': len(cases) if tests is None else tests, 'testsuites': [suite]})


class OfReport(unittest.TestCase):
    def counts(self, text, status=0):
        outcome = evidence.of_report(text, status)
        self.assertEqual(len(outcome.problems), outcome.failed)
        return outcome.passed, outcome.failed

    def test_counts_cases(self):
        self.assertEqual(self.counts(report(case('A'), case('B'))), (2, 0))

    def test_no_report_fails(self):
        self.assertEqual(self.counts(None), (0, 1))

    def test_a_report_cut_short_fails(self):
        self.assertEqual(self.counts(report(case('A'))[:-3]), (0, 1))

    def test_other_json_fails(self):
        for text in ('', '[]', '{}', 'null', '{"tests": 1, "testsuites": [{}]}', '{"testsuites": []}'):
            with self.subTest(text=text):
                self.assertEqual(self.counts(text), (0, 1))

    def test_no_case_fails(self):
        self.assertEqual(self.counts(report()), (0, 1))

    def test_a_failed_case_counts_once(self):
        self.assertEqual(self.counts(report(case('A', failures=[{}, {}]), case('B')), 1), (1, 1))

    def test_a_skipped_or_disabled_case_fails(self):
        self.assertEqual(self.counts(report(case('A', result='SKIPPED'), case('B', status='NOTRUN',
                                                                               result='SUPPRESSED'))), (0, 2))

    def test_a_case_that_is_missing_fails(self):
        self.assertEqual(self.counts(report(case('A'), tests=2)), (1, 1))

    def test_a_bad_end_after_good_cases_fails(self):
        self.assertEqual(self.counts(report(case('A')), 139), (1, 1))


class OfClosingLine(unittest.TestCase):
    def counts(self, output, status=0):
        outcome = evidence.of_closing_line(output, 'steady', status)
        return outcome.passed, outcome.failed

    def test_passes_on_its_last_line(self):
        self.assertEqual(self.counts('120 cycles\r\nsteady\r\n\r\n'), (1, 0))

    def test_nothing_said_fails(self):
        self.assertEqual(self.counts(''), (0, 1))

    def test_another_last_line_fails(self):
        for output in ('steady\nmore', 'NOT steady', 'steady or not'):
            with self.subTest(output=output):
                self.assertEqual(self.counts(output), (0, 1))

    def test_a_bad_exit_status_fails(self):
        self.assertEqual(self.counts('steady', 1), (0, 1))


class Record(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name, 'some.record')

    def test_comes_back_as_written(self):
        written = evidence.Outcome(3, 1, ['A.B failed'])
        evidence.write_record(self.path, 'this run', written)
        self.assertEqual(evidence.read_record(self.path, 'this run'), written)

    def test_of_another_run_fails(self):
        evidence.write_record(self.path, 'an earlier run', evidence.Outcome(3))
        self.assertEqual(evidence.read_record(self.path, 'this run').failed, 1)

    def test_missing_broken_or_empty_fails(self):
        self.assertEqual(evidence.read_record(self.path, '').failed, 1)
        for text in ('', 'text', '[]', '{"run": ""}', '{"run": "", "passed": 0, "failed": 0, "problems": []}'):
            with self.subTest(text=text):
                self.path.write_text(text, encoding='utf-8')
                self.assertEqual(evidence.read_record(self.path, '').failed, 1)


if __name__ == '__main__':
    unittest.main()
