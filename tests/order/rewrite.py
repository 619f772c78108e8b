#!/usr/bin/env python3
"""Copies a source with some of its words replaced.  usage: rewrite.py SOURCE COPY [BEFORE AFTER]... [--broken NAME]

With --broken, what broken.json says under that name is replaced, too.

BEFORE has to stand in the source exactly once, whatever blanks and line breaks lie between its words: a source that has
changed ends the build with a message, never with a copy that is not what was meant.
"""
import json
import re
import sys
from pathlib import Path


def rewritten(text, name, before, after):
    places = list(re.finditer(r'\s+'.join(re.escape(word) for word in before.split()), text))
    if len(places) != 1:
        raise ValueError(f'{name}: this stands there {len(places)} times, not once:\n    {before}\n'
                         'The source has changed: say in tests/order what is to be replaced now.')
    return text[:places[0].start()] + after + text[places[0].end():]


def main(source, copy, *pairs):
    text = Path(source).read_text(encoding='utf-8')
    if '--broken' in pairs:
        *pairs, _, name = pairs
        entries = json.loads((Path(__file__).parent / 'broken.json').read_text(encoding='utf-8'))
        pairs += [entry[word] for entry in entries if entry['name'] == name for word in ('before', 'after')]
    for before, after in zip(pairs[::2], pairs[1::2], strict=True):
        text = rewritten(text, source, before, after)
    Path(copy).parent.mkdir(parents=True, exist_ok=True)
    Path(copy).write_text(text, encoding='utf-8')


if __name__ == '__main__':
    if len(sys.argv) < 3:
        sys.exit(__doc__)
    try:
        main(*sys.argv[1:])
    except ValueError as error:
        sys.exit(str(error))
