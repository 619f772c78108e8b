"""The project's sources and their form.  usage: sources.py format | check-format"""
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
FOLDERS = ('include', 'src', 'companions', 'host', 'tests', 'bench', 'fuzz', 'examples')
SUFFIXES = ('.h', '.cpp', '.c')


def is_source(path):
    return Path(path).suffix in SUFFIXES and Path(path).parts[0] in FOLDERS


def all_sources(folders=FOLDERS, suffixes=SUFFIXES, root=ROOT):
    """Paths relative to the root, in order."""
    found = (path for folder in folders for path in (root / folder).rglob('*') if path.suffix in suffixes)
    return sorted(str(path.relative_to(root)) for path in found if path.is_file())


def has_form(files):
    """True when clang-format would change none of the files; False, too, when it is given none."""
    if not files:
        print('No source to check')
        return False
    sys.stdout.flush()
    return subprocess.run(['clang-format', '--dry-run', '-Werror', *files], cwd=ROOT, check=False).returncode == 0


def main(command):
    if command == 'format':
        return subprocess.run(['clang-format', '-i', *all_sources()], cwd=ROOT, check=False).returncode
    if command == 'check-format':
        return 0 if has_form(all_sources()) else 1
    sys.exit(__doc__)


if __name__ == '__main__':
    sys.exit(main(sys.argv[1] if len(sys.argv) == 2 else ''))
