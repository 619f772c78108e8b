#!/usr/bin/env python3
"""What the documents promise: links, commands, and the verdicts of addresses. tools/tests and tools/document_tests hold
it against what is there.

A fenced block says by its first word what it is:
  sh        commands; each line is run and has to end with 0. "sh by hand: REASON" is not run, only counted
  console   "$ COMMAND", and below it exactly what that prints
  cmd       lines for Windows itself; counted
  others    no commands
A table with the columns "address" and "verdict" holds for the toml block above it.

documents.py --write puts what the commands of the console blocks print now into the documents."""
import re
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
RUN, SHOWN, WINDOWS = 'sh', 'console', 'cmd'
NO_COMMANDS = ('c', 'cmake', 'cpp', 'json', 'text', 'toml')
BY_HAND = ' by hand: '
# An indented block with one of these in front would be a command that nobody runs.
PROGRAM = re.compile(r'(\./dev|build/\S+|cl|cmake(/\S+)?|install\.cmd|msiexec|reg|(\S+[/\\])?tarnhost(\.exe)?|tcpdump)$')
# The archive's own README: tools/package_tests run what it shows.
ELSEWHERE = ('tools/release/files/README.md',)


class Block:
    def __init__(self, document, line, info):
        self.document = document
        self.line = line    # of the opening fence, from 1
        self.info = info
        self.lines = []

    @property
    def language(self):
        return self.info.split(' ', 1)[0]

    @property
    def by_hand(self):
        """Why its commands are not run; empty when they are."""
        return self.info.partition(BY_HAND)[2]

    @property
    def place(self):
        return f'{self.document}:{self.line}'


class Table:
    """One table of addresses with the policy that stands above it."""

    def __init__(self, place, columns, policy):
        self.place = place
        self.columns = columns
        self.policy = policy
        self.rows = []


def all_documents():
    """The Markdown files of the project, as names below its root."""
    listed = subprocess.run(['git', 'ls-files', '--cached', '--others', '--exclude-standard', '*.md'], cwd=ROOT,
                            capture_output=True, text=True, check=True).stdout.split('\n')
    return sorted(name for name in set(listed) if name and (ROOT / name).exists())


def text_of(document):
    return (ROOT / document).read_text(encoding='utf-8')


def split_blocks(document, text):
    """The fenced blocks, and the text with an empty line for each of theirs."""
    blocks, rest, block = [], [], None
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith('```'):
            if block is None:
                block = Block(document, number, line[3:].strip())
                blocks.append(block)
            else:
                block = None
            rest.append('')
        elif block is not None:
            block.lines.append(line)
            rest.append('')
        else:
            rest.append(line)
    return blocks, rest


def indented_commands(rest):
    """Numbers of indented lines that begin with a program, items of lists apart."""
    found, inside = [], False
    for number, line in enumerate(rest, 1):
        if line.startswith('    '):
            inside = inside or number == 1 or not rest[number - 2].strip()
            words = line.split()
            if inside and words and PROGRAM.match(words[0]):
                found.append(number)
        else:
            inside = False
    return found


def commands(block):
    """The commands of a run block: lines that are neither empty nor a comment."""
    return [line for line in block.lines if line.strip() and not line.startswith('#')]


def sessions(block):
    """The commands of a console block, each with the lines that it prints; an empty line may stand between two."""
    found = []
    for line in block.lines:
        if line.startswith('$ '):
            found.append((line[2:], []))
        elif found:
            found[-1][1].append(line)
        else:
            raise ValueError(f'{block.place}: a console block begins with "$ COMMAND"')
    for _, lines in found:
        while lines and not lines[-1]:
            lines.pop()
    return found


def cells(line):
    return [cell.strip() for cell in line.strip().strip('|').split('|')]


def tables_of_addresses(document, text):
    """The tables with the columns "address" and "verdict"; each needs a toml block before it."""
    found, policy, table, block = [], None, None, None
    for number, line in enumerate(text.splitlines(), 1):
        if line.startswith('```'):
            block = None if block is not None else (line[3:].strip(), [])
            if block is not None and block[0] == 'toml':
                policy = block[1]
        elif block is not None:
            block[1].append(line)
        elif line.startswith('|') and table is None:
            table = Table(f'{document}:{number}', cells(line), policy)
            if table.columns[-2:] == ['address', 'verdict']:
                found.append(table)
        elif line.startswith('|'):
            if not line.startswith('|-'):
                table.rows.append([cell.strip('`') for cell in cells(line)])
        else:
            table = None
    return found


def anchor(heading):
    """How a heading is called in links: lower case, letters, digits, "-" and "_", blanks as "-"."""
    return re.sub(r'[^\w\- ]', '', heading.replace('`', '').strip().lower()).replace(' ', '-')


def anchors(text):
    _, rest = split_blocks('', text)
    found = set()
    for line in rest:
        heading = re.match(r'#+ (.*)', line)
        if heading:
            name, count = anchor(heading[1]), 1
            while name in found:
                name, count = f'{anchor(heading[1])}-{count}', count + 1
            found.add(name)
    return found


def links(text):
    """The targets of the links, those in code apart."""
    _, rest = split_blocks('', text)
    return re.findall(r'\[[^\]]*\]\(([^)\s]+)\)', re.sub(r'`[^`]*`', '', '\n'.join(rest)))


def dead_links(document):
    """The links into the project that lead nowhere."""
    dead = []
    for target in links(text_of(document)):
        if re.match(r'[a-z]+:', target):
            continue
        name, _, part = target.partition('#')
        file = (ROOT / document).parent / name if name else ROOT / document
        if not file.exists() or (part and (file.suffix != '.md' or
                                           part not in anchors(file.read_text(encoding='utf-8')))):
            dead.append(f'{document}: {target}')
    return dead


def run(command):
    """Runs one command of a document in the project's folder, as a reader would."""
    return subprocess.run(['bash', '-c', command], cwd=ROOT, capture_output=True, text=True, check=False,
                          stdin=subprocess.DEVNULL, timeout=300)


def printed(command):
    """What a command of a console block prints, its lines without the blanks at their ends."""
    ended = run(command)
    if ended.returncode != 0:
        raise RuntimeError(f'{command}: ended with {ended.returncode}\n{ended.stdout}{ended.stderr}')
    return [line.rstrip() for line in ended.stdout.rstrip().splitlines()]


def with_real_output(document, text):
    """The text with what its console blocks print now."""
    lines = text.splitlines()
    blocks, _ = split_blocks(document, text)
    for block in reversed([block for block in blocks if block.language == SHOWN]):
        fresh = []
        for command, _ in sessions(block):
            fresh += ([''] if fresh else []) + [f'$ {command}', *printed(command)]
        lines[block.line:block.line + len(block.lines)] = fresh
    return '\n'.join(lines) + '\n'


def main(arguments):
    if arguments != ['--write']:
        sys.exit('usage: documents.py --write')
    for document in all_documents():
        text = text_of(document)
        fresh = with_real_output(document, text)
        if fresh != text:
            (ROOT / document).write_text(fresh, encoding='utf-8')
            print(f'{document}: written')


if __name__ == '__main__':
    main(sys.argv[1:])
