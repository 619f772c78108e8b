#!/usr/bin/env python3
"""Makes the packages of this commit in build/package: archive, debug symbols, installer, and their sums.

usage: package.py [--check]

With --check it also clones the commit into a second folder, builds it there without any cache and compares every byte.
"""
import os
import shutil
import subprocess
import sys
import time
from pathlib import Path

import build
from release import archive, binaries, installer, notices, origin, sbom

ROOT = build.ROOT
OUTPUT = ROOT / 'build' / 'package'
FILES = Path(__file__).resolve().parent / 'release' / 'files'
# Documents of the source tree, which speak of its files; the others are for users, whose files stand elsewhere.
OF_THE_TREE = ('architecture.md', 'behaviour.md', 'performance.md', 'security.md')
# With slashes: PowerShell and the POSIX shells of Windows both run what is called so.
IN_THE_ARCHIVE = (('./dev host', 'bin/tarnhost.exe'), ('companions/tarn-policy.toml', 'bin/tarn-policy.toml'),
                  ('build/windows/bin', 'bin'), ('build/', ''))


def say(text):
    print(text, flush=True)


def write_shell_files(folder):
    """The manual page and the completions, as tarnhost itself writes them."""
    share = folder / 'share'
    for name, arguments in (('man/man1/tarnhost.1', ['man']),
                            ('completions/tarnhost.bash', ['completion', 'bash']),
                            ('completions/_tarnhost', ['completion', 'zsh']),
                            ('completions/tarnhost.ps1', ['completion', 'powershell'])):
        ran = subprocess.run([ROOT / 'cmake' / 'wine-run', folder / 'bin' / 'tarnhost.exe', *arguments],
                             stdout=subprocess.PIPE, check=False)
        if ran.returncode != 0 or b'tarnhost' not in ran.stdout:
            raise RuntimeError(f"tarnhost {' '.join(arguments)} wrote nothing (exit code {ran.returncode})")
        (share / name).parent.mkdir(parents=True, exist_ok=True)
        (share / name).write_bytes(ran.stdout)


def name_what_the_archive_has(documents):
    """Puts the archive's own programs and files into the documents for users."""
    for path in documents.glob('*.md'):
        if path.name not in OF_THE_TREE:
            text = path.read_text(encoding='utf-8')
            for there, here in IN_THE_ARCHIVE:
                text = text.replace(there, here)
            path.write_text(text, encoding='utf-8', newline='\n')


def stage(folder, version):
    """The files of the archive but its lists of itself; symbols go beside."""
    log = subprocess.run(['cmake', '--install', ROOT / 'build' / 'windows', '--component', 'tarn', '--prefix', folder],
                         capture_output=True, text=True, check=False)
    if log.returncode != 0:
        raise RuntimeError(log.stdout + log.stderr)
    binaries.split_symbols(folder / 'bin', folder.with_name(f'{folder.name}-symbols'))
    binaries.write_import_library(folder / 'lib' / 'tarn.def', 'tarn.dll', folder / 'lib' / 'tarn.lib')
    write_shell_files(folder)
    name_what_the_archive_has(folder / 'docs')
    for path in FILES.iterdir():
        text = path.read_text(encoding='utf-8').replace('@VERSION@', version)
        newline = '\r\n' if path.suffix == '.cmd' else '\n'
        (folder / path.name).write_text(text, encoding='utf-8', newline=newline)
    (folder / 'THIRD-PARTY-NOTICES.txt').write_text(notices.notices(), encoding='utf-8')


def finish(folder, version, commit, seconds):
    bill = sbom.document(folder, version, commit, seconds)
    (folder / 'sbom.spdx.json').write_text(bill, encoding='utf-8')
    archive.write_sums(folder, folder / 'SHA256SUMS')


def make(output=OUTPUT):
    """Everything, into an empty folder; the names of the archives."""
    version, commit, seconds = origin.version(ROOT), origin.commit(ROOT), origin.seconds(ROOT)
    shutil.rmtree(output, ignore_errors=True)
    folder = output / f'tarn-{version}-win64'
    symbols = output / f'{folder.name}-symbols'
    stage(folder, version)
    finish(folder, version, commit, seconds)
    for made in (folder, symbols):
        named = archive.files_that_name(made, str(ROOT))
        if named:
            raise RuntimeError(f"The path {ROOT} stands in {', '.join(named)} of {made.name}")
        archive.write_zip(made, output / f'{made.name}.zip', made.name, seconds)
    installer.write(folder, version, seconds, output / f'{folder.name}.msi')
    shutil.rmtree(symbols)
    return [folder.name + ending for ending in ('.zip', '.msi', '-symbols.zip')]


def report(names, output=OUTPUT):
    lines = []
    for name in names:
        path = output / name
        lines.append(f'{archive.sum_of(path)}  {name}\n')
        say(f'{path.stat().st_size / 1e6:7.1f} MB  {path.relative_to(ROOT)}')
    (output / 'SHA256SUMS').write_text(''.join(lines), encoding='utf-8')


def check():
    """Builds the commit once more, elsewhere; True when every archive has the same bytes."""
    if origin.has_changes(ROOT):
        say('Commit your changes first: the second build is that of the last commit.')
        return False
    other = ROOT / 'build' / 'second-build' / 'a second folder with quite another name'
    shutil.rmtree(other, ignore_errors=True)
    subprocess.run(['git', 'clone', '--quiet', '--shared', ROOT, other], check=True)
    start = time.monotonic()
    say(f'Building the same commit in {other.relative_to(ROOT)}')
    environment = {**os.environ, 'CCACHE_DISABLE': '1', 'CMAKE_C_COMPILER_LAUNCHER': '',
                   'CMAKE_CXX_COMPILER_LAUNCHER': ''}
    ended = subprocess.run([sys.executable, other / 'tools' / 'package.py'], env=environment, check=False,
                           stdout=subprocess.DEVNULL)
    if ended.returncode != 0:
        say('The second build failed.')
        return False
    theirs = other / 'build' / 'package'
    if (OUTPUT / 'SHA256SUMS').read_bytes() != (theirs / 'SHA256SUMS').read_bytes():
        say('The two builds differ:')
        for path in sorted(OUTPUT.iterdir()):
            if path.is_file() and archive.sum_of(path) != archive.sum_of(theirs / path.name):
                say(f'  {path.name}')
                for name in archive.differences(path, theirs / path.name):
                    say(f'    {name}')
        return False
    shutil.rmtree(other)
    say(f'Both builds give the same bytes ({time.monotonic() - start:.0f} s).')
    return True


def main(arguments):
    if arguments not in ([], ['--check']):
        sys.exit(__doc__)
    if arguments and not origin.is_clone(ROOT):
        sys.exit('--check builds the last commit once more, and this folder is no clone: there is no commit to build.')
    if not build.build('windows', ['products', 'tarnhost']):
        return 1
    try:
        names = make()
    except (RuntimeError, ValueError, OSError) as problem:
        sys.exit(f'There is no package: {problem}')
    report(names)
    if origin.has_changes(ROOT):
        say('This tree has changes that no commit holds: do not hand the package on.')
    return 0 if not arguments or check() else 1


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
