#!/usr/bin/env python3
"""Configures and builds one preset.  usage: build.py PRESET [TARGET...]     everything without a target"""
import os
import shutil
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
JOBS = os.cpu_count() or 1


def with_compiler_cache():
    if shutil.which('ccache') is None:
        return dict(os.environ)
    return {'CMAKE_C_COMPILER_LAUNCHER': 'ccache', 'CMAKE_CXX_COMPILER_LAUNCHER': 'ccache', **os.environ}


def configure(preset):
    log = ROOT / 'build' / 'logs' / f'configure-{preset}.log'
    log.parent.mkdir(parents=True, exist_ok=True)
    with open(log, 'wb') as stream:
        ended = subprocess.run(['cmake', '--preset', preset], cwd=ROOT, env=with_compiler_cache(), stdout=stream,
                               stderr=stream, check=False)
    if ended.returncode != 0:
        sys.stdout.write(log.read_text(encoding='utf-8', errors='replace'))
    return ended.returncode == 0


def build(preset, targets=()):
    command = ['cmake', '--build', f'build/{preset}', '--parallel', str(JOBS)]
    if targets:
        command += ['--target', *targets]
    sys.stdout.flush()
    return configure(preset) and subprocess.run(command, cwd=ROOT, check=False).returncode == 0


if __name__ == '__main__':
    if len(sys.argv) < 2:
        sys.exit(__doc__)
    sys.exit(0 if build(sys.argv[1], sys.argv[2:]) else 1)
