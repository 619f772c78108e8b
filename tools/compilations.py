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


def places_of(preset, root):
    """Every compilation of a preset and of the builds inside it, those first, with the name of its build."""
    folder = root / 'build' / preset
    for listed in (*folder.glob('*/compile_commands.json'), folder / 'compile_commands.json'):
        for entry in json.loads(listed.read_text(encoding='utf-8')):
            yield listed.parent.relative_to(root / 'build').as_posix(), entry


def commands_of(preset, root=build.ROOT):
    """Each source of a preset, and of the builds inside it, as an absolute path, with the command that compiles it."""
    commands = {}
    for _, entry in places_of(preset, root):
        commands |= dict.fromkeys(files_of(entry['file']), shlex.split(entry['command']))
    return commands


def object_of(command):
    """Below the folder of its build."""
    return command[command.index('-o') + 1]


def objects_of(preset, sources, root=build.ROOT):
    """What the sources, absolute paths, are compiled to: the preset and each build inside it, as "preset" or
    "preset/inside", to objects below it."""
    objects = {}
    for folder, entry in places_of(preset, root):
        if any(source in sources for source in files_of(entry['file'])):
            objects.setdefault(folder, set()).add(object_of(shlex.split(entry['command'])))
    return objects
