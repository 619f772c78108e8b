"""What has changed since the last good check, and which native tests that concerns."""
import dataclasses
import hashlib
import json
import subprocess
from pathlib import Path, PurePosixPath

# From the lowest layer to the highest; a change concerns its own folder first, then every layer above.
LAYERS = ('base', 'machine', 'modules', 'network', 'parental', 'smb', 'lists', 'url', 'api')
ABOVE_THE_LIBRARY = ('companions', 'host', 'fuzz', 'order')
ALWAYS = 'shape'  # the rules of the sources, in a second
ALL = (*LAYERS, *ABOVE_THE_LIBRARY)
ONLY_WINDOWS = ('tests/system/', 'tests/model/driver/')


@dataclasses.dataclass
class Plan:
    own: list = dataclasses.field(default_factory=list)         # folders whose programs are built and run
    dependents: list = dataclasses.field(default_factory=list)  # folders that follow while there is time
    windows_only: list = dataclasses.field(default_factory=list)  # sources that no native program compiles
    tools: bool = False

    def add(self, own, dependents=()):
        self.own += [folder for folder in own if folder not in self.own]
        self.dependents += [folder for folder in dependents if folder not in self.dependents]


def is_model(path):
    """Of the model itself, whose tests are among those of the tools."""
    return path.startswith('tests/model/') and path.endswith('.py')


def folder_of(path):
    """The folder that a test's label or a path under tests/ stands for: tests/url/x.cpp is url, fuzz/x.cpp is fuzz."""
    parts = PurePosixPath(path).parts
    return parts[1] if parts[0] == 'tests' and len(parts) > 1 else parts[0]


def _add_source(plan, path):
    parts = PurePosixPath(path).parts
    top = parts[0]
    if top == 'src' and len(parts) > 2:
        layer = parts[1]
        above = LAYERS[LAYERS.index(layer) + 1:] if layer in LAYERS else LAYERS
        plan.add([layer], (*above, *ABOVE_THE_LIBRARY))
    elif path.startswith('tests/order/'):
        plan.add(['order'])
    elif top == 'tests' and len(parts) > 2 and folder_of(path) in (*ALL, ALWAYS):
        # A header of one folder's tests serves others too.
        plan.add([folder_of(path)], ALL if path.endswith('.h') else ())
    elif top == 'companions':
        plan.add(['companions'], ('host', 'fuzz'))
    elif top == 'host':
        plan.add(['host'], ('smb', 'fuzz'))  # both read captures with the host's reader
    elif top == 'fuzz':
        plan.add(['fuzz'])
    elif top in ('include', 'src', 'tests', 'cmake', 'CMakeLists.txt', 'CMakePresets.json'):
        plan.add([], ALL)


def plan_for(paths):
    plan = Plan()
    for path in sorted(paths):
        top = PurePosixPath(path).parts[0]
        if top in ('tools', 'dev') or path == 'cmake/wine-run' or is_model(path):
            plan.tools = True
        elif '_win32' in PurePosixPath(path).name or top in ('bench', 'examples') or path.startswith(ONLY_WINDOWS):
            if path.endswith(('.cpp', '.c')):
                plan.windows_only.append(path)
        elif path.endswith('.md'):
            plan.tools = True  # links and marked commands
            if path == 'docs/policy.md':
                plan.add(['companions'])  # held against the loader
        elif path == 'docs/policy.schema.json':
            plan.add(['companions'])
        else:
            _add_source(plan, path)
    plan.add([ALWAYS])
    plan.dependents = [folder for folder in plan.dependents if folder not in plan.own]
    return plan


def fingerprints(root):
    """Every file that belongs to the project, tracked or new, with a hash of what it holds."""
    listed = subprocess.run(['git', 'ls-files', '-z', '--cached', '--others', '--exclude-standard'], cwd=root,
                            capture_output=True, text=True, check=True).stdout
    paths = [path for path in listed.split('\0') if path and (root / path).is_file()]
    return {path: hashlib.sha256((root / path).read_bytes()).hexdigest() for path in paths}


def uncommitted(root):
    """What differs from the last commit, new files included."""
    listed = subprocess.run(['git', 'status', '--porcelain', '--no-renames', '--untracked-files=all', '-z'], cwd=root,
                            capture_output=True, text=True, check=True).stdout
    return {entry[3:] for entry in listed.split('\0') if entry}


def changed(now, before):
    """Paths that are new, different or gone."""
    return {path for path in {*now, *before} if now.get(path) != before.get(path)}


def under(paths, folders):
    wanted = [PurePosixPath(folder).parts for folder in folders]
    return {path for path in paths if any(PurePosixPath(path).parts[:len(parts)] == parts for parts in wanted)}


def read_state(file):
    """The fingerprints of the last good check, None when there was none."""
    try:
        state = json.loads(Path(file).read_text(encoding='utf-8'))
        return state if isinstance(state, dict) else None
    except (OSError, ValueError):
        return None


def write_state(file, state):
    Path(file).parent.mkdir(parents=True, exist_ok=True)
    Path(file).write_text(json.dumps(state, indent=0) + '\n', encoding='utf-8')
