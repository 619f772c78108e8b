"""The rule book: every rule has its test, every quirk its rule. Each mistake is made in a small project of its own."""
import tempfile
import unittest
from pathlib import Path

import behaviour

BOOK = '''# Rules

| what | is no rule |
|---|---|
| a | b |

## One

| rule | held by |
|---|---|
| The first wins. | `Lists.FirstWins` |
| Quirk: the last wins | `Lists.LastWins`, `Both/Modes.Each/Second` |

text
'''
TEST = '''#include <x>
TEST(Lists, FirstWins) {}
TEST_F(Lists, LastWins) {}
TEST_P(Modes, Each) {}
TEST_P(Alone, Each) {}
INSTANTIATE_TEST_SUITE_P(Both, Modes, testing::Values(1, 2));
TYPED_TEST(Widths, Fit) {}
// TEST(Lists, Commented) {}
/* the old one:
TEST(Lists, BlockComment) {} */
TEST(Lists, DISABLED_Slow) {}
TEST(Lists,
     OverTwoLines) {}
'''
SOURCE = '''int a;
// QUIRK: the last one, not the first,
// wins.  Test: LastWins
int b;
'''


class Project(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.write('docs/behaviour.md', BOOK)
        self.write('tests/lists/lists_test.cpp', TEST)
        self.write('tests/lists/CMakeLists.txt', 'tarn_add_test(lists_test SOURCES lists_test.cpp)\n')
        self.write('src/lists/lists.cpp', SOURCE)

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text, encoding='utf-8')

    def mistakes(self, rows=None):
        if rows is not None:
            self.write('docs/behaviour.md', BOOK.replace('\ntext', rows + '\ntext'))
        return behaviour.check(self.root)[0]

    def of_row(self, rule, held):
        """What is said of one more row."""
        found = self.mistakes(f'| {rule} | {held} |\n')
        return [line.removeprefix('docs/behaviour.md:13: ') for line in found]

    def test_a_whole_book_has_no_mistake(self):
        self.assertEqual(behaviour.check(self.root), ([], 2))

    def test_names_of_tests(self):
        for held in ('`Lists.OverTwoLines`', '`Widths.Fit`', '`Modes.Each`', '`Both/Modes.Each`',
                     '`Both/Modes.Each/1`'):
            self.assertEqual(self.of_row('another', held), [], held)
        for held, said in (('`Lists.Other`', 'Lists.Other is no test'),
                           ('`Lists.Commented`', 'Lists.Commented is no test'),
                           ('`Lists.BlockComment`', 'Lists.BlockComment is no test'),
                           ('`Lists.DISABLED_Slow`', 'Lists.DISABLED_Slow is no test'),
                           ('`FirstWins`', 'FirstWins is no name of a test'),
                           ('`Alone.Each`', 'Alone.Each is never instantiated'),
                           ('`All/Modes.Each`', 'All/Modes.Each is not instantiated as All'),
                           ('`Both/Lists.FirstWins`', 'Both/Lists.FirstWins is not instantiated as Both'),
                           ('`Modes.Each/1`', 'Modes.Each/1 names a case without the prefix of its suite')):
            self.assertEqual(self.of_row('another', held), [said], held)

    def test_a_test_that_no_program_holds_is_none(self):
        self.write('tests/lists/CMakeLists.txt', 'tarn_add_test(lists_test SOURCES other_test.cpp)\n')
        self.assertIn('docs/behaviour.md:11: Lists.FirstWins is no test', self.mistakes())
        self.assertIn('tests: holds none', self.mistakes())

    def test_rows_without_rule_or_test(self):
        self.assertEqual(self.of_row('another', ''), ['no test holds "another"'])
        self.assertEqual(self.of_row('', '`Lists.FirstWins`'), ['no rule'])
        self.assertEqual(self.of_row('another', '`Lists.FirstWins`, by hand'), ['"byhand" is no test in code format'])
        self.assertEqual(self.of_row('another', '`Lists.FirstWins` | more'), ['"more" is no test in code format'])
        self.assertEqual(self.of_row('another', '`Lists.FirstWins`, `Lists.FirstWins`'), ['names a test twice'])

    def test_no_rule_stands_there_twice(self):
        self.assertEqual(self.of_row('the *first* wins', '`Lists.FirstWins`'),
                         ['stands already in docs/behaviour.md:11'])
        self.assertEqual(self.of_row('The last wins', '`Lists.FirstWins`'),
                         ['stands already in docs/behaviour.md:12'])

    def test_a_quirk_without_its_row(self):
        self.write('src/lists/more.h', '// QUIRK: odd.  Test: FirstWins\n')
        self.assertEqual(self.mistakes(), ['src/lists/more.h:1: no row "Quirk: …" of docs/behaviour.md is held by '
                                           'FirstWins'])
        self.write('src/lists/more.h', '// QUIRK: odd.\nint c;\n')
        self.assertEqual(self.mistakes(), ['src/lists/more.h:1: the QUIRK comment names no test'])
        self.write('src/lists/more.h', '// QUIRK: odd.\n// QUIRK: too.  Test: LastWins\n')
        self.assertEqual(self.mistakes(), ['src/lists/more.h:1: the QUIRK comment names no test'])
        self.write('src/lists/more.h', '// QUIRK: odd.  Test: Lists.LastWins\n')
        self.assertEqual(self.mistakes(), [])

    def test_a_row_without_its_quirk(self):
        self.assertEqual(self.of_row('Quirk: another', '`Lists.FirstWins`'),
                         ['no QUIRK comment of src/ names its test'])

    def test_nothing_is_not_enough(self):
        self.write('docs/behaviour.md', '# Rules\n')
        self.assertIn('docs/behaviour.md: holds none', self.mistakes())
        (self.root / 'docs/behaviour.md').unlink()
        self.assertIn('docs/behaviour.md: holds none', self.mistakes())
        self.write('docs/behaviour.md', BOOK)
        self.write('tests/lists/lists_test.cpp', '')
        self.assertIn('tests: holds none', self.mistakes())
        self.write('src/lists/lists.cpp', '')
        self.assertIn('src: QUIRK comments: holds none', self.mistakes())


class ThisProject(unittest.TestCase):
    def test_has_no_mistake(self):
        wrong, count = behaviour.check()
        self.assertEqual(wrong, [])
        self.assertGreater(count, 300)


if __name__ == '__main__':
    unittest.main()
