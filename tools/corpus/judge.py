"""Judges one capture of a run: the work that the engines hand out."""
import shlex
import subprocess
from pathlib import Path

from corpus.folder import is_whole, stamp
from corpus.identity import changed


def command_for(told, capture):
    command = [*shlex.split(told['tarnhost']), '--json']
    if told.get('policy'):
        command += ['--policy', told['policy']]
    return [*command, *told['options'], 'replay', str(Path(told['corpus']) / capture)]


def moved(told, capture, expected):
    """What was written since the run began, so that a result would be one of two kinds; empty when nothing was."""
    path = Path(told['corpus']) / capture
    if path.exists() and stamp(path) != expected:
        return str(path)
    return changed(told['files'])


def judge(run, number):
    """True when the capture has a result. A capture that is damaged has one, too: it says so."""
    if run.result(number).exists():
        return True
    part = run.part(number)
    told, capture = run.told(), run.captures()[number]
    expected = run.stamps().get(capture)
    command = command_for(told, capture)
    try:
        with open(part, 'wb') as out:
            ended = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.PIPE, check=False)
        said = ended.stderr.decode(errors='replace')
        if changed_file := moved(told, capture, expected):
            why = f'{changed_file} was changed while the run went on\n'
        elif ended.returncode in (0, 1) and is_whole(part):
            run.keep(number, part)
            return True
        else:
            why = f'exit code {ended.returncode}\n{said}'
    except OSError as problem:
        why = f'{command[0]} cannot be run: {problem}\n'
    finally:
        part.unlink(missing_ok=True)
    run.failure(number).write_text(why, encoding='utf-8')
    return False
