"""The libraries of others inside the programs, and their licences, as the distribution's packages have them."""
import dataclasses
import subprocess
from pathlib import Path

DOCUMENTS = Path('/usr/share/doc')


@dataclasses.dataclass(frozen=True)
class Component:
    name: str
    package: str   # of the distribution
    licence: str   # as SPDX names it
    inside: str    # which of our files contain it
    headers: str = ''  # its folder in cmake/header_libraries.cmake
    text_file: str = ''  # beside this file, where the package's own text is about hundreds of files that are not inside

    def text(self, documents=DOCUMENTS):
        if self.text_file:
            return (Path(__file__).resolve().parent / self.text_file).read_text(encoding='utf-8')
        return (documents / self.package / 'copyright').read_text(encoding='utf-8')

    def version(self):
        shown = subprocess.run(['dpkg-query', '-W', '-f', '${Version}', self.package], capture_output=True, text=True,
                               check=False)
        if shown.returncode != 0 or not shown.stdout:
            raise RuntimeError(f'The package {self.package} is not installed, whose version and licence are wanted')
        return shown.stdout.strip()


COMPONENTS = (
    Component('Boost (Asio, Beast)', 'libboost-dev', 'BSL-1.0', 'tarnhost.exe', 'boost',
              'BSL-1.0.txt'),
    Component('CLI11', 'libcli11-dev', 'BSD-3-Clause', 'tarnhost.exe', 'CLI'),
    Component('fmt', 'libfmt-dev', 'MIT', 'tarnhost.exe and the companion modules', 'fmt'),
    Component('JSON for Modern C++', 'nlohmann-json3-dev', 'MIT', 'tarnhost.exe', 'nlohmann'),
    Component('toml++', 'libtomlplusplus-dev', 'MIT', 'tarnhost.exe and the companion modules', 'toml++'),
    Component('zlib', 'libz-mingw-w64-dev', 'Zlib', 'tarnhost.exe'),
    Component('GCC run-time libraries, win32 threads', 'gcc-mingw-w64-x86-64-win32-runtime',
              'GPL-3.0-or-later WITH GCC-exception-3.1', 'tarn.dll and the companion modules'),
    Component('GCC run-time libraries, POSIX threads', 'gcc-mingw-w64-x86-64-posix-runtime',
              'GPL-3.0-or-later WITH GCC-exception-3.1', 'tarnhost.exe'),
    Component('mingw-w64 run-time library', 'mingw-w64-x86-64-dev', 'ZPL-2.1 AND MIT AND BSD-3-Clause',
              'every program'),
)

OPENING = '''\
The programs of this package contain code of the libraries below. Their licences follow, each once, as the distribution
gives them; parts of a text that speak of its own packaging, tests or documents do not concern these programs.
The GCC run-time libraries come under the GCC Runtime Library Exception, which stands in their text.
'''


def notices(components=COMPONENTS, documents=DOCUMENTS):
    """One text: a list of the components, then each different licence text with the names that it belongs to."""
    lines = [OPENING]
    names_of = {}
    for component in components:
        lines.append(f'{component.name} {component.version()}: in {component.inside}')
        names_of.setdefault(component.text(documents).strip(), []).append(component.name)
    for text, names in names_of.items():
        lines += ['', '=' * 100, ' and '.join(names), '=' * 100, '', text]
    return '\n'.join(lines) + '\n'
