"""The limits and claims: every row has its test, every number its constant. Each mistake is made in a small project."""
import tempfile
import unittest
from pathlib import Path

import bounds

LIMITS = '''# Limits

| what | what happens | held by |
|---|---|---|
| More than 2,047 bytes | not looked at | `Parser.EndsAtTheLimit`, `kMaxLength` |
| Anything `odd/thing` | the same | `Parser.Refuses` |
'''
SECURITY = '''# Security

| who | what | enters by | read by |
|---|---|---|---|
| a page | 5 bytes | `WSScanUrl` | `src/parser.cpp` |

| what | bound | beyond it | held by |
|---|---|---|---|
| a name | 99 characters | cut | `Parser.EndsAtTheLimit`, `Entry.name - 1` |

| what | where |
|---|---|
| every cut | `EveryCut…` of `tests/parser`; `./dev test` |
'''
SOURCE = '''// constexpr int kMaxLength = 3;
inline constexpr std::size_t kMaxLength = 2047;  // bytes
constexpr std::size_t kSlots = std::size_t{1} << 3;
constexpr auto kName = "text";
static constexpr std::size_t kMost = TARN_SLOTS;
constexpr std::size_t kHalf = base::kMaxLength / 2;
'''
HEADER = '''#define TARN_CAPACITY 100 /* characters */
enum { TARN_SLOTS = 3000 };
typedef struct TARN_PACKED Entry {
    char name[TARN_CAPACITY];
    uint8_t bytes[0x40];
} Entry;
'''
TEST = 'TEST(Parser, EndsAtTheLimit) {}\nTEST(Parser, Refuses) {}\nTEST(Parser, EveryCutIsRead) {}\n'


class Project(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        for name, text in (('docs/limits.md', LIMITS), ('docs/security.md', SECURITY), ('src/parser.cpp', SOURCE),
                           ('include/tarn/records.h', HEADER), ('tests/parser/parser_test.cpp', TEST),
                           ('tests/parser/CMakeLists.txt', 'tarn_add_test(parser_test SOURCES parser_test.cpp)\n'),
                           ('dev', '  test            run every test\n'), ('fuzz/targets.cpp', '')):
            self.write(name, text)

    def write(self, name, text):
        (self.root / name).parent.mkdir(parents=True, exist_ok=True)
        (self.root / name).write_text(text, encoding='utf-8')

    def mistakes(self):
        return bounds.check(self.root)[0]

    def of_limit(self, what, held):
        """What is said of one more row of the limits."""
        self.write('docs/limits.md', f'{LIMITS}| {what} | the same | {held} |\n')
        return [line.removeprefix('docs/limits.md:7: ') for line in self.mistakes()]

    def of_bound(self, bound, held):
        row = f'| a text | {bound} | cut | {held} |\n'
        self.write('docs/security.md', SECURITY.replace('\n| what | where |', row + '\n| what | where |'))
        return [line.removeprefix('docs/security.md:10: ') for line in self.mistakes()]

    def test_whole_documents_have_no_mistake(self):
        self.assertEqual(bounds.check(self.root), ([], 3))

    def test_every_claim_names_a_test_that_exists(self):
        self.assertEqual(self.of_limit('another', '`Parser.Refuses`'), [])
        self.assertEqual(self.of_limit('another', ''), ['no test holds "another"'])
        self.assertEqual(self.of_limit('another', '`kMaxLength`')[0], 'no test holds "another"')
        self.assertEqual(self.of_limit('another', '`Parser.Accepts`'),
                         ['Parser.Accepts is no test', 'no test holds "another"'])
        self.assertEqual(self.of_limit('another', '`Refuses`'), ['Refuses is no name of a test',
                                                                 'no test holds "another"'])
        self.assertEqual(self.of_limit('another', '`Parser.Refuses`, by hand'), ['"byhand" is no test in code format'])

    def test_a_test_that_is_gone(self):
        self.write('tests/parser/parser_test.cpp', TEST.replace('Refuses', 'Declines'))
        self.assertEqual(self.mistakes(), ['docs/limits.md:6: Parser.Refuses is no test',
                                           'docs/limits.md:6: no test holds "Anything `odd/thing`"'])

    def test_numbers_are_those_of_the_constants(self):
        for what, constant in (('8', 'kSlots'), ('3,000 and more', 'kMost'), ('2,999', 'TARN_SLOTS - 1'),
                               ('more than 1,023', 'kHalf'), ('50', 'TARN_CAPACITY / 2'), ('64', 'Entry.bytes'),
                               ('2,047', 'parser.cpp:kMaxLength')):
            self.assertEqual(self.of_limit(what, f'`Parser.Refuses`, `{constant}`'), [], what)
        self.assertEqual(self.of_limit('more than 2,048', '`Parser.Refuses`, `kMaxLength`'),
                         ['2048 is the value of no constant that the row names',
                          'kMaxLength is 2047, which does not stand in the row'])
        self.assertEqual(self.of_limit('2,047 of 9', '`Parser.Refuses`, `kMaxLength`'),
                         ['9 is the value of no constant that the row names'])
        self.assertEqual(self.of_limit('9', '`Parser.Refuses`, `kGone`')[0], 'kGone is no constant')
        self.assertEqual(self.of_limit('9', '`Parser.Refuses`, `kName`')[0], "kName is no number: 'text'")

    def test_a_constant_that_changed(self):
        self.write('src/parser.cpp', SOURCE.replace('= 2047', '= 4095'))
        self.assertEqual(self.mistakes(), ['docs/limits.md:5: 2047 is the value of no constant that the row names',
                                           'docs/limits.md:5: kMaxLength is 4095, which does not stand in the row'])

    def test_a_name_of_several_files(self):
        self.write('src/other.cpp', 'constexpr int kMaxLength = 5;\n')
        self.assertIn('docs/limits.md:5: kMaxLength stands in other.cpp, parser.cpp: name one, FILE:NAME',
                      self.mistakes())

    def test_a_bound_names_its_constant(self):
        self.assertEqual(self.of_bound('its field', '`Parser.Refuses`'), [])
        self.assertEqual(self.of_bound('9 bytes', '`Parser.Refuses`'), ['names no constant for its number'])
        self.assertEqual(self.of_bound('9 bytes', '`Parser.Refuses` | more'), ['5 cells below 4 columns'])

    def test_a_table_that_claims_without_a_test(self):
        self.write('docs/limits.md', LIMITS + '\n| what | then |\n|---|---|\n| a | b |\n')
        self.assertEqual(self.mistakes(), ['docs/limits.md:10: the table has no column "held by"'])
        self.write('docs/limits.md', '# Limits\n')
        self.assertEqual(self.mistakes(), ['docs/limits.md: claims nothing'])

    def test_files_commands_and_beginnings_are_there(self):
        for old, new, said in (('src/parser.cpp', 'src/gone.cpp', '5: src/gone.cpp is not there'),
                               ('./dev test', './dev prove', '13: ./dev prove is no command'),
                               ('EveryCut…', 'EveryBit…', '13: no test or target begins with EveryBit…')):
            self.write('docs/security.md', SECURITY.replace(old, new))
            self.assertEqual(self.mistakes(), [f'docs/security.md:{said}'])


class ThisProject(unittest.TestCase):
    def test_has_no_mistake(self):
        wrong, count = bounds.check()
        self.assertEqual(wrong, [])
        self.assertGreater(count, 70)


if __name__ == '__main__':
    unittest.main()
