"""The mutation tool: which mutants a source has, how they are spread, and what becomes of them in a tiny project whose
only test is a program of its own."""
import contextlib
import io
import json
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import mutants
import mutate

SOURCE = '''#include <vector>
#define LIMIT 5 < 6
// a < b is a comment
static_assert(sizeof(int) == 4, "a == b");
template <class T> T Twice(T value) { return value + value; }
int Sum(const std::vector<int>& all, bool& found) {
    int sum = 0;
    for (int number : all) {
        if (number > 10 && !found) continue;
        sum += number;
        Note("a + b", number);
    }
    const char* text = "x == y";
    return sum;
}
constexpr Rule kRules[] = {
    {"first", First},
    {"second", Second},
};
'''
ADD = '''bool IsAdult(int age) {
    const int unused = 3;
    return age >= 18;
}
'''
TEST = '''#include <cstdio>
bool IsAdult(int age);
int main() {
    if (!IsAdult(40) || IsAdult(3)) { std::puts("[  FAILED  ] Age.Counts"); return 1; }
    std::puts("[  PASSED  ] 1 test.");
}
'''


def said(source, kind=None):
    """What becomes of each line, by kind."""
    found = mutants.mutants_of('src/a.cpp', source)
    return [mutant.after for mutant in found if kind in (None, mutant.kind)]


class Mutants(unittest.TestCase):
    def test_operators(self):
        self.assertEqual(said(SOURCE, 'comparison'), ['if (number <= 10 && !found) continue;',
                                                      'if (number >= 10 && !found) continue;'])
        self.assertEqual(said(SOURCE, 'negation'), ['if (number > 10 && found) continue;'])
        self.assertEqual(said(SOURCE, 'arithmetic'),
                         ['template <class T> T Twice(T value) { return value - value; }', 'sum -= number;'])
        self.assertEqual(said('a = b << 2; c = d & e; ++i; x = i--;', 'arithmetic'),
                         ['a = b >> 2; c = d & e; ++i; x = i--;', 'a = b << 2; c = d | e; ++i; x = i--;',
                          'a = b << 2; c = d & e; --i; x = i--;', 'a = b << 2; c = d & e; ++i; x = i++;'])

    def test_conditions(self):
        self.assertEqual(said(SOURCE, 'condition'), ['if (!(number > 10 && !found)) continue;',
                                                     'if (number > 10 || !found) continue;'])
        self.assertEqual(said('if (Ready()) x = y;', 'condition'), ['if (!(Ready())) x = y;'])
        self.assertEqual(said('if (const bool ready = Ask(); ready) x = y;', 'condition'),
                         ['if (const bool ready = Ask(); !(ready)) x = y;'])
        for left_to_others in ('if (!ready) x = y;', 'if (a == b) x = y;', 'if (auto found = Find()) x = y;'):
            self.assertEqual(said(left_to_others, 'condition'), [])

    def test_constants(self):
        self.assertEqual(said(SOURCE, 'constant'), ['int sum = (0 + 1);', 'if (number > (10 + 1) && !found) continue;',
                                                    'if (number > (10 - 1) && !found) continue;'])
        self.assertEqual(said('return true;', 'constant'), ['return false;'])
        self.assertEqual(said('x = 0x10U; y = 1;', 'constant'), ['x = (0x10U + 1); y = 1;', 'x = (0x10U - 1); y = 1;',
                                                                 'x = 0x10U; y = (1 + 1);'])
        self.assertEqual(said('x = 2.5;', 'constant'), [])

    def test_calls(self):
        self.assertEqual(said(SOURCE, 'call'), [';'])
        self.assertEqual(said('{ table.Clear(); }', 'call'), ['{ ; }'])
        self.assertEqual(said('if (x) library->list.Add(a, Of(b));', 'call'), ['if (x) ;'])
        for other in ('return Clear();', 'const Hold hold(lock);', 'x = Clear();', 'static_assert(Clear());',
                      'Type x(1);', 'TARN_ASSERT(x);'):
            self.assertEqual(said('{ ' + other + ' }', 'call'), [], other)

    def test_rows(self):
        self.assertEqual(said(SOURCE, 'order'), ['{"second", Second}, {"first", First},'])
        self.assertEqual(said('int x[] = {1, 2};', 'order'), [])
        self.assertEqual(said('Row x[] = {{1, 2}, {1, 2}};', 'order'), [])

    def test_what_is_left_alone(self):
        for source in ('// a == b', '/* a == b */', 'x = "a == b";', "x = 'a';", 'x = R"(a == b)";',
                       '#if A == 3\n#endif', '#define A \\\n  3 == 4\n', '[[deprecated("1")]] int x;',
                       'alignas(16) int x;', 'std::vector<int> x;', 'bool operator==(A a, A b);', 'void Work(T&& x);'):
            self.assertEqual(said(source), [], source)

    def test_each_changes_its_place_alone(self):
        for mutant in mutants.mutants_of('src/a.cpp', SOURCE):
            changed = mutants.applied(mutant, SOURCE)
            self.assertNotEqual(changed, SOURCE)
            self.assertEqual(changed[:mutant.start], SOURCE[:mutant.start])
            self.assertTrue(changed.endswith(SOURCE[mutant.end:]))
            self.assertIn(SOURCE.splitlines()[mutant.line - 1].strip().split(' ')[0], mutant.before)

    def test_every_source_of_the_library_is_read(self):
        files = [file for file in mutate.sources.all_sources(('src',)) if mutate.builds_natively(file)]
        of_files = mutate.collect(files)
        self.assertGreater(sum(map(len, of_files.values())), 3000)
        for kind in ('comparison', 'condition', 'arithmetic', 'constant', 'negation', 'call', 'order'):
            self.assertTrue(any(mutant.kind == kind for found in of_files.values() for mutant in found), kind)
        self.assertLessEqual({mutate.folder_of(file) for file in files}, set(mutate.PROGRAMS))

    def test_the_equivalent_ones_are_there_and_have_reasons(self):
        files = [file for file in mutate.sources.all_sources(('src',)) if mutate.builds_natively(file)]
        known, stale = mutate.equivalents(mutate.collect(files))
        self.assertEqual(stale, [])
        entries = json.loads((mutate.ROOT / mutate.EQUIVALENT).read_text(encoding='utf-8'))
        self.assertEqual(len(known), len(entries), 'an entry for no file of src/, or one twice')


class Sample(unittest.TestCase):
    def setUp(self):
        self.of_files = {f'src/x/{name}.cpp': mutants.mutants_of(f'src/x/{name}.cpp', 'x = 2;\n' * lines)
                         for name, lines in (('long', 100), ('middle', 50), ('short', 1))}

    def counts(self, count, seed):
        picked = mutate.sample(self.of_files, count, seed)
        self.assertEqual(len(picked), len(set(picked)))
        return [sum(mutant.file == file for mutant in picked) for file in self.of_files]

    def test_is_in_proportion(self):
        for seed in range(20):
            long, middle, short = self.counts(30, seed)
            self.assertEqual(long + middle + short, 30)
            self.assertIn(long, (19, 20))
            self.assertIn(middle, (9, 10))
            self.assertLessEqual(short, 1)
        self.assertEqual(self.counts(None, 1), [200, 100, 2])
        self.assertEqual(self.counts(1000, 1), [200, 100, 2])

    def test_every_file_has_its_turn(self):
        self.assertEqual({self.counts(30, seed)[2] for seed in range(40)}, {0, 1})

    def test_the_seed_decides(self):
        self.assertEqual(mutate.sample(self.of_files, 20, 7), mutate.sample(self.of_files, 20, 7))
        self.assertNotEqual(mutate.sample(self.of_files, 20, 7), mutate.sample(self.of_files, 20, 8))


class TinyTree(mutate.Tree):
    """The same, built by one call of the compiler."""

    def build(self, programs):
        folder = self.out / 'tests'
        folder.mkdir(parents=True, exist_ok=True)
        built = self.out / 'built'
        sources = [self.copy / name for name in ('src/base/age.cpp', 'tests/age_test.cpp')]
        ended = subprocess.run(['g++', '-w', *sources, '-o', built], capture_output=True, text=True, check=False)
        if ended.returncode != 0:
            return ended.stderr
        for program in programs:
            shutil.copy(built, folder / program)
        return None


class TinyProject(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(cls.folder.cleanup)
        cls.root = Path(cls.folder.name) / 'project'
        for name, text in (('src/base/age.cpp', ADD), ('tests/age_test.cpp', TEST)):
            (cls.root / name).parent.mkdir(parents=True)
            (cls.root / name).write_text(text, encoding='utf-8')
        subprocess.run('git init -q && git add -A', shell=True, cwd=cls.root, check=True)
        cls.found = mutants.mutants_of('src/base/age.cpp', ADD)
        cls.tree = TinyTree(cls.root / 'build', cls.root)
        cls.known = {mutant: 'nobody reads it' for mutant in cls.found if 'unused = (3 + 1)' in mutant.after}
        cls.said = io.StringIO()
        with contextlib.redirect_stdout(cls.said):
            cls.judged = mutate.run_all(cls.tree, cls.found, cls.known)

    def outcomes(self):
        return {mutant.after: (outcome, why) for mutant, outcome, why in self.judged}

    def test_outcomes(self):
        self.assertEqual(self.outcomes(), {
            'const int unused = (3 + 1);': (mutate.KNOWN, 'nobody reads it'),
            'const int unused = (3 - 1);': (mutate.SURVIVED, ''),
            'return age > 18;': (mutate.SURVIVED, ''),
            'return age < 18;': (mutate.KILLED, 'Age.Counts'),
            'return age >= (18 + 1);': (mutate.SURVIVED, ''),
            'return age >= (18 - 1);': (mutate.SURVIVED, '')})
        self.assertEqual(mutate.percent_killed(self.judged), 20)
        self.assertIn('    return age >= 18;\n    return age > 18;\n', self.said.getvalue())

    def test_table_and_list(self):
        lines = mutate.table(self.judged)
        self.assertEqual([line.split() for line in lines[1:]],
                         [['src/base/age.cpp', '1', '4', '0', '1'], ['all', '1', '4', '0', '1']])
        path = self.root / 'list.json'
        mutate.write_json(path, self.judged)
        rows = json.loads(path.read_text(encoding='utf-8'))
        self.assertEqual([row['outcome'] for row in rows], [outcome for _, outcome, _ in self.judged])

    def test_the_source_is_as_before(self):
        self.assertEqual((self.tree.copy / 'src/base/age.cpp').read_text(encoding='utf-8'), ADD)
        self.assertEqual((self.root / 'src/base/age.cpp').read_text(encoding='utf-8'), ADD)

    def test_one_that_does_not_compile(self):
        broken = mutants.Mutant('src/base/age.cpp', 1, 'call', 0, 4, 'no such', 'a', 'b')
        runs = {program: mutate.Run(1, '') for programs in mutate.stages_of(broken.file) for program in programs}
        self.assertEqual(mutate.judge(self.tree, broken, runs), (mutate.BROKEN, ''))
        self.assertIsNone(mutate.percent_killed([(broken, mutate.BROKEN, '')]))

    def test_one_that_never_ends(self):
        at = ADD.index('return')
        endless = mutants.Mutant('src/base/age.cpp', 1, 'call', at, at, 'for (;;);', '', '')
        self.tree.put(endless)
        self.addCleanup(self.tree.restore, endless.file)
        self.assertIsNone(self.tree.build(['base_test']))
        self.assertEqual(self.tree.run('base_test', 1).why, 'base_test did not end')

    def test_tests_that_did_not_run_prove_nothing(self):
        survivor = next(mutant for mutant, outcome, _ in self.judged if outcome == mutate.SURVIVED)
        runs = {program: mutate.Run(2, '') for programs in mutate.stages_of(survivor.file) for program in programs}
        self.assertEqual(mutate.judge(self.tree, survivor, runs), (mutate.KILLED, 'base_test ran 1 of 2 tests'))

    def test_a_project_whose_tests_fail_judges_nothing(self):
        changed = ADD.replace('18', '50')
        self.tree.write('src/base/age.cpp', changed.encode())
        self.addCleanup(self.tree.restore, 'src/base/age.cpp')
        with contextlib.redirect_stdout(io.StringIO()) as told:
            self.assertIsNone(mutate.run_all(self.tree, self.found, {}))
        self.assertIn('base_test: Age.Counts', told.getvalue())

    def test_equivalent_ones_are_found_by_their_text(self):
        (self.root / 'tests' / 'mutants_equivalent.json').write_text(json.dumps([
            {'file': 'src/base/age.cpp', 'before': 'return age >= 18;', 'after': 'return age > 18;', 'reason': 'r'},
            {'file': 'src/base/age.cpp', 'before': 'return age >= 18;', 'after': 'gone', 'reason': 'r'},
            {'file': 'src/base/age.cpp', 'before': 'return age >= 18;', 'after': 'return age > 18;', 'nth': 2,
             'reason': 'r'},
            {'file': 'src/base/age.cpp', 'before': 'return age >= 18;', 'after': 'return age < 18;', 'reason': ' '},
            {'file': 'src/other.cpp', 'before': 'a', 'after': 'b', 'reason': 'not asked now'}]), encoding='utf-8')
        known, stale = mutate.equivalents({'src/base/age.cpp': self.found}, self.root)
        self.assertEqual([mutant.after for mutant in known], ['return age > 18;'])
        self.assertEqual(len(stale), 3)


class Refusals(unittest.TestCase):
    def refuses(self, *arguments):
        with contextlib.redirect_stderr(io.StringIO()), self.assertRaises(SystemExit) as ended:
            mutate.main(arguments)
        self.assertEqual(ended.exception.code, 2, arguments)

    def test_files_that_have_no_mutants(self):
        self.refuses('tests/url/url_scan_test.cpp')
        self.refuses('src/no_such_file.cpp')
        self.refuses('src/base/sync_win32.cpp')
        self.refuses('src/api/dll_main.cpp')
        self.refuses('--count', '0')
        self.refuses('--fast')


if __name__ == '__main__':
    unittest.main()
