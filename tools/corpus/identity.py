"""What results depend on beside the captures: the policy with its lists and the program with its modules, each by its
size, its time and its digest.
"""
import hashlib
import shlex
import tomllib
from fnmatch import fnmatch
from pathlib import Path

from corpus.folder import Mistake, stamp

ROOT = Path(__file__).resolve().parent.parent.parent
POLICY = 'tarn-policy.toml'
PROGRAM = 'tarnhost.exe'


def lists_of(policy):
    """The files that a policy includes; names and patterns are meant from its folder on."""
    try:
        items = tomllib.loads(policy.read_text(encoding='utf-8')).get('include', [])
    except (OSError, ValueError) as problem:
        raise Mistake(f'{policy}: this policy cannot be read: {problem}; tarnhost policy {policy} says more') from None
    for item in items if isinstance(items, list) else []:
        name = item.get('files', '') if isinstance(item, dict) else item
        if not isinstance(name, str) or not name:
            continue
        path = policy.parent / name.replace('\\', '/')
        if '*' not in path.name and '?' not in path.name:
            yield path
        elif path.parent.is_dir():
            yield from (one for one in path.parent.iterdir()
                        if one.is_file() and fnmatch(one.name.lower(), path.name.lower()))


def policy_files(policy):
    return [policy, *lists_of(policy)] if policy.is_file() else []


def folders_of(words, options):
    """Where the program and its modules stand, as far as the command tells."""
    folders = [Path(word).absolute().parent for word in words if Path(word).name.lower() == PROGRAM]
    if words and Path(words[0]).absolute() == ROOT / 'dev':
        folders.append(ROOT / 'build' / 'windows' / 'bin')
        if not (folders[-1] / PROGRAM).is_file():
            raise Mistake(f'{folders[-1] / PROGRAM} is missing; ./dev build makes it')
    for at, option in enumerate(options):
        name, _, value = option.partition('=')
        if name == '--install-folder':
            folders.append(Path(value or ' '.join(options[at + 1:at + 2])).absolute())
    return folders


def files_of(tarnhost, options, policy, variable):
    """policy: what --policy names, or nothing; variable: what TARN_POLICY_FILE names."""
    words = shlex.split(tarnhost)
    files = [Path(word).absolute() for word in words if Path(word).is_file()]
    named = policy or variable
    if named:
        files += policy_files(Path(named).absolute())
    for folder in folders_of(words, options):
        if folder.is_dir():
            files += [path for path in folder.iterdir()
                      if path.name.lower() == PROGRAM or path.suffix.lower() == '.dll']
        if not named:
            files += policy_files(folder / POLICY)
    return sorted(set(files))


def described(path):
    with open(path, 'rb') as stream:
        return {'stamp': stamp(path), 'sha256': hashlib.file_digest(stream, 'sha256').hexdigest()}


def identity(tarnhost, options, policy, variable):
    try:
        return {str(path): described(path) for path in files_of(tarnhost, options, policy, variable)}
    except OSError as problem:
        raise Mistake(f'{problem.filename}: cannot be read: {problem.strerror}') from None


def changed(files):
    """The first that is not what it was when the run began. What another machine keeps elsewhere is not looked at."""
    for name, before in files.items():
        path = Path(name)
        if path.exists() and stamp(path) != before['stamp'] and described(path)['sha256'] != before['sha256']:
            return name
    return ''
