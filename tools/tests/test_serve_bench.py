import unittest
from pathlib import Path

import serve_bench

SUBJECTS = ('tarnhost serve, 100 entries', 'tarnhost serve, 100,000 entries', 'tarnhost serve, scanning off',
            'e2guardian, 100,000 entries')


def results(**changes):
    """What was measured when every goal is just met; changes are of the tarnhost with 100,000 entries."""
    small, large, off, other = ({'kept_alive_per_s': rate, 'added_p99_ms': 0.99, 'memory_mb': 20.0,
                                 'memory_idle_mb': 119.0} for rate in (1000, 950, 1200, 475))
    return dict(zip(SUBJECTS, (small, {**large, **changes}, off, other)))


class Table(unittest.TestCase):
    def test_a_line_for_each_subject_and_a_cell_for_each_figure(self):
        lines = serve_bench.table({
            'no proxy': {'kept_alive_per_s': 12345.6, 'fresh_per_s': 999.4},
            'one': {'kept_alive_per_s': 1.0, 'added_p50_ms': 0.256, 'memory_mb': 20.4, 'memory_idle_mb': 80.6,
                    'idle_connections': serve_bench.IDLE}}).splitlines()
        self.assertEqual(len(lines), 4)
        self.assertEqual({line.count('|') for line in lines}, {len(serve_bench.COLUMNS) + 2})
        self.assertEqual(lines[2], '| no proxy | 12,346 | 999 |  |  |  |  |  |  |')
        self.assertEqual(lines[3], '| one | 1 |  | 0.26 |  |  |  | 20 | 81 |')

    def test_says_how_many_idle_connections_were_answered_if_not_all(self):
        line = serve_bench.table({'one': {'memory_idle_mb': 80.0, 'idle_connections': 1500}}).splitlines()[-1]
        self.assertTrue(line.endswith('| 80 (1500 of them answered) |'), line)

    def test_says_why_there_are_no_figures(self):
        line = serve_bench.table({'one': {'error': 'did not start'}}).splitlines()[-1]
        self.assertTrue(line.startswith('| one | did not start | '), line)


class Goals(unittest.TestCase):
    def met(self, **changes):
        return [is_met for _, is_met, _ in serve_bench.goals(results(**changes))]

    def test_all_are_met(self):
        self.assertEqual(self.met(), [True, True, True, True])

    def test_each_is_missed_by_its_own_figure(self):
        self.assertEqual(self.met(kept_alive_per_s=949), [False, True, False, True])
        self.assertEqual(self.met(added_p99_ms=1.0), [True, False, True, True])
        self.assertEqual(self.met(memory_idle_mb=120.0), [True, True, True, False])
        slower = results()
        slower['e2guardian, 100,000 entries']['kept_alive_per_s'] = 476
        self.assertEqual([is_met for _, is_met, _ in serve_bench.goals(slower)], [True, True, False, True])

    def test_they_tell_the_figures(self):
        told = [figures for _, _, figures in serve_bench.goals(results())]
        self.assertEqual(told, ['950 and 1,000 requests/s', '0.99 ms; with scanning off 0.99 ms',
                                '950 and 475; with scanning off 1,200', '99 MB more, 119 MB in all'])

    def test_they_ask_for_subjects_that_are_measured(self):
        self.assertLessEqual(set(SUBJECTS), {name for name, _ in serve_bench.subjects(Path('unused'))})


if __name__ == '__main__':
    unittest.main()
