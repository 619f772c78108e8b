"""Judges one capture of a run: the work that the engines hand out."""
import shlex
import subprocess
from pathlib import Path

from corpus.folder import is_whole


def command_for(told, capture):
    command = [*shlex.split(told['tarnhost']), '--json']
    if told.get('policy'):
        command += ['--policy', told['policy']]
    return [*command, *told['options'], 'replay', str(Path(told['corpus']) / capture)]


def judge(run, number):
    """True when the capture has a result. A capture that is damaged has one, too: it says so."""
    if run.result(number).exists():
        return True
    part = run.part(number)
    command = command_for(run.told(), run.captures()[number])
    try:
        with open(part, 'wb') as out:
            ended = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=out, stderr=subprocess.PIPE, check=False)
        said = ended.stderr.decode(errors='replace')
        if ended.returncode in (0, 1) and is_whole(part):
            run.keep(number, part)
            return True
        why = f'exit code {ended.returncode}\n{said}'
    except OSError as problem:
        why = f'{command[0]} cannot be run: {problem}\n'
    finally:
        part.unlink(missing_ok=True)
    run.failure(number).write_text(why, encoding='utf-8')
    return False
