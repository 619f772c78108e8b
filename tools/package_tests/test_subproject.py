"""tarn inside somebody else's project: the libraries, and nothing else, are built."""
import subprocess
import tempfile
import unittest
from pathlib import Path

import made

PROJECT = '''cmake_minimum_required(VERSION 3.25)
project(own LANGUAGES C CXX)
add_subdirectory("{root}" tarn)
add_executable(own own.c)
if(TARGET tarn::tarn)
  target_link_libraries(own PRIVATE tarn::tarn)
endif()
'''
SOURCE = '#ifdef _WIN32\n#include <tarn/tarn.h>\n#endif\nint main(void) { return 0; }\n'
UNWANTED = ('test', 'tarnhost', 'bench', 'fuzz', 'soak', 'c_consumer', 'gtest')


class SubProject(unittest.TestCase):
    def configure(self, *options):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        (self.folder / 'CMakeLists.txt').write_text(PROJECT.format(root=made.ROOT), encoding='utf-8')
        (self.folder / 'own.c').write_text(SOURCE, encoding='utf-8')
        ended = subprocess.run(['cmake', '-G', 'Ninja', '-S', self.folder, '-B', self.folder / 'build', *options],
                               capture_output=True, text=True, check=False)
        self.assertEqual(ended.returncode, 0, ended.stdout + ended.stderr)
        shown = subprocess.run(['ninja', '-C', self.folder / 'build', '-t', 'targets', 'all'], capture_output=True,
                               text=True, check=True).stdout
        return sorted({Path(line.split(':')[0]).name for line in shown.splitlines() if '_LINKER__' in line})

    def expect_only_libraries(self, products):
        for name in products:
            for word in UNWANTED:
                self.assertNotIn(word, name.lower())

    def test_for_windows(self):
        products = self.configure(f'-DCMAKE_TOOLCHAIN_FILE={made.ROOT}/cmake/mingw-toolchain.cmake')
        self.assertIn('tarn.dll', products)
        self.assertIn('setrd.dll', products)
        self.assertIn('own.exe', products)
        self.expect_only_libraries(products)
        ended = subprocess.run(['ninja', '-C', self.folder / 'build', 'CMakeFiles/own.dir/own.c.obj'],
                               capture_output=True, text=True, check=False)
        self.assertEqual(ended.returncode, 0, ended.stdout)  # the headers are found

    def test_on_this_machine(self):
        products = self.configure()
        self.assertIn('libtarn_core.a', products)
        self.assertIn('own', products)
        self.expect_only_libraries(products)


if __name__ == '__main__':
    unittest.main()
