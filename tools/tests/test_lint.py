import contextlib
import io
import os
import tempfile
import time
import unittest
from pathlib import Path
from unittest import mock

import lint


class MovedClone(unittest.TestCase):
    def test_a_build_folder_of_another_place_is_made_anew(self):
        with tempfile.TemporaryDirectory() as name, contextlib.redirect_stdout(io.StringIO()), \
                mock.patch.object(lint, 'ROOT', Path(name)), \
                mock.patch.object(lint.build, 'configure', return_value=False) as configure:
            folder = Path(name, 'build', 'native')
            folder.mkdir(parents=True)
            (folder / 'compile_commands.json').write_text('[]', encoding='utf-8')
            (folder / 'CMakeCache.txt').write_text('CMAKE_CACHEFILE_DIR:INTERNAL=/another/clone\n'
                                                   'CMAKE_HOME_DIRECTORY:INTERNAL=/another/clone\n', encoding='utf-8')
            with self.assertRaises(SystemExit):
                lint.Linter()
            configure.assert_called_once_with('native')
            self.assertFalse(folder.exists())


class Stamps(unittest.TestCase):
    def test_those_of_two_months_ago_are_forgotten(self):
        with tempfile.TemporaryDirectory() as name:
            for stamp in ('old', 'new'):
                Path(name, stamp).touch()
            long_ago = time.time() - lint.STAMPS_LAST - 60
            os.utime(Path(name, 'old'), (long_ago, long_ago))
            lint.forget_old_stamps(Path(name))
            self.assertEqual([path.name for path in Path(name).iterdir()], ['new'])


class OptionsOf(unittest.TestCase):
    def test_keeps_what_decides_the_meaning(self):
        command = ['ccache', 'g++', '-DA="b c"', '-Dsome_EXPORTS', '-I/p/src', '-isystem', '/p/lib', '-O1', '-g',
                   '-fsanitize=address', '-std=c++20', '-Winvalid-pch', '-include', '/p/cmake_pch.hxx', '-Wall', '-Werror',
                   '-o', 'a.o', '-c', 'a.cpp']
        self.assertEqual(lint.options_of(command), ['-DA="b c"', '-I/p/src', '-isystem', '/p/lib', '-std=c++20',
                                                    '-Wall', '-Wno-unknown-warning-option'])


class IncludedHeaders(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name).resolve()

    def write(self, path, text):
        (self.root / path).parent.mkdir(parents=True, exist_ok=True)
        (self.root / path).write_text(text, encoding='utf-8')

    def test_follows_them_through_folders_and_circles(self):
        self.write('src/url/a.cpp', '#include <vector>\n#include "url/a.h"\n  #  include <tarn/tarn.h>\n')
        self.write('src/url/a.h', '#include "base/b.h"\n#include "near.h"\n')
        self.write('src/url/near.h', '#include "url/a.h"\n')
        self.write('src/base/b.h', '')
        self.write('include/tarn/tarn.h', '')
        self.write('src/base/unused.h', '')
        found = lint.included_headers(self.root / 'src/url/a.cpp', [self.root / 'src', self.root / 'include'],
                                      self.root)
        self.assertEqual([str(path.relative_to(self.root)) for path in found],
                         ['include/tarn/tarn.h', 'src/base/b.h', 'src/url/a.h', 'src/url/near.h'])

    def test_include_folders_in_both_forms(self):
        self.assertEqual(lint.include_folders(['-I/a', '-DX', '-I', '/b', '-isystem', '/c']), ['/a', '/b'])


class Tidy(unittest.TestCase):
    """With the real clang-tidy and the project's checks: a lint that finds nothing must be able to find something."""

    def complaint(self, text):
        with tempfile.TemporaryDirectory(dir=lint.ROOT / 'tools' / 'tests') as folder:
            file = Path(folder, 'case.cpp')
            file.write_text(text, encoding='utf-8')
            return lint.tidy(str(file), ['-std=c++20'])

    def test_a_clean_file(self):
        self.assertIsNone(self.complaint('int Twice(int value) { return 2 * value; }\n'))

    def test_a_null_pointer_on_one_path(self):
        found = self.complaint('int First(const int* at) {\n    if (at == nullptr) return *at;\n    return 0;\n}\n')
        self.assertIn('clang-analyzer-core.NullDereference', found)

    def test_two_branches_that_are_the_same(self):
        found = self.complaint('int Same(int a) {\n    if (a > 1) return 2;\n    else return 2;\n}\n')
        self.assertIn('bugprone-branch-clone', found)

    def test_a_file_that_does_not_compile(self):
        self.assertIn('clang-diagnostic-error', self.complaint('int Missing() { return none; }\n'))


class Stamp(unittest.TestCase):
    def stamp(self, header='int one;\n', define='-DA', setting=''):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(lint, 'ROOT', Path(folder).resolve()):
            (lint.ROOT / 'a.cpp').write_text('#include "a.h"\n', encoding='utf-8')
            (lint.ROOT / 'a.h').write_text(header, encoding='utf-8')
            linter = lint.Linter.__new__(lint.Linter)
            linter.setting = setting
            return linter.stamp('a.cpp', [f'-I{lint.ROOT}', define])

    def test_is_the_same_in_every_clone(self):
        self.assertEqual(self.stamp(), self.stamp())

    def test_changes_with_the_header_the_options_and_the_checks(self):
        others = [self.stamp(header='int two;\n'), self.stamp(define='-DB'), self.stamp(setting='checks')]
        self.assertEqual(len({self.stamp(), *others}), 4)


class Units(unittest.TestCase):
    def test_one_folder_and_one_set_of_options(self):
        waiting = [('src/a/1.cpp', ['-DA'], None), ('src/a/2.cpp', ['-DA'], None), ('src/b/3.cpp', ['-DA'], None),
                   ('src/a/4.cpp', ['-DB'], None), ('src/a/5.c', ['-DA'], None), ('src/a/6.cpp', None, None)]
        units = sorted([file for file, _, _ in unit] for unit in lint.in_units(waiting))
        self.assertEqual(units, [['src/a/1.cpp', 'src/a/2.cpp'], ['src/a/4.cpp'], ['src/a/5.c'], ['src/a/6.cpp'],
                                 ['src/b/3.cpp']])

    def test_every_file_of_a_large_folder_once(self):
        waiting = [(f'src/a/{number}.cpp', [], None) for number in range(2 * lint.FILES_OF_A_UNIT + 1)]
        units = list(lint.in_units(waiting))
        self.assertLessEqual(max(map(len, units)), lint.FILES_OF_A_UNIT)
        self.assertEqual(sorted(entry for unit in units for entry in unit), sorted(waiting))


class LintUnit(unittest.TestCase):
    """With the real clang-tidy, and sources among the project's own so that their headers' rules hold."""

    def setUp(self):
        folder = tempfile.TemporaryDirectory(dir=lint.ROOT / 'tests', prefix='lint_')
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        units = lint.UNITS
        lint.UNITS = self.folder
        self.addCleanup(lambda: setattr(lint, 'UNITS', units))

    def lint(self, *texts):
        unit = []
        for number, text in enumerate(texts):
            file = self.folder / f'{number}.cpp'
            file.write_text(text, encoding='utf-8')
            unit.append((str(file.relative_to(lint.ROOT)), ['-std=c++20'], self.folder / f'{number}.stamp'))
        complaints = lint.lint_unit(unit)
        self.stamped = [stamp.exists() for _, _, stamp in unit]
        return complaints

    def test_clean_files_are_stamped(self):
        self.assertEqual(self.lint('int One() { return 1; }\n', 'int Two() { return 2; }\n'), [])
        self.assertEqual(self.stamped, [True, True])

    def test_the_second_files_null_pointer_is_found(self):
        complaints = self.lint('int One() { return 1; }\n', 'int First(const int* at) {\n'
                               '    if (at == nullptr) return *at;\n    return 0;\n}\n')
        self.assertEqual(len(complaints), 1)
        self.assertIn('clang-analyzer-core.NullDereference', complaints[0])
        self.assertEqual(self.stamped, [True, False])

    def test_a_header_twice_in_one_file_is_found(self):
        complaints = self.lint('#include <cstdint>\nstd::int8_t One() { return 1; }\n',
                               '#include <cstdint>\nstd::int8_t Two() { return 2; }\n',
                               '#include <cstdint>\n#include <cstdint>\nstd::int8_t Three() { return 3; }\n')
        self.assertEqual(len(complaints), 1)
        self.assertIn('readability-duplicate-include', complaints[0])
        self.assertEqual(self.stamped, [True, True, False])

    def test_files_that_cannot_stand_together_are_read_alone(self):
        own = 'namespace {\nint Own() { return 1; }\n}  // namespace\nint Use%d() { return Own(); }\n'
        self.assertEqual(self.lint(own % 1, own % 2), [])
        self.assertEqual(self.stamped, [True, True])

    def test_only_the_one_in_the_way_is_put_apart(self):
        names = []
        for number, name in enumerate(('Own', 'Other', 'Own', 'Third')):
            file = self.folder / f'{number}.cpp'
            file.write_text(f'namespace {{\nint {name}() {{ return 1; }}\n}}\n'
                            f'int Use{number}() {{ return {name}(); }}\n', encoding='utf-8')
            names.append((str(file.relative_to(lint.ROOT)), ['-std=c++20'], None))
        self.assertEqual(lint.compatible(names), [[names[0], names[1], names[3]], [names[2]]])


if __name__ == '__main__':
    unittest.main()
