"""Each broken variant of the library is found; and the command that explores never passes for having done nothing."""
import contextlib
import io
import sys
import unittest
from pathlib import Path
from unittest import mock

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path[:0] = [str(ROOT / 'tools'), str(ROOT / 'tests' / 'order')]

import build  # noqa: E402
import order  # noqa: E402
import rewrite  # noqa: E402


def setUpModule():
    if not build.build('native', ('order_programs',)):
        raise AssertionError('the programs of tests/order are not built')


class BrokenOnes(unittest.TestCase):
    """A case for each entry of broken.json is added below."""

    def test_every_area_has_some(self):
        areas = {entry['area'] for entry in order.broken_ones()}
        self.assertEqual(areas, set(order.AREAS) - {'explorer'})

    def test_no_two_have_one_name(self):
        names = [entry['name'] for entry in order.broken_ones()]
        self.assertEqual(len(names), len(set(names)))


def is_found(entry):
    def test(self):
        found, output = order.finds(entry)
        self.assertTrue(found, f"{entry['what']}: not found.\n{output}")
    return test


for broken in order.broken_ones():
    setattr(BrokenOnes, f'test_{broken["name"]}', is_found(broken))


class Finding(unittest.TestCase):
    ENTRY = {'name': 'any', 'case': 'Any.Case', 'finds': 'these words', 'what': ''}

    def finds(self, status, output):
        with mock.patch.object(order, 'run', return_value=(status, output)):
            return order.finds(self.ENTRY)[0]

    def test_needs_a_failure_with_its_words(self):
        self.assertTrue(self.finds(1, 'behind these words more'))
        self.assertFalse(self.finds(1, 'other words'))
        self.assertFalse(self.finds(0, 'these words'))
        self.assertFalse(self.finds(None, 'these words'))


class Command(unittest.TestCase):
    def call(self, arguments, cases, output=''):
        """The exit status of the command whose programs leave these cases, with all broken ones found."""
        with mock.patch.object(build, 'build', return_value=True), \
                mock.patch.object(order, 'run_area', return_value=(cases, output)), \
                mock.patch.object(order, 'finds', return_value=(True, '')), \
                contextlib.redirect_stdout(io.StringIO()) as said:
            return order.main(arguments), said.getvalue()

    def test_holds_when_all_cases_do(self):
        status, said = self.call([], [order.Case('Suite.Case', True, 5, 2, 3, 0.1)])
        self.assertEqual(status, 0)
        self.assertIn('25 states; everything held', said)

    def test_fails_with_one_case(self):
        cases = [order.Case('Suite.Case', True, 5, 2, 3, 0.1), order.Case('Suite.Other', False, 5, 2, 3, 0.1)]
        status, said = self.call([], cases, 'what the program printed')
        self.assertEqual(status, 1)
        self.assertIn('what the program printed', said)

    def test_fails_when_nothing_was_explored(self):
        self.assertEqual(self.call([], [])[0], 1)
        self.assertEqual(self.call([], [order.Case('Suite.Case', True, 0, 0, 0, 0.1)])[0], 1)
        self.assertIn("there is no search 'nonsense'", self.call(['nonsense'], [])[1])

    def test_fails_when_the_build_does(self):
        with mock.patch.object(build, 'build', return_value=False):
            self.assertEqual(order.main([]), 1)

    def test_a_program_that_dies_is_a_failure(self):
        with mock.patch.object(order, 'run', return_value=(-6, 'killed')), \
                mock.patch.object(order, 'cases_of', return_value=[]):
            cases, _ = order.run_area('lock')
        self.assertEqual([case.passed for case in cases], [False])


class Rewrite(unittest.TestCase):
    def test_replaces_whatever_the_blanks(self):
        self.assertEqual(rewrite.rewritten('a;\n    b;\nc', 'x.cpp', 'a; b;', 'd;'), 'd;\nc')

    def test_refuses_what_stands_there_twice_or_not_at_all(self):
        for text in ('', 'a; a;'):
            with self.assertRaisesRegex(ValueError, 'not once'):
                rewrite.rewritten(text, 'x.cpp', 'a;', 'b;')


if __name__ == '__main__':
    unittest.main()
