import tempfile
import unittest
from pathlib import Path

import evidence
import rings


class Count(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def record(self, name, run, *counts):
        evidence.write_record(self.folder / f'{name}.record', run, evidence.Outcome(*counts))

    def test_adds_up_the_records_of_this_run(self):
        self.record('one', 'this run', 20)
        self.record('two', 'this run', 3, 2, ['A.B failed', 'A.C failed'])
        total = rings.count(self.folder, ['one', 'two'], 'this run')
        self.assertEqual((total.passed, total.failed), (23, 2))
        self.assertEqual(total.problems, ['two: A.B failed', 'two: A.C failed'])

    def test_an_entry_without_a_record_of_this_run_failed(self):
        self.record('earlier', 'another run', 20)
        total = rings.count(self.folder, ['earlier', 'none'], 'this run')
        self.assertEqual((total.passed, total.failed), (0, 2))


class Check(unittest.TestCase):
    def test_counts_one(self):
        tally = rings.Tally()
        rings.check(tally, 'good', lambda: True)
        rings.check(tally, 'bad', lambda: False)
        self.assertEqual(str(tally), '1 passed, 1 failed')
        self.assertFalse(tally.good())

    def test_nothing_done_is_not_good(self):
        self.assertFalse(rings.Tally().good())


class Labels(unittest.TestCase):
    def test_are_read_from_ctests_listing(self):
        properties = [{'name': 'TIMEOUT', 'value': 660.0}, {'name': 'LABELS', 'value': ['folder:tests/url', 'threads']}]
        self.assertEqual(rings.labels_of({'name': 'some', 'properties': properties}), ['folder:tests/url', 'threads'])
        self.assertEqual(rings.labels_of({'name': 'some'}), [])


if __name__ == '__main__':
    unittest.main()
