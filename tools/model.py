#!/usr/bin/env python3
"""The built tarn.dll against its model.  usage: model.py [SEED] [--calls N] [--json]"""
import os
import sys

import build

PROGRAM = build.ROOT / 'tests' / 'model' / 'run.py'


def arguments_of(words):
    """The model's own arguments: the seed has no name on the command line."""
    if words and not words[0].startswith('-'):
        return ['--seed', *words]
    return list(words)


def main():
    if '--json' in sys.argv:  # the build's lines are not to stand in front of the object
        kept = os.dup(1)
        os.dup2(2, 1)
    built = build.build('windows', ('products', 'model_driver'))
    if '--json' in sys.argv:
        os.dup2(kept, 1)
    if not built:
        return 1
    os.execv(sys.executable, [sys.executable, str(PROGRAM), *arguments_of(sys.argv[1:])])


if __name__ == '__main__':
    sys.exit(main())
