"""The JUnit file that tarnhost writes is XML for a parser that is not ours, whatever the names of the cases hold."""
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
from pathlib import Path

import documents

TARNHOST = documents.ROOT / 'build' / 'windows' / 'bin' / 'tarnhost.exe'
CASES = '''
[[case]]
name = "<tag> & \\"quote\\" \\u0007 bell, \\u001b[31m red, ü, \\uffff end ]]>"
url = "http://bad.harbor.test/"
expect = "allowed"
[[case]]
name = "as it should be"
url = "http://bad.harbor.test/"
expect = "blocked"
[[case]]
name = "nobody can ask"
url = "ftp://bad.harbor.test/"
expect = "blocked"
'''


class Junit(unittest.TestCase):
    def test_a_parser_reads_the_results(self):
        with tempfile.TemporaryDirectory(dir=documents.ROOT / 'build') as folder:
            cases, results = Path(folder, 'cases.toml'), Path(folder, 'results.xml')
            cases.write_text(CASES, encoding='utf-8')
            ended = subprocess.run([documents.ROOT / 'cmake/wine-run', TARNHOST, 'test', '--junit', results, cases],
                                   capture_output=True, text=True, check=False)
            self.assertEqual(ended.returncode, 1, ended.stderr)  # one case could not be asked
            suites = ElementTree.parse(results).getroot()
        self.assertEqual((suites.get('tests'), suites.get('failures'), suites.get('errors')), ('3', '1', '1'))
        first, second, third = suites.iter('testcase')
        self.assertTrue(first.get('name').startswith('<tag> & "quote" \\x07 bell, \\x1b[31m red, ü, '), first.get('name'))
        self.assertIn('! verdict allowed', first.find('failure').text)
        self.assertEqual(len(second), 0)
        self.assertIsNotNone(third.find('error'))


if __name__ == '__main__':
    unittest.main()
