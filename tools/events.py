#!/usr/bin/python3
"""Holds events of tarnhost against docs/events.schema.json.

events.py [FILE…]   lines of FILEs, or of standard input; names each line that is no event, then counts the types.
It ends with 1 when a line was wrong or there was none. It wants Debian's python3-jsonschema, so the system's Python."""
import collections
import json
import sys
from pathlib import Path

import jsonschema

SCHEMA = Path(__file__).resolve().parent.parent / 'docs' / 'events.schema.json'


class Validator:
    def __init__(self):
        schema = json.loads(SCHEMA.read_text(encoding='utf-8'))
        jsonschema.Draft7Validator.check_schema(schema)
        names = [branch['$ref'].rsplit('/', 1)[1] for branch in schema['oneOf']]
        # A branch of its own for each type says what is wrong; the whole would say that no branch fits.
        self.branches = {name: jsonschema.Draft7Validator({'$schema': schema['$schema'],
                                                           '$ref': f'#/definitions/{name}',
                                                           'definitions': schema['definitions']}) for name in names}

    def mistakes(self, line):
        """The type of the event in line, and what is wrong with it."""
        try:
            event = json.loads(line)
        except ValueError as error:
            return None, [f'no JSON: {error}']
        if not isinstance(event, dict) or event.get('type') not in self.branches:
            return None, ['no event of a known type']
        if next(iter(event)) != 'type':
            return event['type'], ['the type does not stand first']
        return event['type'], [f'{"/".join(map(str, error.absolute_path)) or "event"}: {error.message}'
                               for error in self.branches[event['type']].iter_errors(event)]


def main(files):
    validator = Validator()
    counts, wrong = collections.Counter(), 0
    for name in files or ['-']:
        with (sys.stdin if name == '-' else open(name, encoding='utf-8')) as lines:
            for number, line in enumerate(lines, 1):
                kind, mistakes = validator.mistakes(line)
                counts[kind] += 1
                wrong += bool(mistakes)
                for mistake in mistakes:
                    print(f'{name}:{number}: {mistake}: {line.strip()[:300]}')
    print(json.dumps({'wrong': wrong, 'events': sum(counts.values()), 'types': {k or '': v for k, v in counts.items()}}))
    return 1 if wrong or not counts else 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
