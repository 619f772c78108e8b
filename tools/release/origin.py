"""What a package is made from: version, commit and time. Nothing of the machine or the hour goes into a package."""
import os
import re
import subprocess


def version(root):
    found = re.search(r'^project\(tarn VERSION (\d+\.\d+\.\d+) ', (root / 'CMakeLists.txt').read_text(encoding='utf-8'),
                      re.MULTILINE)
    if found is None:
        raise ValueError('CMakeLists.txt names no version')
    return found.group(1)


def git(root, *arguments):
    """What git answers, or None outside a clone and without git."""
    try:
        return subprocess.run(['git', *arguments], cwd=root, capture_output=True, text=True, check=True).stdout.strip()
    except (OSError, subprocess.CalledProcessError):
        return None


def commit(root):
    return git(root, 'rev-parse', 'HEAD') or 'unknown'


def is_clone(root):
    """With a commit, and with the root as its own root: not a plain folder inside somebody else's clone."""
    return git(root, 'rev-parse', '--show-prefix') == '' and commit(root) != 'unknown'


def has_changes(root):
    return git(root, 'status', '--porcelain') not in ('', None)


# Of sources without a commit: the first moment that a zip archive can hold, as good as any for the same bytes.
WITHOUT_COMMIT = 315532800


def seconds(root):
    """The time that every file of the package bears: SOURCE_DATE_EPOCH when it is set, else that of the commit."""
    given = os.environ.get('SOURCE_DATE_EPOCH')
    if given is None:
        given = git(root, 'log', '-1', '--format=%ct') or str(WITHOUT_COMMIT)
    if not given.isdigit():
        raise ValueError(f'SOURCE_DATE_EPOCH is "{given}": seconds since 1970 are wanted')
    return int(given)
