"""The archive as a developer uses it: its examples built outside the project, from nothing but what it holds."""
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

import made
from prefix import Prefix, windows_path

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

    def call(self, *command):
        ended = subprocess.run([str(word) for word in command], capture_output=True, text=True, check=False, cwd=self.folder)
        self.assertEqual(ended.returncode, 0, f'{command}\n{ended.stdout}{ended.stderr}')
        return ended.stdout

    def configure(self, source, *options):
        (self.folder / 'toolchain.cmake').write_text(TOOLCHAIN, encoding='utf-8')
        return ('cmake', '-G', 'Ninja', '-S', source, '-B', self.folder / 'build',
                f"-DCMAKE_TOOLCHAIN_FILE={self.folder / 'toolchain.cmake'}", f'-DCMAKE_PREFIX_PATH={self.package}', *options)

    def test_all_of_them_with_cmake(self):
        self.call(*self.configure(self.package / 'examples'))
        self.call('cmake', '--build', self.folder / 'build')
        sources = sorted((self.package / 'examples').glob('**/*.c*'))
        programs = sorted((self.folder / 'build' / 'bin').glob('*.exe'))
        self.assertGreater(len(sources), 0)
        self.assertIn('c_consumer.exe', [program.name for program in programs])
        with Prefix() as windows:
            status, said = windows.run(self.folder / 'build' / 'bin' / 'c_consumer.exe')
            self.assertEqual((status, said.splitlines()[-1:]), (0, ['As expected.']), said)

    def test_c_with_a_plain_compiler_line(self):
        program = self.package / 'bin' / 'plain.exe'
        self.addCleanup(program.unlink)
        self.call('x86_64-w64-mingw32-gcc', '-std=c11', '-Wall', '-Wextra', '-Wpedantic', '-Werror',
                  f"-I{self.package / 'include'}", self.package / 'examples' / 'c_consumer.c',
                  self.package / 'lib' / 'libtarn.dll.a', '-o', program)
        with Prefix() as windows:
            status, said = windows.run(program)
            self.assertEqual((status, said.splitlines()[-1:]), (0, ['As expected.']), said)

    def test_import_library_of_the_microsoft_tools(self):
        """Compiled and linked as those do, by clang and lld."""
        (self.folder / 'host.c').write_text(MICROSOFT_HOST, encoding='utf-8')
        (self.folder / 'uchar.h').write_text(MICROSOFT_UCHAR, encoding='utf-8')
        self.call('clang-14', '--target=x86_64-pc-windows-msvc', '-ffreestanding', '-fno-stack-protector', '-c', 'host.c', '-I.',
                  f"-I{self.package / 'include'}")
        program = self.package / 'bin' / 'microsoft.exe'
        self.addCleanup(program.unlink)
        self.call('lld-link-14', '/nodefaultlib', '/entry:Start', '/subsystem:console', f'/out:{program}', 'host.o',
                  self.package / 'lib' / 'tarn.lib')
        with Prefix() as windows:
            self.assertEqual(windows.run(program)[0], 42)

    def test_package_refuses_another_version_and_another_system(self):
        (self.folder / 'CMakeLists.txt').write_text(
            'cmake_minimum_required(VERSION 3.20)\nproject(own LANGUAGES C)\n'
            'find_package(tarn ${WANTED} CONFIG)\nmessage(STATUS "found: ${tarn_FOUND}")\n', encoding='utf-8')
        version = made.VERSION.rsplit('.', 1)[0]
        for wanted, found in ((version, '1'), ('99.0', '0')):
            said = self.call(*self.configure(self.folder, f'-DWANTED={wanted}'))
            self.assertIn(f'found: {found}', said)
        said = self.call('cmake', '-S', self.folder, '-B', self.folder / 'native', f'-DCMAKE_PREFIX_PATH={self.package}')
        self.assertIn('found: 0', said)

    def test_the_tool_judges_from_where_it_was_unpacked(self):
        copy = shutil.copytree(self.package / 'bin', self.folder / 'bin')
        with Prefix() as windows:
            status, said = windows.run(windows_path(copy / 'tarnhost.exe'), 'url',
                                       'http://lantern.example/redirect')
            self.assertEqual(status, 0, said)
            self.assertIn('BLOCKED', said)


if __name__ == '__main__':
    unittest.main()
