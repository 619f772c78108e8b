import unittest

import browser
import rings


class Counts(unittest.TestCase):
    def test_come_from_the_report(self):
        self.assertEqual(browser.counts('# tests 5\n# pass 3\n# fail 2\n'), (3, 2))

    def test_what_was_skipped_or_cancelled_failed(self):
        self.assertEqual(browser.counts('# tests 5\n# pass 3\n# fail 0\n# cancelled 1\n# skipped 1\n'), (3, 2))

    def test_no_report_has_none(self):
        self.assertEqual(browser.counts('Error: no such file'), (0, 0))


class CheckCounted(unittest.TestCase):
    def test_nothing_ran_is_a_failure(self):
        tally = rings.Tally()
        rings.check_counted(tally, 'none', lambda: (0, 0))
        self.assertEqual(str(tally), '0 passed, 1 failed')

    def test_adds_up(self):
        tally = rings.Tally()
        rings.check_counted(tally, 'some', lambda: (4, 1))
        self.assertEqual(str(tally), '4 passed, 1 failed')


if __name__ == '__main__':
    unittest.main()
