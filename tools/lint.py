#!/usr/bin/env python3
"""clang-tidy over the library, companions, host and examples, each file once.  usage: lint.py [FILE...]

A clean file is remembered, for every clone of this account, until it, a header that it includes, its compiler options,
.clang-tidy or clang-tidy itself changes. A file that the native build compiles is read as there, any other as for
Windows.

Most of the time goes into the system's headers, so files of one folder with the same options are read as one text.
Files that cannot stand together, because two name the same thing, are put apart; where there is something to say, each
is read by itself.
"""
import concurrent.futures
import contextlib
import hashlib
import os
import re
import subprocess
import sys
import time
from pathlib import Path

import build
import compilations
import sources

ROOT = build.ROOT
FOLDERS = ('src', 'companions', 'host', 'examples')
STAMPS = Path(os.environ.get('XDG_CACHE_HOME') or Path.home() / '.cache') / 'tarn-lint'
STAMPS_LAST = 60 * 24 * 3600  # seconds
UNITS = ROOT / 'build' / 'lint'
FILES_OF_A_UNIT = 8
COMPILES_ONLY = '--checks=-*,misc-misplaced-const'  # a cheap one, since clang-tidy wants at least one
# The analyser follows at most so many steps through one function. Its own limit, 225,000, takes five times as long.
ANALYSER = ['-Xclang', '-analyzer-config', '-Xclang', 'max-nodes=30000']
# Asio gives the memory of a handler to the queue that calls it, and the analyser takes it for lost.
LOSES_HANDLERS = '--checks=-clang-analyzer-cplusplus.NewDeleteLeaks'
NOISE = re.compile(r'warnings? generated\.$|^Suppressed|^Use -header-filter')
KEPT = ('-I', '-D', '-std=', '-isystem', '-W')
LEFT_OUT = re.compile(r'-Werror|-Winvalid-pch|-Wno-subobject-linkage|-D\w+_EXPORTS')
INCLUDE = re.compile(r'^\s*#\s*include\s*["<]([^">]+)[">]', re.MULTILINE)


def options_of(command):
    """What clang has to know of a compiler's command: includes, definitions, language and warnings, not its output.

    A precompiled header is left out: clang does not read GCC's. So is CMake's TARGET_EXPORTS, which no source asks for.
    """
    kept = []
    words = iter(command[1:])
    for word in words:
        if word in ('-include', '-o', '-c'):
            if word != '-c':
                next(words)
        elif word in ('-isystem', '-I', '-D'):
            kept += [word, next(words)]
        elif word.startswith(KEPT) and not LEFT_OUT.fullmatch(word):
            kept.append(word)
    return [*kept, '-Wno-unknown-warning-option']


def included_headers(file, folders, root=ROOT):
    """The headers of the project that a file includes, directly or not: what its stamp depends on."""
    found, waiting = set(), [Path(file)]
    while waiting:
        current = waiting.pop()
        for name in INCLUDE.findall(current.read_text(encoding='utf-8', errors='replace')):
            for folder in (current.parent, *map(Path, folders)):
                header = (folder / name).resolve()
                if header.is_file() and header.is_relative_to(root) and header not in found:
                    found.add(header)
                    waiting.append(header)
    return sorted(found)


def include_folders(options):
    pairs = zip(options, [*options[1:], ''])
    return [word[2:] or following for word, following in pairs if word.startswith('-I')]


def cross_compiler_includes():
    """clang does not find the headers of the cross compiler by itself."""
    said = subprocess.run(['x86_64-w64-mingw32-g++-posix', '-E', '-v', '-x', 'c++', '/dev/null'], capture_output=True,
                          text=True, check=True).stderr
    listed = said[said.index('#include <'):said.index('End of search')].splitlines()[1:]
    wanted = [line.strip() for line in listed if not line.endswith(('/include-fixed', '/12-posix/include'))]
    return [word for folder in wanted for word in ('-isystem', folder)]


class Linter:
    def __init__(self):
        for preset in ('native', 'windows'):
            build.forget_another_place(preset, ROOT)
            if not (ROOT / 'build' / preset / 'compile_commands.json').exists() and not build.configure(preset):
                sys.exit(1)
        self.native = compilations.commands_of('native')
        self.windows = compilations.commands_of('windows')
        self.cross = ['--target=x86_64-w64-windows-gnu', '-nostdlibinc', *cross_compiler_includes()]
        version = subprocess.run(['clang-tidy', '--version'], capture_output=True, text=True, check=True).stdout
        self.setting = version + (ROOT / '.clang-tidy').read_text(encoding='utf-8')

    def options(self, file):
        path = str(ROOT / file)
        if path in self.native:
            return options_of(self.native[path])
        if path in self.windows:
            return [*options_of(self.windows[path]), *self.cross]
        return None

    def stamp(self, file, options):
        """A file whose name says all that the outcome depends on, wherever the clone stands."""
        state = hashlib.sha256(self.setting.encode() + ' '.join(options).replace(str(ROOT), '').encode())
        for path in (ROOT / file, *included_headers(ROOT / file, include_folders(options), ROOT)):
            state.update(str(path.relative_to(ROOT)).encode() + path.read_bytes())
        return STAMPS / state.hexdigest()[:32]

    def waiting(self, files):
        """What has to be read: (file, options, stamp), with no options for a file that no build compiles."""
        for file in files:
            options = self.options(file)
            stamp = None if options is None else self.stamp(file, options)
            if stamp is None or not stamp.exists():
                yield file, options, stamp
            else:
                stamp.touch()  # in use


def in_units(waiting):
    """Groups of files that may be read together: one folder, one set of options, C++."""
    groups = {}
    for entry in waiting:
        file, options, _ = entry
        alone = file if options is None or not file.endswith('.cpp') else ''
        groups.setdefault((str(Path(file).parent), tuple(options or ()), alone), []).append(entry)
    for group in groups.values():
        count = -(-len(group) // FILES_OF_A_UNIT)
        yield from (group[start::count] for start in range(count))


def includes_twice(text):
    names = INCLUDE.findall(text)
    return len(names) != len(set(names))


def joined(texts):
    """One text of several sources, in which each header is included once, and for each line the source's number."""
    seen, lines, owners = set(), [], []
    for number, text in enumerate(texts):
        for line in text.splitlines():
            name = INCLUDE.match(line)
            if name is None or name.group(1) not in seen:
                lines.append(line)
                owners.append(number)
            if name is not None:
                seen.add(name.group(1))
    return '\n'.join([*lines, '']), owners


def compatible(unit):
    """Splits a unit into units that compile as one text each."""
    if len(unit) == 1:
        return [unit]
    text, owners = joined(source(entry) for entry in unit)
    said = tidy_joined(text, unit[0][1], COMPILES_ONLY)
    if said is None:
        return [unit]
    bad = {owners[min(int(line), len(owners)) - 1] for line in re.findall(r'unit_\w+\.cpp:(\d+):\d+: error', said)}
    apart = [entry for number, entry in enumerate(unit) if number in bad]
    rest = [entry for number, entry in enumerate(unit) if number not in bad]
    if not apart or not rest:
        return [[entry] for entry in unit]
    return compatible(rest) + compatible(apart)


def source(entry):
    return (ROOT / entry[0]).read_text(encoding='utf-8')


def lint_unit(unit):
    """The complaints about the files of a unit; those without any are stamped."""
    alone = [entry for entry in unit if entry[1] is None or includes_twice(source(entry))]
    together = [entry for entry in unit if entry not in alone]
    for part in compatible(together) if together else []:
        if len(part) > 1 and tidy_joined(joined(source(entry) for entry in part)[0], part[0][1]) is None:
            for _, _, stamp in part:
                stamp.touch()
        else:
            alone += part
    complaints = [lint_alone(*entry) for entry in alone]
    return [complaint for complaint in complaints if complaint]


def tidy_joined(text, options, *more):
    whole = UNITS / f'unit_{hashlib.sha256(text.encode()).hexdigest()[:16]}.cpp'
    whole.write_text(text, encoding='utf-8')
    complaint = tidy(str(whole), options, *more)
    whole.unlink()
    return complaint


def lint_alone(file, options, stamp):
    if options is None:
        return f'{file}: no build compiles it'
    complaint = tidy(file, options)
    if complaint is None:
        stamp.touch()
    return complaint


def tidy(file, options, *more):
    if not more and any(word.startswith('-DBOOST_ASIO') for word in options):
        more = (LOSES_HANDLERS,)
    ended = subprocess.run(['clang-tidy', '--quiet', *more, file, '--', *options, *ANALYSER], cwd=ROOT,
                           stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, errors='replace', check=False)
    if ended.returncode == 0:
        return None
    return '\n'.join([f'{file}:', *(line for line in ended.stdout.splitlines() if not NOISE.search(line))])


def forget_old_stamps(folder=STAMPS):
    """Every state of a file leaves one."""
    for stamp in folder.iterdir():
        with contextlib.suppress(FileNotFoundError):  # another clone forgets it, too
            if stamp.stat().st_mtime < time.time() - STAMPS_LAST:
                stamp.unlink()


def main(files):
    files = [str(Path(file)) for file in files] or sources.all_sources(FOLDERS, ('.cpp', '.c'))
    if not files:
        sys.exit('There is no source to lint.')
    for folder in (STAMPS, UNITS):
        folder.mkdir(parents=True, exist_ok=True)
    forget_old_stamps()
    linter = Linter()
    waiting = list(linter.waiting(files))
    units = sorted(in_units(waiting), key=len, reverse=True)
    with concurrent.futures.ThreadPoolExecutor(build.JOBS) as pool:
        try:
            complaints = [complaint for found in pool.map(lint_unit, units) for complaint in found]
        except KeyboardInterrupt:
            pool.shutdown(cancel_futures=True)
            raise
    for complaint in complaints:
        print(complaint)
    print(f'{len(files)} files, {len(waiting)} read in {len(units)} units, {len(complaints)} not clean')
    return 1 if complaints else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
