import contextlib
import io
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path
from unittest import mock

import build


class MovedClone(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.folder = self.root / 'build' / 'windows'
        self.folder.mkdir(parents=True)

    def cache(self, home, own):
        (self.folder / 'CMakeCache.txt').write_text(
            f'A:STRING=b=c\nCMAKE_CACHEFILE_DIR:INTERNAL={own}\nCMAKE_HOME_DIRECTORY:INTERNAL={home}\n',
            encoding='utf-8')

    def forget(self):
        said = io.StringIO()
        with contextlib.redirect_stdout(said):
            build.forget_another_place('windows', self.root)
        return said.getvalue()

    def test_a_folder_of_another_place_goes(self):
        self.cache('/some/other/clone', '/some/other/clone/build/windows')
        self.assertEqual(self.forget(), 'build/windows was made for /some/other/clone; here it is made anew.\n')
        self.assertFalse(self.folder.exists())

    def test_its_own_stays(self):
        self.cache(self.root, self.folder)
        self.assertEqual(self.forget(), '')
        self.assertTrue((self.folder / 'CMakeCache.txt').exists())

    def test_its_own_by_another_name_stays(self):
        link = self.root / 'link'
        link.symlink_to(self.root)
        self.cache(link, link / 'build' / 'windows')
        self.assertEqual(self.forget(), '')
        self.assertTrue((self.folder / 'CMakeCache.txt').exists())

    def test_one_without_a_cache_or_half_made_stays(self):
        (self.folder / 'file').touch()
        self.assertEqual(self.forget(), '')
        (self.folder / 'CMakeCache.txt').touch()
        self.assertEqual(self.forget(), '')
        self.assertTrue((self.folder / 'file').exists())


class CompilerCache(unittest.TestCase):
    def test_a_build_gets_its_own_settings(self):
        with tempfile.TemporaryDirectory() as folder, mock.patch.object(build, 'configure', return_value=True), \
                mock.patch.dict('os.environ', PATH=f'{folder}:/usr/bin:/bin', CCACHE_BASEDIR='/'):
            fake = Path(folder, 'cmake')
            fake.write_text(f'#!/bin/sh\n[ "${{CCACHE_BASEDIR-unset}}" = "{build.ROOT}" ]\n', encoding='utf-8')
            fake.chmod(0o755)
            self.assertTrue(build.build('windows'))
            fake.write_text('#!/bin/sh\n[ "${CCACHE_BASEDIR-unset}" = "/" ]\n', encoding='utf-8')
            self.assertFalse(build.build('windows'))

    def asked(self, preset, name, settings=''):
        with tempfile.NamedTemporaryFile('w', suffix='.conf') as file:
            file.write(settings)
            file.flush()
            with mock.patch.dict('os.environ', CCACHE_CONFIGPATH=file.name):
                return subprocess.run(['ccache', '--get-config', name], env=build.with_compiler_cache(preset),
                                      capture_output=True, text=True, check=True).stdout.strip()

    @unittest.skipIf(shutil.which('ccache') is None, 'there is no compiler cache')
    def test_no_setting_of_the_user_changes_the_base_folder(self):
        self.assertEqual(self.asked('windows', 'base_dir', 'base_dir = /\n'), str(build.ROOT))
        self.assertEqual(self.asked('windows', 'hash_dir'), 'true')

    @unittest.skipIf(shutil.which('ccache') is None, 'there is no compiler cache')
    def test_clones_share_what_is_tested_on_this_machine(self):
        self.assertEqual(self.asked('native', 'base_dir'), str(build.ROOT))
        self.assertEqual(self.asked('native', 'hash_dir'), 'false')

    @unittest.skipIf(shutil.which('ccache') is None, 'there is no compiler cache')
    def test_it_takes_what_uses_a_precompiled_header(self):
        self.assertEqual(self.asked('windows', 'sloppiness'), 'pch_defines, time_macros')


if __name__ == '__main__':
    unittest.main()
