#!/usr/bin/env python3
"""The rule book, docs/behaviour.md, against the tests and the sources.  usage: behaviour.py

Each row of its tables "rule | held by" is one rule with the tests that fail without it, as `Suite.Name`; a
parametrised one may be `Prefix/Suite.Name` or `Prefix/Suite.Name/Case`. A row that begins with "Quirk: " stands for one
QUIRK comment of src/ and names the test that the comment names.

Prints what is missing and where, and ends with 1 then."""
import collections
import re
import sys
from pathlib import Path

from documents import cells

ROOT = Path(__file__).resolve().parent.parent
BOOK = 'docs/behaviour.md'
COLUMNS = ['rule', 'held by']
QUIRK = 'Quirk: '
COMMENTS = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"', re.DOTALL)
CASES = re.compile(r'^(TYPED_TEST|TEST|TEST_F|TEST_P)\(\s*(\w+)\s*,\s*(\w+)\s*\)', re.MULTILINE)
INSTANCES = re.compile(r'^INSTANTIATE_TEST_SUITE_P\(\s*(\w+)\s*,\s*(\w+)\s*,', re.MULTILINE)
NAMED = re.compile(r'(?:(?P<prefix>\w+)/)?(?P<suite>\w+)\.(?P<name>\w+)(?:/(?P<case>\w+))?')
HELD_BY = re.compile(r'`([^`]+)`')

Row = collections.namedtuple('Row', 'place rule tests odd')
Quirk = collections.namedtuple('Quirk', 'place tests')


def rows_of(text, document=BOOK):
    """The rules of the book in their order. odd is what stands in "held by" besides names and commas."""
    rows, inside, heading = [], False, False
    for number, line in enumerate(text.splitlines(), 1):
        if not line.startswith('|'):
            inside = False
        elif cells(line) == COLUMNS:
            inside = heading = True
        elif inside and heading:
            heading = False
        elif inside:
            rule, held = (cells(line) + ['', ''])[:2]
            rows.append(Row(f'{document}:{number}', rule, HELD_BY.findall(held),
                            re.sub(r'[\s,]', '', HELD_BY.sub('', held)) or '|'.join(cells(line)[2:])))
    return rows


def without_comments(text):
    """The text with its comments gone; texts in quotation marks stay."""
    return COMMENTS.sub(lambda found: found[0] if found[0].startswith('"') else '', text)


class Tests:
    """The cases of a folder, those that no program of a CMakeLists.txt holds apart."""

    def __init__(self, folder):
        self.kinds = {}      # 'Suite.Name': its macros
        self.prefixes = {}   # a suite: what it is instantiated as
        listed = {name for file in folder.rglob('CMakeLists.txt')
                  for name in re.findall(r'[\w.]+\.cpp', file.read_text(encoding='utf-8'))}
        for file in sorted(folder.rglob('*.cpp')):
            if file.name not in listed:
                continue
            text = without_comments(file.read_text(encoding='utf-8'))
            for kind, suite, name in CASES.findall(text):
                if not name.startswith('DISABLED_') and not suite.startswith('DISABLED_'):
                    self.kinds.setdefault(f'{suite}.{name}', set()).add(kind)
            for prefix, suite in INSTANCES.findall(text):
                self.prefixes.setdefault(suite, set()).add(prefix)

    def problem(self, named):
        """What is wrong with the name of a test; None when it is a case that runs."""
        parts = NAMED.fullmatch(named)
        if not parts:
            return 'is no name of a test'
        kinds = self.kinds.get(f"{parts['suite']}.{parts['name']}")
        if not kinds:
            return 'is no test'
        prefixes = self.prefixes.get(parts['suite'], set())
        if kinds == {'TEST_P'} and not prefixes:
            return 'is never instantiated'
        if parts['prefix'] and ('TEST_P' not in kinds or parts['prefix'] not in prefixes):
            return f"is not instantiated as {parts['prefix']}"
        if parts['case'] and not parts['prefix']:
            return 'names a case without the prefix of its suite'
        return None


def quirks_of(folder, root):
    """Every QUIRK comment below folder; its tests may be named on the comment's next lines."""
    found = []
    for file in sorted(path for path in folder.rglob('*') if path.suffix in ('.h', '.cpp')):
        lines = file.read_text(encoding='utf-8').splitlines()
        for number, line in enumerate(lines, 1):
            if '// QUIRK:' not in line:
                continue
            comment = [line]
            for rest in lines[number:]:
                if not rest.strip().startswith('//') or '// QUIRK:' in rest:
                    break
                comment.append(rest)
            found.append(Quirk(f'{file.relative_to(root)}:{number}',
                               re.findall(r'Test: ([\w.]+\w)', '\n'.join(comment))[:1]))
    return found


def plain(rule):
    """A rule without its case, marks and spaces, to tell whether it stands there twice."""
    return re.sub(r'[\W_]', '', rule.removeprefix(QUIRK).lower())


def wrong_rows(rows, tests):
    wrong, seen = [], {}
    for row in rows:
        if not plain(row.rule):
            wrong.append(f'{row.place}: no rule')
        elif plain(row.rule) in seen:
            wrong.append(f'{row.place}: stands already in {seen[plain(row.rule)]}')
        seen.setdefault(plain(row.rule), row.place)
        if not row.tests:
            wrong.append(f'{row.place}: no test holds "{row.rule}"')
        if row.odd:
            wrong.append(f'{row.place}: "{row.odd}" is no test in code format')
        if len(set(row.tests)) != len(row.tests):
            wrong.append(f'{row.place}: names a test twice')
        wrong += [f'{row.place}: {named} {tests.problem(named)}' for named in row.tests if tests.problem(named)]
    return wrong


def names_of(row):
    """How a comment may call the tests of a row: by the name alone, or with the suite."""
    whole = {'.'.join(NAMED.fullmatch(named).group('suite', 'name')) for named in row.tests
             if NAMED.fullmatch(named)}
    return whole | {name.split('.')[1] for name in whole}


def wrong_quirks(rows, quirks):
    rows = [row for row in rows if row.rule.startswith(QUIRK)]
    wrong, commented = [], set()
    for quirk in quirks:
        if not quirk.tests:
            wrong.append(f'{quirk.place}: the QUIRK comment names no test')
        elif not any(quirk.tests[0] in names_of(row) for row in rows):
            wrong.append(f'{quirk.place}: no row "{QUIRK}…" of {BOOK} is held by {quirk.tests[0]}')
        commented.update(quirk.tests)
    wrong += [f'{row.place}: no QUIRK comment of src/ names its test' for row in rows
              if not names_of(row) & commented]
    return wrong


def check(root=ROOT):
    """What is wrong, line by line, and how many rules the book holds."""
    book = root / BOOK
    rows = rows_of(book.read_text(encoding='utf-8')) if book.exists() else []
    tests = Tests(root / 'tests')
    quirks = quirks_of(root / 'src', root)
    wrong = [f'{place}: holds none' for place, found in
             ((BOOK, rows), ('tests', tests.kinds), ('src: QUIRK comments', quirks)) if not found]
    return wrong + wrong_rows(rows, tests) + wrong_quirks(rows, quirks), len(rows)


def main():
    wrong, count = check()
    for line in wrong:
        print(line)
    print(f'{count} rules, {len(wrong)} mistakes')
    return 1 if wrong else 0


if __name__ == '__main__':
    if len(sys.argv) != 1:
        sys.exit(__doc__)
    sys.exit(main())
