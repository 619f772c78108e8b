"""What the documents show is what happens: their commands are run, their verdicts asked of the built library."""
import filecmp
import json
import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import documents

BIN = documents.ROOT / 'build' / 'windows' / 'bin'
LONG_AGO = 1_000_000_000  # a policy that was written then is at rest


class Commands(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        if not filecmp.cmp(documents.ROOT / 'companions' / 'tarn-policy.toml', BIN / 'tarn-policy.toml', shallow=False):
            raise AssertionError('the policy in build/windows/bin was edited, and the documents show the default one: '
                                 'cp companions/tarn-policy.toml build/windows/bin')
        # A folder with results of an earlier build is refused.
        shutil.rmtree(documents.ROOT / 'build' / 'corpus', ignore_errors=True)
        cls.blocks = [block for document in documents.all_documents()
                      for block in documents.split_blocks(document, documents.text_of(document))[0]]

    def test_each_command_ends_well(self):
        ran = by_hand = 0
        for block in self.blocks:
            if block.language not in (documents.RUN, documents.WINDOWS):
                continue
            for command in documents.commands(block):
                if block.by_hand or block.language == documents.WINDOWS:
                    by_hand += 1
                    continue
                ran += 1
                with self.subTest(place=block.place, command=command):
                    ended = documents.run(command)
                    self.assertEqual(ended.returncode, 0, f'{ended.stdout}{ended.stderr}')
        print(f'\n{ran} commands of the documents ran, {by_hand} are for other places', flush=True)
        self.assertGreater(ran, 8)
        self.assertLess(by_hand, 40)

    def test_each_shown_output_is_the_real_one(self):
        shown = 0
        for block in self.blocks:
            if block.language != documents.SHOWN:
                continue
            for command, lines in documents.sessions(block):
                shown += 1
                with self.subTest(place=block.place, command=command):
                    self.assertEqual(lines, documents.printed(command), 'tools/documents.py --write renews it')
        self.assertGreater(shown, 0)


class Verdicts(unittest.TestCase):
    """The tables of addresses, with the policy above each in an install folder of its own."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=documents.ROOT / 'build')
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        for module in [*BIN.glob('*.dll'), *BIN.glob('*.DLL')]:
            try:
                os.link(module, self.folder / module.name)
            except OSError:
                shutil.copy(module, self.folder)

    def judge(self, policy, addresses, options):
        file = self.folder / 'tarn-policy.toml'
        file.write_text('\n'.join(policy), encoding='utf-8')
        os.utime(file, (LONG_AGO, LONG_AGO))
        ended = subprocess.run([documents.ROOT / 'cmake/wine-run', BIN / 'tarnhost.exe', '--json', '--install-folder',
                                self.folder, *options, 'url', *addresses],
                               capture_output=True, text=True, check=False)
        self.assertEqual(ended.returncode, 0, ended.stderr)
        events = [json.loads(line) for line in ended.stdout.splitlines()]
        return [f"{event['verdict'].replace('blocked', 'BLOCKED')} {event['reason']} {self.words(event)}"
                for event in events if event['type'] == 'verdict']

    @staticmethod
    def words(event):
        """As the text output has them: of what no rule decided it tells what an entry let pass."""
        is_let_pass = event['reason'] == 26 and 'entry' in event
        return 'let pass by a list' if is_let_pass else event['reason_text']

    def test_each_address_gets_the_verdict_that_the_table_says(self):
        asked = 0
        for document in documents.all_documents():
            for table in documents.tables_of_addresses(document, documents.text_of(document)):
                self.assertIsNotNone(table.policy, f'{table.place}: there is no policy above it')
                times = {row[0] if len(row) == 3 else '' for row in table.rows}
                for time in sorted(times):
                    rows = [row for row in table.rows if len(row) == 2 or row[0] == time]
                    asked += len(rows)
                    with self.subTest(place=table.place, at=time):
                        self.assertEqual([row[-1] for row in rows],
                                         self.judge(table.policy, [row[-2] for row in rows],
                                                    ['--at', time] if time else []))
        self.assertGreater(asked, 40)


if __name__ == '__main__':
    unittest.main()
