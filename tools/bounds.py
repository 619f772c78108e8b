#!/usr/bin/env python3
"""The limits and claims, docs/limits.md and docs/security.md, against the tests and the sources.  usage: bounds.py

A table whose last column is "held by" makes claims: each of its rows names there the tests that fail without it, as in
docs/behaviour.md, and for its numbers the constants that they come from: `kName`, `TARN_NAME`, `Record.field` for the
length of a field, with `file.h:` in front where several files have the name, `- 1` or `/ 2` behind where the row says
another number. Of a row with constants every number is the value of one of them, and every value stands in the row. In
a table with a column "bound" a row with a number names its constants.
Any other table has its columns in UNTESTED. Code with a "/" in any table is a file of the project, or a command of
./dev; "Name…" there begins the name of a test, or of a target in fuzz/.

Prints what is wrong and where, and ends with 1 then."""
import ast
import collections
import re
import sys
from pathlib import Path

import behaviour
from documents import cells

ROOT = behaviour.ROOT
DOCUMENTS = ('docs/limits.md', 'docs/security.md')
HELD_BY = 'held by'
UNTESTED = (['who', 'what', 'enters by', 'read by'], ['what', 'because', 'what it could do otherwise'],
            ['what', 'where'])
CODE = re.compile(r'`([^`]+)`')
NUMBER = re.compile(r'(?<![\w.])\d[\d,]*\b(?!/)')
DEFINED = re.compile(r'\bconstexpr\b[^;{}()=]*?\b(k[A-Z]\w*)\s*=\s*([^;]+);|'
                     r'^#define\s+(TARN_\w+)\s+(\w+)|\b(TARN_[A-Z0-9_]+)\s*=\s*([^,}\s]+)', re.MULTILINE)
RECORD = re.compile(r'\bstruct (?:TARN_PACKED )?(\w+)\s*\{(.*?)^\}', re.MULTILINE | re.DOTALL)
FIELD = re.compile(r'\b(\w+)\[(\w+)\]\s*;')
EXPRESSION = re.compile(r'(?:(?P<file>[\w.]+):)?(?P<name>k[A-Z]\w*|TARN_\w+|\w+\.[a-z]\w*)'
                        r'(?P<rest>(?:\s*[-+/*]\s*\d+)*)')

Row = collections.namedtuple('Row', 'place columns cells')


def rows_of(document, text):
    """The rows of every table, each with the columns of its table."""
    rows, columns = [], None
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith('|'):
            columns = None
        elif columns is None:
            columns = cells(line)
        elif not line.startswith('|--'):
            rows.append(Row(f'{document}:{number}', columns, cells(line)))
    return rows


class Constants:
    """What the sources and the headers give a number to."""

    def __init__(self, root):
        self.texts = {}   # a name: {file: expression}
        for folder in ('src', 'include'):
            for file in sorted((root / folder).rglob('*')):
                if file.suffix not in ('.h', '.cpp'):
                    continue
                text = behaviour.without_comments(file.read_text(encoding='utf-8'))
                for groups in DEFINED.findall(text):
                    name, value = [group for group in groups if group]
                    self.texts.setdefault(name, {})[file.name] = value
                for record, fields in RECORD.findall(text):
                    for field, length in FIELD.findall(fields):
                        self.texts.setdefault(f'{record}.{field}', {})[file.name] = length

    def value(self, code):
        """The number that code stands for. Raises ValueError with what is wrong."""
        parts = EXPRESSION.fullmatch(code)
        found = self.texts.get(parts['name'], {}) if parts else {}
        if parts and parts['file']:
            found = {file: text for file, text in found.items() if file == parts['file']}
        if not found:
            raise ValueError('is no constant')
        if len(found) > 1:
            raise ValueError(f"stands in {', '.join(found)}: name one, FILE:NAME")
        return self.calculated(next(iter(found.values())) + parts['rest'])

    def calculated(self, text):
        text = re.sub(r'\b(?:std::)?\w+\{(\w+)\}', r'\1', text)     # std::size_t{1}
        text = re.sub(r'\b\w+::', '', text)
        text = re.sub(r"\b(\d[\d']*|0x[\da-fA-F]+)[uUlL]*\b", lambda number: number[1].replace("'", ''), text)
        text = re.sub(r'\b(k[A-Z]\w*|TARN_\w+)\b', lambda name: str(self.value(name[1])), text)
        try:
            return number_of(ast.parse(text.strip(), mode='eval').body)
        except SyntaxError:
            raise ValueError(f'is no number: {text}') from None


def number_of(node):
    operators = {ast.Add: lambda a, b: a + b, ast.Sub: lambda a, b: a - b, ast.Mult: lambda a, b: a * b,
                 ast.Div: lambda a, b: a // b, ast.LShift: lambda a, b: a << b}
    if isinstance(node, ast.Constant) and isinstance(node.value, int):
        return node.value
    if isinstance(node, ast.BinOp) and type(node.op) in operators:
        return operators[type(node.op)](number_of(node.left), number_of(node.right))
    raise ValueError(f'is no number: {ast.unparse(node)}')


def numbers_in(texts):
    """The whole numbers of prose; code and the targets of links are none."""
    plain = re.sub(r'`[^`]*`|\]\([^)]*\)', ' ', ' | '.join(texts))
    return {int(number.replace(',', '')) for number in NUMBER.findall(plain)}


def wrong_claim(row, tests, constants):
    """What is wrong with a row that has to name what holds it."""
    held, said = row.cells[-1], row.cells[:-1]
    names, values, wrong = [], {}, []
    for code in CODE.findall(held):
        if behaviour.NAMED.fullmatch(code) and tests.problem(code) is None:
            names.append(code)
        elif EXPRESSION.fullmatch(code):
            try:
                values[code] = constants.value(code)
            except ValueError as error:
                wrong.append(f'{code} is no test' if '.' in code and ':' not in code else f'{code} {error}')
        else:
            wrong.append(f'{code} {tests.problem(code)}')
    if not names:
        wrong.append(f'no test holds "{said[0]}"')
    if left := re.sub(r'[\s,]', '', CODE.sub('', held)):
        wrong.append(f'"{left}" is no test in code format')
    numbers = numbers_in(said)
    if values:
        wrong += [f'{number} is the value of no constant that the row names'
                  for number in sorted(numbers - set(values.values()))]
        wrong += [f'{code} is {value}, which does not stand in the row'
                  for code, value in values.items() if value not in numbers]
    elif 'bound' in row.columns and numbers_in([row.cells[row.columns.index('bound')]]):
        wrong.append('names no constant for its number')
    return wrong


def wrong_code(row, root, tests):
    """What of the files, commands and beginnings of tests' names in a row is not there."""
    wrong = []
    for code in CODE.findall(' '.join(row.cells)):
        if code.startswith('./dev '):
            if not re.search(rf'^  {re.escape(code.split()[1])} ', (root / 'dev').read_text(encoding='utf-8'),
                             re.MULTILINE):
                wrong.append(f'{code} is no command')
        elif re.fullmatch(r'\w+…', code):
            begun = [name.split('.')[1] for name in tests.kinds] + [file.name for file in (root / 'fuzz').rglob('*.cpp')]
            if not any(name.startswith(code[:-1]) for name in begun):
                wrong.append(f'no test or target begins with {code}')
        elif re.fullmatch(r'(?:src|tests|fuzz|tools|docs|include|host|companions)/[\w./-]*', code):
            if not (root / code).exists():
                wrong.append(f'{code} is not there')
    return wrong


def check(root=ROOT):
    """What is wrong, line by line, and how many claims there are."""
    tests, constants = behaviour.Tests(root / 'tests'), Constants(root)
    wrong, claims = [], 0
    for document in DOCUMENTS:
        rows = rows_of(document, (root / document).read_text(encoding='utf-8'))
        if not any(row.columns[-1] == HELD_BY for row in rows):
            wrong.append(f'{document}: claims nothing')
        for row in rows:
            said = []
            if len(row.cells) != len(row.columns):
                said.append(f'{len(row.cells)} cells below {len(row.columns)} columns')
            elif row.columns[-1] == HELD_BY:
                claims += 1
                said += wrong_claim(row, tests, constants)
            elif row.columns not in UNTESTED:
                said.append(f'the table has no column "{HELD_BY}"')
            wrong += [f'{row.place}: {text}' for text in said + wrong_code(row, root, tests)]
    return wrong, claims


def main():
    wrong, count = check()
    for line in wrong:
        print(line)
    print(f'{count} claims, {len(wrong)} mistakes')
    return 1 if wrong else 0


if __name__ == '__main__':
    if len(sys.argv) != 1:
        sys.exit(__doc__)
    sys.exit(main())
