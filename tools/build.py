#!/usr/bin/env python3
"""Configures and builds one preset.  usage: build.py PRESET [TARGET...]     everything without a target"""
import os
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
JOBS = os.cpu_count() or 1


def with_compiler_cache(preset):
    """The environment of every build. Without these settings the cache takes nothing that uses a precompiled header. The
    base folder lets clones in other folders share it; it hands the compiler names that count from the build folder,
    which cmake/neutral_paths.cmake knows, so that the bytes of the result stay the same."""
    launchers = ('CMAKE_C_COMPILER_LAUNCHER', 'CMAKE_CXX_COMPILER_LAUNCHER') if shutil.which('ccache') else ()
    environment = {**dict.fromkeys(launchers, 'ccache'), **os.environ, 'CCACHE_BASEDIR': str(ROOT),
                   'CCACHE_SLOPPINESS': 'pch_defines,time_macros'}
    if preset in ('native', 'tsan'):
        environment['CCACHE_NOHASHDIR'] = '1'  # nothing takes the build folder's name out of what is only tested
    return environment


def made_for(folder):
    """The source and build folders that a build folder was configured for, None for a new one."""
    try:
        cache = (folder / 'CMakeCache.txt').read_text(encoding='utf-8', errors='replace')
    except OSError:
        return None
    entries = dict(line.split('=', 1) for line in cache.splitlines() if '=' in line)
    return [entries.get(f'CMAKE_{name}:INTERNAL', '') for name in ('HOME_DIRECTORY', 'CACHEFILE_DIR')]


def forget_another_place(preset, root=ROOT):
    """A build folder holds whole paths: one that came along with a moved or copied clone has to be made anew."""
    folder = root / 'build' / preset
    places = made_for(folder)
    if places is None or '' in places:
        return
    if [Path(place).resolve() for place in places] == [root.resolve(), folder.resolve()]:
        return
    print(f'build/{preset} was made for {places[0]}; here it is made anew.', flush=True)
    shutil.rmtree(folder)


def configure(preset):
    forget_another_place(preset)
    log = ROOT / 'build' / 'logs' / f'configure-{preset}.log'
    log.parent.mkdir(parents=True, exist_ok=True)
    with open(log, 'wb') as stream:
        ended = subprocess.run(['cmake', '--preset', preset], cwd=ROOT, env=with_compiler_cache(preset), stdout=stream,
                               stderr=stream, check=False)
    if ended.returncode != 0:
        sys.stdout.write(log.read_text(encoding='utf-8', errors='replace'))
    return ended.returncode == 0


def build(preset, targets=()):
    command = ['cmake', '--build', f'build/{preset}', '--parallel', str(JOBS)]
    if targets:
        command += ['--target', *targets]
    sys.stdout.flush()
    return configure(preset) and subprocess.run(command, cwd=ROOT, env=with_compiler_cache(preset),
                                                check=False).returncode == 0


if __name__ == '__main__':
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(0 if build(sys.argv[1], sys.argv[2:]) else 1)
