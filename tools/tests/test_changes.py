import subprocess
import tempfile
import unittest
from pathlib import Path

import build
import changes


class PlanFor(unittest.TestCase):
    def test_a_layer_and_all_above_it(self):
        plan = changes.plan_for(['src/smb/tree_table.cpp'])
        self.assertEqual(plan.own, ['smb', 'shape'])
        self.assertEqual(plan.dependents, ['lists', 'url', 'api', 'companions', 'host', 'fuzz', 'order'])

    def test_tests_concern_only_their_own_folder(self):
        plan = changes.plan_for(['tests/url/url_scan_test.cpp', 'tests/smb/CMakeLists.txt'])
        self.assertEqual(plan.own, ['smb', 'url', 'shape'])
        self.assertEqual(plan.dependents, [])

    def test_a_header_of_tests_serves_other_folders(self):
        plan = changes.plan_for(['tests/modules/fake_modules.h'])
        self.assertEqual(plan.own, ['modules', 'shape'])
        self.assertIn('api', plan.dependents)

    def test_the_orders_concern_nobody_else(self):
        for path in ('tests/order/lock_order_test.cpp', 'tests/order/explorer/world.h', 'tests/order/broken.json'):
            with self.subTest(path=path):
                plan = changes.plan_for([path])
                self.assertEqual((plan.own, plan.dependents), (['order', 'shape'], []))

    def test_what_everything_includes_concerns_every_folder(self):
        for path in ('include/tarn/tarn.h', 'CMakeLists.txt', 'tests/CMakeLists.txt', 'cmake/warnings.cmake',
                     'tests/support/matchers.h', 'src/CMakeLists.txt'):
            with self.subTest(path=path):
                plan = changes.plan_for([path])
                self.assertEqual(plan.own, ['shape'])
                self.assertEqual(plan.dependents, list(changes.ALL))

    def test_what_only_windows_compiles(self):
        plan = changes.plan_for(['src/base/sync_win32.cpp', 'tests/system/soak_win32.cpp', 'examples/c_consumer.c'])
        self.assertEqual(plan.own, ['shape'])
        self.assertEqual(len(plan.windows_only), 3)

    def test_a_header_of_windows_has_nothing_to_compile_by_itself(self):
        self.assertEqual(changes.plan_for(['src/api/platform_win32.h']).windows_only, [])

    def test_the_model_is_tested_with_the_tools(self):
        plan = changes.plan_for(['tests/model/judge/dns.py', 'tests/model/run.py'])
        self.assertEqual((plan.own, plan.dependents, plan.tools), (['shape'], [], True))
        plan = changes.plan_for(['tests/model/driver/line.cpp'])
        self.assertEqual((plan.dependents, plan.windows_only), ([], ['tests/model/driver/line.cpp']))

    def test_words_concern_the_rules_of_sources_and_documents_only(self):
        plan = changes.plan_for(['README.md', 'src/url/README.md'])
        self.assertEqual((plan.own, plan.dependents, plan.tools), (['shape'], [], True))
        plan = changes.plan_for(['docs/policy.md'])
        self.assertEqual((plan.own, plan.dependents, plan.tools), (['companions', 'shape'], [], True))
        plan = changes.plan_for(['docs/policy.schema.json'])
        self.assertEqual((plan.own, plan.dependents, plan.tools), (['companions', 'shape'], [], False))

    def test_tools(self):
        for path in ('dev', 'tools/check.py', 'cmake/wine-run'):
            with self.subTest(path=path):
                plan = changes.plan_for([path])
                self.assertTrue(plan.tools)
                self.assertEqual(plan.dependents, [])

    def test_nothing_is_planned_twice(self):
        plan = changes.plan_for(['src/base/ascii.h', 'src/url/url_scan.cpp'])
        self.assertEqual(plan.own, ['base', 'url', 'shape'])
        self.assertEqual(len(set(plan.dependents)), len(plan.dependents))
        self.assertNotIn('url', plan.dependents)

    def test_knows_every_layer(self):
        folders = {path.name for path in (build.ROOT / 'src').iterdir() if path.is_dir()}
        self.assertTrue(folders)
        self.assertLessEqual(folders, set(changes.LAYERS))


class Changed(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.git('init', '--quiet')
        self.write('kept.cpp', 'kept')
        self.write('edited.cpp', 'old')
        self.write('gone.cpp', 'gone')
        self.write('.gitignore', '/build/\n')
        self.git('add', '.')
        self.git('-c', 'user.name=n', '-c', 'user.email=e', 'commit', '--quiet', '-m', 'First')

    def git(self, *arguments):
        subprocess.run(['git', *arguments], cwd=self.root, check=True)

    def write(self, path, text):
        (self.root / path).parent.mkdir(exist_ok=True)
        (self.root / path).write_text(text, encoding='utf-8')

    def edit(self):
        self.write('edited.cpp', 'new')
        self.write('folder/added file.cpp', 'added')
        self.write('build/made.cpp', 'made')
        (self.root / 'gone.cpp').unlink()

    def test_finds_what_is_new_different_or_gone(self):
        before = changes.fingerprints(self.root)
        self.assertEqual(changes.changed(changes.fingerprints(self.root), before), set())
        self.edit()
        expected = {'edited.cpp', 'folder/added file.cpp', 'gone.cpp'}
        self.assertEqual(changes.changed(changes.fingerprints(self.root), before), expected)
        self.assertEqual(changes.uncommitted(self.root), expected)

    def test_a_commit_alone_changes_nothing(self):
        self.edit()
        before = changes.fingerprints(self.root)
        self.git('add', '--all')
        self.assertEqual(changes.changed(changes.fingerprints(self.root), before), set())

    def test_a_state_comes_back(self):
        file = self.root / 'build' / 'check' / 'state.json'
        self.assertIsNone(changes.read_state(file))
        changes.write_state(file, {'a.cpp': '1'})
        self.assertEqual(changes.read_state(file), {'a.cpp': '1'})
        file.write_text('[', encoding='utf-8')
        self.assertIsNone(changes.read_state(file))


class Under(unittest.TestCase):
    def test_takes_whole_names(self):
        paths = {'src/url/a.cpp', 'src/url_other/b.cpp', 'dev'}
        self.assertEqual(changes.under(paths, ['src/url']), {'src/url/a.cpp'})
        self.assertEqual(changes.under(paths, ['dev']), {'dev'})
        self.assertEqual(changes.under(paths, ['none']), set())


if __name__ == '__main__':
    unittest.main()
