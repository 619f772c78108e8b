"""The output folder of a run: its captures, their results, and what is left to do. All machines see the same folder.

captures.txt        the captures, one path below the corpus a line; a capture keeps its line for good
stamps.json         size and time of each, as they were when the run began
results/N.jsonl     what tarnhost said of the capture of line N; it stands there only when it is whole
failed/N.txt        why the last try of line N gave no result
"""
import fcntl
import json
import os
import socket
from pathlib import Path

ENDINGS = tuple(ending + packed for ending in ('.pcap', '.pcapng', '.cap') for packed in ('', '.gz'))


class Mistake(Exception):
    """What a user can mend."""


def stamp(path):
    """Differs when a file was written."""
    found = path.stat()
    return [found.st_size, found.st_mtime_ns]


def difference(told, before):
    """Why results that were made by other settings cannot stand beside new ones; empty when they can."""
    for key in sorted((set(told) | set(before)) - {'files'}):
        if told.get(key) != before.get(key):
            return f'with {key} = {before.get(key)!r}, now it is {told.get(key)!r}'
    now, then = ({name: file['sha256'] for name, file in of.get('files', {}).items()} for of in (told, before))
    for name in sorted(set(now) | set(then)):
        if now.get(name) != then.get(name):
            return f'by another {name}'
    return ''


def captures_of(corpus):
    """Paths relative to the corpus, in order."""
    found = [path for path in corpus.rglob('*') if path.name.lower().endswith(ENDINGS) and path.is_file()]
    names = sorted(str(path.relative_to(corpus)) for path in found)
    unusable = [name for name in names if '\n' in name]
    if unusable:
        raise Mistake(f'{unusable[0]!r}: rename this capture, a name cannot hold a line end')
    return names


def is_whole(path):
    """Whether a result ends with the totals, the last line that tarnhost writes."""
    try:
        with open(path, 'rb') as stream:
            stream.seek(0, os.SEEK_END)
            stream.seek(max(0, stream.tell() - (1 << 20)))
            lines = stream.read().splitlines()
        return bool(lines) and json.loads(lines[-1]).get('type') == 'stats'
    except (OSError, ValueError, AttributeError):
        return False


class RunFolder:
    def __init__(self, folder):
        self.folder = Path(folder).absolute()
        self.list = self.folder / 'captures.txt'
        self.results = self.folder / 'results'
        self.failures = self.folder / 'failed'
        self.settings = self.folder / 'settings.json'
        self.stamps_file = self.folder / 'stamps.json'
        self.lock = None

    def open(self, corpus, settings):
        """Begins a run or goes on with one. The same settings are wanted, or results of two kinds would be merged."""
        for folder in (self.results, self.failures):
            folder.mkdir(parents=True, exist_ok=True)
        self.lock = open(self.folder / 'lock', 'w', encoding='utf-8')
        try:
            fcntl.flock(self.lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
        except OSError:
            raise Mistake(f'{self.folder}: another run works in this folder; wait for it, or name another one') from None
        told = {'corpus': str(corpus.absolute()), **settings}
        if self.settings.exists():
            before = json.loads(self.settings.read_text(encoding='utf-8'))
            if why := difference(told, before):
                raise Mistake(f'{self.folder}: its results were made {why}; name another output folder')
        write_whole(self.settings, json.dumps(told, indent=1) + '\n')
        self.sweep()
        known = self.captures()
        there = captures_of(corpus)
        captures = known + sorted(set(there) - set(known))
        write_whole(self.list, ''.join(f'{name}\n' for name in captures))
        self.forget_replaced(captures, {name: stamp(corpus / name) for name in there})
        return captures

    def forget_replaced(self, captures, now):
        """Results of captures that were written anew since."""
        before = self.stamps()
        for number, name in enumerate(captures):
            if name in now and before.get(name) != now[name]:
                self.result(number).unlink(missing_ok=True)
        write_whole(self.stamps_file, json.dumps({**before, **now}, indent=0) + '\n')

    def stamps(self):
        return json.loads(self.stamps_file.read_text(encoding='utf-8')) if self.stamps_file.exists() else {}

    def sweep(self):
        """Removes what tries left that were ended from outside. One that still runs elsewhere then counts as failed."""
        for part in self.results.glob('*.part'):
            part.unlink(missing_ok=True)

    def told(self):
        return json.loads(self.settings.read_text(encoding='utf-8'))

    def captures(self):
        return self.list.read_text(encoding='utf-8').splitlines() if self.list.exists() else []

    def result(self, number):
        return self.results / f'{number}.jsonl'

    def failure(self, number):
        return self.failures / f'{number}.txt'

    def left(self):
        """The numbers of the captures without a result."""
        there = {path.name for path in self.results.iterdir()}
        return [number for number in range(len(self.captures())) if f'{number}.jsonl' not in there]

    def part(self, number):
        """Where a try writes, apart from every other one's."""
        return self.results / f'{number}.{socket.gethostname()}.{os.getpid()}.part'

    def keep(self, number, part):
        """The first whole result stays. A rename is all or nothing, also on a folder that machines share."""
        try:
            os.link(part, self.result(number))
        except FileExistsError:
            pass
        part.unlink()
        self.failure(number).unlink(missing_ok=True)


def write_whole(path, text):
    part = path.with_name(f'{path.name}.new')
    part.write_text(text, encoding='utf-8')
    part.replace(path)
