"""The archive as a developer uses it: its examples built outside the project, from nothing but what it holds."""
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import made
from wine_prefix import WinePrefix, windows_path

TOOLCHAIN = '''set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_EXE_LINKER_FLAGS -static)
'''
# Without any run-time library or header of it, since there is none for the Microsoft form here.
MICROSOFT_UCHAR = 'typedef unsigned short char16_t;\n'
MICROSOFT_HOST = '''#include <tarn/tarn.h>
int Start(void) {
    uint8_t status = 0xFF;
    if (WSScanUrl(0, 0, 0) != 0) return 1;
    return WSGetUrlScanFeatureStatus(&status) == 1 && status == 0 ? 42 : 2;
}
'''


class Examples(unittest.TestCase):
    def setUp(self):
        self.package = made.unpacked()
        folder = tempfile.TemporaryDirectory(prefix='own project ')
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def call(self, *command, folder=None):
        ended = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False,
                               cwd=folder or self.folder)
        self.assertEqual(ended.returncode, 0, f'{command}\n{ended.stdout}{ended.stderr}')
        return ended.stdout

    def configure(self, source, *options):
        (self.folder / 'toolchain.cmake').write_text(TOOLCHAIN, encoding='utf-8')
        return ('cmake', '-G', 'Ninja', '-S', source, '-B', self.folder / 'build',
                f"-DCMAKE_TOOLCHAIN_FILE={self.folder / 'toolchain.cmake'}",
                f'-DCMAKE_PREFIX_PATH={self.package}', *options)

    def test_all_of_them_with_cmake(self):
        self.call(*self.configure(self.package / 'examples'))
        self.call('cmake', '--build', self.folder / 'build')
        sources = [path.name for path in (self.package / 'examples').rglob('*') if path.suffix in ('.c', '.cpp')]
        objects = [path.name for path in (self.folder / 'build').rglob('*.obj')]
        self.assertIn('c_consumer.c', sources)
        for source in sources:
            self.assertIn(f'{source}.obj', objects)
        self.expect_it_runs(self.folder / 'build' / 'bin' / 'c_consumer.exe')
        with WinePrefix() as windows:
            windows.register(windows_path(self.package / 'bin') + '\\')
            for name in ('c_host.exe', 'cpp_host.exe'):
                status, said = windows.run(self.folder / 'build' / 'bin' / name)
                self.assertEqual(status, 0, said)
                self.assertIn('lantern.example/redirect: BLOCKED', said)

    def shown(self, first, last):
        """Lines that the archive's README.md shows, from one that begins so to one that begins so."""
        lines = [line[4:] for line in (self.package / 'README.md').read_text(encoding='utf-8').splitlines()
                 if line.startswith('    ')]
        start = next(number for number, line in enumerate(lines) if line.startswith(first))
        end = next(number for number, line in enumerate(lines) if number >= start and line.startswith(last))
        return lines[start:end + 1]

    def expect_it_runs(self, program):
        with WinePrefix() as windows:
            status, said = windows.run(program)
            self.assertEqual((status, said.splitlines()[-1:]), (0, ['As expected.']), said)

    def test_the_compiler_line_that_the_readme_shows(self):
        copy = shutil.copytree(self.package, self.folder / 'copy')
        line, = self.shown('x86_64-w64-mingw32-gcc', 'x86_64-w64-mingw32-gcc')
        self.call(*line.split(), '-std=c11', '-Wall', '-Wextra', '-Wpedantic', '-Werror', folder=copy)
        self.expect_it_runs((copy / 'c_consumer.exe').rename(copy / 'bin' / 'c_consumer.exe'))

    def test_the_cmake_lines_that_the_readme_shows(self):
        lines = self.shown('cmake_minimum_required', 'target_link_libraries')
        (self.folder / 'CMakeLists.txt').write_text('\n'.join(lines), encoding='utf-8')
        shutil.copy(self.package / 'examples' / 'c_consumer.c', self.folder / 'host.c')
        self.call(*self.configure(self.folder))
        self.call('cmake', '--build', self.folder / 'build')
        shutil.copy(self.package / 'bin' / 'tarn.dll', self.folder / 'build')
        self.expect_it_runs(self.folder / 'build' / 'host.exe')

    def test_import_library_of_the_microsoft_tools(self):
        """Compiled and linked as those do, by clang and lld."""
        (self.folder / 'host.c').write_text(MICROSOFT_HOST, encoding='utf-8')
        (self.folder / 'uchar.h').write_text(MICROSOFT_UCHAR, encoding='utf-8')
        self.call('clang-14', '--target=x86_64-pc-windows-msvc', '-ffreestanding', '-fno-stack-protector', '-c',
                  'host.c', '-I.', f"-I{self.package / 'include'}")
        program = Path(shutil.copy(self.package / 'bin' / 'tarn.dll', self.folder)).with_name('microsoft.exe')
        self.call('lld-link-14', '/nodefaultlib', '/entry:Start', '/subsystem:console', f'/out:{program}', 'host.o',
                  self.package / 'lib' / 'tarn.lib')
        with WinePrefix() as windows:
            self.assertEqual(windows.run(program)[0], 42)

    def test_package_refuses_another_version_and_another_system(self):
        (self.folder / 'CMakeLists.txt').write_text(
            'cmake_minimum_required(VERSION 3.20)\nproject(own LANGUAGES C)\n'
            'find_package(tarn ${WANTED} CONFIG)\nmessage(STATUS "found: ${tarn_FOUND}")\n', encoding='utf-8')
        version = made.VERSION.rsplit('.', 1)[0]
        for wanted, found in ((version, '1'), ('99.0', '0')):
            said = self.call(*self.configure(self.folder, f'-DWANTED={wanted}'))
            self.assertIn(f'found: {found}', said)
        said = self.call('cmake', '-S', self.folder, '-B', self.folder / 'native',
                         f'-DCMAKE_PREFIX_PATH={self.package}')
        self.assertIn('found: 0', said)

    def test_the_tool_judges_from_where_it_was_unpacked(self):
        copy = shutil.copytree(self.package / 'bin', self.folder / 'bin')
        with WinePrefix() as windows:
            status, said = windows.run(windows_path(copy / 'tarnhost.exe'), 'url',
                                       'http://lantern.example/redirect')
            self.assertEqual(status, 0, said)
            self.assertIn('BLOCKED', said)


if __name__ == '__main__':
    unittest.main()
