import unittest

import second_compiler


class Entries(unittest.TestCase):
    def test_those_of_the_system_run_beside_the_second_library(self):
        def entry(name, label):
            return {'name': name, 'command': ['python3', 'run.py', '--reports', '/p/build/windows/reports', '--',
                                              f'/p/build/windows/tests/{name}.exe'],
                    'properties': [{'name': 'LABELS', 'value': [label]}]}

        listing = {'tests': [entry('start_test', 'folder:tests/system'), entry('base_test', 'folder:tests/base')]}
        found = second_compiler.entries_of(listing, '/p/build/windows', '/p/build/clang')
        self.assertEqual(found, {'start_test': ['python3', 'run.py', '--reports', '/p/build/clang/reports', '--',
                                                '/p/build/clang/tests/start_test.exe']})


if __name__ == '__main__':
    unittest.main()
