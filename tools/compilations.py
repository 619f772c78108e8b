"""What a preset's compilers are run for, file by file; a batch counts as the files that are compiled in it."""
import json
import re
import shlex
from pathlib import Path

import build

IN_A_BATCH = re.compile(r'^#include "([^"]+)"', re.MULTILINE)


def files_of(source):
    """The sources of one compilation: those that a batch includes, or the source itself."""
    path = Path(source)
    if path.parent.name != 'Unity':
        return [source]
    return IN_A_BATCH.findall(path.read_text(encoding='utf-8'))


def commands_of(preset, root=build.ROOT):
    """Each source of a preset, and of the builds inside it, as an absolute path, with the command that compiles it."""
    folder = root / 'build' / preset
    commands = {}
    for listed in (*folder.glob('*/compile_commands.json'), folder / 'compile_commands.json'):
        for entry in json.loads(listed.read_text(encoding='utf-8')):
            command = shlex.split(entry['command'])
            commands |= dict.fromkeys(files_of(entry['file']), command)
    return commands


def object_of(command):
    """Below the build folder."""
    return command[command.index('-o') + 1]
