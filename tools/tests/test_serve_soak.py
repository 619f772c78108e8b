import unittest

import serve_soak

LOOKS_IN_AN_HOUR = 3600 / serve_soak.EVERY


class Slope(unittest.TestCase):
    def test_values_that_grow_evenly(self):
        self.assertAlmostEqual(serve_soak.slope([10, 12, 14, 16]), 2 * LOOKS_IN_AN_HOUR)
        self.assertAlmostEqual(serve_soak.slope([3, 2, 1]), -LOOKS_IN_AN_HOUR)

    def test_values_that_stay(self):
        self.assertEqual(serve_soak.slope([7, 7, 7, 7, 7]), 0)
        self.assertEqual(serve_soak.slope([1, 9, 9, 1]), 0)

    def test_the_line_with_the_least_squares(self):
        self.assertAlmostEqual(serve_soak.slope([0, 0, 3]), 1.5 * LOOKS_IN_AN_HOUR)
        self.assertAlmostEqual(serve_soak.slope([0, 3, 3]), 1.5 * LOOKS_IN_AN_HOUR)

    def test_one_value_has_no_slope(self):
        self.assertEqual(serve_soak.slope([5]), 0)


if __name__ == '__main__':
    unittest.main()
