"""The documents: every link leads somewhere, and every command in them is marked as one that is run or is not."""
import re
import unittest

import documents

SAMPLE = '''# A title: `[code]` & more

[one](two.md), `[no](link.md)`, [part](#a-title-code--more)

```sh
./dev help   # with a remark
# a remark
```

```toml
[features]
```

| at | address | verdict |
|---|---|---|
| `12:00` | `http://x.example/` | allowed 26 no rule decided |

- an item

      ./dev of an item

text
    ./dev in a paragraph

    ./dev in a block
    cmaked is no program
'''


class Reading(unittest.TestCase):
    def test_blocks_and_their_commands(self):
        blocks, rest = documents.split_blocks('x.md', SAMPLE)
        self.assertEqual([block.info for block in blocks], ['sh', 'toml'])
        self.assertEqual(documents.commands(blocks[0]), ['./dev help   # with a remark'])
        self.assertEqual(blocks[0].place, 'x.md:5')
        self.assertEqual(len(rest), len(SAMPLE.splitlines()))

    def test_why_a_block_is_not_run(self):
        self.assertEqual(documents.Block('x.md', 1, 'sh by hand: takes hours').by_hand, 'takes hours')
        self.assertEqual(documents.Block('x.md', 1, 'sh').by_hand, '')

    def test_indented_commands(self):
        _, rest = documents.split_blocks('x.md', SAMPLE)
        self.assertEqual([rest[number - 1].strip() for number in documents.indented_commands(rest)],
                         ['./dev of an item', './dev in a block'])

    def test_links_and_anchors(self):
        self.assertEqual(documents.links(SAMPLE), ['two.md', '#a-title-code--more'])
        self.assertEqual(documents.anchors(SAMPLE), {'a-title-code--more'})
        self.assertEqual(documents.anchors('# A\n## A\n'), {'a', 'a-1'})

    def test_tables_of_addresses(self):
        table, = documents.tables_of_addresses('x.md', SAMPLE)
        self.assertEqual(table.rows, [['12:00', 'http://x.example/', 'allowed 26 no rule decided']])
        self.assertEqual(table.policy, ['[features]'])

    def test_sessions(self):
        block = documents.Block('x.md', 1, 'console')
        block.lines = ['$ echo a', 'a', '', '$ true']
        self.assertEqual(documents.sessions(block), [('echo a', ['a']), ('true', [])])
        block.lines = ['a']
        self.assertRaises(ValueError, documents.sessions, block)

    def test_output_is_put_into_the_document(self):
        text = 'x\n```console\n$ echo new; echo\nold\nold\n$ echo b\n```\ny\n'
        self.assertEqual(documents.with_real_output('x.md', text),
                         'x\n```console\n$ echo new; echo\nnew\n\n$ echo b\nb\n```\ny\n')
        self.assertRaises(RuntimeError, documents.with_real_output, 'x.md', '```console\n$ exit 3\n```\n')


class Documents(unittest.TestCase):
    def setUp(self):
        self.all = documents.all_documents()
        self.assertIn('README.md', self.all)
        self.assertGreater(len(self.all), 20)

    def test_every_link_leads_somewhere(self):
        self.assertEqual([link for document in self.all for link in documents.dead_links(document)], [])
        self.assertGreater(len(documents.links(documents.text_of('README.md'))), 20)

    def test_every_block_says_what_it_is(self):
        known = (documents.RUN, documents.SHOWN, documents.WINDOWS, *documents.NO_COMMANDS)
        for document in self.all:
            blocks, rest = documents.split_blocks(document, documents.text_of(document))
            for block in blocks:
                self.assertIn(block.language, known, block.place)
                if block.language in (documents.RUN, documents.WINDOWS):
                    self.assertTrue(block.info == block.language or block.by_hand, block.place)
            if document not in documents.ELSEWHERE:
                self.assertEqual(documents.indented_commands(rest), [], f'{document}: fence these commands')

    def test_commands_of_the_door_exist(self):
        """Also those that nobody runs here."""
        known = set(re.findall(r'^  ([a-z]+)', documents.run('./dev help').stdout, re.MULTILINE))
        self.assertIn('host', known)
        named = 0
        for document in self.all:
            for command in re.findall(r'\./dev ([a-z]+)', documents.text_of(document)):
                named += 1
                self.assertIn(command, known, document)
        self.assertGreater(named, 20)

    def test_the_change_log_has_what_comes_and_the_version_of_the_build(self):
        headings = re.findall(r'^## \[(.+?)\]', documents.text_of('CHANGELOG.md'), re.MULTILINE)
        version = re.search(r'project\(tarn VERSION ([\d.]+)', documents.text_of('CMakeLists.txt'))[1]
        self.assertEqual(headings[:2], ['Unreleased', version])

    def test_every_folder_that_is_said_to_have_a_readme_has_one(self):
        for layer in (documents.ROOT / 'src').iterdir():
            if layer.is_dir():
                self.assertTrue((layer / 'README.md').exists(), layer)
        listed = re.search(r'\n\| folder \| what \|\n(.*?)\n\n', documents.text_of('README.md'), re.DOTALL)[1]
        folders = re.findall(r'\[([\w/]+)\]\(', listed)
        self.assertGreater(len(folders), 8)
        for folder in folders:
            self.assertTrue((documents.ROOT / folder).is_dir(), folder)
            if folder != 'src':
                self.assertTrue((documents.ROOT / folder / 'README.md').exists(), folder)



if __name__ == '__main__':
    unittest.main()
